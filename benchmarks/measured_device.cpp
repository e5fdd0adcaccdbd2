#include "benchmarks/measured_device.h"

#include "benchmarks/served_controllers.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonArray>

#include <cstdio>

namespace {

constexpr int c_torqueUnitRegister = 1;

QUuid idOf(const QJsonObject& bench, int object)
{
    const QJsonArray objects = bench.value(QLatin1String("objects")).toArray();
    return QUuid(objects.at(object).toObject().value(QLatin1String("id")).toString());
}

QJsonObject entry(const char* id, const QJsonValue& value)
{
    return {{QStringLiteral("id"), QLatin1String(id)}, {QStringLiteral("value"), value}};
}

const QJsonObject c_holding = entry("readRegisterType", QStringLiteral("holdingRegisters"));

// With one channel and one parameter in place of those of these names.
QJsonObject with(const QJsonObject& configuration, const char* channel, const QJsonArray& entries,
                 const QString& parameter, const QJsonValue& value)
{
    const QString channels = QStringLiteral("channels");
    const QString parameters = QStringLiteral("parameters");
    QJsonArray list = configuration.value(channels).toArray();
    for (int i = list.size() - 1; i >= 0; --i) {
        if (list.at(i).toObject().value(QLatin1String("id")) == QLatin1String(channel))
            list.removeAt(i);
    }
    list.append(entry(channel, entries));
    QJsonObject changed = configuration.value(parameters).toObject();
    changed.insert(parameter, value);
    QJsonObject result = configuration;
    result.insert(channels, list);
    result.insert(parameters, changed);
    return result;
}

} // namespace

MeasuredDevice::MeasuredDevice(int port, const std::function<QJsonObject(const QJsonObject&)>& changeDevice)
{
    m_host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
    const QJsonObject bench = benchFor({port}, changeDevice);
    const QStringList errors = m_host.configure(bench);
    for (const QString& error : errors)
        std::fprintf(stderr, "%s\n", qPrintable(error));
    m_driver = idOf(bench, 0);
    m_device = idOf(bench, 1);
}

std::optional<QVariantMap> MeasuredDevice::run(const QString& command, const QVariantMap& arguments)
{
    return runOn(m_device, command, arguments);
}

std::optional<QVariantMap> MeasuredDevice::runOnDriver(const QString& command, const QVariantMap& arguments)
{
    return runOn(m_driver, command, arguments);
}

std::optional<QVariantMap> MeasuredDevice::runOn(const QUuid& object, const QString& command,
                                                 const QVariantMap& arguments)
{
    QEventLoop loop;
    std::optional<QVariantMap> results;
    m_host.runCommand(object, command, arguments, 0, &loop, [&](quint64, const DOrderOutcome& outcome) {
        if (outcome.ok)
            results = outcome.results;
        else
            std::fprintf(stderr, "%s\n", qPrintable(outcome.errorMessage));
        loop.quit();
    });
    loop.exec();
    return results;
}

bool MeasuredDevice::identify()
{
    return run(QStringLiteral("getInfo"), {{QStringLiteral("reference"), QStringLiteral("MDC")}}).has_value();
}

void MeasuredDevice::listen()
{
    m_host.startOrder(m_device, QStringLiteral("listenEventsData"), {});
}

void MeasuredDevice::awaitUpdates(int count)
{
    QEventLoop loop;
    QObject::connect(&m_host, &DHost::orderUpdated, &loop, [&loop, &count](quint64, const QVariantMap&) {
        if (--count == 0)
            loop.quit();
    });
    loop.exec();
}

QJsonObject withBackupRange(const QJsonObject& configuration, int registers, int writes)
{
    return with(configuration, "torqueUnitV2", {entry("register", c_torqueUnitRegister), c_holding},
                QStringLiteral("MDgen2_config"),
                QStringLiteral("\"backup_range\": [1-%1]; \"preset1\": [1-%2]").arg(registers).arg(writes));
}

QJsonObject withListenedBlock(const QJsonObject& configuration, int size)
{
    const auto parameter = [](const char* name, int first, int last, const char* type) {
        return QJsonObject{{QStringLiteral("parameter_name"), QLatin1String(name)},
                           {QStringLiteral("start_address"), first},
                           {QStringLiteral("end_address"), last},
                           {QStringLiteral("type"), QLatin1String(type)}};
    };
    QJsonArray keys{parameter("eventCountNo", 1, 1, "int"), parameter("torque", 2, 3, "float"),
                    parameter("rest", 14, size, "list")};
    for (int address = 4; address < 14; ++address)
        keys.append(parameter(qPrintable(QStringLiteral("value%1").arg(address)), address, address, "int"));
    return with(configuration, "eventDataV2",
                {entry("register", c_firstListenedRegister), entry("size", size), c_holding},
                QStringLiteral("eventDataKeysV2"), keys);
}
