#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    return {
        execution("good", {}, 1, CeDevice, true, true, sentListen(5102, 1, "holdingRegisters"), {}),
        execution("base refuses", {}, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent", {}, 1, CeForeign, true, false, {},
                  {"ERROR: DCmdListenMotorRun: parent is not PDeviceMdc"}),
        execution("no parent", {}, 1, CeNoParent, true, false, {},
                  {"ERROR: DCmdListenMotorRun: parent is not PDeviceMdc"}),
        execution("no version", {}, {}, CeDevice, true, true, sentListen(5102, 1, "holdingRegisters"),
                  {c_noVersion}),
        execution("version 2", {}, 2, CeDevice, true, true, sentListen(6102, 1, "coils"), {}),
        execution("version 65538 is 2", {}, 65538, CeDevice, true, true, sentListen(6102, 1, "coils"), {}),
        execution("address 70102 is 4566", {}, 3, CeDevice, true, true, sentListen(4566, 1, "coils"), {}),
        execution("no entry for the version", {}, 9, CeDevice, true, true, sentListen(0, 1, ""), {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList noKey{"ERROR: Reply does not contain values key"};
    const QStringList running{"results {isRunning=bool:true}"};
    const QStringList standing{"results {isRunning=bool:false}"};
    return {
        reply("1", values({1}), true, running, {}),
        reply("any other number", values({512}), true, running, {}),
        reply("negative", values({-1}), true, running, {}),
        reply("as bool", values({true}), true, running, {}),
        reply("0", values({0}), true, standing, {}),
        reply("0, unsigned", values({0u}), true, standing, {}),
        reply("null element", values({QVariant()}), true, standing, {}),
        reply("two words", values({1, 0}), false, {}, {}),
        reply("empty list", values({}), false, {}, {}),
        reply("a number, no list", numberForList(), false, {}, {}),
        reply("a text, no list", textForList(), false, {}, {}),
        reply("a map, no list", mapForList(), false, {}, {}),
        reply("null", nullForList(), false, {}, {}),
        reply("no values", noValues(), false, {}, noKey),
        reply("failure notice", timedOut(), false, {}, noKey),
        reply("refused", refused(), true, standing, {}),
    };
}

QList<RunRow> runs()
{
    return {
        {"listenMotorRunState --count 2", "", 0, R"("name":"isRunning","value":false)", nullptr, 0},
        {"listenMotorRunState --count 1 --changes", "", 0, R"("name":"isRunning","value":false)", nullptr, 0},
        {"listenMotorRunState --seconds 0.5", "exception=2", 7, nullptr, c_goesOn, 1},
        {"listenMotorRunState --count 1", "no-answer@1", 0, R"("name":"isRunning")", c_goesOn, 1},
        {"listenMotorRunState --count 1", "cut-middle@1", 0, R"("name":"isRunning")", c_goesOn, 1},
        {"listenMotorRunState --count 1", "short@1", 0, R"("name":"isRunning")", c_goesOn, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "listenMotorRunState";
    rows.className = "DCmdListenMotorRun";
    rows.source = "d_cmd_listenMotorState";
    rows.description = "Return the mesured value on the GPIO pin";
    rows.results =
        QStringList{"isRunning|bool|"
                    "Recieving events of the connected device and send a notification when the value "
                    "changed|invalid"};
    rows.stopName = "stopListening";
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values({1}), false}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
