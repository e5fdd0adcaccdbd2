#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    return {
        execution("good", {}, 1, CeDevice, true, true, sentListen(5200, 3, "holdingRegisters"), {}),
        execution("base refuses", {}, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent", {}, 1, CeForeign, true, false, {},
                  {"ERROR: DCmdListenEvents: parent is not PDeviceMdc"}),
        execution("no parent", {}, 1, CeNoParent, true, false, {},
                  {"ERROR: DCmdListenEvents: parent is not PDeviceMdc"}),
        execution("no version", {}, {}, CeDevice, true, true, sentListen(5200, 3, "holdingRegisters"),
                  {c_noVersion}),
        execution("version 0", {}, 0, CeDevice, true, true, sentListen(5200, 3, "holdingRegisters"), {}),
        execution("version 2", {}, 2, CeDevice, true, true, sentListen(6200, 12, "inputRegisters"), {}),
        execution("version 65538 is 2", {}, 65538, CeDevice, true, true,
                  sentListen(6200, 12, "inputRegisters"), {}),
        execution("address 70200 is 4664, size 65538 is 2", {}, 3, CeDevice, true, true,
                  sentListen(4664, 2, "inputRegisters"), {}),
        execution("no entry for the version", {}, 9, CeDevice, true, true, sentListen(0, 0, ""), {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList noKey{"ERROR: Reply does not contain values key"};
    const QString notManaged = QStringLiteral("ERROR: Reply data format not managed");
    const char* const oneWord = "QVariant(QVariantList, (QVariant(int, 1)))";
    const char* const zeroWord = "QVariant(QVariantList, (QVariant(int, 0)))";
    const char* const oneWordMap =
        "QVariant(QVariantMap, QMap((values, QVariant(QVariantList, (QVariant(int, 1))))))";
    const QStringList noEvent{"results {values=invalid}"};
    return {
        reply("as many as the block", values({7, 250, 65535u}), true,
              {"results {values={angle=uint:65535, eventCountNo=int:-1, torque=int:250}}"}, {}),
        reply("one word too few", values({1}), true, noEvent, {unwaitedNumber(1, 3, oneWord)}),
        reply("empty list", values({}), true, noEvent, {unwaitedNumber(0, 3, "QVariant(QVariantList, ())")}),
        reply("a number, no list", numberForList(), true, noEvent,
              {notManaged, unwaitedNumber(0, 3, "QVariant(int, 5)")}),
        reply("a text, no list", textForList(), true, noEvent,
              {notManaged, unwaitedNumber(0, 3, "QVariant(QString, 1)")}),
        reply("a map with another number", mapForList(), true, noEvent, {unwaitedNumber(1, 3, oneWordMap)}),
        reply("null", nullForList(), true, noEvent, {notManaged, unwaitedNumber(0, 3, "QVariant(Invalid)")}),
        reply("no values", noValues(), false, {}, noKey),
        reply("failure notice", timedOut(), false, {}, noKey),
        reply("refused", refused(), true, noEvent, {unwaitedNumber(1, 3, zeroWord)}),
    };
}

QList<RunRow> runs()
{
    return {
        {"listenEventsData --count 2", "", 0, R"("eventCountNo":-1)", nullptr, 0},
        {"listenEventsData --seconds 0.5", "exception=2", 7, nullptr, c_goesOn, 1},
        {"listenEventsData --count 1", "no-answer@1", 0, R"("eventCountNo":-1)", c_goesOn, 1},
        {"listenEventsData --count 1", "cut-middle@1", 0, R"("eventCountNo":-1)", c_goesOn, 1},
        {"listenEventsData --count 1", "short@1", 0, R"("eventCountNo":-1)", c_goesOn, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "listenEventsData";
    rows.className = "DCmdListenEvents";
    rows.source = "d_cmd_listenEvents";
    rows.description = "Return the mesured value on the GPIO pin";
    rows.results =
        QStringList{"values|vart|"
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
