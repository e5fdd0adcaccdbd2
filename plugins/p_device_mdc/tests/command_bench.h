#pragma once

#include "tests/support/fake_order.h"
#include "tests/support/log_capture.h"
#include "tests/support/typed_text.h"

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
#include "p_device_mdc.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <memory>

// A plug-in of another kind, as the parent that a device command must not have.
class ForeignPlugin : public DAbstractPlugin
{
    Q_OBJECT

public:
    ForeignPlugin()
        : DAbstractPlugin(QUuid(), QStringLiteral("foreign"), IPlugin::CeTypeDriver, 0, QUuid(), nullptr,
                          false)
    {}
    void initPluginCommands() override {}
    IPlugin* createInstance(const QUuid&) const override { return nullptr; }
    QString pluginSubTypeName() const override { return {}; }
};

enum Parent { CeDevice, CeForeign, CeNoParent };

inline const char* const c_noVersion = "ERROR: version number is not found. using version 1";
inline const char* const c_noVersions = "ERROR: software Version number is not found. using version 1";

// Replaces the channels: {"channel": {"register": 1, …}, …}.
inline void setChannels(DAbstractPlugin& plugin, const QJsonObject& entries)
{
    QJsonArray channels;
    for (auto channel = entries.begin(); channel != entries.end(); ++channel) {
        const QJsonObject infos = channel.value().toObject();
        QJsonArray values;
        for (auto info = infos.begin(); info != infos.end(); ++info)
            values.append(QJsonObject{{"id", info.key()}, {"value", info.value()}});
        channels.append(QJsonObject{{"id", channel.key()}, {"value", values}});
    }
    plugin.setInPluginConfig(QStringLiteral("channels"), channels);
}

// A configuration may hold numbers that no register has.
inline void configure(DAbstractPlugin& plugin)
{
    const char* const c_channels = R"({
        "directionChange": {"register": 5001, "writeRegisterType": "singleRegister"},
        "directionChangeV2": {"register": 6001, "writeRegisterType": "holdingRegisters"},
        "directionChangeV65535": {"register": 70001, "writeRegisterType": "singleRegister"},
        "presetChange": {"register": 5002, "writeRegisterType": "singleRegister"},
        "presetChangeV2": {"register": 6002, "writeRegisterType": "singleRegister"},
        "presetChangeV3": {"register": 7002, "writeRegisterType": "singleRegister"},
        "alarmReset": {"register": 5003, "writeRegisterType": "singleRegister"},
        "alarmResetV2": {"register": 1, "writeRegisterType": "wrong"},
        "alarmResetV3": {"register": 1, "writeRegisterType": "wrong"},
        "lockChange": {"register": 5004, "writeRegisterType": "singleRegister"},
        "lockChangeV2": {"register": 6004, "writeRegisterType": "holdingRegisters"},
        "lockChangeV3": {"register": 70004, "writeRegisterType": "singleRegister"},
        "lockScreen": {"register": 5005, "writeRegisterType": "singleRegister"},
        "lockScreenGen1V1": {"register": 5006, "writeRegisterType": "holdingRegisters"},
        "lockScreenV2": {"register": 6005, "writeRegisterType": "singleRegister"},
        "lockScreenV3": {"register": 72541, "writeRegisterType": "singleRegister"},
        "lockScreenV0": {"register": 1, "writeRegisterType": "wrong"},
        "lockScreenV1": {"register": 1, "writeRegisterType": "wrong"},
        "direction": {"register": 5101, "readRegisterType": "holdingRegisters"},
        "directionV2": {"register": 6101, "readRegisterType": "inputRegisters"},
        "pressure": {"register": 70000, "readRegisterType": "holdingRegisters"},
        "pressureV3": {"register": 65535, "readRegisterType": "coils"},
        "last": {"register": 65536, "readRegisterType": "holdingRegisters"},
        "motorRun": {"register": 5102, "readRegisterType": "holdingRegisters"},
        "motorRunV2": {"register": 6102, "readRegisterType": "coils"},
        "motorRunV3": {"register": 70102, "readRegisterType": "coils"},
        "currentPreset": {"register": 5103, "size": 20},
        "currentPresetV2": {"register": 6103, "size": 40},
        "presets": {"size": 8, "readRegisterType": "holdingRegisters"},
        "presetsV2": {"size": 2000, "readRegisterType": "inputRegisters"},
        "eventData": {"register": 5200, "size": 3, "readRegisterType": "holdingRegisters"},
        "eventDataV2": {"register": 6200, "size": 12, "readRegisterType": "inputRegisters"},
        "eventDataV3": {"register": 70200, "size": 65538, "readRegisterType": "inputRegisters"}
    })";
    const char* const c_parameters = R"({
        "eventDataKeys": ["eventCountNo", "torque", "angle"],
        "eventDataKeysV2": [
            {"parameter_name": "eventCountNo", "start_address": 6200, "end_address": 6200, "type": "int"},
            {"parameter_name": "torque", "start_address": 6201, "end_address": 6202, "type": "float"},
            {"parameter_name": "rest", "start_address": 6203, "end_address": 6211, "type": "list"}],
        "presetDataKeys": ["p1", "p2", "p3", "p4", "p5", "p6", "p7", "p8", "p9", "p10", "p11", "p12", "p13",
            "p14", "p15", "p16", "p17", "p18", "p19", "p20"],
        "presetDataKeysV2": [
            {"parameter_name": "torque", "start_address": 1, "end_address": 2, "type": "float"},
            {"parameter_name": "last", "start_address": 40, "end_address": 40, "type": "int"}]
    })";
    const QJsonObject channels = QJsonDocument::fromJson(c_channels).object();
    const QJsonObject parameters = QJsonDocument::fromJson(c_parameters).object();
    Q_ASSERT(!channels.isEmpty() && !parameters.isEmpty());
    setChannels(plugin, channels);
    plugin.setInPluginConfig(QStringLiteral("parameters"), parameters);
}

inline std::unique_ptr<DAbstractCommand> prototype(const QString& name, QObject* parent)
{
    if (name == QLatin1String("getInfo"))
        return std::make_unique<DCmdGetInfo>(parent);
    if (name == QLatin1String("setDirection"))
        return std::make_unique<DCmdSetDirection>(parent);
    if (name == QLatin1String("setProgram"))
        return std::make_unique<DCmdSetProgram>(parent);
    if (name == QLatin1String("SetTriggerProgram"))
        return std::make_unique<DCmdSetTriggerProgram>(parent);
    if (name == QLatin1String("setLock"))
        return std::make_unique<DCmdSetLock>(parent);
    if (name == QLatin1String("setLockScreen"))
        return std::make_unique<DCmdSetLockScreen>(parent);
    if (name == QLatin1String("listenEventsData"))
        return std::make_unique<DCmdListenEvents>(parent);
    if (name == QLatin1String("listenMotorRunState"))
        return std::make_unique<DCmdListenMotorRun>(parent);
    if (name == QLatin1String("getPresetData"))
        return std::make_unique<DCmdGetPresetData>(parent);
    if (name == QLatin1String("backup"))
        return std::make_unique<DCmdBackup>(parent);
    if (name == QLatin1String("restoreBackup"))
        return std::make_unique<DCmdRestore>(parent);
    if (name == QLatin1String("resetAlarm"))
        return std::make_unique<DCmdResetAlarm>(parent);
    if (name == QLatin1String("getRegister"))
        return std::make_unique<DCmdGetRegister>(parent);
    return nullptr;
}

inline QString sourceOf(const QString& command)
{
    const QMap<QString, QString> c_otherNames{{"SetTriggerProgram", "setTriggerProgram"},
                                              {"listenEventsData", "listenEvents"},
                                              {"listenMotorRunState", "listenMotorState"},
                                              {"restoreBackup", "restore"}};
    return QStringLiteral("plugins/p_device_mdc/source/d_cmd_") + c_otherNames.value(command, command);
}

// One command, made for an order as the host makes it, with what it needs around it.
class Bench
{
public:
    Bench(const QString& command, const QVariantMap& arguments, Parent parent = CeDevice)
        : m_name(command)
    {
        configure(m_device);
        configure(m_foreign);
        QObject* const owner = parent == CeDevice    ? static_cast<QObject*>(&m_device)
                               : parent == CeForeign ? static_cast<QObject*>(&m_foreign)
                                                     : nullptr;
        const std::unique_ptr<DAbstractCommand> declared = prototype(command, owner);
        m_pointer = declared->createCommand(arguments);
        m_command = dynamic_cast<DAbstractCommand*>(m_pointer.data());
        m_command->linkWithItsOrder(&m_order);
    }

    PDeviceMdc& device() { return m_device; }
    FakeOrder& order() { return m_order; }
    DAbstractCommand& command() { return *m_command; }
    bool reply(const QVariantMap& reply) { return m_command->setReply(m_order.lastInstruction(), reply); }
    bool replyWords(const QVariantList& words) { return reply({{"values", words}}); }
    // What getInfo tells of a controller; an invalid one is left unknown.
    void identify(const QVariant& softwareVersion, const QVariant& version = QVariant(),
                  const QVariant& controllerModel = QVariant())
    {
        const std::pair<const char*, QVariant> c_properties[] = {
            {"softwareVersion", softwareVersion}, {"version", version}, {"controllerModel", controllerModel}};
        for (const auto& [name, value] : c_properties) {
            if (value.isValid())
                m_device.setProperty(QString::fromLatin1(name), value, false);
        }
    }
    // The messages of all lines so far.
    QStringList logged() const { return LogCapture::messages(sourceOf(m_name), m_command); }

private:
    QString m_name;
    LogCapture m_log;
    PDeviceMdc m_device;
    ForeignPlugin m_foreign;
    FakeOrder m_order;
    QSharedPointer<ICommand> m_pointer;
    DAbstractCommand* m_command = nullptr;
};
