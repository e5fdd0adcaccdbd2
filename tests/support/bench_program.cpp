#include "tests/support/bench_program.h"

#include <lib_host/configuration.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTimer>

#include <csignal>

namespace {

QJsonObject sampleBench()
{
    return loadConfiguration(MDC_SOURCE_DIRECTORY "/configurations/bench.json").configuration;
}

} // namespace

QJsonObject sampleDeviceConfiguration()
{
    return sampleBench().value("objects").toArray().at(1).toObject().value("configuration").toObject();
}

bool writeBenchFor(const Simulator& simulator, const QString& reference, const QString& path)
{
    QJsonObject bench = sampleBench();
    QJsonArray objects = bench.value("objects").toArray();
    QJsonObject driver = objects.at(0).toObject();
    driver.insert("configuration",
                  QJsonObject{{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", simulator.tcpPort()}});
    QJsonObject device = objects.at(1).toObject();
    device.insert("reference", reference);
    // Merged above.
    device.remove("configurationFiles");
    objects.replace(0, driver);
    objects.replace(1, device);
    bench.insert("objects", objects);
    const QByteArray text = QJsonDocument(bench).toJson();
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

std::unique_ptr<QProcess> startBench(const QStringList& arguments)
{
    auto process = std::make_unique<QProcess>();
    process->start(MDC_BINARY_DIRECTORY "/bin/mdc-bench", arguments);
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
        ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    return endOf(process);
}
