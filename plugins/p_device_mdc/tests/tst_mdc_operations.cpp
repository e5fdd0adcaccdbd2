#include "command_bench.h"

#include "model/register_block.h"
#include "reply_values.h"

#include <QSignalSpy>
#include <QtTest>

#include <limits>

namespace {

constexpr int c_lowest = std::numeric_limits<int>::min();
constexpr int c_highest = std::numeric_limits<int>::max();

const char* const c_badIndex = "ERROR: cannot parse modbus value, index is incorrect";
const char* const c_badFloat = "Erreur : type float nécessite exactement deux registres.";

const QVariantMap c_timedOut{{"errorCode", 1}, {"errorMessage", "no answer"}};
const QVariantMap c_refused{{"errorCode", 5}, {"errorMessage", "refused"}, {"values", QVariantList{0}}};

// Words that cannot be taken for anything else: 1000, 1001, …
QVariantList words(int count)
{
    QVariantList list;
    for (int position = 0; position < count; ++position)
        list.append(1000 + position);
    return list;
}

QJsonObject descriptor(const char* name, int start, int end, const char* type)
{
    return {{"parameter_name", name}, {"start_address", start}, {"end_address", end}, {"type", type}};
}

// A command that has been executed and whose configuration may have been changed before.
class EventsBench : public Bench
{
public:
    explicit EventsBench(const QVariant& generation)
        : Bench("listenEventsData", {})
    {
        identify(generation);
    }
    void configureBlock(const QJsonValue& size, const QJsonValue& keys, const QString& suffix = QString())
    {
        QJsonObject entry{{"register", 100}, {"readRegisterType", "holdingRegisters"}};
        if (!size.isUndefined())
            entry.insert("size", size);
        setChannels(device(), {{"eventData" + suffix, entry}});
        QJsonObject parameters;
        if (!keys.isUndefined())
            parameters.insert("eventDataKeys" + suffix, keys);
        device().setInPluginConfig("parameters", parameters);
    }
};

class PresetBench : public Bench
{
public:
    PresetBench(const QVariant& preset, const QVariant& generation)
        : Bench("getPresetData", {{"preset", preset}})
    {
        identify(generation);
    }
    void configurePresets(const QJsonValue& size, const QJsonValue& count, const QJsonValue& keys,
                          const QString& suffix = QString())
    {
        QJsonObject current;
        if (!size.isUndefined())
            current.insert("size", size);
        QJsonObject presets{{"readRegisterType", "holdingRegisters"}};
        if (!count.isUndefined())
            presets.insert("size", count);
        setChannels(device(), {{"currentPreset" + suffix, current}, {"presets" + suffix, presets}});
        QJsonObject parameters;
        if (!keys.isUndefined())
            parameters.insert("presetDataKeys" + suffix, keys);
        device().setInPluginConfig("parameters", parameters);
    }
};

} // namespace

// The commands beyond the table that runs over all of them: what they choose, count and remember.
namespace {

// What is said of program 15 when the write of its register at `step` has failed.
QString afterFailedWrite(int step, bool refused)
{
    if (step > 0)
        return "program 15 is incomplete, resetMode restores the saved values";
    return refused ? "program 15 is as it was"
                   : "its first register may have been written, resetMode restores it";
}

} // namespace

class TestMdcOperations : public QObject
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

    void lockStates_data();
    void lockStates();
    void lockExecutedTwice();
    void screenRegisters_data();
    void screenRegisters();

    void triggerRegisters_data();
    void triggerRegisters();
    void triggerNormalAndReset();
    void triggerSavesBeforeItWrites();
    void triggerResetWithoutSavedValues_data();
    void triggerResetWithoutSavedValues();
    void triggerResetWritesValuesAsTheyStand();
    void triggerFailures_data();
    void triggerFailures();
    void triggerResetFailures_data();
    void triggerResetFailures();
    void triggerWriteAnsweredWithZero();
    void triggerOldInstruction();
    void triggerAnswersWithoutANumber_data();
    void triggerAnswersWithoutANumber();
    void triggerExecutedTwice();
    void triggerAfterTheEnd();

    void eventCounts_data();
    void eventCounts();
    void eventCountOutlivesAnExecution();
    void eventBlocks_data();
    void eventBlocks();
    void motorReplies();

    void presetExecutions_data();
    void presetExecutions();
    void presetBlocks_data();
    void presetBlocks();
};

void TestMdcOperations::decodedValues_data()
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

void TestMdcOperations::decodedValues()
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

void TestMdcOperations::blockIndexes_data()
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

void TestMdcOperations::blockIndexes()
{
    QFETCH(int, address);
    QFETCH(int, base);
    QFETCH(int, index);
    QCOMPARE(blockIndex(address, base), index);
}

void TestMdcOperations::blockParameters_data()
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

void TestMdcOperations::blockParameters()
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

void TestMdcOperations::blockWordLists_data()
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

void TestMdcOperations::blockWordLists()
{
    QFETCH(QVariant, values);
    QFETCH(bool, managed);
    QFETCH(QVariantList, list);
    const std::optional<QVariantList> found = blockWords(values, "result");
    QCOMPARE(found.has_value(), managed);
    QCOMPARE(found.value_or(QVariantList()), list);
}

void TestMdcOperations::lockStates_data()
{
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<int>("data");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("fastening");
    QTest::addColumn<bool>("loosening");

    const struct
    {
        uint lock;
        bool unlock;
        int data;
        const char* status;
        bool fastening;
        bool loosening;
    } c_rows[] = {
        {0, false, 0, "unlocked", false, false},      {0, true, 0, "unlocked", false, false},
        {1, false, 1, "locked", true, true},          {1, true, 3, "loosening", true, false},
        {2, false, 2, "fastening", false, true},      {2, true, 0, "unlocked", false, false},
        {3, false, 3, "loosening", true, false},      {3, true, 3, "loosening", true, false},
        {4, false, 4, "Error", false, false},         {4, true, 4, "Error", false, false},
        {7, false, 7, "Error", false, false},         {7, true, 7, "Error", false, false},
        {65535, false, 65535, "Error", false, false}, {65535, true, 65535, "Error", false, false},
    };
    for (const auto& row : c_rows) {
        QTest::addRow("%u, %s", row.lock, row.unlock ? "loosening unlocked" : "as it is")
            << QVariantMap{{"lock", row.lock}, {"unlockLoosening", row.unlock}} << row.data
            << QString(row.status) << row.fastening << row.loosening;
    }
    QTest::newRow("1 without the flag") << QVariantMap{{"lock", 1u}} << 1 << "locked" << true << true;
    QTest::newRow("1, flag as text") << QVariantMap{{"lock", "1"}, {"unlockLoosening", "true"}} << 3
                                     << "loosening" << true << false;
}

void TestMdcOperations::lockStates()
{
    QFETCH(QVariantMap, arguments);
    QFETCH(int, data);
    QFETCH(QString, status);
    QFETCH(bool, fastening);
    QFETCH(bool, loosening);

    Bench bench("setLock", arguments);
    bench.identify(1);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent(), QStringList{QStringLiteral("driver write {data=int:%1, register=int:5004, "
                                                              "registerType=QString:singleRegister} 3000")
                                                   .arg(data)});
    QVERIFY2(!bench.replyWords({0}), "whatever was wanted, 0 is no acknowledgement");
    QCOMPARE(bench.order().published(), QStringList());
    QCOMPARE(bench.logged(), QStringList{"ERROR: Device is not locked as wanted"});
    const QVariantMap results{{"doneOk", true},
                              {"lockStatus", status},
                              {"fasteningLocked", fastening},
                              {"looseningLocked", loosening}};
    QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.order().published(), QStringList{"results " + typedText(results)});
    QCOMPARE(bench.logged().size(), 1);
}

void TestMdcOperations::lockExecutedTwice()
{
    Bench bench("setLock", {{"lock", 1u}});
    bench.identify(1);
    QVERIFY(bench.command().commandExecute());
    // The arguments of an object never change; a default for what was not given does, and 1 becomes 3.
    bench.command().declareAParameter("unlockLoosening", "bool", QString(), true);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent().size(), 1);
    QCOMPARE(bench.logged(),
             QStringList{"WARNING: The lock status is not available for change; old wanted = 1, new = 3"});
    QVERIFY(bench.replyWords({1}));
    QVERIFY2(bench.command().commandExecute(), "the acknowledgement frees nothing");
    QCOMPARE(bench.order().sent().size(), 1);
    QCOMPARE(bench.logged().size(), 2);
}

void TestMdcOperations::screenRegisters_data()
{
    QTest::addColumn<QVariant>("generation");
    QTest::addColumn<QVariant>("version");
    QTest::addColumn<QVariant>("model");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("data");
    QTest::addColumn<QStringList>("logged");

    const int layout2 = 5005;
    const int layout1 = 5006;
    const QVariant none;
    const QVariant mdc("MDC-26");
    const QStringList missing{c_noVersions};
    const QStringList noGeneration{"ERROR: version number is not found. using version gen 1 V2"};
    const auto row = [](const char* title, const QVariant& generation, const QVariant& version,
                        const QVariant& model, int address, int data, const QStringList& logged = {}) {
        QTest::newRow(title) << generation << version << model << address << data << logged;
    };
    row("BM", 1, 3000, "BM", layout1, 2);
    row("bm", 1, 3000, "bm", layout1, 2);
    row("Bm within", 1, 3000, "xBmT", layout1, 2);
    row("BM of layout 1", 1, 1500, "BMT", layout1, 2);
    row("B M", 1, 3000, "B M", layout2, 0);
    row("1500", 1, 1500, mdc, layout1, 0);
    row("2500", 1, 2500, mdc, layout2, 0);
    row("999", 1, 999, mdc, layout2, 0);
    row("1000", 1, 1000, mdc, layout1, 0);
    row("1999", 1, 1999, mdc, layout1, 0);
    row("2000", 1, 2000, mdc, layout2, 0);
    row("0", 1, 0, mdc, layout2, 0);
    row("67036 is 1500", 1, 67036, mdc, layout1, 0);
    row("-64036 is 1500", 1, -64036, mdc, layout1, 0);
    row("version no number", 1, "new", mdc, layout2, 0);
    row("no model", 1, 1500, none, layout1, 0);
    row("generation 65537 is 1", 65537, 1500, mdc, layout1, 0);
    row("generation 0", 0, 1500, mdc, layout2, 0, noGeneration);
    row("generation 0, BM", 0, 1500, "BM", layout2, 2, noGeneration);
    row("generation 65536 is 0", 65536, 1500, mdc, layout2, 0, noGeneration);
    row("generation 2", 2, 4005, mdc, 6005, 0);
    row("generation 2 of layout 1's number", 2, 1500, mdc, 6005, 0);
    row("generation 2, BM", 2, 4005, "BM", 6005, 2);
    row("generation 65538 is 2", 65538, 4005, mdc, 6005, 0);
    row("generation 3, address 72541 is 7005", 3, 5000, mdc, 7005, 0);
    row("no entry for the generation", 9, 5000, mdc, 0, 0);
    row("no version", 1, none, mdc, layout2, 0, missing);
    row("no version, generation 2", 2, none, mdc, layout2, 0, missing);
    row("no version, BM", 1, none, "BM", layout2, 2, missing);
    row("null version", 1, QString(), mdc, layout2, 0, missing);
    row("no generation", none, 1500, mdc, layout2, 0, missing);
    row("no generation, BM", none, 1500, "BM", layout2, 2, missing);
    row("nothing known", none, none, none, layout2, 0, missing);
}

void TestMdcOperations::screenRegisters()
{
    QFETCH(QVariant, generation);
    QFETCH(QVariant, version);
    QFETCH(QVariant, model);
    QFETCH(int, address);
    QFETCH(int, data);
    QFETCH(QStringList, logged);
    Bench bench("setLockScreen", {});
    bench.identify(generation, version, model);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(
        bench.order().sent(),
        QStringList{QStringLiteral("driver write {data=int:%1, register=int:%2, registerType=QString:%3} "
                                   "3000")
                        .arg(QString::number(data), QString::number(address),
                             address == 5006 ? "holdingRegisters"
                             : address == 0  ? ""
                                             : "singleRegister")});
    QCOMPARE(bench.logged(), logged);
}

namespace {

QString triggerRead(int address)
{
    return QStringLiteral("driver read {dataSize=int:1, register=int:%1, "
                          "registerType=QString:holdingRegisters} 3000")
        .arg(address);
}

QString triggerWrite(int address, const QString& data)
{
    return QStringLiteral("driver write {data=%1, dataSize=int:1, register=int:%2, "
                          "registerType=QString:singleRegister} 3000")
        .arg(data, QString::number(address));
}

const QStringList c_triggerSequence{
    triggerRead(281),           triggerRead(282),
    triggerRead(283),           triggerRead(284),
    triggerRead(285),           triggerRead(286),
    triggerWrite(281, "int:1"), triggerWrite(282, "int:100"),
    triggerWrite(283, "int:0"), triggerWrite(284, "int:1"),
    triggerWrite(285, "int:0"), triggerWrite(286, "int:3"),
};

// The registers of program 15 before the trigger program.
const QVariantList c_program15{15, 0, 65535, 7, 300, 2};
const QString c_program15Text = QStringLiteral("[int:15, int:0, int:65535, int:7, int:300, int:2]");

class TriggerBench : public Bench
{
public:
    explicit TriggerBench(bool resetMode)
        : Bench("SetTriggerProgram", {{"resetMode", resetMode}})
    {
        identify(1, 3105);
    }
    // As the controller answers the instruction of a step: a read with its register, a write with 1.
    bool answer(int step) { return replyWords({step < 6 ? c_program15.at(step) : QVariant(1)}); }
    void save(const QVariant& values) { device().setProperty("triggerBackupRegister", values, true); }
    QString saved() { return typedText(device().getProperty("triggerBackupRegister", nullptr)); }
};

} // namespace

void TestMdcOperations::triggerRegisters_data()
{
    QTest::addColumn<QVariant>("generation");
    QTest::addColumn<QVariant>("version");
    QTest::addColumn<QJsonObject>("channels");
    QTest::addColumn<int>("first");
    QTest::addColumn<QStringList>("logged");

    const QVariant none;
    const auto sizes = [](const QJsonValue& size1, const QJsonValue& size2) {
        return QJsonObject{{"currentPreset", QJsonObject{{"size", size1}}},
                           {"currentPresetV2", QJsonObject{{"size", size2}}}};
    };
    const auto row = [](const char* title, const QVariant& generation, const QVariant& version,
                        const QJsonObject& channels, int first, const QStringList& logged = {}) {
        QTest::newRow(title) << generation << version << channels << first << logged;
    };
    row("size 20", 1, 3105, sizes(20, 40), 281);
    row("generation 2", 2, 4005, sizes(20, 40), 561);
    row("generation 0", 0, 0, sizes(20, 40), 281);
    row("generation 65538 is 2", 65538, 4005, sizes(20, 40), 561);
    row("generation 65537 is 1", 65537, 4005, sizes(20, 40), 281);
    row("no version", 2, none, sizes(20, 40), 281, {c_noVersions});
    row("no generation", none, 4005, sizes(20, 40), 281, {c_noVersions});
    row("nothing known", none, none, sizes(20, 40), 281, {c_noVersions});
    row("as text", 1, 3105, sizes("20", 40), 281);
    row("no entry", 3, 5000, sizes(20, 40), 1);
    row("no number", 1, 3105, sizes("wide", 40), 1);
    row("negative", 1, 3105, sizes(-1, 40), 65523);
    row("highest", 1, 3105, sizes(c_highest, 40), 65523);
    row("lowest", 1, 3105, sizes(c_lowest, 40), 1);
    row("huge", 1, 3105, sizes(1e300, 40), 1);
    row("up to the last register", 1, 3105, sizes(4681, 40), 65535);
}

void TestMdcOperations::triggerRegisters()
{
    QFETCH(QVariant, generation);
    QFETCH(QVariant, version);
    QFETCH(QJsonObject, channels);
    QFETCH(int, first);
    QFETCH(QStringList, logged);
    Bench bench("SetTriggerProgram", {});
    bench.identify(generation, version);
    setChannels(bench.device(), channels);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent(), QStringList{triggerRead(first)});
    QVERIFY(bench.replyWords({0}));
    QCOMPARE(bench.order().sent().constLast(), triggerRead((first + 1) % 65536));
    QCOMPARE(bench.logged(), logged);
}

void TestMdcOperations::triggerNormalAndReset()
{
    QString saved;
    {
        TriggerBench bench(false);
        QVERIFY(bench.command().commandExecute());
        for (int step = 0; step < 12; ++step) {
            QCOMPARE(bench.order().sent(), c_triggerSequence.mid(0, step + 1));
            QCOMPARE(bench.order().published(), QStringList());
            QCOMPARE(bench.saved(), step < 6 ? QStringLiteral("invalid") : c_program15Text);
            QVERIFY(bench.answer(step));
        }
        QCOMPARE(bench.order().sent(), c_triggerSequence);
        QCOMPARE(bench.order().published(), QStringList{"results {doneOk=bool:true}"});
        QCOMPARE(bench.saved(), c_program15Text);
        QCOMPARE(bench.logged(), QStringList());
        saved = bench.saved();
    }
    TriggerBench bench(true);
    bench.save(c_program15);
    QCOMPARE(bench.saved(), saved);
    QVERIFY(bench.command().commandExecute());
    QStringList writes;
    for (int step = 0; step < 6; ++step) {
        writes.append(triggerWrite(281 + step, typedText(c_program15.at(step))));
        QCOMPARE(bench.order().sent(), writes);
        QCOMPARE(bench.order().published(), QStringList());
        QVERIFY(bench.replyWords({1}));
    }
    QCOMPARE(bench.order().sent(), writes);
    QCOMPARE(bench.order().published(), QStringList{"results {doneOk=bool:true}"});
    QCOMPARE(bench.saved(), saved);
    QCOMPARE(bench.logged(), QStringList());
}

void TestMdcOperations::triggerSavesBeforeItWrites()
{
    TriggerBench bench(false);
    QStringList changes;
    connect(&bench.device(), &DAbstractPlugin::sigPropertyChanged, this,
            [&](const QString& name, const QVariant& value, bool persistent) {
                changes.append(QStringLiteral("%1 %2 %3 after %4 instructions")
                                   .arg(name, typedText(value), persistent ? "persistent" : "session",
                                        QString::number(bench.order().sent().size())));
            });
    QVERIFY(bench.command().commandExecute());
    for (int step = 0; step < 12; ++step)
        QVERIFY(bench.answer(step));
    QCOMPARE(changes,
             QStringList{"triggerBackupRegister " + c_program15Text + " persistent after 6 instructions"});
}

void TestMdcOperations::triggerResetWithoutSavedValues_data()
{
    QTest::addColumn<QVariant>("saved");
    QTest::newRow("absent") << QVariant();
    QTest::newRow("empty") << QVariant(QVariantList());
    QTest::newRow("no list") << QVariant(5);
}

void TestMdcOperations::triggerResetWithoutSavedValues()
{
    QFETCH(QVariant, saved);
    TriggerBench bench(true);
    if (saved.isValid())
        bench.save(saved);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent(), QStringList());
    QCOMPARE(bench.order().published(), QStringList{"results {doneOk=bool:true}"});
    QCOMPARE(bench.saved(), typedText(saved));
}

void TestMdcOperations::triggerResetWritesValuesAsTheyStand()
{
    TriggerBench bench(true);
    bench.save(QVariantList{7u, "8"});
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.order().sent(),
             (QStringList{triggerWrite(281, "uint:7"), triggerWrite(282, "QString:8")}));
    QVERIFY(bench.replyWords({1}));
    QCOMPARE(bench.order().published(), QStringList{"results {doneOk=bool:true}"});
}

void TestMdcOperations::triggerFailures_data()
{
    QTest::addColumn<int>("failing");
    QTest::addColumn<QVariantMap>("notice");
    QTest::addColumn<QString>("error");
    for (int step = 0; step < 12; ++step) {
        QTest::addRow("step %d, no answer", step) << step << c_timedOut << "1 no answer";
        QTest::addRow("step %d, refused", step) << step << c_refused << "5 refused";
    }
}

void TestMdcOperations::triggerFailures()
{
    QFETCH(int, failing);
    QFETCH(QVariantMap, notice);
    QFETCH(QString, error);
    TriggerBench bench(false);
    const QVariantList before{9, 9, 9, 9, 9, 9};
    bench.save(before);
    QVERIFY(bench.command().commandExecute());
    for (int step = 0; step < failing; ++step)
        QVERIFY(bench.answer(step));
    const quint64 failed = bench.order().lastInstruction();
    QVERIFY(!bench.reply(notice));

    const QString expected = failing < 6 ? typedText(before) : c_program15Text;
    QCOMPARE(bench.saved(), expected);
    QCOMPARE(bench.order().sent(), c_triggerSequence.mid(0, failing + 1));
    QCOMPARE(bench.order().published(), QStringList());
    const QString consequence =
        failing < 6 ? "the read of register %1 failed with error %2 ; nothing has been written or saved"
                    : "the write of register %1 failed with error %2 ; " +
                          afterFailedWrite(failing - 6, notice == c_refused);
    const QString line =
        "ERROR: trigger program stopped: " + consequence.arg(QString::number(281 + failing % 6), error);
    QCOMPARE(bench.logged(), QStringList{line});

    // What comes after it, however good, is not for this sequence any more.
    QVERIFY(bench.answer(failing));
    QCOMPARE(bench.saved(), expected);
    QCOMPARE(bench.order().sent().size(), failing + 1);
    QCOMPARE(bench.order().published(), QStringList());
    QCOMPARE(bench.logged().constLast(),
             QStringLiteral("Unexpected instruction ID received: %1 Expected: 0").arg(failed));
}

void TestMdcOperations::triggerResetFailures_data()
{
    QTest::addColumn<int>("failing");
    QTest::addColumn<QVariantMap>("notice");
    QTest::addColumn<QString>("error");
    for (int step = 0; step < 6; ++step) {
        QTest::addRow("step %d, no answer", step) << step << c_timedOut << "1 no answer";
        QTest::addRow("step %d, refused", step) << step << c_refused << "5 refused";
    }
}

void TestMdcOperations::triggerResetFailures()
{
    QFETCH(int, failing);
    QFETCH(QVariantMap, notice);
    QFETCH(QString, error);
    TriggerBench bench(true);
    bench.save(c_program15);
    QVERIFY(bench.command().commandExecute());
    for (int step = 0; step < failing; ++step)
        QVERIFY(bench.replyWords({1}));
    QVERIFY(!bench.reply(notice));
    QCOMPARE(bench.saved(), c_program15Text);
    QCOMPARE(bench.order().sent().size(), failing + 1);
    QCOMPARE(bench.order().published(), QStringList());
    QCOMPARE(
        bench.logged(),
        QStringList{
            QStringLiteral("ERROR: trigger program stopped: the write of register %1 failed with "
                           "error %2 ; %3")
                .arg(QString::number(281 + failing), error, afterFailedWrite(failing, notice == c_refused))});
}

// Whatever a write is answered with, short of a failure, is no matter for the sequence.
void TestMdcOperations::triggerWriteAnsweredWithZero()
{
    TriggerBench bench(false);
    QVERIFY(bench.command().commandExecute());
    for (int step = 0; step < 6; ++step)
        QVERIFY(bench.answer(step));
    for (int step = 6; step < 12; ++step)
        QVERIFY(bench.replyWords({0}));
    QCOMPARE(bench.order().sent(), c_triggerSequence);
    QCOMPARE(bench.order().published(), QStringList{"results {doneOk=bool:true}"});
}

void TestMdcOperations::triggerOldInstruction()
{
    TriggerBench bench(false);
    QVERIFY(bench.command().commandExecute());
    const quint64 old = bench.order().lastInstruction();
    QVERIFY(bench.answer(0));
    const QString line =
        QStringLiteral("Unexpected instruction ID received: %1 Expected: %2").arg(old).arg(old + 1);
    QVERIFY(bench.command().setReply(old, {{"values", QVariantList{4711}}}));
    QCOMPARE(bench.logged(), QStringList{line});
    QVERIFY2(bench.command().setReply(old, c_timedOut), "an old failure is no failure of this step");
    QCOMPARE(bench.logged(), (QStringList{line, line}));
    QCOMPARE(bench.order().sent(), c_triggerSequence.mid(0, 2));
    for (int step = 1; step < 12; ++step)
        QVERIFY(bench.answer(step));
    QCOMPARE(bench.order().sent(), c_triggerSequence);
    QCOMPARE(bench.saved(), c_program15Text);
}

void TestMdcOperations::triggerAnswersWithoutANumber_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::newRow("empty list") << QVariantMap{{"values", QVariantList()}};
    QTest::newRow("no values") << QVariantMap();
    QTest::newRow("no list") << QVariantMap{{"values", 5}};
    QTest::newRow("null word") << QVariantMap{{"values", QVariantList{QVariant()}}};
    QTest::newRow("text") << QVariantMap{{"values", QVariantList{"seven"}}};
}

void TestMdcOperations::triggerAnswersWithoutANumber()
{
    QFETCH(QVariantMap, reply);
    TriggerBench bench(false);
    QVERIFY(bench.command().commandExecute());
    for (int step = 0; step < 12; ++step)
        QVERIFY(step == 2 || step == 8 ? bench.reply(reply) : bench.answer(step));
    QCOMPARE(bench.saved(), QStringLiteral("[int:15, int:0, int:0, int:7, int:300, int:2]"));
    QCOMPARE(bench.order().sent(), c_triggerSequence);
    QCOMPARE(bench.order().published(), QStringList{"results {doneOk=bool:true}"});
    QCOMPARE(bench.logged(),
             QStringList{"ERROR: the reply holds no value of register 283 , 0 is saved in its place"});
}

// Each execution is a whole sequence: never more values are saved than there are registers.
void TestMdcOperations::triggerExecutedTwice()
{
    TriggerBench bench(false);
    for (int times = 1; times <= 2; ++times) {
        QVERIFY(bench.command().commandExecute());
        for (int step = 0; step < 12; ++step)
            QVERIFY(bench.answer(step));
        QCOMPARE(bench.saved(), c_program15Text);
        QCOMPARE(bench.order().sent().size(), 12 * times);
    }
    QCOMPARE(bench.order().sent().mid(12), c_triggerSequence);
}

void TestMdcOperations::triggerAfterTheEnd()
{
    TriggerBench bench(false);
    QVERIFY(bench.command().commandExecute());
    for (int step = 0; step < 11; ++step)
        QVERIFY(bench.answer(step));
    bench.order().setOpen(false);
    QVERIFY2(!bench.answer(11), "what cannot be published is no success");
    QCOMPARE(bench.order().published(), QStringList());
}

void TestMdcOperations::eventCounts_data()
{
    QTest::addColumn<QVariantList>("counts");
    QTest::addColumn<QStringList>("reported");
    QTest::newRow("first") << QVariantList{7} << QStringList{"int:-1"};
    QTest::newRow("same") << QVariantList{7, 7, 7} << QStringList{"int:-1", "int:-1", "int:-1"};
    QTest::newRow("moved and back") << QVariantList{7, 7, 8, 8, 7, 9}
                                    << QStringList{"int:-1", "int:-1", "int:8", "int:8", "int:-1", "int:9"};
    QTest::newRow("from 0") << QVariantList{0, 0, 1} << QStringList{"int:-1", "int:-1", "int:1"};
    QTest::newRow("down") << QVariantList{7, 6} << QStringList{"int:-1", "int:6"};
    QTest::newRow("over the end") << QVariantList{65535, 65535, 0}
                                  << QStringList{"int:-1", "int:-1", "int:0"};
    // "named/decoded": a named count is published as the integer that it is taken for, a decoded one
    // as it was decoded.
    QTest::newRow("unsigned") << QVariantList{7u, 8u} << QStringList{"int:-1", "int:8/uint:8"};
    QTest::newRow("as text") << QVariantList{"7", 7, "8"}
                             << QStringList{"int:-1", "int:-1", "int:8/QString:8"};
    QTest::newRow("no number counts as 0")
        << QVariantList{"x", 0, 5, "x"} << QStringList{"int:-1", "int:-1", "int:5", "int:-1"};
    QTest::newRow("null first") << QVariantList{QVariant(), 7, 8}
                                << QStringList{"invalid", "int:-1", "int:8"};
    QTest::newRow("null between") << QVariantList{7, QVariant(), 0, 7}
                                  << QStringList{"int:-1", "invalid", "int:0", "int:-1"};
}

// The rule is one, whether the register is named or decoded.
void TestMdcOperations::eventCounts()
{
    QFETCH(QVariantList, counts);
    QFETCH(QStringList, reported);
    const struct
    {
        QString suffix;
        QJsonArray keys;
    } c_ways[] = {
        {QString(), QJsonArray{"torque", "eventCountNo"}},
        {QStringLiteral("V2"),
         QJsonArray{descriptor("eventCountNo", 101, 101, "int"), descriptor("torque", 100, 100, "int")}},
    };
    for (const auto& way : c_ways) {
        EventsBench bench(way.suffix.isEmpty() ? 1 : 2);
        bench.configureBlock(2, way.keys, way.suffix);
        QVERIFY(bench.command().commandExecute());
        QStringList expected;
        for (int reply = 0; reply < counts.size(); ++reply) {
            QVERIFY(bench.replyWords({reply, counts.at(reply)}));
            const QStringList forms = reported.at(reply).split('/');
            expected.append(QStringLiteral("results {values={eventCountNo=%1, torque=int:%2}}")
                                .arg(way.suffix.isEmpty() ? forms.constFirst() : forms.constLast(),
                                     QString::number(reply)));
        }
        QCOMPARE(bench.order().published(), expected);
        QCOMPARE(bench.logged(), QStringList());
    }
}

void TestMdcOperations::eventCountOutlivesAnExecution()
{
    EventsBench bench(1);
    bench.configureBlock(1, QJsonArray{"eventCountNo"});
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.replyWords({7}));
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.replyWords({8}));
    QCOMPARE(bench.order().published().constLast(), QStringLiteral("results {values={eventCountNo=int:8}}"));
}

void TestMdcOperations::eventBlocks_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QJsonValue>("size");
    QTest::addColumn<QJsonValue>("keys");
    QTest::addColumn<QVariant>("values");
    QTest::addColumn<QString>("published");
    QTest::addColumn<QStringList>("logged");

    const QString v1;
    const QString v2 = QStringLiteral("V2");
    const QString none = QStringLiteral("invalid");
    const QJsonValue missing(QJsonValue::Undefined);
    const auto row = [](const char* title, const QString& suffix, const QJsonValue& size,
                        const QJsonValue& keys, const QVariant& values, const QString& published,
                        const QStringList& logged = {}) {
        QTest::newRow(title) << suffix << size << keys << values << published << logged;
    };
    const QVariant two(QVariantList{10, 20u});
    const QJsonArray names{"a", "b"};
    const auto wrongCount = [](int count, const char* size, const QString& received) {
        return QStringLiteral("ERROR: Command returns unwaited number of data : %1 expected %2 , "
                              "receivedData = %3")
            .arg(QString::number(count), size, received);
    };
    const QString twoText = QStringLiteral("QVariant(QVariantList, (QVariant(int, 10), QVariant(uint, 20)))");

    row("named", v1, 2, names, two, "{a=int:10, b=uint:20}");
    row("in a map", v1, 2, names, QVariantMap{{"values", two}}, "{a=int:10, b=uint:20}");
    row("a name twice: the later", v1, 2, QJsonArray{"a", "a"}, two, "{a=uint:20}");
    row("the count twice", v1, 2, QJsonArray{"eventCountNo", "eventCountNo"}, two, "{eventCountNo=int:20}");
    row("more names than words", v1, 2, QJsonArray{"a", "b", "c"}, two, "{a=int:10, b=uint:20}");
    row("names that are numbers", v1, 2, QJsonArray{1, 2}, two, "{1=int:10, 2=uint:20}");
    row("too few names", v1, 2, QJsonArray{"a"}, two, none,
        {"ERROR: the configuration's list eventDataKeys holds 1 names for a block of 2 registers"});
    row("no list of names", v1, 2, missing, two, none,
        {"ERROR: the configuration's list eventDataKeys holds 0 names for a block of 2 registers"});
    row("names that are no list", v1, 2, QJsonObject{{"a", 1}}, two, none,
        {"ERROR: the configuration's list eventDataKeys holds 0 names for a block of 2 registers"});
    row("empty block", v1, 0, names, QVariantList(), none);
    row("too few words", v1, 12, names, words(10), none,
        {wrongCount(10, "12",
                    "QVariant(QVariantList, (QVariant(int, 1000), QVariant(int, 1001), QVariant(int, 1002), "
                    "QVariant(int, 1003), QVariant(int, 1004), QVariant(int, 1005), QVariant(int, 1006), "
                    "QVariant(int, 1007), QVariant(int, 1008), QVariant(int, 1009)))")});
    row("too many words", v1, 1, names, two, none, {wrongCount(2, "1", twoText)});
    row("too few of both: the words", v1, 3, QJsonArray{}, two, none, {wrongCount(2, "3", twoText)});
    row("size as text", v1, "2", names, two, "{a=int:10, b=uint:20}");
    row("size a fraction", v1, 2.5, names, two, none, {wrongCount(2, "2.5", twoText)});
    row("size negative", v1, -2, names, two, none, {wrongCount(2, "-2", twoText)});
    row("size huge", v1, 1e300, names, two, none, {wrongCount(2, "1e+300", twoText)});
    row("size not a number", v1, "nan", names, two, none, {wrongCount(2, "nan", twoText)});
    row("size infinite", v1, "inf", names, two, none, {wrongCount(2, "inf", twoText)});
    row("size missing", v1, missing, names, two, none, {wrongCount(2, "0", twoText)});
    row("map without a list", v1, 0, names, QVariantMap{{"values", 5}}, none);
    row("no number of words", v1, 0, names, 5, none, {"ERROR: Reply data format not managed"});

    const QVariant twelve(words(12));
    row("decoded", v2, 12,
        QJsonArray{descriptor("one", 100, 100, "int"), descriptor("last", 111, 111, "int"),
                   descriptor("range", 101, 103, "list"), descriptor("eventCountNo", 104, 104, "int")},
        twelve, "{eventCountNo=int:-1, last=int:1011, one=int:1000, range=[int:1001, int:1002, int:1003]}");
    row("decoded in a map", v2, 12, QJsonArray{descriptor("one", 100, 100, "int")},
        QVariantMap{{"values", twelve}}, "{one=int:1000}");
    row("decoded float", v2, 2, QJsonArray{descriptor("torque", 100, 101, "float")}, QVariantList{0x4148, 0},
        "{torque=int:1250}");
    row("before the block", v2, 12, QJsonArray{descriptor("a", 99, 100, "int")}, twelve, "{a=invalid}",
        {c_badIndex});
    row("behind the block", v2, 12, QJsonArray{descriptor("a", 100, 112, "int")}, twelve, "{a=invalid}",
        {c_badIndex});
    row("addresses counted from 1", v2, 12, QJsonArray{descriptor("a", 1, 2, "list")}, twelve, "{a=invalid}",
        {c_badIndex});
    row("length of a float", v2, 12,
        QJsonArray{descriptor("a", 100, 102, "float"), descriptor("b", 100, 100, "int")}, twelve,
        "{a=invalid, b=int:1000}", {c_badFloat});
    row("unknown type", v2, 12, QJsonArray{descriptor("a", 100, 100, "Int")}, twelve, "{a=invalid}",
        {"ERROR: modbus type inconnu: Int"});
    row("a parameter twice: the later", v2, 12,
        QJsonArray{descriptor("a", 100, 100, "int"), descriptor("a", 101, 101, "int")}, twelve,
        "{a=int:1001}");
    row("a parameter twice: the later, null", v2, 12,
        QJsonArray{descriptor("a", 100, 100, "int"), descriptor("a", 99, 99, "int")}, twelve, "{a=invalid}",
        {c_badIndex});
    row("count that cannot be decoded", v2, 12, QJsonArray{descriptor("eventCountNo", 99, 99, "int")}, twelve,
        "{eventCountNo=invalid}", {c_badIndex});
    row("count as a list is taken for 0", v2, 12, QJsonArray{descriptor("eventCountNo", 100, 101, "list")},
        twelve, "{eventCountNo=int:-1}");
    row("what is no parameter", v2, 12, QJsonArray{"torque", descriptor("b", 100, 100, "int")}, twelve,
        "{=invalid, b=int:1000}", {c_badIndex});
    row("empty parameter", v2, 12, QJsonArray{QJsonObject()}, twelve, "{=invalid}", {c_badIndex});
    row("no parameters", v2, 12, QJsonArray(), twelve, none);
    row("no list of parameters", v2, 12, missing, twelve, none);
    row("parameters that are no list", v2, 12, "torque", twelve, none);
    row("too few words to decode", v2, 3, QJsonArray{descriptor("a", 100, 100, "int")}, two, none,
        {wrongCount(2, "3", twoText)});
}

void TestMdcOperations::eventBlocks()
{
    QFETCH(QString, suffix);
    QFETCH(QJsonValue, size);
    QFETCH(QJsonValue, keys);
    QFETCH(QVariant, values);
    QFETCH(QString, published);
    QFETCH(QStringList, logged);
    EventsBench bench(suffix.isEmpty() ? 1 : 2);
    bench.configureBlock(size, keys, suffix);
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.reply({{"values", values}}));
    QCOMPARE(bench.order().published(), QStringList{"results {values=" + published + '}'});
    QCOMPARE(bench.logged(), logged);
}

// The state shown is the last good one; nothing is kept between replies.
void TestMdcOperations::motorReplies()
{
    Bench bench("listenMotorRunState", {});
    bench.identify(1);
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.replyWords({1}));
    QVERIFY(bench.replyWords({1}));
    QVERIFY(!bench.replyWords({0, 0}));
    QVERIFY(!bench.reply(c_timedOut));
    QVERIFY(bench.replyWords({0}));
    QCOMPARE(bench.order().published(),
             (QStringList{"results {isRunning=bool:true}", "results {isRunning=bool:true}",
                          "results {isRunning=bool:false}"}));
    QCOMPARE(bench.logged(), QStringList{"ERROR: Reply does not contain values key"});
}

void TestMdcOperations::presetExecutions_data()
{
    QTest::addColumn<QVariant>("preset");
    QTest::addColumn<QJsonValue>("size");
    QTest::addColumn<QJsonValue>("count");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("sent");
    QTest::addColumn<QStringList>("published");
    QTest::addColumn<QStringList>("logged");

    const QJsonValue missing(QJsonValue::Undefined);
    const auto good = [](const char* title, const QVariant& preset, const QJsonValue& size,
                         const QJsonValue& count, int address, int dataSize) {
        QTest::newRow(title) << preset << size << count << true
                             << QStringList{QStringLiteral("driver read {dataSize=int:%1, register=int:%2, "
                                                           "registerType=QString:holdingRegisters} 3000")
                                                .arg(QString::number(dataSize), QString::number(address))}
                             << QStringList() << QStringList();
    };
    good("first", 1, 40, 8, 1, 40);
    good("third", 3, 40, 8, 81, 40);
    good("last", 8, 40, 8, 281, 40);
    good("unsigned", 3u, 40, 8, 81, 40);
    good("sizes as text", 3, "40", "8", 81, 40);
    good("last register", 2, 65534, 8, 65535, 65534);
    good("wraps around", 3, 40000, 8, 14465, 40000);
    good("size 0", 3, 0, 8, 1, 0);
    good("negative size", 2, -5, 8, 65532, -5);
    good("highest size", 3, c_highest, 8, 65535, c_highest);
    good("highest of all", c_highest, c_highest, c_highest, 3, c_highest);
    good("lowest size", 3, c_lowest, 8, 1, c_lowest);

    const auto beyond = [](const char* title, const QVariant& preset, const QJsonValue& count) {
        QTest::newRow(title) << preset << QJsonValue(40) << count << true << QStringList()
                             << QStringList{"results {presetData={}}"} << QStringList();
    };
    beyond("9 of 8", 9, 8);
    beyond("highest", c_highest, 8);
    beyond("above 32 bits", 4294967297LL, 8);
    beyond("no number of presets", 1, missing);
    beyond("number of presets no number", 1, "many");
    beyond("negative number of presets", 1, -8);

    const auto bad = [](const char* title, const QVariant& preset, const QJsonValue& size,
                        const QString& line) {
        QTest::newRow(title) << preset << size << QJsonValue(8) << false << QStringList() << QStringList()
                             << QStringList{line};
    };
    const QString noSize = QStringLiteral("ERROR: failure to get current preset size value");
    const QString noPreset = QStringLiteral("ERROR: failure to get preset value: ");
    bad("no size", 1, missing, noSize);
    bad("size no number", 1, "wide", noSize);
    bad("size a fraction", 1, 2.5, noSize);
    bad("size huge", 1, 1e300, noSize);
    bad("size beyond 32 bits", 1, 4294967336.0, noSize);
    bad("the size comes first", 0, missing, noSize);
    bad("0", 0, 40, noPreset + "QVariant(int, 0)");
    bad("-2", -2, 40, noPreset + "QVariant(int, -2)");
    bad("lowest", c_lowest, 40, noPreset + "QVariant(int, -2147483648)");
    bad("below 32 bits", -4294967295LL, 40, noPreset + "QVariant(qlonglong, -4294967295)");
    bad("a text", "first", 40, noPreset + "QVariant(QString, first)");
    bad("an empty text", "", 40, noPreset + "QVariant(QString, )");
    bad("a list", QVariantList{1}, 40, noPreset + "QVariant(QVariantList, (QVariant(int, 1)))");
    bad("invalid", QVariant(), 40, noPreset + "QVariant(Invalid)");
}

void TestMdcOperations::presetExecutions()
{
    QFETCH(QVariant, preset);
    QFETCH(QJsonValue, size);
    QFETCH(QJsonValue, count);
    QFETCH(bool, ok);
    QFETCH(QStringList, sent);
    QFETCH(QStringList, published);
    QFETCH(QStringList, logged);
    PresetBench bench(preset, 1);
    bench.configurePresets(size, count, QJsonArray());
    QCOMPARE(bench.command().commandExecute(), ok);
    QCOMPARE(bench.order().sent(), sent);
    QCOMPARE(bench.order().published(), published);
    QCOMPARE(bench.logged(), logged);
}

void TestMdcOperations::presetBlocks_data()
{
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<int>("size");
    QTest::addColumn<QJsonValue>("keys");
    QTest::addColumn<QVariant>("values");
    QTest::addColumn<QStringList>("published");
    QTest::addColumn<QStringList>("logged");

    const QString v1;
    const QString v2 = QStringLiteral("V2");
    const QString none;
    const QJsonValue missing(QJsonValue::Undefined);
    const auto row = [](const char* title, const QString& suffix, int size, const QJsonValue& keys,
                        const QVariant& values, const QString& published, const QStringList& logged = {}) {
        QTest::newRow(title) << suffix << size << keys << values
                             << (published.isEmpty() ? QStringList()
                                                     : QStringList{"results {presetData=" + published + '}'})
                             << logged;
    };
    const QVariant two(QVariantList{10, 20u});
    const QJsonArray names{"speed", "torque"};
    const QString named = QStringLiteral("{presetData={preset=int:0, speed=int:10, torque=uint:20}}");
    const QString twoText = QStringLiteral("QVariant(QVariantList, (QVariant(int, 10), QVariant(uint, 20)))");

    row("named", v1, 2, names, two, named);
    row("in a map", v1, 2, names, QVariantMap{{"values", two}}, named);
    row("in a map by the result's name", v1, 2, names, QVariantMap{{"presetData", two}}, named);
    row("a name twice: the later", v1, 2, QJsonArray{"speed", "speed"}, two,
        "{presetData={preset=int:0, speed=uint:20}}");
    row("a name that replaces the 0", v1, 2, QJsonArray{"preset", "speed"}, two,
        "{presetData={preset=int:10, speed=uint:20}}");
    row("more names than words", v1, 2, QJsonArray{"speed", "torque", "angle"}, two, named);
    row("empty preset", v1, 0, names, QVariantList(), "{presetData={preset=int:0}}");
    row("too few names", v1, 2, QJsonArray{"speed"}, two, none,
        {"ERROR: the configuration's list presetDataKeys holds 1 names for a preset of 2 registers"});
    row("no list of names", v1, 2, missing, two, none,
        {"ERROR: the configuration's list presetDataKeys holds 0 names for a preset of 2 registers"});
    row("too few words", v1, 3, names, two, none,
        {"ERROR: Command returns unwaited number of data : 2 expected 3 , receivedData = " + twoText});
    row("too many words", v1, 1, names, two, none,
        {"ERROR: Command returns unwaited number of data : 2 expected 1 , receivedData = " + twoText});
    row("no number of words", v1, 2, names, 5, none,
        {"ERROR: Reply data format not managed",
         "ERROR: Command returns unwaited number of data : 0 expected 2 , receivedData = QVariant(int, 5)"});
    row("map without a list", v1, 2, names, QVariantMap{{"values", 5}}, none,
        {"ERROR: Command returns unwaited number of data : 0 expected 2 , receivedData = "
         "QVariant(QVariantMap, QMap((values, QVariant(int, 5))))"});

    const QVariantList forty = QVariantList{0x4148, 0} + words(38);
    row("decoded", v2, 40,
        QJsonArray{descriptor("torque", 1, 2, "float"), descriptor("third", 3, 3, "int"),
                   descriptor("last", 39, 40, "list")},
        forty, "{last=[int:1036, int:1037], third=int:1000, torque=int:1250}");
    row("decoded in a map", v2, 40, QJsonArray{descriptor("torque", 1, 2, "float")},
        QVariantMap{{"values", forty}}, "{torque=int:1250}");
    const QVariantList thirtyNine = forty.mid(1);
    QString thirtyNineText;
    QDebug(&thirtyNineText).noquote().nospace() << QVariant(thirtyNine);
    row("one of forty words missing", v2, 40, QJsonArray{descriptor("torque", 1, 2, "float")}, thirtyNine,
        none,
        {"ERROR: Command returns unwaited number of data : 39 expected 40 , receivedData = " +
         thirtyNineText});
    row("address 0", v2, 40, QJsonArray{descriptor("a", 0, 1, "int")}, forty, "{a=invalid}", {c_badIndex});
    row("address 41", v2, 40, QJsonArray{descriptor("a", 40, 41, "list")}, forty, "{a=invalid}",
        {c_badIndex});
    row("lowest address", v2, 40, QJsonArray{descriptor("a", c_lowest, c_lowest, "int")}, forty,
        "{a=invalid}", {c_badIndex});
    row("length of a float", v2, 40, QJsonArray{descriptor("a", 1, 1, "float"), descriptor("b", 3, 3, "int")},
        forty, "{a=invalid, b=int:1000}", {QStringLiteral("warning: ") + c_badFloat});
    row("unknown type", v2, 40, QJsonArray{descriptor("a", 1, 1, "INT")}, forty, "{a=invalid}",
        {"ERROR: modbus type inconnu: INT"});
    row("a parameter twice: the later", v2, 40,
        QJsonArray{descriptor("a", 3, 3, "int"), descriptor("a", 4, 4, "int")}, forty, "{a=int:1001}");
    row("a count is a value like others", v2, 40, QJsonArray{descriptor("eventCountNo", 3, 3, "int")}, forty,
        "{eventCountNo=int:1000}");
    row("what is no parameter", v2, 40, QJsonArray{"torque", descriptor("b", 3, 3, "int")}, forty,
        "{=invalid, b=int:1000}", {c_badIndex});
    row("no parameters", v2, 40, QJsonArray(), forty, none);
    row("no list of parameters", v2, 40, missing, forty, none);
}

void TestMdcOperations::presetBlocks()
{
    QFETCH(QString, suffix);
    QFETCH(int, size);
    QFETCH(QJsonValue, keys);
    QFETCH(QVariant, values);
    QFETCH(QStringList, published);
    QFETCH(QStringList, logged);
    PresetBench bench(3, suffix.isEmpty() ? 1 : 2);
    bench.configurePresets(size, 8, keys, suffix);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent().size(), 1);
    QVERIFY(bench.reply({{"values", values}}));
    QCOMPARE(bench.order().published(), published);
    QCOMPARE(bench.logged(), logged);
}

QTEST_GUILESS_MAIN(TestMdcOperations)
#include "tst_mdc_operations.moc"
