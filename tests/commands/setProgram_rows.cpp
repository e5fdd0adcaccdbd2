#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    const QVariantMap program{{"program", 12u}};
    return {
        execution("good", program, 1, CeDevice, true, true, sentWrite("uint:12", 5002), {}),
        execution("no argument", {}, 1, CeDevice, true, true, sentWrite("invalid", 5002), {}),
        execution("base refuses", program, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent", program, 1, CeForeign, true, false, {},
                  {"ERROR: DCmdSetProgram: parent is not PDeviceMdc"}),
        execution("no parent", program, 1, CeNoParent, true, false, {},
                  {"ERROR: DCmdSetProgram: parent is not PDeviceMdc"}),
        execution("no version", program, {}, CeDevice, true, true, sentWrite("uint:12", 5002), {c_noVersion}),
        execution("version 2", program, 2, CeDevice, true, true, sentWrite("uint:12", 6002), {}),
        execution("version 3", program, 3, CeDevice, true, true, sentWrite("uint:12", 7002), {}),
        execution("no entry for the version", program, 9, CeDevice, true, true, sentWrite("uint:12", 0, ""),
                  {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList done{"results {doneOk=bool:true}"};
    const QStringList notDone{"results {doneOk=bool:false}"};
    const QStringList noKey{"ERROR: Reply data is not in the correct format"};
    const QStringList noList{"ERROR: Values list in reply data is not in the correct format"};
    const QStringList noElement{"ERROR: Reply Values list is empty"};
    return {
        reply("acknowledged", values({1}), true, done, {}),
        reply("any other number", values({12}), true, done, {}),
        reply("more than one", values({1, 0}), true, done, {}),
        reply("0", values({0}), true, notDone, {}),
        reply("null element", values({QVariant()}), true, notDone, {}),
        reply("empty list", values({}), false, {}, noElement),
        reply("a number, no list", numberForList(), false, {}, noList),
        reply("a text, no list", textForList(), false, {}, noList),
        reply("a map, no list", mapForList(), false, {}, noList),
        reply("null", nullForList(), false, {}, noList),
        reply("no values", noValues(), false, {}, noKey),
        reply("failure notice", timedOut(), false, {}, noKey),
        reply("refused", refused(), true, notDone, {}),
    };
}

QList<RunRow> runs()
{
    return {
        {"setProgram program=3", "", 0, c_doneOk, nullptr, 0},
        {"setProgram program=3", "exception=3", 7, c_notDone, c_refusal, 1},
        {"setProgram program=3", "no-answer", 9, nullptr, c_uncertain, 1},
        {"setProgram program=3", "short", 9, nullptr, c_uncertain, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "setProgram";
    rows.className = "DCmdSetProgram";
    rows.source = "d_cmd_setProgram";
    rows.description = "Set the tightening program by its number";
    rows.parameters = QStringList{"program|ui16|Program number|invalid"};
    rows.results = QStringList{"doneOk|bool|lock done|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values({1}), false}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
