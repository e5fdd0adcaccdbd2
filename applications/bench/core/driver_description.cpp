#include "applications/bench/core/driver_description.h"

#include <lib_plugins_management/plugin_description.h>

#include <QObject>

#include <algorithm>

using namespace plugin_description;

DriverDescription::DriverDescription(const QObject* kind)
    : m_properties(kind == nullptr ? QVariantMap() : kind->property(c_driverDescription).toMap())
{}

RegisterTypes DriverDescription::registerTypes() const
{
    return {m_properties.value(c_readableRegisterTypes).toStringList(),
            m_properties.value(c_writableRegisterTypes).toStringList()};
}

std::optional<QJsonObject> DriverDescription::pointedTo(const QJsonObject& configuration,
                                                        const SimulatorPlace& place) const
{
    const QVariantMap tcp = m_properties.value(c_tcpLink).toMap();
    const QVariantMap serial = m_properties.value(c_serialLink).toMap();
    const bool isTcp = place.tcpPort != 0;
    const QVariantMap& link = isTcp ? tcp : serial;
    const QString port = tcp.value(c_port).toString();
    const QString device = serial.value(c_device).toString();
    if (isTcp ? port.isEmpty() : device.isEmpty())
        return std::nullopt;

    QJsonObject result = configuration;
    // Nothing of another place stays behind.
    const QString host = tcp.value(c_host).toString();
    for (const QString& member : {host, port, device})
        result.remove(member);
    const QVariantMap fixed = link.value(c_set).toMap();
    for (auto it = fixed.cbegin(); it != fixed.cend(); ++it)
        result.insert(it.key(), QJsonValue::fromVariant(it.value()));
    if (isTcp) {
        if (!host.isEmpty())
            result.insert(host, QStringLiteral("127.0.0.1"));
        result.insert(port, place.tcpPort);
    } else {
        result.insert(device, place.serialDevice);
    }
    return result;
}

std::optional<QJsonObject> DriverDescription::traced(const QJsonObject& configuration,
                                                     const QString& path) const
{
    return withFile(c_frameTrace, configuration, path);
}

std::optional<QJsonObject> DriverDescription::recorded(const QJsonObject& configuration,
                                                       const QString& path) const
{
    return withFile(c_frameRecord, configuration, path);
}

std::optional<QJsonObject> DriverDescription::withFile(const char* entry, const QJsonObject& configuration,
                                                       const QString& path) const
{
    const QString member = m_properties.value(QLatin1String(entry)).toString();
    if (member.isEmpty())
        return std::nullopt;
    QJsonObject result = configuration;
    result.insert(member, path);
    return result;
}

QString DriverDescription::traceFile(const QJsonObject& configuration) const
{
    return configuration.value(m_properties.value(c_frameTrace).toString()).toString();
}

QMap<QString, QString> DriverDescription::frameFiles(const QJsonObject& configuration) const
{
    QMap<QString, QString> files;
    for (const char* const entry : {c_frameTrace, c_frameRecord}) {
        const QString member = m_properties.value(QLatin1String(entry)).toString();
        const QString path = configuration.value(member).toString();
        if (!member.isEmpty() && !path.isEmpty())
            files.insert(member, path);
    }
    return files;
}

QJsonObject DriverDescription::untraced(const QJsonObject& configuration) const
{
    QJsonObject result = configuration;
    for (const char* const entry : {c_frameTrace, c_frameRecord}) {
        const QString member = m_properties.value(QLatin1String(entry)).toString();
        // What is no name of a file is the driver's to refuse.
        if (!member.isEmpty() && configuration.value(member).isString())
            result.remove(member);
    }
    return result;
}

ControllerLink DriverDescription::link(const QJsonObject& configuration) const
{
    return ControllerLink::describedBy(m_properties, configuration);
}

AddressOffset DriverDescription::addressOffset(const QJsonObject& configuration) const
{
    const QString member = m_properties.value(c_addressOffset).toString();
    return {member, configuration.value(member).toInt(0)};
}

bool DriverDescription::isTcp(const QJsonObject& configuration) const
{
    const QVariantMap tcp = m_properties.value(c_tcpLink).toMap();
    const QVariantMap set = tcp.value(c_set).toMap();
    return !tcp.isEmpty() && std::all_of(set.keyValueBegin(), set.keyValueEnd(), [&](const auto& member) {
        return configuration.value(member.first) == QJsonValue::fromVariant(member.second);
    });
}

QString DriverDescription::broadcastMember(const QJsonObject& configuration) const
{
    return isTcp(configuration) && link(configuration).unitId == 0 ? m_properties.value(c_unit).toString()
                                                                   : QString();
}

std::optional<QJsonObject> DriverDescription::withUnit(const QJsonObject& configuration, int unit) const
{
    const QString member = m_properties.value(c_unit).toString();
    if (member.isEmpty())
        return std::nullopt;
    QJsonObject result = configuration;
    result.insert(member, unit);
    return result;
}
