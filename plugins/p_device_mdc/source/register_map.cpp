#include "register_map.h"

#include "log_line.h"
#include "model/channel_names.h"
#include "p_device_mdc.h"

#include <lib_plugins_management/d_abstract_command.h>

namespace mdc {

namespace {

RegisterEntry registerEntry(const DAbstractCommand& command, const QString& channel, const QString& typeInfo)
{
    const QVariant address =
        command.getInfoFromChannel(channel, QStringLiteral("register"), QMetaType::UInt, QVariant());
    const QVariant type = command.getInfoFromChannel(channel, typeInfo, QMetaType::QString, QVariant());
    return {static_cast<int>(address.toUInt() & 0xFFFFU), type.toString()};
}

} // namespace

QString softwareVersionSuffix(const PDeviceMdc& plugin, const DAbstractCommand& command,
                              const SourcePlace& place)
{
    const QVariant softwareVersion = plugin.getProperty(QStringLiteral("softwareVersion"), nullptr);
    if (softwareVersion.isNull()) {
        logCritical(&command, place) << "ERROR: version number is not found. using version 1";
        return {};
    }
    return generationSuffix(softwareGeneration(softwareVersion));
}

RegisterEntry registerForRead(const DAbstractCommand& command, const QString& channel)
{
    return registerEntry(command, channel, QStringLiteral("readRegisterType"));
}

RegisterEntry registerForWrite(const DAbstractCommand& command, const QString& channel)
{
    return registerEntry(command, channel, QStringLiteral("writeRegisterType"));
}

QVariantMap readArguments(const RegisterEntry& entry)
{
    return {{QStringLiteral("register"), entry.address}, {QStringLiteral("registerType"), entry.type}};
}

QVariantMap MadeReadArguments::of(const DAbstractCommand& command, const QJsonObject& configuration,
                                  const QString& channel, const QString& suffix)
{
    // Two pointers are compared as long as nobody has changed it.
    if (m_configuration != configuration) {
        m_configuration = configuration;
        m_made.clear();
    }
    const auto made = m_made.constFind({channel, suffix});
    if (made != m_made.cend())
        return *made;
    const RegisterEntry entry = registerForRead(command, channel + suffix);
    QVariantMap arguments = readArguments(entry);
    // Orders may ask for any name; those that are configured are not many.
    if (!entry.type.isEmpty())
        m_made.insert({channel, suffix}, arguments);
    return arguments;
}

QVariantMap listenArguments(const RegisterEntry& entry, int dataSize)
{
    QVariantMap arguments = readArguments(entry);
    arguments.insert(QStringLiteral("dataSize"), dataSize);
    arguments.insert(QStringLiteral("recurrentInterval"), c_listenInterval);
    return arguments;
}

QVariantMap writeArguments(const RegisterEntry& entry, const QVariant& data)
{
    return {{QStringLiteral("register"), entry.address},
            {QStringLiteral("data"), data},
            {QStringLiteral("registerType"), entry.type}};
}

} // namespace mdc
