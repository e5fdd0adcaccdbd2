#include "benchmarks/served_controllers.h"

#include "applications/simulator/simulator.h"
#include "benchmarks/rounds.h"

#include <lib_host/configuration.h>

#include <QCoreApplication>
#include <QJsonArray>
#include <QSocketNotifier>
#include <QUuid>

#include <cstdio>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

constexpr int c_driverObject = 0;
constexpr int c_deviceObject = 1;

ControllerProfile profile()
{
    return *ControllerProfile::byName(QStringLiteral("mdc32-gen2"));
}

QString newId()
{
    return QUuid::createUuid().toString();
}

} // namespace

const char* nameOf(Peer peer)
{
    return peer == Peer::Simulator ? "simulator" : "costless peer";
}

ServedControllers::ServedControllers(int count, Peer peer)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (peer == Peer::Simulator)
        m_process.start(QCoreApplication::applicationFilePath(),
                        {QStringLiteral("--serve"), QString::number(count)});
    else
        m_process.start(
            QCoreApplication::applicationDirPath() + QStringLiteral("/costless_peer"),
            {QString::number(count), QString::fromLatin1(profile().identificationBlock().toHex())});
    while (m_ports.size() < count) {
        if (!m_process.canReadLine() && !m_process.waitForReadyRead()) {
            std::fprintf(stderr, "the %s did not start\n", nameOf(peer));
            m_ports.clear();
            return;
        }
        while (m_process.canReadLine())
            m_ports.append(m_process.readLine().trimmed().toInt());
    }
}

ServedControllers::~ServedControllers()
{
    m_process.closeWriteChannel();
    m_process.waitForFinished();
}

int serveControllers(int count, const std::function<void(Simulator&)>& prepare)
{
    bindToProcessor(1);
    const QJsonObject device =
        sampleBench().value(QLatin1String("objects")).toArray().at(c_deviceObject).toObject();
    std::vector<std::unique_ptr<Simulator>> simulators;
    for (int i = 0; i < count; ++i) {
        simulators.push_back(
            std::make_unique<Simulator>(device.value(QLatin1String("configuration")).toObject(), profile()));
        if (!simulators.back()->listenTcp())
            return 1;
        prepare(*simulators.back());
        std::printf("%d\n", simulators.back()->tcpPort());
    }
    std::fflush(stdout);
    QSocketNotifier end(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&end, &QSocketNotifier::activated, qApp, &QCoreApplication::quit);
    return QCoreApplication::exec();
}

QJsonObject sampleBench()
{
    return loadConfiguration(QStringLiteral(":/configurations/bench.json")).configuration;
}

QJsonObject benchFor(const QList<int>& ports,
                     const std::function<QJsonObject(const QJsonObject&)>& changeDevice)
{
    const QString configuration = QStringLiteral("configuration");
    const QJsonArray sample = sampleBench().value(QLatin1String("objects")).toArray();
    QJsonArray objects;
    for (const int port : ports) {
        QJsonObject driver = sample.at(c_driverObject).toObject();
        QJsonObject device = sample.at(c_deviceObject).toObject();
        driver.insert(QStringLiteral("id"), newId());
        driver.insert(QStringLiteral("name"), QStringLiteral("driver %1").arg(port));
        driver.insert(configuration, QJsonObject{{QStringLiteral("transport"), QStringLiteral("tcp")},
                                                 {QStringLiteral("port"), port}});
        device.insert(QStringLiteral("id"), newId());
        device.insert(QStringLiteral("name"), QStringLiteral("device %1").arg(port));
        device.insert(QStringLiteral("driver"), driver.value(QLatin1String("id")));
        if (changeDevice)
            device.insert(configuration, changeDevice(device.value(configuration).toObject()));
        objects.append(driver);
        objects.append(device);
    }
    QJsonObject bench = sampleBench();
    bench.insert(QStringLiteral("objects"), objects);
    return bench;
}

void quietLog()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
        constexpr int c_shown = 20;
        static int told = 0;
        if (type == QtInfoMsg || type == QtDebugMsg || ++told > c_shown)
            return;
        std::fprintf(stderr, "%s\n%s", qPrintable(message), told == c_shown ? "(no more of these)\n" : "");
    });
}
