#include "command_bench.h"

#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

#include <limits>

namespace {

constexpr int c_lowest = std::numeric_limits<int>::min();
constexpr int c_highest = std::numeric_limits<int>::max();

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

// What is said of program 15 when the write of its register at `step` has failed.
QString afterFailedWrite(int step, bool isRefused)
{
    if (step > 0)
        return "program 15 is incomplete, resetMode restores the saved values";
    return isRefused ? "program 15 is as it was"
                     : "its first register may have been written, resetMode restores it";
}

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

// The sequence of "SetTriggerProgram": what it saves and writes, and where it stops.
class TestMdcTriggerProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
};

void TestMdcTriggerProgram::triggerRegisters_data()
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

void TestMdcTriggerProgram::triggerRegisters()
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

void TestMdcTriggerProgram::triggerNormalAndReset()
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

void TestMdcTriggerProgram::triggerSavesBeforeItWrites()
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

void TestMdcTriggerProgram::triggerResetWithoutSavedValues_data()
{
    QTest::addColumn<QVariant>("saved");
    QTest::newRow("absent") << QVariant();
    QTest::newRow("empty") << QVariant(QVariantList());
    QTest::newRow("no list") << QVariant(5);
}

void TestMdcTriggerProgram::triggerResetWithoutSavedValues()
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

void TestMdcTriggerProgram::triggerResetWritesValuesAsTheyStand()
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

void TestMdcTriggerProgram::triggerFailures_data()
{
    QTest::addColumn<int>("failing");
    QTest::addColumn<QVariantMap>("notice");
    QTest::addColumn<QString>("error");
    for (int step = 0; step < 12; ++step) {
        QTest::addRow("step %d, no answer", step) << step << timedOut() << "1 no answer";
        QTest::addRow("step %d, refused", step) << step << refused() << "5 refused";
    }
}

void TestMdcTriggerProgram::triggerFailures()
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
                          afterFailedWrite(failing - 6, notice == refused());
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

void TestMdcTriggerProgram::triggerResetFailures_data()
{
    QTest::addColumn<int>("failing");
    QTest::addColumn<QVariantMap>("notice");
    QTest::addColumn<QString>("error");
    for (int step = 0; step < 6; ++step) {
        QTest::addRow("step %d, no answer", step) << step << timedOut() << "1 no answer";
        QTest::addRow("step %d, refused", step) << step << refused() << "5 refused";
    }
}

void TestMdcTriggerProgram::triggerResetFailures()
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
                .arg(QString::number(281 + failing), error, afterFailedWrite(failing, notice == refused()))});
}

// Whatever a write is answered with, short of a failure, is no matter for the sequence.
void TestMdcTriggerProgram::triggerWriteAnsweredWithZero()
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

void TestMdcTriggerProgram::triggerOldInstruction()
{
    TriggerBench bench(false);
    QVERIFY(bench.command().commandExecute());
    const quint64 old = bench.order().lastInstruction();
    QVERIFY(bench.answer(0));
    const QString line =
        QStringLiteral("Unexpected instruction ID received: %1 Expected: %2").arg(old).arg(old + 1);
    QVERIFY(bench.command().setReply(old, {{"values", QVariantList{4711}}}));
    QCOMPARE(bench.logged(), QStringList{line});
    QVERIFY2(bench.command().setReply(old, timedOut()), "an old failure is no failure of this step");
    QCOMPARE(bench.logged(), (QStringList{line, line}));
    QCOMPARE(bench.order().sent(), c_triggerSequence.mid(0, 2));
    for (int step = 1; step < 12; ++step)
        QVERIFY(bench.answer(step));
    QCOMPARE(bench.order().sent(), c_triggerSequence);
    QCOMPARE(bench.saved(), c_program15Text);
}

void TestMdcTriggerProgram::triggerAnswersWithoutANumber_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::newRow("empty list") << QVariantMap{{"values", QVariantList()}};
    QTest::newRow("no values") << QVariantMap();
    QTest::newRow("no list") << QVariantMap{{"values", 5}};
    QTest::newRow("null word") << QVariantMap{{"values", QVariantList{QVariant()}}};
    QTest::newRow("text") << QVariantMap{{"values", QVariantList{"seven"}}};
}

void TestMdcTriggerProgram::triggerAnswersWithoutANumber()
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
void TestMdcTriggerProgram::triggerExecutedTwice()
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

void TestMdcTriggerProgram::triggerAfterTheEnd()
{
    TriggerBench bench(false);
    QVERIFY(bench.command().commandExecute());
    for (int step = 0; step < 11; ++step)
        QVERIFY(bench.answer(step));
    bench.order().setOpen(false);
    QVERIFY2(!bench.answer(11), "what cannot be published is no success");
    QCOMPARE(bench.order().published(), QStringList());
}

QTEST_GUILESS_MAIN(TestMdcTriggerProgram)
#include "tst_mdc_trigger_program.moc"
