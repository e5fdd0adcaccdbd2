#include "block_samples.h"
#include "command_bench.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

#include <limits>

namespace {

constexpr int c_lowest = std::numeric_limits<int>::min();
constexpr int c_highest = std::numeric_limits<int>::max();

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

// Where "getPresetData" finds a preset, and what it makes of its registers.
class TestMdcPresetData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void presetExecutions_data();
    void presetExecutions();
    void presetBlocks_data();
    void presetBlocks();
};

void TestMdcPresetData::presetExecutions_data()
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

void TestMdcPresetData::presetExecutions()
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

void TestMdcPresetData::presetBlocks_data()
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

void TestMdcPresetData::presetBlocks()
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

QTEST_GUILESS_MAIN(TestMdcPresetData)
#include "tst_mdc_preset_data.moc"
