#include "plugins/p_driver_modbus/source/answer_check.h"
#include "plugins/p_driver_modbus/source/frame_trace.h"
#include "plugins/p_driver_modbus/source/line_drain.h"
#include "plugins/p_driver_modbus/source/link_statistics.h"
#include "plugins/p_driver_modbus/source/modbus_configuration.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"
#include "plugins/p_driver_modbus/source/poll_times.h"
#include "plugins/p_driver_modbus/source/request_queue.h"
#include "plugins/p_driver_modbus/source/wire_time.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

// What can be decided without a line: configuration, arguments, bytes, order of requests.
class TestModbusCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void configuration_data();
    void configuration();
    void configurationDefaults();
    void request_data();
    void request();
    void answer_data();
    void answer();
    void exceptionNames();
    void exceptionOnAWrite_data();
    void exceptionOnAWrite();
    void tcpStream_data();
    void tcpStream();
    void rtuStream_data();
    void rtuStream();
    void rtuAnswerLikeItsChecksum();
    void drainTimes();
    void wireTimes_data();
    void wireTimes();
    void joinedPollTimes_data();
    void joinedPollTimes();
    void pollTimesAfterRead_data();
    void pollTimesAfterRead();
    void pollTimesWhileAnotherComesAndGoes();
    void queueOrder();
    void queueServesEverybody();
    void queueServesInSpiteOfWithdrawals();
    void queueBounds();
    void statistics();
    void trace();
    void traceIsBounded();
};

namespace {

QJsonObject json(const QByteArray& text)
{
    return QJsonDocument::fromJson(text).object();
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

ModbusRequest readOf(ModbusRequest::Function function, quint16 start, quint16 count)
{
    ModbusRequest request;
    request.function = function;
    request.start = start;
    request.count = count;
    return request;
}

ModbusRequest writeOf(ModbusRequest::Function function, quint16 start, const QVector<quint16>& data)
{
    ModbusRequest request = readOf(function, start, static_cast<quint16>(data.size()));
    request.data = data;
    return request;
}

QVariantList numbers(int count, int value)
{
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(value);
    return list;
}

} // namespace

Q_DECLARE_METATYPE(ModbusRequest)

void TestModbusCodec::configuration_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error"); // empty: accepted

    const auto row = [](const char* name, const char* text, const char* error) {
        QTest::newRow(name) << QByteArray(text) << QString::fromLatin1(error);
    };
    row("least tcp", R"({"transport":"tcp"})", "");
    row("full tcp",
        R"({"transport":"tcp","host":"10.0.0.2","port":1502,"unitId":0,"addressOffset":-1,"interFrameDelay":5,
            "settleDelay":20,"connectTimeout":500,"queueCapacity":8,"frameTrace":"trace.txt"})",
        "");
    row("full rtu",
        R"({"transport":"rtu","serialPort":"COM3","baudRate":115200,"parity":"none","dataBits":8,"stopBits":2,"unitId":247})",
        "");
    row("no transport", "{}", R"("transport" is missing: one of "tcp", "rtu" is needed)");
    row("unknown transport", R"({"transport":"udp"})",
        R"("transport": "udp" is refused, one of "tcp", "rtu" is needed)");
    row("transport no text", R"({"transport":1})",
        R"("transport": 1 is refused, one of "tcp", "rtu" is needed)");
    row("unknown key", R"({"transport":"tcp","prot":502})", R"("prot": 502 is refused, the key is unknown)");
    row("empty host", R"({"transport":"tcp","host":" "})",
        R"("host": " " is refused, a text that is not empty is needed)");
    row("port 0", R"({"transport":"tcp","port":0})",
        R"("port": 0 is refused, a whole number from 1 to 65535 is needed)");
    row("port 1", R"({"transport":"tcp","port":1})", "");
    row("port 65535", R"({"transport":"tcp","port":65535})", "");
    row("port 65536", R"({"transport":"tcp","port":65536})",
        R"("port": 65536 is refused, a whole number from 1)");
    row("port text", R"({"transport":"tcp","port":"502"})",
        R"("port": "502" is refused, a whole number from 1)");
    row("port fraction", R"({"transport":"tcp","port":502.5})",
        R"("port": 502.5 is refused, a whole number)");
    row("port null", R"({"transport":"tcp","port":null})", R"("port": null is refused, a whole number)");
    row("port list", R"({"transport":"tcp","port":[502]})", R"("port": [502] is refused, a whole number)");
    row("rtu without port", R"({"transport":"rtu"})", R"("serialPort" is missing)");
    row("rtu unit 0", R"({"transport":"rtu","serialPort":"COM3","unitId":0})",
        R"("unitId": 0 is refused, a whole number from 1 to 247)");
    row("unit -1", R"({"transport":"tcp","unitId":-1})",
        R"("unitId": -1 is refused, a whole number from 0 to 247)");
    row("unit 248", R"({"transport":"tcp","unitId":248})",
        R"("unitId": 248 is refused, a whole number from 0 to 247)");
    row("offset 1", R"({"transport":"tcp","addressOffset":1})",
        R"("addressOffset": 1 is refused, a whole number from -1 to 0)");
    row("offset -2", R"({"transport":"tcp","addressOffset":-2})", R"("addressOffset": -2 is refused)");
    row("parity", R"({"transport":"tcp","parity":"mark"})",
        R"("parity": "mark" is refused, one of "none", "even", "odd" is needed)");
    row("data bits", R"({"transport":"tcp","dataBits":7})", R"("dataBits": 7 is refused, only 8 is allowed)");
    row("stop bits", R"({"transport":"tcp","stopBits":3})",
        R"("stopBits": 3 is refused, a whole number from 1 to 2)");
    row("baud rate", R"({"transport":"tcp","baudRate":0})",
        R"("baudRate": 0 is refused, a whole number from 300)");
    row("connect timeout", R"({"transport":"tcp","connectTimeout":0})", R"("connectTimeout": 0 is refused)");
    row("queue capacity", R"({"transport":"tcp","queueCapacity":0})", R"("queueCapacity": 0 is refused)");
    row("settle delay", R"({"transport":"tcp","settleDelay":-1})", R"("settleDelay": -1 is refused)");
    row("frame delay", R"({"transport":"tcp","interFrameDelay":10001})",
        R"("interFrameDelay": 10001 is refused)");
    row("trace", R"({"transport":"tcp","frameTrace":true})", R"("frameTrace": true is refused)");
}

void TestModbusCodec::configuration()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, error);
    QStringList errors;
    parseModbusConfiguration(json(text), &errors);
    if (error.isEmpty()) {
        QCOMPARE(errors, QStringList());
        return;
    }
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.first().startsWith(error), qPrintable(errors.first()));
}

void TestModbusCodec::configurationDefaults()
{
    QStringList errors;
    const ModbusConfiguration least = parseModbusConfiguration(json(R"({"transport":"tcp"})"), &errors);
    QCOMPARE(least.address(), QStringLiteral("127.0.0.1:502"));
    QCOMPARE(least.unitId, 1);
    QCOMPARE(least.addressOffset, 0);
    QCOMPARE(least.interFrameDelay, 0);
    QCOMPARE(least.settleDelay, 0);
    QCOMPARE(least.connectTimeout, 3000);
    QCOMPARE(least.queueCapacity, 64);
    QCOMPARE(least.baudRate, 19200);
    QVERIFY(least.parity == ModbusConfiguration::Parity::Even);
    QCOMPARE(least.dataBits, 8);
    QCOMPARE(least.stopBits, 1);
    QCOMPARE(least.frameTrace, QString());

    const ModbusConfiguration rtu = parseModbusConfiguration(
        json(
            R"({"transport":"rtu","serialPort":"COM3","parity":"odd","stopBits":2,"unitId":7,"baudRate":9600})"),
        &errors);
    QVERIFY(rtu.transport == ModbusConfiguration::Transport::Rtu);
    QCOMPARE(rtu.address(), QStringLiteral("COM3"));
    QVERIFY(rtu.parity == ModbusConfiguration::Parity::Odd);
    QCOMPARE(rtu.stopBits, 2);
    QCOMPARE(rtu.unitId, 7);
    QCOMPARE(rtu.baudRate, 9600);

    const ModbusConfiguration v6 =
        parseModbusConfiguration(json(R"({"transport":"tcp","host":"::1"})"), &errors);
    QCOMPARE(v6.address(), QStringLiteral("[::1]:502"));
    QCOMPARE(errors, QStringList());

    // Every error is told, not only the first.
    parseModbusConfiguration(json(R"({"transport":"x","port":0,"hots":"a","unitId":300})"), &errors);
    QCOMPARE(errors.size(), 4);
}

void TestModbusCodec::request_data()
{
    QTest::addColumn<bool>("write");
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QByteArray>("pdu"); // empty: refused
    QTest::addColumn<QString>("error");

    const auto read = [](const char* name, const QVariant& address, const QVariant& type,
                         const QVariant& size, int offset, const char* pdu, const char* error) {
        QVariantMap arguments{{"register", address}, {"registerType", type}};
        if (size.isValid())
            arguments.insert("dataSize", size);
        QTest::addRow("read, %s", name)
            << false << arguments << offset << hex(pdu) << QString::fromLatin1(error);
    };
    const auto write = [](const char* name, const QVariant& address, const QVariant& type,
                          const QVariant& data, const QVariant& size, int offset, const char* pdu,
                          const char* error) {
        QVariantMap arguments{{"register", address}, {"registerType", type}, {"data", data}};
        if (size.isValid())
            arguments.insert("dataSize", size);
        QTest::addRow("write, %s", name)
            << true << arguments << offset << hex(pdu) << QString::fromLatin1(error);
    };
    const QVariant none;

    read("holding, default size", 5101, "holdingRegisters", none, 0, "03 13ed 0001", "");
    read("single", 5101, "singleRegister", 1, 0, "03 13ed 0001", "");
    read("input", 0, "inputRegisters", 2, 0, "04 0000 0002", "");
    read("coils", 65535, "coils", 1, 0, "01 ffff 0001", "");
    read("discrete", 16, "discreteInputs", 9, 0, "02 0010 0009", "");
    read("offset -1", 5101, "holdingRegisters", 1, -1, "03 13ec 0001", "");
    read("offset -1 at 0", 0, "holdingRegisters", 1, -1, "", "\"register\" is 0: with the address offset -1");
    read("offset -1 at 1", 1, "holdingRegisters", 1, -1, "03 0000 0001", "");
    read("size 0", 0, "holdingRegisters", 0, 0, "",
         "\"dataSize\" is 0: a whole number from 1 to 125 is needed");
    read("size 125", 0, "holdingRegisters", 125, 0, "03 0000 007d", "");
    read("size 126", 0, "holdingRegisters", 126, 0, "",
         "\"dataSize\" is 126: a whole number from 1 to 125 is needed");
    read("size text", 0, "holdingRegisters", "3", 0, "03 0000 0003", "");
    read("size 65537 does not wrap", 0, "holdingRegisters", 65537, 0, "", "\"dataSize\" is 65537");
    read("size 1.5", 0, "holdingRegisters", 1.5, 0, "", "\"dataSize\" is 1.5");
    read("last address", 65535, "holdingRegisters", 1, 0, "03 ffff 0001", "");
    read("range up to the end", 65411, "holdingRegisters", 125, 0, "03 ff83 007d", "");
    read("range past the end", 65412, "holdingRegisters", 125, 0, "", "\"register\" is 65412");
    read("address -1", -1, "holdingRegisters", 1, 0, "",
         "\"register\" is -1: a whole number from 0 to 65535");
    read("address 65536 does not wrap", 65536, "holdingRegisters", 1, 0, "", "\"register\" is 65536");
    read("address 2^32 does not wrap", Q_INT64_C(4294967296), "holdingRegisters", 1, 0, "",
         "\"register\" is 4294967296");
    read("address missing", none, "holdingRegisters", 1, 0, "", "\"register\" is ");
    read("type missing", 1, none, 1, 0, "",
         "\"registerType\" is nothing: one of holdingRegisters, singleRegister");
    read("type unknown", 1, "holdingregisters", 1, 0, "", "\"registerType\" is \"holdingregisters\": one of");
    read("type empty", 1, "", 1, 0, "", "\"registerType\" is \"\": one of");
    read("type a number", 1, 3, 1, 0, "", "\"registerType\" is 3: one of");

    write("single", 5001, "singleRegister", 1, none, 0, "06 1389 0001", "");
    write("single with size", 5001, "singleRegister", 65535, 1, 0, "06 1389 ffff", "");
    write("single true", 5001, "singleRegister", true, 1, 0, "06 1389 0001", "");
    write("single text", 5001, "singleRegister", "258", 1, 0, "06 1389 0102", "");
    write("text with leading zero", 5001, "singleRegister", "010", 1, 0, "06 1389 000a", "");
    write("text with blank", 5001, "singleRegister", " 1", 1, 0, "", "\"data\" is \" 1\": a whole number");
    write("text with sign", 5001, "singleRegister", "-1", 1, 0, "", "\"data\" is \"-1\": a whole number");
    write("text hex", 5001, "singleRegister", "0x10", 1, 0, "", "\"data\" is \"0x10\"");
    write("text empty", 5001, "singleRegister", "", 1, 0, "", "\"data\" is \"\"");
    write("text too large", 5001, "singleRegister", "65536", 1, 0, "", "\"data\" is \"65536\"");
    write("text of 30 digits", 5001, "singleRegister", "000000000000000000000000000001", 1, 0, "",
          "\"data\" is ");
    write("value 65536 does not wrap", 5001, "singleRegister", 65536, 1, 0, "",
          "\"data\" is 65536: a whole number from 0 to 65535");
    write("value -1 does not wrap", 5001, "singleRegister", -1, 1, 0, "", "\"data\" is -1");
    write("value 1.5", 5001, "singleRegister", 1.5, 1, 0, "", "\"data\" is 1.5");
    write("value a map", 5001, "singleRegister", QVariantMap(), 1, 0, "", "\"data\" is ");
    write("no value", 5001, "singleRegister", none, 1, 0, "", "\"data\" is ");
    write("list of one", 5001, "singleRegister", QVariantList{7}, 1, 0, "06 1389 0007", "");
    write("single two values", 5001, "singleRegister", QVariantList{7, 8}, 2, 0, "",
          "\"dataSize\" is 2: a whole number from 1 to 1");
    write("single two values without size", 5001, "singleRegister", QVariantList{7, 8}, none, 0, "",
          "\"data\" is a list of 2: \"singleRegister\" takes from 1 to 1 values");
    write("holding one", 5001, "holdingRegisters", 3, 1, 0, "10 1389 0001 02 0003", "");
    write("holding list", 5001, "holdingRegisters", QVariantList{1, "2", true}, 3, 0,
          "10 1389 0003 06 0001 0002 0001", "");
    write("holding list without size", 5001, "holdingRegisters", QVariantList{1, 2}, none, 0,
          "10 1389 0002 04 0001 0002", "");
    write("holding size differs", 5001, "holdingRegisters", QVariantList{1, 2}, 3, 0, "",
          "\"dataSize\" is 3, but \"data\" has 2 values");
    write("holding empty list", 5001, "holdingRegisters", QVariantList{}, none, 0, "",
          "\"data\" is a list of 0");
    write("holding 123", 0, "holdingRegisters", numbers(123, 0), 123, 0,
          QByteArray("10 0000 007b f6" + QByteArray(" 0000").repeated(123)).constData(), "");
    write("holding 124", 0, "holdingRegisters", numbers(124, 0), 124, 0, "",
          "\"dataSize\" is 124: a whole number from 1 to 123");
    write("holding bad second", 0, "holdingRegisters", QVariantList{1, 70000}, 2, 0, "", "\"data\" is 70000");
    write("holding past the end", 65535, "holdingRegisters", QVariantList{1, 2}, 2, 0, "",
          "\"register\" is 65535");
    write("coil on", 9, "coils", 1, 1, 0, "05 0009 ff00", "");
    write("coil off", 9, "coils", false, 1, 0, "05 0009 0000", "");
    write("coil 2", 9, "coils", 2, 1, 0, "", "\"data\" is 2: a whole number from 0 to 1");
    write("input", 9, "inputRegisters", 1, 1, 0, "",
          "\"registerType\" is \"inputRegisters\": that can only be read");
    write("discrete", 9, "discreteInputs", 1, 1, 0, "",
          "\"registerType\" is \"discreteInputs\": that can only be read");
    write("offset", 5001, "singleRegister", 1, 1, -1, "06 1388 0001", "");
}

void TestModbusCodec::request()
{
    QFETCH(bool, write);
    QFETCH(QVariantMap, arguments);
    QFETCH(int, offset);
    QFETCH(QByteArray, pdu);
    QFETCH(QString, error);
    QString told;
    const std::optional<ModbusRequest> request =
        write ? writeRequest(arguments, offset, &told) : readRequest(arguments, offset, &told);
    QCOMPARE(request.has_value(), !pdu.isEmpty());
    QCOMPARE(told.isEmpty(), error.isEmpty());
    QVERIFY2(error.isEmpty() || told.startsWith(error), qPrintable(told));
    if (request) {
        QCOMPARE(request->pdu().toHex(), pdu.toHex());
        QCOMPARE(request->isWrite(), write);
    }
}

void TestModbusCodec::answer_data()
{
    QTest::addColumn<ModbusRequest>("request");
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<QVariantList>("values"); // of the golden answer
    QTest::addColumn<QByteArray>("information");

    QTest::newRow("two holding registers")
        << readOf(ModbusRequest::ReadHoldingRegisters, 1, 2) << hex("03 04 0102 ffff")
        << QVariantList{258, 65535} << QByteArray();
    QTest::newRow("an input register") << readOf(ModbusRequest::ReadInputRegisters, 1, 1) << hex("04 02 8000")
                                       << QVariantList{32768} << QByteArray();
    QTest::newRow("eight coils") << readOf(ModbusRequest::ReadCoils, 1, 8) << hex("01 01 81")
                                 << QVariantList{1, 0, 0, 0, 0, 0, 0, 1} << QByteArray();
    QTest::newRow("nine discrete inputs")
        << readOf(ModbusRequest::ReadDiscreteInputs, 1, 9) << hex("02 02 00 01")
        << QVariantList{0, 0, 0, 0, 0, 0, 0, 0, 1} << QByteArray();
    QTest::newRow("write a coil") << writeOf(ModbusRequest::WriteSingleCoil, 9, {1}) << hex("05 0009 ff00")
                                  << QVariantList{1} << QByteArray();
    QTest::newRow("write a register") << writeOf(ModbusRequest::WriteSingleRegister, 5001, {258})
                                      << hex("06 1389 0102") << QVariantList{1} << QByteArray();
    QTest::newRow("write registers") << writeOf(ModbusRequest::WriteMultipleRegisters, 5001, {1, 2})
                                     << hex("10 1389 0002") << QVariantList{1} << QByteArray();
    QTest::newRow("identification") << deviceInformationRequest() << hex("11 0c 010203040506070809101112")
                                    << QVariantList() << hex("010203040506070809101112");
    QTest::newRow("exception") << readOf(ModbusRequest::ReadHoldingRegisters, 1, 2) << hex("83 02")
                               << QVariantList() << QByteArray();
}

void TestModbusCodec::answer()
{
    QFETCH(ModbusRequest, request);
    QFETCH(QByteArray, pdu);
    QFETCH(QVariantList, values);
    QFETCH(QByteArray, information);
    const ModbusAnswer good = decodeAnswer(request, pdu);
    QVERIFY2(good.kind != ModbusAnswer::Malformed, qPrintable(good.text));
    QCOMPARE(good.kind == ModbusAnswer::Refused, (pdu.at(0) & 0x80) != 0);
    QCOMPARE(good.values, values);
    QCOMPARE(good.information, information);

    // Any other length is no answer.
    for (int size = 0; size < pdu.size(); ++size)
        QCOMPARE(decodeAnswer(request, pdu.left(size)).kind, ModbusAnswer::Malformed);
    QCOMPARE(decodeAnswer(request, pdu + '\0').kind, ModbusAnswer::Malformed);
    // Nor is another function, or another exception's.
    QByteArray other = pdu;
    other[0] = static_cast<char>(other.at(0) ^ 0x07);
    QCOMPARE(decodeAnswer(request, other).kind, ModbusAnswer::Malformed);
    // A write repeats what was asked: any byte that differs makes it another's.
    if (request.isWrite()) {
        for (int i = 1; i < pdu.size(); ++i) {
            QByteArray changed = pdu;
            changed[i] = static_cast<char>(changed.at(i) ^ 1);
            QCOMPARE(decodeAnswer(request, changed).kind, ModbusAnswer::Malformed);
        }
    }
    // A count that fits its bytes but not the request.
    if (request.function == ModbusRequest::ReadHoldingRegisters && good.kind == ModbusAnswer::Values) {
        QCOMPARE(decodeAnswer(request, hex("03 02 0102")).kind, ModbusAnswer::Malformed);
        QCOMPARE(decodeAnswer(request, hex("03 06 0102 0304 0506")).kind, ModbusAnswer::Malformed);
    }
}

void TestModbusCodec::exceptionNames()
{
    QCOMPARE(decodeAnswer(readOf(ModbusRequest::ReadHoldingRegisters, 1, 2), hex("83 02")).text,
             QStringLiteral("illegal data address (2)"));
    QCOMPARE(exceptionText(1), QStringLiteral("illegal function (1)"));
    QCOMPARE(exceptionText(6), QStringLiteral("server device busy (6)"));
    QCOMPARE(exceptionText(99), QStringLiteral("exception (99)"));
}

void TestModbusCodec::exceptionOnAWrite_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("denies");
    QTest::newRow("illegal function") << 1 << true;
    QTest::newRow("illegal data address") << 2 << true;
    QTest::newRow("illegal data value") << 3 << true;
    QTest::newRow("server device failure: may have happened on the way") << 4 << false;
    QTest::newRow("acknowledge: is being carried out") << 5 << false;
    QTest::newRow("server device busy") << 6 << true;
    QTest::newRow("negative acknowledge") << 7 << true;
    QTest::newRow("memory parity error") << 8 << true;
    QTest::newRow("gateway path unavailable: not delivered") << 10 << true;
    QTest::newRow("gateway target failed to respond: delivered, perhaps") << 11 << false;
    QTest::newRow("a controller's own") << 99 << true;
}

void TestModbusCodec::exceptionOnAWrite()
{
    QFETCH(int, code);
    QFETCH(bool, denies);
    const char byte = static_cast<char>(code);
    for (const ModbusRequest& request : {writeOf(ModbusRequest::WriteSingleRegister, 1, {2}),
                                         writeOf(ModbusRequest::WriteMultipleRegisters, 1, {2, 3}),
                                         writeOf(ModbusRequest::WriteSingleCoil, 1, {1})}) {
        const QByteArray pdu(1, static_cast<char>(request.function | 0x80));
        const ModbusAnswer answer = decodeAnswer(request, pdu + byte);
        QCOMPARE(answer.kind, denies ? ModbusAnswer::Refused : ModbusAnswer::Undecided);
        QCOMPARE(answer.text, exceptionText(code));
    }
    // There is nothing uncertain about a read.
    QCOMPARE(decodeAnswer(readOf(ModbusRequest::ReadHoldingRegisters, 1, 2), hex("83") + byte).kind,
             ModbusAnswer::Refused);
    QCOMPARE(decodeAnswer(deviceInformationRequest(), hex("91") + byte).kind, ModbusAnswer::Refused);
}

void TestModbusCodec::tcpStream_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<bool>("complete"); // a frame is
    QTest::addColumn<bool>("confirmed");
    QTest::addColumn<QString>("problem");

    // The client's answer is 03 02 0007 from unit 1.
    QTest::newRow("good") << hex("0001 0000 0005 01 03020007") << true << true << "";
    QTest::newRow("one byte short") << hex("0001 0000 0005 01 030200") << false << false
                                    << "its length field";
    QTest::newRow("one byte more") << hex("0001 0000 0005 01 03020007 00") << true << true << "more came";
    QTest::newRow("another unit") << hex("0001 0000 0005 09 03020007") << true << false
                                  << "it came from unit 9 instead of 1";
    QTest::newRow("another protocol")
        << hex("0001 0001 0005 01 03020007") << true << false << "its protocol identifier is 1";
    QTest::newRow("length 0") << hex("0001 0000 0000 01 03020007") << true << false
                              << "its length field is 0";
    QTest::newRow("length 1") << hex("0001 0000 0001 01 03020007") << true << false
                              << "its length field is 1";
    QTest::newRow("length 254, incomplete")
        << hex("0001 0000 00fe 01 03020007") << false << false << "its length field does not";
    QTest::newRow("length 255") << hex("0001 0000 00ff 01 03020007") << false << false
                                << "its length field is 255";
    QTest::newRow("length too small")
        << hex("0001 0000 0004 01 03020007") << true << false << "its length field";
    QTest::newRow("twice") << hex("0001 0000 0005 01 03020007 0001 0000 0005 01 03020007") << true << true
                           << "more came";
    QTest::newRow("behind another's")
        << hex("0000 0000 0005 01 03020001 0001 0000 0005 01 03020007") << true << false
        << "its length field does not fit what it holds, or another frame stands before it";
    QTest::newRow("before a broken one")
        << hex("0001 0000 0005 01 03020007 0001 0007 0005") << true << true << "more came";
    QTest::newRow("a part of the header") << hex("0001 0000 00") << false << false << "its length field";
    QTest::newRow("nothing") << QByteArray() << false << false << "its length field";
}

void TestModbusCodec::tcpStream()
{
    QFETCH(QByteArray, received);
    QFETCH(bool, confirmed);
    QFETCH(QString, problem);
    QTEST(holdsTcpFrame(received), "complete");
    const AnswerCheck check = checkTcpAnswer(received, 1, hex("020007"));
    QCOMPARE(check.confirmed, confirmed);
    QCOMPARE(check.pdu, confirmed ? hex("03020007") : QByteArray());
    QCOMPARE(check.problem.isEmpty(), problem.isEmpty());
    QVERIFY2(problem.isEmpty() || check.problem.startsWith(problem), qPrintable(check.problem));
}

void TestModbusCodec::rtuStream_data()
{
    QTest::addColumn<QByteArray>("received");
    QTest::addColumn<bool>("confirmed");
    QTest::addColumn<QString>("problem");

    QTest::newRow("good") << hex("01 03020007 1234") << true << "";
    // The client takes no answer before its checksum is there.
    QTest::newRow("one byte short") << hex("01 03020007 12") << false << "it holds no answer of unit 1";
    QTest::newRow("one byte more") << hex("01 03020007 1234 00") << true << "more came";
    QTest::newRow("noise before") << hex("ff 01 03020007 1234") << true << "more came";
    QTest::newRow("the same before, from another unit")
        << hex("05 83020007 1234 01 03020007 1234") << true << "more came";
    QTest::newRow("another unit's behind it")
        << hex("01 03020007 1234 05 83020007 1234") << true << "more came";
    QTest::newRow("without a unit") << hex("03020007 1234") << false << "it holds no answer of unit 1";
    QTest::newRow("nothing") << QByteArray() << false << "it holds no answer of unit 1";
    QTest::newRow("a function code alone") << hex("01 03 1234") << false << "it holds no answer of unit 1";
    QTest::newRow("another unit") << hex("02 03020007 1234") << false << "it holds no answer of unit 1";
}

void TestModbusCodec::rtuStream()
{
    QFETCH(QByteArray, received);
    QFETCH(bool, confirmed);
    const AnswerCheck check = checkRtuAnswer(received, 1, hex("020007"));
    QCOMPARE(check.confirmed, confirmed);
    QCOMPARE(check.pdu, confirmed ? hex("03020007") : QByteArray());
    QFETCH(QString, problem);
    QCOMPARE(check.problem.isEmpty(), problem.isEmpty());
    QVERIFY2(problem.isEmpty() || check.problem.startsWith(problem), qPrintable(check.problem));
}

// The checksum of this frame begins like its data ends: at the wrong place it holds another function.
void TestModbusCodec::rtuAnswerLikeItsChecksum()
{
    const QByteArray frame = hex("06 06 11111111 1118");
    const AnswerCheck check = checkRtuAnswer(frame, 6, hex("11111111"));
    QVERIFY(check.confirmed);
    QCOMPARE(check.problem, QString());
    QCOMPARE(check.pdu, hex("0611111111"));
    // The same behind noise.
    QCOMPARE(checkRtuAnswer(hex("ff") + frame, 6, hex("11111111")).pdu, hex("0611111111"));
}

void TestModbusCodec::drainTimes()
{
    QCOMPARE(drainTimeAfter(1), 100);
    QCOMPARE(drainTimeAfter(100), 100);
    QCOMPARE(drainTimeAfter(101), 101);
    QCOMPARE(drainTimeAfter(3000), 3000);
    QCOMPARE(drainTimeAfter(60000), 60000);
    QCOMPARE(drainTimeAfterByte(0), 100);
    QCOMPARE(drainTimeAfterByte(99), 100);
    QCOMPARE(drainTimeAfterByte(2000), 2000);
}

namespace {

// Times of the following tables are milliseconds from here.
constexpr PollTimes::Clock::time_point c_start{std::chrono::hours(1)};

PollTimes::Clock::time_point at(int milliseconds)
{
    return c_start + std::chrono::milliseconds(milliseconds);
}

int millisecondsOf(PollTimes::Clock::time_point time)
{
    return static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(time - c_start).count());
}

} // namespace

void TestModbusCodec::wireTimes_data()
{
    using Parity = ModbusConfiguration::Parity;
    QTest::addColumn<int>("baudRate");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("stopBits");
    QTest::addColumn<int>("function");
    QTest::addColumn<int>("count");
    QTest::addColumn<qint64>("silence"); // before each of the two frames
    QTest::addColumn<int>("characters"); // of both
    QTest::addColumn<qint64>("time");
    const auto row = [](const char* name, int baudRate, Parity parity, int stopBits,
                        ModbusRequest::Function function, int count, qint64 silence, int characters,
                        qint64 time) {
        QTest::newRow(name) << baudRate << static_cast<int>(parity) << stopBits << static_cast<int>(function)
                            << count << silence << characters << time;
    };
    constexpr auto c_read = ModbusRequest::ReadHoldingRegisters;
    // 1000 baud and 10 bits: 10 ms a character.
    row("one register", 1000, Parity::None, 1, c_read, 1, 35000, 8 + 7, 70000 + 150000);
    row("parity bit", 1000, Parity::Even, 1, c_read, 1, 38500, 8 + 7, 77000 + 165000);
    row("odd parity", 1000, Parity::Odd, 1, c_read, 1, 38500, 8 + 7, 77000 + 165000);
    row("two stop bits", 1000, Parity::None, 2, c_read, 1, 38500, 8 + 7, 77000 + 165000);
    row("most registers", 1000, Parity::None, 1, c_read, 125, 35000, 8 + 255, 70000 + 2630000);
    row("input registers", 1000, Parity::None, 1, ModbusRequest::ReadInputRegisters, 2, 35000, 8 + 9,
        70000 + 170000);
    row("eight bits", 1000, Parity::None, 1, ModbusRequest::ReadCoils, 8, 35000, 8 + 6, 70000 + 140000);
    row("nine bits", 1000, Parity::None, 1, ModbusRequest::ReadDiscreteInputs, 9, 35000, 8 + 7,
        70000 + 150000);
    row("write of a bit", 1000, Parity::None, 1, ModbusRequest::WriteSingleCoil, 1, 35000, 8 + 8,
        70000 + 160000);
    row("write of a register", 1000, Parity::None, 1, ModbusRequest::WriteSingleRegister, 1, 35000, 8 + 8,
        70000 + 160000);
    row("write of three registers", 1000, Parity::None, 1, ModbusRequest::WriteMultipleRegisters, 3, 35000,
        15 + 8, 70000 + 230000);
    // Its answer may be empty.
    row("identification", 1000, Parity::None, 1, ModbusRequest::ReportServerId, 0, 35000, 4 + 5,
        70000 + 90000);
    // 11 bits at 19200 baud are 572.9… µs; both frames are rounded up.
    row("fastest rate whose silence is counted", 19200, Parity::Even, 1, c_read, 60, 2006, 8 + 125,
        4012 + 4584 + 71615);
    row("silence above 19200 baud", 19201, Parity::Even, 1, c_read, 1, 1750, 8 + 7, 3500 + 4584 + 4011);
    row("fast", 115200, Parity::Even, 1, c_read, 60, 1750, 8 + 125, 3500 + 764 + 11936);
    row("fastest", 4000000, Parity::None, 1, c_read, 125, 1750, 8 + 255, 3500 + 20 + 638);
    row("slowest", 300, Parity::Even, 2, ModbusRequest::WriteMultipleRegisters, 123, 140000, 255 + 8,
        280000 + 10200000 + 320000);
}

void TestModbusCodec::wireTimes()
{
    QFETCH(int, baudRate);
    QFETCH(int, parity);
    QFETCH(int, stopBits);
    QFETCH(int, function);
    QFETCH(int, count);
    QFETCH(qint64, silence);
    QFETCH(int, characters);
    QFETCH(qint64, time);
    ModbusConfiguration line;
    line.transport = ModbusConfiguration::Transport::Rtu;
    line.baudRate = baudRate;
    line.parity = static_cast<ModbusConfiguration::Parity>(parity);
    line.stopBits = stopBits;
    ModbusRequest request;
    request.function = static_cast<ModbusRequest::Function>(function);
    request.count = static_cast<quint16>(count);
    if (request.isWrite())
        request.data = QVector<quint16>(count, 1);
    QCOMPARE(frameSilence(line), silence);
    QCOMPARE(wireTime(line, request), time);
    // A protocol data unit goes without the unit and the checksum.
    const qint64 together = frameTime(line, characters - 3);
    QVERIFY2(qAbs(2 * silence + together - time) <= 1, qPrintable(QString::number(together)));
}

void TestModbusCodec::joinedPollTimes_data()
{
    QTest::addColumn<int>("now");
    QTest::addColumn<int>("interval");
    QTest::addColumn<int>("lastStart"); // negative: never read
    QTest::addColumn<bool>("isRunning");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("due");
    QTest::newRow("a new range is read now") << 500 << 100 << -1 << false << 500 << 500;
    QTest::newRow("not read for an interval") << 500 << 100 << 400 << false << 500 << 500;
    QTest::newRow("not read for long") << 500 << 100 << 1 << false << 500 << 500;
    QTest::newRow("read just now") << 500 << 100 << 499 << false << 500 << 599;
    QTest::newRow("read within the interval") << 500 << 100 << 401 << false << 500 << 501;
    QTest::newRow("being read") << 500 << 100 << 490 << true << 590 << 590;
    QTest::newRow("being read for longer than an interval") << 500 << 100 << 350 << true << 450 << 450;
}

void TestModbusCodec::joinedPollTimes()
{
    QFETCH(int, now);
    QFETCH(int, interval);
    QFETCH(int, lastStart);
    QFETCH(bool, isRunning);
    std::optional<LastRead> last;
    if (lastStart >= 0)
        last = LastRead{at(lastStart), isRunning};
    const PollTimes times = joinedAt(at(now), std::chrono::milliseconds(interval), last);
    QTEST(millisecondsOf(times.from), "from");
    QTEST(millisecondsOf(times.due), "due");
    QCOMPARE(static_cast<int>(times.interval.count()), interval);
}

void TestModbusCodec::pollTimesAfterRead_data()
{
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("due");
    QTest::addColumn<int>("start");
    QTest::addColumn<bool>("isDue");
    QTest::addColumn<bool>("takes");
    QTest::addColumn<int>("next"); // of a listener with an interval of 100
    QTest::newRow("in time") << 500 << 500 << 500 << true << true << 600;
    QTest::newRow("a little late: the beat is kept") << 500 << 500 << 507 << true << true << 600;
    QTest::newRow("nearly an interval late") << 500 << 500 << 599 << true << true << 600;
    QTest::newRow("an interval late: the beat starts anew") << 500 << 500 << 600 << true << true << 700;
    QTest::newRow("after a long gap") << 500 << 500 << 5030 << true << true << 5130;
    QTest::newRow("within the tolerance") << 500 << 500 << 498 << true << true << 600;
    QTest::newRow("before its time") << 500 << 500 << 497 << false << false << 597;
    QTest::newRow("joined, taken before it is due") << 450 << 500 << 460 << false << true << 560;
}

void TestModbusCodec::pollTimesAfterRead()
{
    QFETCH(int, from);
    QFETCH(int, due);
    QFETCH(int, start);
    QFETCH(bool, takes);
    const PollTimes times{std::chrono::milliseconds(100), at(from), at(due)};
    QTEST(isDue(times, at(start)), "isDue");
    QCOMPARE(takesRead(times, at(start)), takes);
    const PollTimes next = afterRead(times, at(start));
    QTEST(millisecondsOf(next.due), "next");
    QVERIFY(next.from == next.due);
    QCOMPARE(static_cast<int>(next.interval.count()), 100);
}

// A listener of 1000 ms and one of 990 ms that comes and goes every 800 ms.
void TestModbusCodec::pollTimesWhileAnotherComesAndGoes()
{
    const std::chrono::milliseconds slowInterval(1000);
    PollTimes slow = joinedAt(at(0), slowInterval, std::nullopt);
    std::optional<PollTimes> fast;
    std::optional<LastRead> last;
    int longestGap = 0;
    int reads = 0;
    constexpr int c_end = 20000;
    for (int now = 0; now < c_end; ++now) {
        if (now % 800 == 200)
            fast = joinedAt(at(now), std::chrono::milliseconds(990), last);
        if (now % 800 == 600)
            fast.reset();
        const std::vector<PollTimes> all = fast ? std::vector<PollTimes>{slow, *fast} : std::vector{slow};
        if (nextRead(all) > at(now))
            continue;
        if (last)
            longestGap = std::max(longestGap, now - millisecondsOf(last->startedAt));
        last = LastRead{at(now), false};
        ++reads;
        if (takesRead(slow, at(now)))
            slow = afterRead(slow, at(now));
        if (fast && takesRead(*fast, at(now)))
            fast = afterRead(*fast, at(now));
        QVERIFY2(slow.due <= at(now) + slowInterval, qPrintable(QString::number(now)));
    }
    QVERIFY2(longestGap <= 1000, qPrintable(QString::number(longestGap)));
    // Nor does who comes and goes cause a read each time.
    QVERIFY2(reads <= 2 * c_end / 1000, qPrintable(QString::number(reads)));
}

void TestModbusCodec::queueOrder()
{
    RequestQueue queue(10);
    const auto push = [&queue](quint64 id, RequestPriority priority) {
        return queue.push({id, {}, priority, QDeadlineTimer(QDeadlineTimer::Forever), {}});
    };
    QVERIFY(push(1, RequestPriority::Poll));
    QVERIFY(push(2, RequestPriority::Read));
    QVERIFY(push(3, RequestPriority::Write));
    QVERIFY(push(4, RequestPriority::Read));
    QVERIFY(push(5, RequestPriority::Write));
    QVERIFY(push(6, RequestPriority::Poll));
    QVERIFY(queue.remove(4));
    QVERIFY(!queue.remove(4));
    QList<quint64> order;
    while (const std::optional<PendingRequest> next = queue.takeNext())
        order.append(next->id);
    QCOMPARE(order, (QList<quint64>{3, 5, 2, 1, 6}));
}

// Writes and reads without an end keep nobody from being served.
void TestModbusCodec::queueServesEverybody()
{
    constexpr int c_taken = 100;
    RequestQueue queue(10);
    QMap<RequestPriority, int> waiting{{RequestPriority::Read, 0}, {RequestPriority::Poll, 0}};
    QMap<RequestPriority, int> served;
    const auto push = [&queue](RequestPriority priority) {
        return queue.push(
            {static_cast<quint64>(priority), {}, priority, QDeadlineTimer(QDeadlineTimer::Forever), {}});
    };
    for (const RequestPriority priority :
         {RequestPriority::Poll, RequestPriority::Read, RequestPriority::Write})
        QVERIFY(push(priority));
    for (int i = 0; i < c_taken; ++i) {
        const std::optional<PendingRequest> next = queue.takeNext();
        QVERIFY(next);
        ++served[next->priority];
        for (auto it = waiting.begin(); it != waiting.end(); ++it) {
            if (next->priority < it.key())
                ++it.value();
            else if (next->priority == it.key())
                it.value() = 0;
            QVERIFY2(it.value() <= RequestQueue::c_mostOvertaking, qPrintable(QString::number(i)));
        }
        QVERIFY(push(next->priority));
    }
    // The writes have most of the link.
    QVERIFY(served.value(RequestPriority::Write) > c_taken * 3 / 4);
}

// Those who give up before their turn bring it nearer for those behind them; otherwise there might be none.
void TestModbusCodec::queueServesInSpiteOfWithdrawals()
{
    RequestQueue queue(10);
    quint64 lastId = 0;
    const auto push = [&](RequestPriority priority) {
        queue.push({++lastId, {}, priority, QDeadlineTimer(QDeadlineTimer::Forever), {}});
        return lastId;
    };
    QList<quint64> polls{push(RequestPriority::Poll), push(RequestPriority::Poll)};
    push(RequestPriority::Write);
    int served = 0;
    int overtaking = 0;
    constexpr int c_taken = 100;
    for (int i = 0; i < c_taken; ++i) {
        const std::optional<PendingRequest> next = queue.takeNext();
        QVERIFY(next);
        push(next->priority);
        if (next->priority == RequestPriority::Poll) {
            QCOMPARE(next->id, polls.takeFirst());
            polls.append(lastId);
            ++served;
            overtaking = 0;
            continue;
        }
        QVERIFY2(++overtaking <= RequestQueue::c_mostOvertaking, qPrintable(QString::number(i)));
        // The first one gives up when half of those have gone that may overtake it.
        if (overtaking == RequestQueue::c_mostOvertaking / 2) {
            QVERIFY(queue.remove(polls.takeFirst()));
            polls.append(push(RequestPriority::Poll));
        }
    }
    QCOMPARE(served, c_taken / (RequestQueue::c_mostOvertaking + 1));
}

void TestModbusCodec::queueBounds()
{
    RequestQueue queue(2);
    QVERIFY(queue.earliestDeadline().isForever());
    QVERIFY(queue.push({1, {}, RequestPriority::Poll, QDeadlineTimer(QDeadlineTimer::Forever), {}}));
    QVERIFY(queue.push({2, {}, RequestPriority::Read, QDeadlineTimer(0), {}}));
    QVERIFY(!queue.push({3, {}, RequestPriority::Write, QDeadlineTimer(0), {}}));
    QCOMPARE(queue.size(), 2);
    QVERIFY(queue.earliestDeadline().hasExpired());
    const std::vector<PendingRequest> expired = queue.takeExpired();
    QCOMPARE(expired.size(), std::size_t{1});
    QCOMPARE(expired.front().id, quint64{2});
    QVERIFY(queue.push({4, {}, RequestPriority::Write, QDeadlineTimer(0), {}}));
    const std::vector<PendingRequest> all = queue.takeAll();
    QCOMPARE(all.size(), std::size_t{2});
    QCOMPARE(all.front().id, quint64{4});
    QCOMPARE(queue.size(), 0);
}

void TestModbusCodec::statistics()
{
    LinkStatistics statistics;
    QCOMPARE(statistics.toMap().value("roundTrips").toInt(), 0);
    QVERIFY(!statistics.toMap().contains("roundTripMinimum"));
    for (int i = 1; i <= 100; ++i)
        statistics.addRoundTrip(i * 1000000LL);
    QVariantMap map = statistics.toMap();
    QCOMPARE(map.value("roundTripMinimum").toDouble(), 1.0);
    QCOMPARE(map.value("roundTripMedian").toDouble(), 50.0);
    QCOMPARE(map.value("roundTripPercentile99").toDouble(), 99.0);
    // The window moves on: after as many as it holds, the first ones are forgotten.
    for (int i = 0; i < 1024; ++i)
        statistics.addRoundTrip(7000000);
    map = statistics.toMap();
    QCOMPARE(map.value("roundTrips").toInt(), 1024);
    QCOMPARE(map.value("roundTripMinimum").toDouble(), 7.0);
    QCOMPARE(map.value("roundTripPercentile99").toDouble(), 7.0);
    statistics.connections = 3;
    QCOMPARE(statistics.toMap().value("reconnects").toInt(), 2);
}

void TestModbusCodec::trace()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    {
        FrameTrace trace(path);
        trace.sent(hex("0103"));
        trace.received(hex("018302"));
    }
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QRegularExpression tx("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} tx 01 03\n$");
    const QRegularExpression rx("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} rx 01 83 02\n$");
    QVERIFY(tx.match(file.readLine()).hasMatch());
    QVERIFY(rx.match(file.readLine()).hasMatch());
    QVERIFY(file.atEnd());

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("frame trace .* cannot be written"));
    FrameTrace(folder.filePath("none/trace.txt")).sent(hex("01"));
}

void TestModbusCodec::traceIsBounded()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    constexpr qint64 c_limit = 1000;
    {
        FrameTrace trace(path, c_limit);
        for (int i = 0; i < 200; ++i)
            trace.sent(QByteArray(1, static_cast<char>(i)));
    }
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), (QStringList{"trace.txt", "trace.txt.1"}));
    QByteArray kept;
    for (const char* suffix : {".1", ""}) {
        QFile file(path + QLatin1String(suffix));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.size() > 0 && file.size() <= c_limit);
        kept += file.readAll();
    }
    // The last ones, in their order and without a gap.
    QList<QByteArray> lines = kept.trimmed().split('\n');
    for (int i = 200; !lines.isEmpty(); lines.removeLast())
        QVERIFY(lines.last().endsWith(" tx " + QByteArray(1, static_cast<char>(--i)).toHex()));

    // A trace that goes on counts what was there before.
    FrameTrace(path, 1).sent(hex("01"));
    QFile last(path);
    QVERIFY(last.open(QIODevice::ReadOnly));
    QCOMPARE(last.readAll().count('\n'), 1);
}

QTEST_GUILESS_MAIN(TestModbusCodec)
#include "tst_modbus_codec.moc"
