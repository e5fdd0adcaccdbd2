// Ctrl-C on the built program.

#include "applications/bench/core/interrupt.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int c_programTimeout = 30000; // ms; the longest case waits 3 s for an answer

const QString c_program = QStringLiteral(MDC_BINARY_DIRECTORY "/bin/mdc-bench");

// -1 as long as it runs, and when it has crashed. It stays to be asked again.
int exitCodeOf(pid_t child)
{
    siginfo_t end{};
    if (waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        end.si_pid != child)
        return -1;
    return end.si_code == CLD_EXITED ? end.si_status : -1;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TstBenchInterrupt : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

private Q_SLOTS:
    void interruptedCommand_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("Ctrl-C") << SIGINT;
        QTest::newRow("a request to terminate") << SIGTERM;
        QTest::newRow("the terminal has closed") << SIGHUP;
    }

    void interruptedCommand()
    {
        QFETCH(int, signal);
        QProcess process;
        process.start(c_program, {"run", "getRegister", "channel=direction", "--fault", "no-answer", "-v"});
        QVERIFY(process.waitForStarted());
        process.setReadChannel(QProcess::StandardError);
        QByteArray seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += process.readAll()).contains("fault no-answer"), c_programTimeout);
        QCOMPARE(::kill(static_cast<pid_t>(process.processId()), signal), 0);
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 130);
        QVERIFY((seen + process.readAll()).contains("was interrupted"));
    }

    void interruptedListening()
    {
        QProcess process;
        process.start(c_program, {"run", "listen", "register=6101", "registerType=holdingRegisters",
                                  "recurrentInterval=20", "--object", "modbus", "--format", "jsonl"});
        QVERIFY(process.waitForStarted());
        QByteArray out;
        QTRY_VERIFY_WITH_TIMEOUT((out += process.readAllStandardOutput()).count('\n') >= 3, c_programTimeout);
        QCOMPARE(::kill(static_cast<pid_t>(process.processId()), SIGINT), 0);
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 0);
        out += process.readAllStandardOutput();
        const QList<QByteArray> lines = out.trimmed().split('\n');
        int sequence = 0;
        for (const QByteArray& line : lines) {
            const QJsonObject object = QJsonDocument::fromJson(line).object();
            QCOMPARE(object.value("seq").toInt(), ++sequence);
            QCOMPARE(object.value("name").toString(), QString("values"));
            QCOMPARE(object.value("value").toArray().size(), 1);
        }
        QCOMPARE(process.readAllStandardError(), QByteArray());
    }

    void interruptedProof_data()
    {
        QTest::addColumn<QList<int>>("requests");
        QTest::newRow("Ctrl-C") << QList<int>{SIGINT};
        // By the shell, and by the system.
        QTest::newRow("the terminal has closed") << QList<int>{SIGHUP, SIGHUP};
        QTest::newRow("the terminal has closed behind Ctrl-C") << QList<int>{SIGINT, SIGHUP};
        QTest::newRow("a service is stopped") << QList<int>{SIGTERM, SIGTERM, SIGHUP};
    }

    // A lock is never left open because somebody has had enough.
    void interruptedProof() // docs/security.md
    {
        QFETCH(QList<int>, requests);
        const QString trace = m_folder.filePath(QString("frames-%1.txt").arg(QTest::currentDataTag()));
        QProcess process;
        process.start(c_program, {"--trace", trace, "check", "--probe", "--write", "--yes", "--fault",
                                  "late=1000@1/0x06#6004"});
        QVERIFY(process.waitForStarted());
        const QByteArray lock = "06 17 74 00 01";   // 1 to register 6004
        const QByteArray unlock = "06 17 74 00 00"; // what was there before
        QTRY_VERIFY_WITH_TIMEOUT(contentOf(trace).contains(lock), c_programTimeout);
        QVERIFY(!contentOf(trace).contains(unlock));
        process.setReadChannel(QProcess::StandardError);
        QByteArray said;
        for (const int one : requests) {
            QCOMPARE(::kill(static_cast<pid_t>(process.processId()), one), 0);
            QTRY_VERIFY_WITH_TIMEOUT((said += process.readAll()).contains("put back first"),
                                     c_programTimeout);
        }
        QVERIFY(process.waitForFinished(c_programTimeout));
        QCOMPARE(process.exitCode(), 130);
        const QByteArray out = process.readAllStandardOutput();
        QVERIFY2(out.contains("channel lockChangeV2: 1 was written to register 6004") &&
                     out.contains("0 is back"),
                 out.constData());
        const QByteArray frames = contentOf(trace);
        QVERIFY2(frames.indexOf(unlock) > frames.indexOf(lock), frames.constData());
        // Nothing else is begun after it.
        QVERIFY(!frames.mid(frames.indexOf(unlock)).contains("06 13 8b"));
    }

    void busyProgram_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("Ctrl-C") << SIGINT;
        QTest::newRow("a request to terminate") << SIGTERM;
    }

    // What is busy for good, or waits without an event loop, is ended by one signal all the same.
    void busyProgram() // docs/security.md
    {
        QFETCH(int, signal);
        QElapsedTimer time;
        time.start();
        const pid_t child = fork();
        if (child == 0) {
            const Interrupt interrupt;
            ::raise(signal);
            for (;;)
                ::pause();
        }
        QVERIFY(child > 0);
        QTRY_COMPARE_WITH_TIMEOUT(exitCodeOf(child), 130, c_programTimeout);
        QVERIFY(time.elapsed() >= Interrupt::c_patience * 900);
    }

    // One that hears of it takes as long as it needs.
    void heardInterruptDoesNotEnd()
    {
        const pid_t child = fork();
        if (child == 0) {
            const Interrupt interrupt;
            ::raise(SIGTERM);
            while (!interrupt.requested())
                QCoreApplication::processEvents();
            _exit(alarm(0) == 0 ? 0 : 1);
        }
        QVERIFY(child > 0);
        QTRY_COMPARE_WITH_TIMEOUT(exitCodeOf(child), 0, c_programTimeout);
    }

    void slowNameServer_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<int>("code");
        QTest::newRow("waited for") << 0 << 5;
        QTest::newRow("Ctrl-C") << SIGINT << 130;
        QTest::newRow("a request to terminate") << SIGTERM << 130;
    }

    // The look-up goes on after the program has given up, and nobody may have to wait for it.
    void slowNameServer() // docs/security.md
    {
        QFETCH(int, signal);
        QFETCH(int, code);
        const QString folder = QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations/");
        QFile sample(folder + "bench.json");
        QVERIFY(sample.open(QIODevice::ReadOnly));
        const QTemporaryDir own;
        QFile bench(own.filePath("bench.json"));
        QVERIFY(bench.open(QIODevice::WriteOnly));
        bench.write(sample.readAll()
                        .replace("127.0.0.1", "controller.invalid")
                        .replace("\"register_", '"' + folder.toUtf8() + "register_")
                        .replace("\"parameters", '"' + folder.toUtf8() + "parameters")
                        .replace("\"backup_", '"' + folder.toUtf8() + "backup_"));
        bench.close();
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LD_PRELOAD", MDC_SLOW_NAMES);
        process.setProcessEnvironment(environment);
        QStringList arguments{"--config", bench.fileName(), "-v", "run", "getInfo"};
        if (signal == 0)
            arguments += {"--timeout", "300"};
        process.start(c_program, arguments);
        QVERIFY(process.waitForStarted());
        process.setReadChannel(QProcess::StandardError);
        QByteArray seen;
        if (signal != 0) {
            QTRY_VERIFY_WITH_TIMEOUT((seen += process.readAll()).contains("as the object is configured"),
                                     c_programTimeout);
            QCOMPARE(::kill(static_cast<pid_t>(process.processId()), signal), 0);
        }
        const bool hasEnded = process.waitForFinished(c_programTimeout);
        seen += process.readAll();
        if (!hasEnded)
            process.kill();
        QVERIFY2(hasEnded, seen.constData());
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QVERIFY2(process.exitCode() == code, seen.constData());
    }

    void secondInterruptEndsAtOnce()
    {
        QProcess process;
        process.start(c_program, {"run", "getRegister", "channel=direction", "--fault", "no-answer", "-v"});
        QVERIFY(process.waitForStarted());
        process.setReadChannel(QProcess::StandardError);
        QByteArray seen;
        QTRY_VERIFY_WITH_TIMEOUT((seen += process.readAll()).contains("fault no-answer"), c_programTimeout);
        const auto pid = static_cast<pid_t>(process.processId());
        QCOMPARE(::kill(pid, SIGINT), 0);
        ::kill(pid, SIGINT); // it may have ended by the first one
        QVERIFY(process.waitForFinished(c_programTimeout));
        // Where it was about to end already the second one ends it as any program, which a shell tells so
        // too.
        constexpr int c_endedBySignal = 128;
        const int code = process.exitCode();
        QCOMPARE(process.exitStatus() == QProcess::CrashExit ? c_endedBySignal + code : code, 130);
    }
};

QTEST_GUILESS_MAIN(TstBenchInterrupt)
#include "tst_bench_interrupt.moc"
