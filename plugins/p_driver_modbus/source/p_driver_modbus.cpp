#include "plugins/p_driver_modbus/source/p_driver_modbus.h"

#include "plugins/p_driver_modbus/source/d_cmd_deviceInformation.h"
#include "plugins/p_driver_modbus/source/d_cmd_listen.h"
#include "plugins/p_driver_modbus/source/d_cmd_read.h"
#include "plugins/p_driver_modbus/source/d_cmd_write.h"
#include "plugins/p_driver_modbus/source/driver_description.h"
#include "plugins/p_driver_modbus/source/modbus_link.h"
#include "plugins/p_driver_modbus/source/poll_schedule.h"

#include <lib_plugins_management/driver_contract.h>
#include <lib_utilities/version.h>
#include <QDebug>
#include <QFile>
#include <QJsonArray>
#include <QPointer>

namespace {

const QString c_connected = driver_contract::c_connected;
const QString c_address = driver_contract::c_address;
const QString c_configurationErrors = driver_contract::c_configurationErrors;
const QString c_statistics = driver_contract::c_statistics;

} // namespace

PDriverModbus::PDriverModbus(const QUuid& objectUuid, QObject* parent)
    : DAbstractPlugin(getPluginId(), QString::fromLatin1(getPluginName()), getPluginType(),
                      versionFromString(QStringLiteral("1.0")), objectUuid, parent, false)
{
    setProperty(c_connected, false, false);
}

PDriverModbus::~PDriverModbus()
{
    closeLink();
}

QUuid PDriverModbus::getPluginId()
{
    return QUuid(QStringLiteral("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}"));
}

const char* PDriverModbus::getPluginName()
{
    return "Plugin Driver Modbus";
}

IPlugin::Type PDriverModbus::getPluginType()
{
    return IPlugin::CeTypeDriver;
}

void PDriverModbus::initPluginCommands()
{
    const QPointer<PDriverModbus> self(this);
    closeLink();
    // Whoever was told of an outcome may have ended the instance.
    if (self.isNull())
        return;
    initAbstractCommands();
    declareInstructionCommand(new DCmdRead(this));
    declareInstructionCommand(new DCmdWrite(this));
    declareInstructionCommand(new DCmdListen(this));
    declareInstructionCommand(new DCmdDeviceInformation(this));

    QStringList errors;
    const ModbusConfiguration configuration = parseModbusConfiguration(ownConfiguration(), &errors);
    if (errors.isEmpty()) {
        m_link = std::make_unique<ModbusLink>(configuration);
        m_schedule = std::make_unique<PollSchedule>(m_link.get());
        connect(m_link.get(), &ModbusLink::connectedChanged, this,
                [this](bool connected) { tell(c_connected, connected); });
        m_link->start();
    } else {
        for (const QString& error : errors)
            qCritical().noquote() << getDebugIdentification() << ": configuration:" << error;
    }
    if (tell(c_connected, false) && tell(c_configurationErrors, errors) &&
        tell(c_address, errors.isEmpty() ? configuration.address() : QString()))
        Q_EMIT sigCommandsInitDone(objectUuid(), commandNames());
}

IPlugin* PDriverModbus::createInstance(const QUuid& objectUuid) const
{
    return new PDriverModbus(objectUuid, nullptr);
}

QString PDriverModbus::pluginSubTypeName() const
{
    return {};
}

QVariant PDriverModbus::getProperty(const QString& name, bool* found) const
{
    if (name != c_statistics || m_link == nullptr)
        return DAbstractPlugin::getProperty(name, found);
    if (found != nullptr)
        *found = true;
    return m_link->statistics().toMap();
}

QVariant PDriverModbus::getProperty(const QString& name, const QVariant& defaultValue) const
{
    if (name != c_statistics || m_link == nullptr)
        return DAbstractPlugin::getProperty(name, defaultValue);
    return m_link->statistics().toMap();
}

QByteArray PDriverModbus::configurationSchema() const
{
    QFile file(QStringLiteral(":/%1/configuration.schema.json").arg(getPluginId().toString()));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QVariantMap PDriverModbus::driverDescription() const
{
    return modbusDriverDescription();
}

ModbusLink* PDriverModbus::link() const
{
    return m_link.get();
}

PollSchedule* PDriverModbus::schedule() const
{
    return m_schedule.get();
}

QString PDriverModbus::unusableReason() const
{
    const QStringList errors = getProperty(c_configurationErrors, nullptr).toStringList();
    if (errors.isEmpty())
        return QStringLiteral("the driver instance is not initialized");
    return QStringLiteral("the configuration of \"%1\" is refused: %2")
        .arg(getName(), errors.join(QLatin1String("; ")));
}

// The whole object, because the keys that nobody asks for are the misspelt ones.
QJsonObject PDriverModbus::ownConfiguration() const
{
    const QJsonArray objects = getInMainConfig(QStringLiteral("objects"), {}, nullptr).toArray();
    for (const QJsonValue& value : objects) {
        const QJsonObject object = value.toObject();
        const QString id = object.value(QLatin1String("id")).toString();
        if (!id.isEmpty() && QUuid::fromString(id) == objectUuid())
            return object.value(QLatin1String("configuration")).toObject();
    }
    return {};
}

void PDriverModbus::closeLink()
{
    // Taken out first: whoever is told of an outcome may end the instance, which closes again.
    const std::unique_ptr<ModbusLink> link = std::move(m_link);
    const std::unique_ptr<PollSchedule> schedule = std::move(m_schedule);
    if (link != nullptr)
        link->shutDown();
}

bool PDriverModbus::tell(const QString& name, const QVariant& value)
{
    const QPointer<PDriverModbus> self(this);
    setProperty(name, value, false);
    return !self.isNull();
}
