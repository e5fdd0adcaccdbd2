#include "command_rows.h"

namespace {

// Without the firmware number, which goes with the version as one answer of the controller.
QList<ExecutionRow> executions()
{
    return {
        execution("firmware unknown", {}, 1, CeDevice, true, true, sentWrite("int:0", 5005), {c_noVersions}),
        execution("firmware unknown, version 2", {}, 2, CeDevice, true, true, sentWrite("int:0", 5005),
                  {c_noVersions}),
        execution("no version", {}, {}, CeDevice, true, true, sentWrite("int:0", 5005), {c_noVersions}),
        execution("base refuses", {}, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent: silence", {}, 1, CeForeign, true, false, {}, {}),
        execution("no parent: silence", {}, 1, CeNoParent, true, false, {}, {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList done{"results {doneOk=bool:true}"};
    const QStringList notDone{"results {doneOk=bool:false}"};
    const QStringList asIfUnidentified{c_noVersions};
    const QStringList wrongScreenReply{c_noVersions, "ERROR: Invalid reply format"};
    return {
        reply("acknowledged", values({1}), true, done, asIfUnidentified),
        reply("any other number", values({2}), true, done, asIfUnidentified),
        reply("0", values({0}), true, notDone, asIfUnidentified),
        reply("false", values({false}), true, notDone, asIfUnidentified),
        reply("null element", values({QVariant()}), true, notDone, asIfUnidentified),
        reply("more than one", values({1, 2}), true, {}, wrongScreenReply),
        reply("empty list", values({}), true, {}, wrongScreenReply),
        reply("a number, no list", numberForList(), true, {}, wrongScreenReply),
        reply("a text, no list", textForList(), true, {}, wrongScreenReply),
        reply("a map, no list", mapForList(), true, {}, wrongScreenReply),
        reply("null", nullForList(), true, {}, wrongScreenReply),
        reply("no values", noValues(), true, {}, wrongScreenReply),
        reply("failure notice", timedOut(), true, {}, wrongScreenReply),
        reply("refused", refused(), true, notDone, asIfUnidentified),
    };
}

QList<RunRow> runs()
{
    return {
        {"setLockScreen", "", 0, c_doneOk, nullptr, 0},
        {"setLockScreen", "exception=3", 7, c_notDone, c_refusal, 1},
        {"setLockScreen", "no-answer", 9, nullptr, c_uncertain, 1},
        {"setLockScreen", "cut-middle", 9, nullptr, c_uncertain, 1},
        {"setLockScreen", "short", 9, nullptr, c_uncertain, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "setLockScreen";
    rows.className = "DCmdSetLockScreen";
    rows.source = "d_cmd_setLockScreen";
    rows.description = "Set the lock screen";
    rows.results = QStringList{"doneOk|bool|lock done|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values({1}), true}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
