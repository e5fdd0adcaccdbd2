#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    const QVariantMap direction{{"direction", 1u}};
    return {
        execution("good", direction, 1, CeDevice, true, true, sentWrite("uint:1", 5001), {}),
        execution("data as text goes unchanged", {{"direction", "1"}}, 1, CeDevice, true, true,
                  sentWrite("QString:1", 5001), {}),
        execution("data out of range goes unchanged", {{"direction", -5}}, 1, CeDevice, true, true,
                  sentWrite("int:-5", 5001), {}),
        execution("no argument: the declared default", {}, 1, CeDevice, true, true,
                  sentWrite("QString:", 5001), {}),
        execution("base refuses", direction, 1, CeDevice, false, false, {}, {}),
        execution("base refuses before the parent counts", direction, 1, CeForeign, false, false, {}, {}),
        execution("foreign parent", direction, 1, CeForeign, true, false, {},
                  {"ERROR: DCmdSetDirection: parent is not PDeviceMdc"}),
        execution("no parent", direction, 1, CeNoParent, true, false, {},
                  {"ERROR: DCmdSetDirection: parent is not PDeviceMdc"}),
        execution("no version", direction, {}, CeDevice, true, true, sentWrite("uint:1", 5001),
                  {c_noVersion}),
        execution("null text as version", direction, QString(), CeDevice, true, true,
                  sentWrite("uint:1", 5001), {c_noVersion}),
        execution("version 0", direction, 0, CeDevice, true, true, sentWrite("uint:1", 5001), {}),
        execution("version 2", direction, 2, CeDevice, true, true,
                  sentWrite("uint:1", 6001, "holdingRegisters"), {}),
        execution("version 2 as text", direction, "2", CeDevice, true, true,
                  sentWrite("uint:1", 6001, "holdingRegisters"), {}),
        execution("version 65538 is 2", direction, 65538, CeDevice, true, true,
                  sentWrite("uint:1", 6001, "holdingRegisters"), {}),
        execution("version 65537 is 1", direction, 65537, CeDevice, true, true, sentWrite("uint:1", 5001),
                  {}),
        execution("version 65536 is 0", direction, 65536, CeDevice, true, true, sentWrite("uint:1", 5001),
                  {}),
        execution("address 70001 is 4465", direction, 65535, CeDevice, true, true, sentWrite("uint:1", 4465),
                  {}),
        execution("no entry for the version", direction, 9, CeDevice, true, true, sentWrite("uint:1", 0, ""),
                  {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList done{"results {doneOk=bool:true}"};
    const QStringList notApplied{"ERROR: Direction not applied"};
    return {
        reply("acknowledged", values({1}), true, done, {}),
        reply("any other number", values({2}), true, done, {}),
        reply("negative", values({-1}), true, done, {}),
        reply("as bool", values({true}), true, done, {}),
        reply("more than one", values({1, 0}), true, done, {}),
        reply("first is 0 of more", values({0, 1}), false, {}, notApplied),
        reply("0", values({0}), false, {}, notApplied),
        reply("no number", values({"yes"}), false, {}, notApplied),
        reply("null element", values({QVariant()}), false, {}, notApplied),
        reply("empty list", values({}), false, {}, notApplied),
        reply("a number, no list", numberForList(), false, {}, notApplied),
        reply("a text, no list", textForList(), false, {}, notApplied),
        reply("a map, no list", mapForList(), false, {}, notApplied),
        reply("null", nullForList(), false, {}, notApplied),
        reply("no values", noValues(), true, {}, {}),
        reply("failure notice", timedOut(), true, {}, {}),
        reply("refused", refused(), false, {}, notApplied),
    };
}

QList<RunRow> runs()
{
    return {
        {"setDirection direction=1", "", 0, c_doneOk, nullptr, 0},
        {"setDirection direction=1", "exception=3", 7, nullptr, "Direction not applied", 1},
        {"setDirection direction=1", "no-answer", 9, nullptr, c_uncertain, 1},
        {"setDirection direction=1", "short", 9, nullptr, c_uncertain, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "setDirection";
    rows.className = "DCmdSetDirection";
    rows.source = "d_cmd_setDirection";
    rows.description = "Set the direction of rotation of the screwdriver";
    rows.parameters = QStringList{
        "direction|ui16|Direction of rotation of the screwdriver (0: Forward 1: Loosening)|QString:"};
    rows.results = QStringList{"doneOk|bool|lock done|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values({1}), true}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
