#include "p_device_mdc.h"

#include "be_maintenance_plugin.h"
#include "d_cmd_backup.h"
#include "d_cmd_getInfo.h"
#include "d_cmd_getPresetData.h"
#include "d_cmd_getRegister.h"
#include "d_cmd_listenEvents.h"
#include "d_cmd_listenMotorState.h"
#include "d_cmd_resetAlarm.h"
#include "d_cmd_restore.h"
#include "d_cmd_setDirection.h"
#include "d_cmd_setLock.h"
#include "d_cmd_setLockScreen.h"
#include "d_cmd_setProgram.h"
#include "d_cmd_setTriggerProgram.h"
#include "d_mdc_channel.h"
#include "library_pin.h"

#include <lib_utilities/version.h>

#include <QtQml>

namespace {

// What the maintenance page imports. Once per load of the library: a repeated registration is kept
// beside the first one, and there is an instance per device.
void registerQmlTypes()
{
    static const bool c_registered = [] {
        pinLibrary();
        const char* const module = "PlgLibDeviceMdc";
        qmlRegisterType<BeMaintenanceDeviceMdc>(module, 1, 0, "BeMaintenanceDeviceMdc");
        qmlRegisterType<DMdcChannel>(module, 1, 0, "DMdcChannel");
        return true;
    }();
    Q_UNUSED(c_registered)
}

} // namespace

PDeviceMdc::PDeviceMdc(const QUuid& objectUuid, QObject* parent)
    : DAbstractPlugin(getPluginId(), QLatin1String(getPluginName()), getPluginType(),
                      versionFromString(QStringLiteral("1.0"), nullptr, QLatin1Char('.')), objectUuid, parent,
                      false)
{
    registerQmlTypes();
    setProperty(QStringLiteral("typeName"), PDeviceMdc::pluginSubTypeName(), false);
}

PDeviceMdc::~PDeviceMdc() = default;

QUuid PDeviceMdc::getPluginId()
{
    return {0x5b1e07c4, 0x3d9a, 0x4f62, 0xa8, 0xb7, 0x91, 0xc2, 0xe4, 0xd0, 0xf3, 0xa6};
}

const char* PDeviceMdc::getPluginName()
{
    return "Plugin Device MDC";
}

IPlugin::Type PDeviceMdc::getPluginType()
{
    return IPlugin::CeTypeDevice;
}

QString PDeviceMdc::pluginSubTypeName() const
{
    return QLatin1String("");
}

void PDeviceMdc::initPluginCommands()
{
    DAbstractPlugin::initAbstractCommands();
    declareInstructionCommand(new DCmdGetInfo(this));
    declareInstructionCommand(new DCmdSetDirection(this));
    declareInstructionCommand(new DCmdSetProgram(this));
    declareInstructionCommand(new DCmdSetTriggerProgram(this));
    declareInstructionCommand(new DCmdSetLock(this));
    declareInstructionCommand(new DCmdSetLockScreen(this));
    declareInstructionCommand(new DCmdListenEvents(this));
    declareInstructionCommand(new DCmdListenMotorRun(this));
    declareInstructionCommand(new DCmdGetPresetData(this));
    declareInstructionCommand(new DCmdBackup(this));
    declareInstructionCommand(new DCmdRestore(this));
    declareInstructionCommand(new DCmdResetAlarm(this));
    declareInstructionCommand(new DCmdGetRegister(this));
    Q_EMIT sigCommandsInitDone(objectUuid(), commandNames());
}

QVariantMap PDeviceMdc::readArguments(const DAbstractCommand& command, const QString& channel,
                                      const QString& suffix) const
{
    return m_readArguments.of(command, *getMainConfig(), channel, suffix);
}

IPlugin* PDeviceMdc::createInstance(const QUuid& objectUuid) const
{
    return new PDeviceMdc(objectUuid, nullptr);
}
