#include "command_bench.h"

#include <utility>

ForeignPlugin::ForeignPlugin()
    : DAbstractPlugin(QUuid(), QStringLiteral("foreign"), IPlugin::CeTypeDriver, 0, QUuid(), nullptr, false)
{}

QStringList pluginCommands()
{
    PDeviceMdc device;
    device.initPluginCommands();
    return device.commandNames();
}

void setChannels(DAbstractPlugin& plugin, const QJsonObject& entries)
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

void configure(DAbstractPlugin& plugin)
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
    QJsonObject channels = QJsonDocument::fromJson(c_channels).object();
    const QJsonObject parameters = QJsonDocument::fromJson(c_parameters).object();
    Q_ASSERT(!channels.isEmpty() && !parameters.isEmpty());
    const QJsonObject known = knownChannels();
    for (auto channel = known.begin(); channel != known.end(); ++channel)
        channels.insert(channel.key(), channel.value());
    setChannels(plugin, channels);
    plugin.setInPluginConfig(QStringLiteral("parameters"), parameters);
}

Bench::Bench(const QString& command, const QVariantMap& arguments, Parent parent)
    : m_name(command)
{
    configure(m_device);
    configure(m_foreign);
    m_device.initPluginCommands();
    DAbstractCommand* const prototype = m_device.commandPrototype(command);
    if (prototype == nullptr)
        qFatal("the plug-in has no command \"%s\"", qPrintable(command));
    // A copy gets the parent that its prototype has.
    if (parent != CeDevice)
        prototype->setParent(parent == CeForeign ? &m_foreign : nullptr);
    m_pointer = prototype->createCommand(arguments);
    prototype->setParent(&m_device);
    m_command = dynamic_cast<DAbstractCommand*>(m_pointer.data());
    m_command->linkWithItsOrder(&m_order);
}

void Bench::identify(const QVariant& softwareVersion, const QVariant& version,
                     const QVariant& controllerModel)
{
    const std::pair<const char*, QVariant> c_properties[] = {
        {"softwareVersion", softwareVersion}, {"version", version}, {"controllerModel", controllerModel}};
    for (const auto& [name, value] : c_properties) {
        if (value.isValid())
            m_device.setProperty(QString::fromLatin1(name), value, false);
    }
}

QStringList Bench::logged() const
{
    return LogCapture::messages(QStringLiteral("plugins/p_device_mdc/source/") + rowsOf(m_name).source,
                                m_command);
}
