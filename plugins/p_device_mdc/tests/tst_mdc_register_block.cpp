#include "block_samples.h"

#include "model/register_block.h"
#include "reply_values.h"

#include "tests/support/typed_text.h"

#include <QTest>

#include <limits>

using namespace mdc;

namespace {

constexpr int c_lowest = std::numeric_limits<int>::min();
constexpr int c_highest = std::numeric_limits<int>::max();

} // namespace

class TestMdcRegisterBlock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decodedValues_data();
    void decodedValues();
    void blockIndexes_data();
    void blockIndexes();
    void blockParameters_data();
    void blockParameters();
    void blockWordLists_data();
    void blockWordLists();
};

void TestMdcRegisterBlock::decodedValues_data()
{
    QTest::addColumn<QVariantList>("block");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("message");

    const auto row = [](const char* title, const QVariantList& block, int first, int last, const char* type,
                        const QString& value, const QString& message = QString()) {
        QTest::newRow(title) << block << first << last << QString(type) << value << message;
    };
    const QVariantList four{11u, QString("22"), 33, 44u};
    const QString none = QStringLiteral("invalid");

    row("first beyond the end", four, 4, 0, "int", none, c_badIndex);
    row("last beyond the end", four, 0, 4, "int", none, c_badIndex);
    row("first before the start", four, -1, 0, "int", none, c_badIndex);
    row("last before the start", four, 0, -1, "int", none, c_badIndex);
    row("lowest first", four, c_lowest, 0, "list", none, c_badIndex);
    row("highest last", four, 0, c_highest, "list", none, c_badIndex);
    row("float across all numbers", four, c_lowest, c_highest, "float", none, c_badIndex);
    row("no words", {}, 0, 0, "int", none, c_badIndex);
    row("the index comes before the type", four, 4, 4, "Int", none, c_badIndex);
    row("the index comes before the length", four, 3, 5, "float", none, c_badIndex);

    row("int", four, 0, 0, "int", "uint:11");
    row("int as delivered", four, 1, 1, "int", "QString:22");
    row("int, last of the block", four, 3, 3, "int", "uint:44");
    row("int of a range is its first", four, 0, 3, "int", "uint:11");
    row("int of a reversed range is its first", four, 3, 0, "int", "uint:44");
    row("int of a null word", {QVariant()}, 0, 0, "int", "invalid");

    row("list", four, 0, 3, "list", "[uint:11, QString:22, int:33, uint:44]");
    row("list of one", four, 2, 2, "list", "[int:33]");
    row("list of the middle", four, 1, 2, "list", "[QString:22, int:33]");
    row("list reversed", four, 2, 1, "list", "[]");
    row("list widely reversed", four, 3, 0, "list", "[]");

    row("float of one word", four, 1, 1, "float", none, c_badFloat);
    row("float of three words", four, 0, 2, "float", none, c_badFloat);
    row("float reversed", four, 1, 0, "float", none, c_badFloat);
    row("float widely reversed", four, 3, 0, "float", none, c_badFloat);

    row("Int", four, 0, 0, "Int", none, "ERROR: modbus type inconnu: Int");
    row("INT", four, 0, 0, "INT", none, "ERROR: modbus type inconnu: INT");
    row("int with a blank", four, 0, 0, "int ", none, "ERROR: modbus type inconnu: int ");
    row("no type", four, 0, 0, "", none, "ERROR: modbus type inconnu: ");
    row("double", four, 0, 1, "double", none, "ERROR: modbus type inconnu: double");

    const struct
    {
        const char* title;
        quint32 pattern;
        int value;
    } c_floats[] = {
        {"12.5", 0x41480000, 1250},
        {"1", 0x3F800000, 100},
        {"-1", 0xBF800000, -100},
        {"pi is truncated", 0x40490FDB, 314},
        {"-pi is truncated toward zero", 0xC0490FDB, -314},
        {"0.29 is multiplied as a single", 0x3E947AE1, 29},
        {"0.53 is a little less as a single", 0x3F07AE14, 52},
        {"0.01", 0x3C23D70A, 1},
        {"a little less than 0.01", 0x3C23D69F, 0},
        {"-0.0099", 0xBC22339C, 0},
        {"0", 0x00000000, 0},
        {"-0", 0x80000000, 0},
        {"the smallest", 0x00000001, 0},
        {"the last that fits", 0x4BA3D709, 2147483392},
        {"the first that does not", 0x4BA3D70A, c_lowest},
        {"the lowest that fits", 0xCBA3D70A, c_lowest},
        {"the first below", 0xCBA3D70B, c_lowest},
        {"1e30", 0x7149F2CA, c_lowest},
        {"-1e30", 0xF149F2CA, c_lowest},
        {"the largest overflows", 0x7F7FFFFF, c_lowest},
        {"the largest negative overflows", 0xFF7FFFFF, c_lowest},
        {"infinity", 0x7F800000, c_lowest},
        {"negative infinity", 0xFF800000, c_lowest},
        {"quiet NaN", 0x7FC00000, c_lowest},
        {"negative NaN", 0xFFC00000, c_lowest},
        {"signalling NaN", 0x7F800001, c_lowest},
    };
    for (const auto& item : c_floats) {
        QTest::addRow("float %s", item.title)
            << QVariantList{7u, item.pattern >> 16U, item.pattern & 0xFFFFU} << 1 << 2 << QString("float")
            << QStringLiteral("int:%1").arg(item.value) << QString();
    }
    row("float of wide words: their low halves", {0x14148u, 0x70000u}, 0, 1, "float", "int:1250");
    row("float of signed words", {16712, 0}, 0, 1, "float", "int:1250");
    row("float of numbers as text", {"16712", "0"}, 0, 1, "float", "int:1250");
    row("float of text", {"high", "low"}, 0, 1, "float", "int:0");
    row("float of half a text", {16712, "low"}, 0, 1, "float", "int:1250");
    row("float of null words", {QVariant(), QVariant()}, 0, 1, "float", "int:0");
    row("float of negative words", {-1, -1}, 0, 1, "float", QStringLiteral("int:%1").arg(c_lowest));
}

void TestMdcRegisterBlock::decodedValues()
{
    QFETCH(QVariantList, block);
    QFETCH(int, first);
    QFETCH(int, last);
    QFETCH(QString, type);
    QFETCH(QString, value);
    QFETCH(QString, message);
    const DecodedValue decoded = decodeBlockValue(block, first, last, type);
    QCOMPARE(typedText(decoded.value), value);
    QCOMPARE(decoded.message, message);
    QCOMPARE(decoded.fault != DecodedValue::CeNoFault, !message.isEmpty());
    QCOMPARE(decoded.fault == DecodedValue::CeFloatLengthFault, message == QString(c_badFloat));
}

void TestMdcRegisterBlock::blockIndexes_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("base");
    QTest::addColumn<int>("index");
    QTest::newRow("first") << 5200 << 5200 << 0;
    QTest::newRow("last of a block") << 5211 << 5200 << 11;
    QTest::newRow("before") << 5199 << 5200 << -1;
    QTest::newRow("counted from 1") << 1 << 1 << 0;
    QTest::newRow("missing") << 0 << 1 << -1;
    QTest::newRow("highest base") << 65535 << 65535 << 0;
    QTest::newRow("lowest address wraps far outside") << c_lowest << 1 << c_highest;
    QTest::newRow("lowest address, highest base") << c_lowest << 65535 << c_highest - 65534;
    QTest::newRow("highest address") << c_highest << 1 << c_highest - 1;
}

void TestMdcRegisterBlock::blockIndexes()
{
    QFETCH(int, address);
    QFETCH(int, base);
    QFETCH(int, index);
    QCOMPARE(blockIndex(address, base), index);
}

void TestMdcRegisterBlock::blockParameters_data()
{
    QTest::addColumn<QVariant>("entry");
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<QString>("type");
    QTest::newRow("whole") << QVariant(descriptor("torque", 3, 4, "float").toVariantMap()) << "torque" << 3
                           << 4 << "float";
    QTest::newRow("numbers as text") << QVariant(QVariantMap{{"parameter_name", "torque"},
                                                             {"start_address", "3"},
                                                             {"end_address", "4"},
                                                             {"type", "float"}})
                                     << "torque" << 3 << 4 << "float";
    QTest::newRow("empty") << QVariant(QVariantMap()) << "" << 0 << 0 << "";
    QTest::newRow("only a name") << QVariant(QVariantMap{{"parameter_name", "torque"}}) << "torque" << 0 << 0
                                 << "";
    QTest::newRow("keys in another case")
        << QVariant(QVariantMap{{"Parameter_name", "torque"}, {"TYPE", "int"}}) << "" << 0 << 0 << "";
    QTest::newRow("a text") << QVariant("torque") << "" << 0 << 0 << "";
    QTest::newRow("invalid") << QVariant() << "" << 0 << 0 << "";
}

void TestMdcRegisterBlock::blockParameters()
{
    QFETCH(QVariant, entry);
    QFETCH(QString, name);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(QString, type);
    const BlockParameter parameter = blockParameter(entry);
    QCOMPARE(parameter.name, name);
    QCOMPARE(parameter.startAddress, start);
    QCOMPARE(parameter.endAddress, end);
    QCOMPARE(parameter.type, type);
}

void TestMdcRegisterBlock::blockWordLists_data()
{
    QTest::addColumn<QVariant>("values");
    QTest::addColumn<bool>("managed");
    QTest::addColumn<QVariantList>("list");
    const QVariantList list{1, 2};
    const QVariantList other{3};
    QTest::newRow("list") << QVariant(list) << true << list;
    QTest::newRow("empty list") << QVariant(QVariantList()) << true << QVariantList();
    QTest::newRow("list of texts") << QVariant(QStringList{"1"}) << true << QVariantList{"1"};
    QTest::newRow("map with values") << QVariant(QVariantMap{{"values", list}}) << true << list;
    QTest::newRow("map with the result") << QVariant(QVariantMap{{"result", list}}) << true << list;
    QTest::newRow("values come first")
        << QVariant(QVariantMap{{"values", list}, {"result", other}}) << true << list;
    QTest::newRow("values come first, whatever they are")
        << QVariant(QVariantMap{{"values", 5}, {"result", other}}) << true << QVariantList();
    QTest::newRow("map with a null") << QVariant(QVariantMap{{"values", QVariant()}, {"result", other}})
                                     << true << QVariantList();
    QTest::newRow("map with a map") << QVariant(QVariantMap{{"values", QVariantMap{{"values", list}}}})
                                    << true << QVariantList();
    QTest::newRow("map with neither") << QVariant(QVariantMap{{"value", list}}) << true << QVariantList();
    QTest::newRow("empty map") << QVariant(QVariantMap()) << true << QVariantList();
    QTest::newRow("number") << QVariant(5) << false << QVariantList();
    QTest::newRow("text") << QVariant("12") << false << QVariantList();
    QTest::newRow("bytes") << QVariant(QByteArray("12")) << false << QVariantList();
    QTest::newRow("invalid") << QVariant() << false << QVariantList();
}

void TestMdcRegisterBlock::blockWordLists()
{
    QFETCH(QVariant, values);
    QFETCH(bool, managed);
    QFETCH(QVariantList, list);
    const std::optional<QVariantList> found = blockWords(values, "result");
    QCOMPARE(found.has_value(), managed);
    QCOMPARE(found.value_or(QVariantList()), list);
}

QTEST_GUILESS_MAIN(TestMdcRegisterBlock)
#include "tst_mdc_register_block.moc"
