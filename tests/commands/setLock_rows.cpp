#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    const QVariantMap lock{{"lock", 1u}};
    return {
        execution("good", lock, 1, CeDevice, true, true, sentWrite("int:1", 5004), {}),
        execution("data as text is a number", {{"lock", "2"}}, 1, CeDevice, true, true,
                  sentWrite("int:2", 5004), {}),
        execution("data out of range: its low 16 bits", {{"lock", 65539}}, 1, CeDevice, true, true,
                  sentWrite("int:3", 5004), {}),
        execution("no argument: the declared default is 0", {}, 1, CeDevice, true, true,
                  sentWrite("int:0", 5004), {}),
        execution("base refuses", lock, 1, CeDevice, false, false, {}, {}),
        execution("base refuses before the parent counts", lock, 1, CeForeign, false, false, {}, {}),
        execution("foreign parent", lock, 1, CeForeign, true, false, {},
                  {"ERROR: DCmdSetLock: parent is not PDeviceMdc"}),
        execution("no parent", lock, 1, CeNoParent, true, false, {},
                  {"ERROR: DCmdSetLock: parent is not PDeviceMdc"}),
        execution("no version", lock, {}, CeDevice, true, true, sentWrite("int:1", 5004), {c_noVersion}),
        execution("version 0", lock, 0, CeDevice, true, true, sentWrite("int:1", 5004), {}),
        execution("version 2", lock, 2, CeDevice, true, true, sentWrite("int:1", 6004, "holdingRegisters"),
                  {}),
        execution("version 65538 is 2", lock, 65538, CeDevice, true, true,
                  sentWrite("int:1", 6004, "holdingRegisters"), {}),
        execution("address 70004 is 4468", lock, 3, CeDevice, true, true, sentWrite("int:1", 4468), {}),
        execution("no entry for the version", lock, 9, CeDevice, true, true, sentWrite("int:1", 0, ""), {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList notLocked{"ERROR: Device is not locked as wanted"};
    const QStringList wrongReply{"ERROR: Invalid reply format"};
    const QStringList unlocked{"results {doneOk=bool:true, fasteningLocked=bool:false, "
                               "lockStatus=QString:unlocked, looseningLocked=bool:false}"};
    return {
        reply("acknowledged", values({1}), true, unlocked, {}),
        reply("any other number", values({2}), true, unlocked, {}),
        reply("negative", values({-1}), true, unlocked, {}),
        reply("as bool", values({true}), true, unlocked, {}),
        reply("more than one", values({1, 0}), true, unlocked, {}),
        reply("first is 0 of more", values({0, 1}), false, {}, notLocked),
        reply("0", values({0}), false, {}, notLocked),
        reply("no number", values({"yes"}), false, {}, notLocked),
        reply("null element", values({QVariant()}), false, {}, notLocked),
        reply("empty list", values({}), false, {}, notLocked),
        reply("a number, no list", numberForList(), false, {}, notLocked),
        reply("a text, no list", textForList(), false, {}, notLocked),
        reply("a map, no list", mapForList(), false, {}, notLocked),
        reply("null", nullForList(), false, {}, notLocked),
        reply("no values", noValues(), false, {}, wrongReply),
        reply("failure notice", timedOut(), false, {}, wrongReply),
        reply("refused", refused(), false, {}, notLocked),
    };
}

QList<RunRow> runs()
{
    return {
        {"setLock lock=2", "", 0, R"("name":"lockStatus","value":"fastening")", nullptr, 0},
        {"setLock lock=1 unlockLoosening=true", "", 0, R"("name":"lockStatus","value":"loosening")", nullptr,
         1},
        {"setLock lock=1", "exception=3", 7, nullptr, "Device is not locked as wanted", 1},
        {"setLock lock=1", "no-answer", 9, nullptr, c_uncertain, 1},
        {"setLock lock=1", "cut-middle", 9, nullptr, c_uncertain, 1},
        {"setLock lock=1", "short", 9, nullptr, c_uncertain, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "setLock";
    rows.className = "DCmdSetLock";
    rows.source = "d_cmd_setLock";
    rows.description = "Set the lock state of the screwdriver Driver Lock";
    rows.parameters = QStringList{"lock|ui16|Lock state (0: Unlock 1: Lock all directions 2: Lock Loosening "
                                  "3: Lock Fastening)|QString:"};
    rows.results = QStringList{"lockStatus|strg|Chaine de caracters indiquant l'etat du lock|invalid",
                               "fasteningLocked|bool|Etat du lock en mode serrage|invalid",
                               "looseningLocked|bool|Etat du lock en mode desserrage|invalid",
                               "doneOk|bool|lock done|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values({1}), true}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
