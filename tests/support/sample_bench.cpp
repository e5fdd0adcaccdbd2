#include "tests/support/sample_bench.h"

#include "applications/simulator/simulator.h"
#include "tests/support/configuration_errors.h"

#include <QJsonArray>

namespace {

constexpr int c_driver = 0;
constexpr int c_device = 1;
const QString c_objects = QStringLiteral("objects");
const QString c_configuration = QStringLiteral("configuration");

QJsonObject withObject(QJsonObject bench, int index, const QJsonObject& entries)
{
    QJsonArray objects = bench.value(c_objects).toArray();
    QJsonObject object = objects.at(index).toObject();
    for (auto entry = entries.begin(); entry != entries.end(); ++entry)
        object.insert(entry.key(), entry.value());
    objects.replace(index, object);
    bench.insert(c_objects, objects);
    return bench;
}

} // namespace

QJsonObject sampleBench(QString* error)
{
    const DLoadedConfiguration loaded = loadConfiguration(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
    if (loaded.errors.isEmpty())
        return loaded.configuration;
    const QString text = errorText(loaded.errors);
    if (error == nullptr)
        qFatal("the sample configuration is not good:\n%s", qPrintable(text));
    *error = text;
    return {};
}

QJsonObject deviceConfiguration(const QJsonObject& bench)
{
    return bench.value(c_objects).toArray().at(c_device).toObject().value(c_configuration).toObject();
}

QJsonObject withLink(QJsonObject bench, const QJsonObject& link)
{
    return withObject(std::move(bench), c_driver, {{c_configuration, link}});
}

QJsonObject withDevice(QJsonObject bench, const QJsonObject& configuration, const QString& reference)
{
    QJsonObject entries{{c_configuration, configuration}};
    if (!reference.isEmpty())
        entries.insert(QStringLiteral("reference"), reference);
    return withObject(std::move(bench), c_device, entries);
}

QJsonObject withDeviceId(QJsonObject bench, const QString& id)
{
    return withObject(std::move(bench), c_device, {{QStringLiteral("id"), id}});
}

QJsonObject openLink(Simulator& simulator, Transport transport, QString* error)
{
    if (transport == Transport::Tcp) {
        if (!simulator.listenTcp(0, error))
            return {};
        return {{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", simulator.tcpPort()}};
    }
    const QString serialDevice = simulator.openPseudoTerminal(error);
    if (serialDevice.isEmpty())
        return {};
    return {{"transport", "rtu"}, {"serialPort", serialDevice}, {"baudRate", 115200}};
}
