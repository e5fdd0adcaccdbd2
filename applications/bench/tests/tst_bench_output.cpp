// What the built program writes, for programs and for people.

#include "tests/support/bench_program.h"
#include "tests/support/sample_folder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <pty.h>
#include <unistd.h>

namespace {

constexpr int c_programTimeout = 30000; // ms; the longest case waits 3 s for an answer

const QString c_program = QStringLiteral(MDC_BINARY_DIRECTORY "/bin/mdc-bench");

BenchEnd runBench(const QStringList& arguments)
{
    return endOf(*startBench(arguments), c_programTimeout);
}

QJsonObject documentOf(const BenchEnd& ended)
{
    return QJsonDocument::fromJson(ended.out.toUtf8()).object();
}

// A program whose standard output and error are a terminal.
class TerminalProcess : public QProcess
{
public:
    TerminalProcess() { m_hasTerminal = openpty(&m_master, &m_slave, nullptr, nullptr, nullptr) == 0; }
    ~TerminalProcess() override
    {
        if (m_hasTerminal) {
            ::close(m_master);
            closeSlave();
        }
    }
    Q_DISABLE_COPY(TerminalProcess)

    bool hasTerminal() const { return m_hasTerminal; }
    void closeSlave()
    {
        if (m_slave >= 0)
            ::close(m_slave);
        m_slave = -1;
    }
    // What has been written to the terminal; call after the program has ended.
    QByteArray screen()
    {
        closeSlave();
        QByteArray all;
        QByteArray part(4096, '\0');
        for (;;) {
            const ssize_t count = ::read(m_master, part.data(), static_cast<size_t>(part.size()));
            if (count <= 0)
                return all;
            all += part.left(static_cast<int>(count));
        }
    }

protected:
    void setupChildProcess() override
    {
        dup2(m_slave, STDOUT_FILENO);
        dup2(m_slave, STDERR_FILENO);
    }

private:
    int m_master = -1;
    int m_slave = -1;
    bool m_hasTerminal = false;
};

} // namespace

class TstBenchOutput : public QObject
{
    Q_OBJECT

    SampleFolder m_samples;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_samples.isValid());
        // Nothing of the person who runs the tests, and nothing left behind.
        qputenv("XDG_DATA_HOME", m_samples.path().toLocal8Bit());
        qunsetenv("NO_COLOR");
    }

    void jsonLines()
    {
        const BenchEnd ended = runBench({"run", "getInfo", "--format", "jsonl"});
        QCOMPARE(ended.exitCode, 0);
        const QStringList lines = ended.out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 1);
        const QJsonObject object = QJsonDocument::fromJson(lines.constFirst().toUtf8()).object();
        QCOMPARE(object.value("v").toInt(), 1);
        QCOMPARE(object.value("seq").toInt(), 1);
        QCOMPARE(object.value("name").toString(), QString("deviceInformation"));
        QCOMPARE(object.value("value").toArray().size(), 5);
        static const QRegularExpression iso(
            QStringLiteral("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d$"));
        QVERIFY2(iso.match(object.value("time").toString()).hasMatch(), qPrintable(lines.constFirst()));
    }

    void json()
    {
        const QJsonObject good =
            documentOf(runBench({"run", "setDirection", "direction=1", "--format", "json"}));
        QCOMPARE(good.value("v").toInt(), 1);
        QCOMPARE(good.value("ok").toBool(), true);
        QCOMPARE(good.value("results").toObject().value("doneOk").toBool(), true);
        const QJsonObject bad = documentOf(runBench({"run", "setProgram", "program=0", "--format", "json"}));
        QCOMPARE(bad.value("ok").toBool(true), false);
        QCOMPARE(bad.value("exitCode").toInt(), 7);
        QVERIFY(!bad.value("error").toString().isEmpty());
        const QJsonArray objects =
            documentOf(runBench({"list", "--format", "json"})).value("objects").toArray();
        QCOMPARE(objects.size(), 2);
        for (const QJsonValue& object : objects)
            QCOMPARE(object.toObject().value("connected").toBool(), true);
        const QJsonObject check = documentOf(runBench({"check", "--format", "json"}));
        QCOMPARE(check.value("errors").toInt(-1), 0);
        QVERIFY(!check.value("findings").toArray().isEmpty());
        const QJsonArray commands = documentOf(runBench({"commands", "setDirection", "--format", "json"}))
                                        .value("commands")
                                        .toArray();
        QCOMPARE(commands.size(), 1);
        QCOMPARE(
            commands.at(0).toObject().value("parameters").toArray().at(0).toObject().value("type").toString(),
            QString("ui16"));
    }

    void checkedCommandsAreAllKnown()
    {
        // A command whose needs nobody wrote down would be reported as such.
        const BenchEnd ended = runBench({"check"});
        QVERIFY2(!ended.out.contains("is not known here"), qPrintable(ended.out));
    }

    void referencePage()
    {
        QFile page(QStringLiteral(MDC_SOURCE_DIRECTORY "/docs/commands.md"));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const BenchEnd ended = runBench({"commands", "--format", "markdown"});
        QCOMPARE(ended.exitCode, 0);
        QVERIFY2(ended.out == QString::fromUtf8(page.readAll()),
                 "docs/commands.md is stale: mdc-bench commands --format markdown > docs/commands.md");
    }

    void logStaysOnOneLine()
    {
        const BenchEnd ended = runBench({"run", "setDirection", "direction=1", "--no-identify"});
        const QStringList lines = ended.err.split('\n', Qt::SkipEmptyParts);
        for (const QString& line : lines)
            QVERIFY2(line.startsWith("mdc-bench: "), qPrintable(line));
    }

    void colour_data()
    {
        QTest::addColumn<QByteArray>("noColor");
        QTest::addColumn<bool>("coloured");
        QTest::newRow("terminal") << QByteArray() << true;
        QTest::newRow("NO_COLOR") << QByteArray("1") << false;
    }

    void colour()
    {
        QFETCH(QByteArray, noColor);
        TerminalProcess process;
        QVERIFY(process.hasTerminal());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("NO_COLOR", noColor);
        process.setProcessEnvironment(environment);
        process.start(c_program, {"check"});
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitCode(), 0);
        const QByteArray screen = process.screen();
        QVERIFY(screen.contains("configuration"));
        QTEST(screen.contains("\x1b[32mok"), "coloured");
    }

    void progressBar()
    {
        const BenchEnd backup = runBench({"backup", "--folder", m_samples.path(), "--name", "bar"});
        QVERIFY2(backup.exitCode == 0, qPrintable(backup.err));
        TerminalProcess process;
        QVERIFY(process.hasTerminal());
        // 1.6 s at least; nothing is shown in the first one.
        process.start(c_program, {"restore", backup.out.trimmed(), "--presets", "1", "--no-snapshot",
                                  "--fault", "late=40/0x06"});
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitCode(), 0);
        const QByteArray screen = process.screen();
        const QList<QByteArray> shown = screen.split('\r');
        QVERIFY2(shown.size() > 3, screen.constData());
        QVERIFY2(shown.at(1).startsWith("restore [#") && shown.at(1).contains("/40 registers"),
                 screen.constData());
        // Wiped out before the results come.
        const int results = screen.indexOf("group ");
        QVERIFY2(results > 0 &&
                     screen.mid(screen.lastIndexOf('\r', results - 2), results).trimmed().startsWith("group"),
                 screen.constData());
        QVERIFY2(screen.contains("40 of 40 registers written"), screen.constData());
    }
};

QTEST_GUILESS_MAIN(TstBenchOutput)
#include "tst_bench_output.moc"
