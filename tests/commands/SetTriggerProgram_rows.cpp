#include "command_rows.h"

namespace {

constexpr const char* c_nothingWritten = "nothing has been written or saved";
constexpr const char* c_asItWas = "program 15 is as it was";
constexpr const char* c_perhapsFirst = "its first register may have been written";
constexpr const char* c_incomplete = "program 15 is incomplete";

QList<ExecutionRow> executions()
{
    return {
        execution("firmware unknown", {}, 1, CeDevice, true, true, sentBlockRead(281, 1), {c_noVersions}),
        execution("firmware unknown, version 2", {}, 2, CeDevice, true, true, sentBlockRead(281, 1),
                  {c_noVersions}),
        execution("no version", {}, {}, CeDevice, true, true, sentBlockRead(281, 1), {c_noVersions}),
        execution("base refuses", {}, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent: silence", {}, 1, CeForeign, true, false, {}, {}),
        execution("no parent: silence", {}, 1, CeNoParent, true, false, {}, {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList asIfUnidentified{c_noVersions};
    const QStringList noWord{c_noVersions,
                             "ERROR: the reply holds no value of register 281 , 0 is saved in its place"};
    const auto stopped = [](const char* error) {
        return QStringList{c_noVersions,
                           QStringLiteral("ERROR: trigger program stopped: the read of register 281 failed "
                                          "with error %1 ; nothing has been written or saved")
                               .arg(error)};
    };
    return {
        reply("one word", values({7}), true, {}, asIfUnidentified, 1),
        reply("0", values({0}), true, {}, asIfUnidentified, 1),
        reply("more than one", values({7, 8}), true, {}, asIfUnidentified, 1),
        reply("no number", values({"seven"}), true, {}, noWord, 1),
        reply("null element", values({QVariant()}), true, {}, noWord, 1),
        reply("empty list", values({}), true, {}, noWord, 1),
        reply("a number, no list", numberForList(), true, {}, noWord, 1),
        reply("a map, no list", mapForList(), true, {}, noWord, 1),
        reply("null", nullForList(), true, {}, noWord, 1),
        reply("no values", noValues(), true, {}, noWord, 1),
        reply("failure notice", timedOut(), false, {}, stopped("1 no answer")),
        reply("refused", refused(), false, {}, stopped("5 refused")),
    };
}

QList<RunRow> runs()
{
    return {
        {"SetTriggerProgram", "", 0, c_doneOk, nullptr, 0},
        {"SetTriggerProgram resetMode=true", "", 1, nullptr, "nothing is saved in this program", 1},
        {"SetTriggerProgram", "exception=2", 7, nullptr, c_nothingWritten, 1},
        {"SetTriggerProgram", "exception=2@7", 7, nullptr, c_asItWas, 1},
        {"SetTriggerProgram", "exception=2@8", 7, nullptr, c_incomplete, 1},
        {"SetTriggerProgram", "no-answer", 6, nullptr, c_nothingWritten, 1},
        {"SetTriggerProgram", "no-answer@7", 9, nullptr, c_perhapsFirst, 1},
        {"SetTriggerProgram", "no-answer@8", 9, nullptr, c_incomplete, 1},
        {"SetTriggerProgram", "cut-middle@3", 6, nullptr, c_nothingWritten, 1},
        {"SetTriggerProgram", "short@6", 5, nullptr, c_nothingWritten, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "SetTriggerProgram";
    rows.className = "DCmdSetTriggerProgram";
    rows.source = "d_cmd_setTriggerProgram";
    rows.description = "Set the tightening program by its number";
    rows.parameters = QStringList{"resetMode|bool|Reset program 15|bool:false"};
    rows.results = QStringList{"doneOk|bool|lock done|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.runs = runs();
    rows.exemptions.insert("lateReplies",
                           "its first reply publishes nothing; the last one is tested with its sequence");
    return rows;
}

const KnownRows c_known(rows);

} // namespace
