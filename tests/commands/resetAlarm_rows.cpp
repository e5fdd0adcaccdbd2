#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    return {
        execution("good", {}, 1, CeDevice, true, true, sentWrite("int:1", 5003), {}),
        execution("base refuses", {}, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent does not matter", {}, 1, CeForeign, true, true, sentWrite("int:1", 5003),
                  {}),
        execution("no parent: no entry", {}, 1, CeNoParent, true, true, sentWrite("int:1", 0, ""), {}),
        execution("no version: not asked for", {}, {}, CeDevice, true, true, sentWrite("int:1", 5003), {}),
        execution("version 2: never versioned", {}, 2, CeDevice, true, true, sentWrite("int:1", 5003), {}),
        execution("version 3: never versioned", {}, 3, CeDevice, true, true, sentWrite("int:1", 5003), {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList noKey{"ERROR: Reply data is not in the correct format"};
    const QStringList noList{"ERROR: Values list in reply data is not in the correct format"};
    const QStringList noElement{"ERROR: Reply Values list is empty"};
    const QStringList ended{"reply {}"};
    return {
        reply("acknowledged", values({1}), true, ended, {}),
        reply("0", values({0}), true, ended, {}),
        reply("more than one", values({1, 2}), true, ended, {}),
        reply("empty list", values({}), true, {}, noElement),
        reply("a number, no list", numberForList(), true, {}, noList),
        reply("a map, no list", mapForList(), true, {}, noList),
        reply("null", nullForList(), true, {}, noList),
        reply("no values", noValues(), true, {}, noKey),
        reply("failure notice", timedOut(), true, {}, noKey),
        reply("refused", refused(), true, ended, {}),
    };
}

QList<RunRow> runs()
{
    return {
        {"resetAlarm", "", 0, nullptr, nullptr, 0},
        {"resetAlarm", "exception=3", 7, nullptr, c_refusal, 1},
        {"resetAlarm", "no-answer", 9, nullptr, c_uncertain, 1},
        {"resetAlarm", "short", 9, nullptr, c_uncertain, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "resetAlarm";
    rows.className = "DCmdResetAlarm";
    rows.source = "d_cmd_resetAlarm";
    rows.description = "Set the lock state of the screwdriver Driver Lock";
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values({1}), false}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
