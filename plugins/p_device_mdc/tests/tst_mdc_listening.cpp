#include "block_samples.h"
#include "command_bench.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

namespace {

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

} // namespace

// What the listening commands make of reply after reply.
class TestMdcListening : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eventCounts_data();
    void eventCounts();
    void eventCountOutlivesAnExecution();
    void eventBlocks_data();
    void eventBlocks();
    void motorReplies();
};

void TestMdcListening::eventCounts_data()
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
void TestMdcListening::eventCounts()
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
            // The same list again, as from a driver that has read the same words again.
            const QVariantList words{reply, counts.at(reply)};
            QVERIFY(bench.replyWords(words) && bench.replyWords(words));
            const QStringList forms = reported.at(reply).split('/');
            const QString result = QStringLiteral("results {values={eventCountNo=%1, torque=int:%2}}")
                                       .arg(way.suffix.isEmpty() ? forms.constFirst() : forms.constLast(),
                                            QString::number(reply));
            expected << result << result;
        }
        QCOMPARE(bench.order().published(), expected);
        QCOMPARE(bench.logged(), QStringList());
    }
}

void TestMdcListening::eventCountOutlivesAnExecution()
{
    EventsBench bench(1);
    bench.configureBlock(1, QJsonArray{"eventCountNo"});
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.replyWords({7}));
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.replyWords({8}));
    QCOMPARE(bench.order().published().constLast(), QStringLiteral("results {values={eventCountNo=int:8}}"));
}

void TestMdcListening::eventBlocks_data()
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

void TestMdcListening::eventBlocks()
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
void TestMdcListening::motorReplies()
{
    Bench bench("listenMotorRunState", {});
    bench.identify(1);
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.replyWords({1}));
    QVERIFY(bench.replyWords({1}));
    QVERIFY(!bench.replyWords({0, 0}));
    QVERIFY(!bench.reply(timedOut()));
    QVERIFY(bench.replyWords({0}));
    QCOMPARE(bench.order().published(),
             (QStringList{"results {isRunning=bool:true}", "results {isRunning=bool:true}",
                          "results {isRunning=bool:false}"}));
    QCOMPARE(bench.logged(), QStringList{"ERROR: Reply does not contain values key"});
}

QTEST_GUILESS_MAIN(TestMdcListening)
#include "tst_mdc_listening.moc"
