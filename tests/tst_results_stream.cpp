#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "applications/simulator/tightening_cycles.h"
#include "tests/support/bench_program.h"
#include "tests/support/sample_bench.h"
#include "tests/support/swapped_controllers.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QVector>

// The log of tightenings that "mdc-bench results" writes, against a controller that tightens: every
// counter value is in it once, as an event with the values of this event or within a gap.
//
// The environment variable MDC_TIGHTENINGS sets how many tightenings followLostLinks() runs at the
// fastest rate that a listener at 100 ms can see; 10000 of them take 17 minutes.
class tst_ResultsStream : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void tellsEachEventOnce_data();
    void tellsEachEventOnce();
    void goesOnAfterARestart();
    void standardOutput_data();
    void standardOutput();
    void readerGoesWhileEventsCome_data();
    void readerGoesWhileEventsCome(); // docs/security.md
    void anotherControllerMeanwhile();
    void anotherControllerFromTheBeginning(); // docs/security.md
    void withoutCounterChannel();
    void refusedCounter();
    void followLostLinks();

private:
    bool simulate(const QString& profile);
    std::unique_ptr<QProcess> follow(const QStringList& more = {});
    QList<QJsonObject> lines() const;
    int lastCount() const;
    void tighten(int count);

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<Simulator> m_simulator;
    QString m_log;
};

namespace {

// Until a program has started, under the sanitizers and beside other tests.
constexpr int c_busyMachine = 30000; // ms

constexpr int c_listenInterval = 100; // ms, of the command that listens to events
constexpr int c_defaultTightenings = 150;
constexpr quint32 c_seed = 42;

QString textOf(const QJsonObject& line)
{
    const QString kind = line.value("kind").toString();
    if (kind == "gap" || kind == "reset")
        return QString("%1 %2-%3").arg(kind).arg(line.value("from").toInt()).arg(line.value("to").toInt());
    return QString("%1 %2%3")
        .arg(kind)
        .arg(line.value("count").toInt())
        .arg(line.value("late").toBool() ? " late" : "");
}

QString textOf(const QList<QJsonObject>& lines)
{
    QStringList texts;
    for (const QJsonObject& line : lines)
        texts.append(textOf(line));
    return texts.join("; ");
}

// What a float's hundredths are cut off to.
int cutHundredths(double number)
{
    return static_cast<int>(static_cast<float>(number) * 100.0F);
}

// Empty, or what is wrong with this event line's values.
QString valueError(const QJsonObject& line)
{
    const auto count = static_cast<quint16>(line.value("count").toInt());
    const TighteningEvent event = TighteningEvent::ofCount(count, 1, 0, c_seed);
    const QJsonObject values = line.value("values").toObject();
    const QMap<QString, int> expected{{"torque", cutHundredths(event.torque)},
                                      {"angle", cutHundredths(event.angle)},
                                      {"duration", event.duration},
                                      {"result", event.isOk ? 1 : 0},
                                      {"errorCode", event.errorCode},
                                      {"program", 1}};
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        if (values.value(it.key()).toInt(-1) != it.value())
            return QString("event %1: %2 is %3 instead of %4")
                .arg(count)
                .arg(it.key())
                .arg(values.value(it.key()).toVariant().toString())
                .arg(it.value());
    }
    return line.value("program").toInt() == 1 ? QString() : QString("event %1: program").arg(count);
}

// Empty, or the first count from 1 to `last` that is not in the log exactly once.
QString accountError(const QList<QJsonObject>& lines, int last, int* events, int* missed)
{
    QVector<int> seen(last + 1, 0);
    for (const QJsonObject& line : lines) {
        const QString kind = line.value("kind").toString();
        const int from = kind == "gap" ? line.value("from").toInt() : line.value("count").toInt();
        const int to = kind == "gap" ? line.value("to").toInt() : from;
        if (kind == "sequence")
            continue;
        if (kind != "event" && kind != "gap")
            return "unexpected " + textOf(line);
        for (int count = from; count <= to; ++count) {
            if (count < 1 || count > last)
                return QString("%1 is no count").arg(count);
            ++seen[count];
        }
        *(kind == "event" ? events : missed) += to - from + 1;
        if (kind == "event" && !valueError(line).isEmpty())
            return valueError(line);
    }
    for (int count = 1; count <= last; ++count) {
        if (seen.at(count) != 1)
            return QString("count %1 is told %2 times").arg(count).arg(seen.at(count));
    }
    return {};
}

} // namespace

void tst_ResultsStream::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_log = m_folder->filePath("tightenings.jsonl");
}

bool tst_ResultsStream::simulate(const QString& profile)
{
    m_simulator =
        std::make_unique<Simulator>(deviceConfiguration(sampleBench()), *ControllerProfile::byName(profile));
    m_simulator->controller().setEventSeed(c_seed);
    m_simulator->controller().setValue("currentPreset", 1);
    return m_simulator->listenTcp() &&
           writeBenchFor(*m_simulator, m_simulator->controller().profile().reference,
                         m_folder->filePath("bench.json"));
}

std::unique_ptr<QProcess> tst_ResultsStream::follow(const QStringList& more)
{
    return startBench(QStringList{"--config", m_folder->filePath("bench.json"), "--properties",
                                  m_folder->filePath("properties.json"), "results", "--output", m_log} +
                      more);
}

QList<QJsonObject> tst_ResultsStream::lines() const
{
    QFile file(m_log);
    QList<QJsonObject> result;
    if (file.open(QIODevice::ReadOnly)) {
        while (!file.atEnd())
            result.append(QJsonDocument::fromJson(file.readLine()).object());
    }
    return result;
}

int tst_ResultsStream::lastCount() const
{
    const QList<QJsonObject> all = lines();
    return all.isEmpty() ? -1 : all.last().value("count").toInt();
}

void tst_ResultsStream::tighten(int count)
{
    for (int i = 0; i < count; ++i)
        QVERIFY(m_simulator->controller().tighten());
}

void tst_ResultsStream::tellsEachEventOnce_data()
{
    QTest::addColumn<QString>("profile");
    for (const char* const profile : {"mdc26-gen1v1", "mdc26-gen1v2", "mdc32-gen2"})
        QTest::newRow(profile) << QString(profile);
}

void tst_ResultsStream::tellsEachEventOnce()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    QFETCH(QString, profile);
    QVERIFY(simulate(profile));
    m_simulator->controller().setEventCount(65534);
    auto bench = follow();
    QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), QString("sequence 65534"), c_busyMachine);
    // The order of the lines is that of the events, over the counter's end.
    for (const int count : {65535, 0, 1}) {
        tighten(1);
        QTRY_COMPARE_WITH_TIMEOUT(lastCount(), count, c_busyMachine);
    }
    tighten(3);
    QTRY_COMPARE_WITH_TIMEOUT(lastCount(), 4, c_busyMachine);
    const BenchEnd end = interrupted(*bench);
    QVERIFY2(end.exitCode == 0, qPrintable(end.err));
    QCOMPARE(end.out, QString());
    QVERIFY2(end.err.contains("events 2 to 3 were not seen (2)"), qPrintable(end.err));
    QCOMPARE(textOf(lines()), QString("sequence 65534; event 65535; event 0; event 1; gap 2-3; event 4"));
    for (const QJsonObject& line : lines()) {
        if (line.value("kind") == "event")
            QCOMPARE(valueError(line), QString());
        QCOMPARE(line.value("serial").toString().isEmpty(), false);
        QVERIFY(QDateTime::fromString(line.value("time").toString(), Qt::ISODateWithMs).isValid());
    }
}

void tst_ResultsStream::goesOnAfterARestart()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    QVERIFY(simulate("mdc32-gen2"));
    struct Step
    {
        int tightenings;
        QString lines;
    };
    // Between two runs of the bench. The command itself reports an event of that time as unchanged.
    const Step steps[] = {
        {5, "sequence 5"}, {0, ""}, {1, "event 6 late"}, {3, "gap 7-8; event 9 late"}, {-1, "reset 9-0"}};
    QString expected;
    for (const Step& step : steps) {
        if (step.tightenings < 0)
            m_simulator->controller().setEventCount(0);
        tighten(step.tightenings);
        if (!step.lines.isEmpty())
            expected += (expected.isEmpty() ? "" : "; ") + step.lines;
        auto bench = follow();
        const qint64 requests = m_simulator->faults().requestCount();
        QTRY_VERIFY_WITH_TIMEOUT(m_simulator->faults().requestCount() > requests + 6, c_busyMachine);
        QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), expected, c_busyMachine);
        const BenchEnd end = interrupted(*bench);
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
    }
    // Killed, with half a line written.
    {
        auto bench = follow();
        tighten(1);
        QTRY_COMPARE_WITH_TIMEOUT(lastCount(), 1, c_busyMachine);
        bench->kill();
        endOf(*bench);
        QFile file(m_log);
        QVERIFY(file.open(QIODevice::Append));
        QVERIFY(file.write(R"({"v":1,"kind":"event","ti)") > 0);
    }
    tighten(1);
    auto bench = follow({"--count", "1"});
    const BenchEnd end = endOf(*bench);
    QVERIFY2(end.exitCode == 0, qPrintable(end.err));
    QVERIFY2(end.err.contains("torn last line"), qPrintable(end.err));
    QCOMPARE(textOf(lines()).section("; ", -2).remove(" late"), QString("event 1; event 2"));
}

void tst_ResultsStream::standardOutput_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QStringList>("starts");
    QTest::newRow("jsonl") << "jsonl"
                           << QStringList{R"({"v":1,"kind":"sequence",)", R"({"v":1,"kind":"event",)"};
    QTest::newRow("csv") << "csv"
                         << QStringList{"kind,time,serial,count,late,program,from,to,missed,values.program,",
                                        "sequence,", "event,"};
}

void tst_ResultsStream::standardOutput()
{
    QFETCH(QString, format);
    QFETCH(QStringList, starts);
    QVERIFY(simulate("mdc26-gen1v2"));
    auto bench = startBench(
        {"--config", m_folder->filePath("bench.json"), "results", "--format", format, "--count", "1"});
    QByteArray out;
    QTRY_VERIFY_WITH_TIMEOUT((out += bench->readAllStandardOutput()).contains("sequence"), c_busyMachine);
    tighten(1);
    const BenchEnd end = endOf(*bench);
    QVERIFY2(end.exitCode == 0, qPrintable(end.err));
    const QStringList texts = QString::fromUtf8(out + end.out.toUtf8()).split('\n', Qt::SkipEmptyParts);
    QCOMPARE(texts.size(), starts.size());
    for (int i = 0; i < starts.size(); ++i)
        QVERIFY2(texts.at(i).startsWith(starts.at(i)), qPrintable(texts.at(i)));
}

void tst_ResultsStream::readerGoesWhileEventsCome_data()
{
    QTest::addColumn<bool>("isDiskFull");
    QTest::addColumn<int>("code");
    QTest::newRow("the reader goes") << false << 0;
    QTest::newRow("the disk is full") << true << 1;
}

// Nobody sees the events any more: they are not taken from the controller as if somebody did.
void tst_ResultsStream::readerGoesWhileEventsCome()
{
#ifdef Q_OS_LINUX
    QFETCH(bool, isDiskFull);
    QFETCH(int, code);
    QVERIFY(simulate("mdc26-gen1v2"));
    QProcess bench;
    QProcess reader;
    if (isDiskFull)
        bench.setStandardOutputFile("/dev/full");
    else
        bench.setStandardOutputProcess(&reader);
    bench.start(benchProgram(), {"--config", m_folder->filePath("bench.json"), "--properties",
                                 m_folder->filePath("properties.json"), "results"});
    QVERIFY(bench.waitForStarted());
    if (!isDiskFull) {
        // It goes with the first line, before any event.
        reader.start("head", {"-1"});
        QVERIFY(reader.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(reader.state() == QProcess::NotRunning, c_busyMachine);
    }
    // Each look is behind another event.
    int events = 0;
    const auto hasEnded = [&] {
        if (bench.state() == QProcess::NotRunning)
            return true;
        m_simulator->controller().tighten();
        ++events;
        return false;
    };
    QTRY_VERIFY_WITH_TIMEOUT(hasEnded(), c_busyMachine);
    QVERIFY2(isDiskFull || events < 40, qPrintable(QString::number(events)));
    QCOMPARE(bench.exitStatus(), QProcess::NormalExit);
    const QByteArray messages = bench.readAllStandardError();
    QVERIFY2(bench.exitCode() == code, messages.constData());
    QCOMPARE(messages.count("cannot be written to standard output"), isDiskFull ? 1 : 0);
#else
    QSKIP("no pipe and no full device of this kind here");
#endif
}

// The link comes back to another controller at the same address, whose count says nothing of the first.
void tst_ResultsStream::anotherControllerMeanwhile()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    QVERIFY(simulate("mdc26-gen1v2"));
    auto bench = follow();
    QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), QString("sequence 0"), c_busyMachine);
    tighten(1);
    QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), QString("sequence 0; event 1"), c_busyMachine);
    const QString serial = lines().last().value("serial").toString();
    const quint16 port = m_simulator->tcpPort();
    m_simulator.reset();
    // The other one comes when the first has been missed: a link that is back before the next poll is
    // no outage.
    QString told;
    QTRY_VERIFY_WITH_TIMEOUT((told += bench->readAllStandardError()).contains("listening goes on"),
                             c_busyMachine);
    m_simulator = std::make_unique<Simulator>(deviceConfiguration(sampleBench()),
                                              *ControllerProfile::byName("mdc22-gen1v2"));
    m_simulator->controller().setEventCount(1);
    QVERIFY(m_simulator->listenTcp(port));
    QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), QString("sequence 0; event 1; sequence 1"), 15000);
    QVERIFY(lines().last().value("serial").toString() != serial);
    tighten(1);
    QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), QString("sequence 0; event 1; sequence 1; event 2"),
                              c_busyMachine);
    const BenchEnd end = interrupted(*bench);
    QVERIFY2(end.exitCode == 0, qPrintable(end.err));
    told += end.err;
    QVERIFY2(told.contains("another controller answers"), qPrintable(told));
    QCOMPARE(told.count("listening goes on"), 1);
}

// One byte behind the identification loses the link, and all that is heard is of whoever is behind the next
// one.
void tst_ResultsStream::anotherControllerFromTheBeginning()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    QVERIFY(simulate("mdc26-gen1v2"));
    Simulator other(deviceConfiguration(sampleBench()), *ControllerProfile::byName("mdc22-gen1v2"));
    other.controller().setEventCount(7);
    QVERIFY(other.listenTcp());
    SwappedControllers swapped(m_simulator->tcpPort(), other.tcpPort(), SwappedControllers::By::Connection,
                               2);
    QFile file(m_folder->filePath("bench.json"));
    QVERIFY(swapped.listen() && file.open(QIODevice::ReadWrite));
    const QByteArray text = file.readAll().replace(QByteArray::number(m_simulator->tcpPort()),
                                                   QByteArray::number(swapped.port()));
    QVERIFY(file.resize(0) && file.seek(0) && file.write(text) == text.size());
    file.close();
    QVERIFY(m_simulator->faults().add("twice@once"));
    auto bench = follow();
    QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), QString("sequence 7"), c_busyMachine);
    const BenchEnd end = interrupted(*bench);
    QVERIFY2(end.exitCode == 0, qPrintable(end.err));
    const QString serial = lines().last().value("serial").toString();
    QVERIFY2(end.err.contains("another controller answers: serial " + serial + " instead of"),
             qPrintable(end.err));
}

void tst_ResultsStream::withoutCounterChannel()
{
    QVERIFY(simulate("mdc26-gen1v2"));
    QFile file(m_folder->filePath("bench.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    file.close();
    // The counter is no longer the block's first register.
    QString swapped = text;
    swapped.replace(QRegularExpression("\"eventCountNo\",(\\s+)\"program\""),
                    "\"program\",\\1\"eventCountNo\"");
    QVERIFY(swapped != text);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(swapped.toUtf8());
    file.close();
    auto bench = follow();
    const BenchEnd end = endOf(*bench);
    QVERIFY2(end.exitCode == 3, qPrintable(end.err));
    QVERIFY2(end.err.contains("add a channel \"eventCount\" with the \"register\" 5202"),
             qPrintable(end.err));
    QVERIFY(!QFile::exists(m_log));
}

void tst_ResultsStream::refusedCounter()
{
    QVERIFY(simulate("mdc26-gen1v2"));
    QVERIFY(m_simulator->faults().add("exception=2/0x03"));
    auto bench = follow();
    const BenchEnd end = endOf(*bench);
    QVERIFY2(end.exitCode == 7, qPrintable(end.err));
    QVERIFY2(end.err.contains("the event counter cannot be read"), qPrintable(end.err));
}

void tst_ResultsStream::followLostLinks()
{
    const int tightenings = qEnvironmentVariableIsSet("MDC_TIGHTENINGS")
                                ? qEnvironmentVariableIntValue("MDC_TIGHTENINGS")
                                : c_defaultTightenings;
    QVERIFY(tightenings > 0);
    const int between = qMax(30, qMin(300, tightenings / 5));
    QVERIFY(simulate("mdc32-gen2"));
    SimulatedController& controller = m_simulator->controller();
    auto bench = follow({"--rotate-size", "1000000000"});
    QTRY_COMPARE_WITH_TIMEOUT(textOf(lines()), QString("sequence 0"), c_busyMachine);

    // Each kind of loss in turn: the controller is away, the connection ends, the answer is lost, the
    // bench is killed, the bench is stopped.
    int losses = 0;
    int kills = 0;
    connect(&controller, &SimulatedController::eventPosted, this, [&](const TighteningEvent& event) {
        if (event.count % between != 0 || event.count >= tightenings)
            return;
        switch (losses++ % 5) {
        case 0:
            m_simulator->restart(400);
            break;
        case 1:
            m_simulator->faults().add("reset@once");
            break;
        case 2:
            ++kills;
            bench->kill();
            break;
        case 3:
            m_simulator->faults().add("close@once");
            break;
        default:
            m_simulator->faults().add("cut-middle@once");
            break;
        }
    });
    connect(&controller, &SimulatedController::eventPosted, this, [&](const TighteningEvent& event) {
        if (event.count == tightenings)
            m_simulator->tightening().stop();
        else if (bench->state() == QProcess::NotRunning)
            bench = follow({"--rotate-size", "1000000000"});
    });
    m_simulator->tightening().setMotorTime(10);
    m_simulator->tightening().start(c_listenInterval);
    QTRY_VERIFY_WITH_TIMEOUT(controller.eventCount() == tightenings,
                             (tightenings * c_listenInterval * 3 / 2 + 10000) * patience());
    QTRY_COMPARE_WITH_TIMEOUT(lastCount(), tightenings, 20000);
    if (canPressCtrlC()) {
        const BenchEnd end = interrupted(*bench);
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
    } else {
        bench->kill();
        QVERIFY(bench->waitForFinished());
    }
    int events = 0;
    int missed = 0;
    const QString error = accountError(lines(), tightenings, &events, &missed);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(events + missed, tightenings);
    QVERIFY(losses >= 3 && kills >= 1);
    // The gaps are those of the losses, not of a listener that does not keep up.
    QVERIFY2(events > tightenings / 2, qPrintable(QString("%1 of %2").arg(events).arg(tightenings)));
    qInfo("%d tightenings, %d losses: %d events and %d missed in gaps", tightenings, losses, events, missed);
}

QTEST_GUILESS_MAIN(tst_ResultsStream)
#include "tst_results_stream.moc"
