#include "tests/support/bench_program.h"

#include "tests/support/sample_bench.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QTimer>

bool writeBenchFor(const Simulator& simulator, const QString& reference, const QString& path,
                   const QString& deviceId)
{
    const QJsonObject sample = sampleBench();
    const QJsonObject link{{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", simulator.tcpPort()}};
    QJsonObject bench = withDevice(withLink(sample, link), deviceConfiguration(sample), reference);
    if (!deviceId.isEmpty())
        bench = withDeviceId(bench, deviceId);
    const QByteArray text = QJsonDocument(bench).toJson();
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

QString benchProgram()
{
    return QStringLiteral(MDC_BINARY_DIRECTORY "/bin/mdc-bench");
}

std::unique_ptr<QProcess> startBench(const QStringList& arguments)
{
    auto process = std::make_unique<QProcess>();
    process->start(benchProgram(), arguments);
    process->closeWriteChannel();
    return process;
}

BenchEnd endOf(QProcess& process, int waitMs)
{
    // An event loop and not waitForFinished(): the simulator it talks to lives in this process.
    if (process.state() != QProcess::NotRunning) {
        QEventLoop loop;
        QObject::connect(&process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop,
                         &QEventLoop::quit);
        QTimer::singleShot(waitMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

BenchEnd interrupted(QProcess& process)
{
    if (process.state() == QProcess::Running)
        pressCtrlC(process.processId());
    return endOf(process);
}
