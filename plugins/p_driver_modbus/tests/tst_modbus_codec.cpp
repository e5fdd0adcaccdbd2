#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <QTest>
#include <QVector>

// Arguments to requests, requests to bytes, bytes to answers.
class TestModbusCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void request_data();
    void request();
    void answer_data();
    void answer();
    void repeatedAnswers();
    void exceptionNames();
    void exceptionOnAWrite_data();
    void exceptionOnAWrite();
};

namespace {

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

// As a poll of registers that change now and then.
void TestModbusCodec::repeatedAnswers()
{
    ModbusRequest request = readOf(ModbusRequest::ReadHoldingRegisters, 1, 2);
    request.repeated = std::make_shared<RepeatedAnswer>();
    const QVariantList first = decodeAnswer(request, hex("03 04 0102 0304")).values;
    QCOMPARE(first, (QVariantList{0x0102, 0x0304}));
    QVERIFY(decodeAnswer(request, hex("03 04 0102 0304")).values.isSharedWith(first));
    // One that is none, or a refusal, is as if it had not come.
    QCOMPARE(decodeAnswer(request, hex("03 04 0102 03")).kind, ModbusAnswer::Malformed);
    QCOMPARE(decodeAnswer(request, hex("83 02")).kind, ModbusAnswer::Refused);
    QVERIFY(decodeAnswer(request, hex("03 04 0102 0304")).values.isSharedWith(first));
    QCOMPARE(decodeAnswer(request, hex("03 04 0102 0305")).values, (QVariantList{0x0102, 0x0305}));
    QCOMPARE(decodeAnswer(request, hex("03 04 0102 0304")).values, first);
}

void TestModbusCodec::exceptionNames()
{
    QCOMPARE(decodeAnswer(readOf(ModbusRequest::ReadHoldingRegisters, 1, 2), hex("83 02")).text,
             QStringLiteral("illegal data address (2)"));
    QCOMPARE(exceptionText(1), QStringLiteral("illegal function (1)"));
    QCOMPARE(exceptionText(6), QStringLiteral("server device busy (6)"));
    for (const int code : {0, 9, 12, 99, 255})
        QCOMPARE(exceptionText(code),
                 QStringLiteral("an exception that Modbus does not define (%1)").arg(code));
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
    for (const int code : {0, 9, 12, 99, 255})
        QTest::addRow("%d, which Modbus does not define", code) << code << false;
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

QTEST_GUILESS_MAIN(TestModbusCodec)
#include "tst_modbus_codec.moc"
