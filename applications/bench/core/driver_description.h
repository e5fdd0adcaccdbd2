#pragma once

#include "applications/simulator/controller_link.h"

#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

class QObject;

// Where a simulated controller is reached.
struct SimulatorPlace
{
    quint16 tcpPort = 0; // 0 for a serial line
    QString serialDevice;
};

// Names that an instruction's "registerType" may have. Of a driver that does not say, none are known.
struct RegisterTypes
{
    QStringList readable;
    QStringList writable;

    bool areKnown() const { return !readable.isEmpty() || !writable.isEmpty(); }
};

// What a driver adds to each register before it is sent.
struct AddressOffset
{
    QString member; // of the driver's "configuration"; empty when it does not say
    int value = 0;
};

// What a kind of driver says of itself (lib_plugins_management/plugin_description.h). `configuration` is that
// of an object of this kind; what the driver does not say cannot be done with it.
class DriverDescription
{
public:
    // Of the kind's root object or an instance; a null one says nothing.
    explicit DriverDescription(const QObject* kind);

    RegisterTypes registerTypes() const;
    // With the link pointed there, whatever it was before; other settings stay.
    std::optional<QJsonObject> pointedTo(const QJsonObject& configuration, const SimulatorPlace& place) const;
    // With the frames appended to this file.
    std::optional<QJsonObject> traced(const QJsonObject& configuration, const QString& path) const;
    // The file that the frames are appended to; empty for none.
    QString traceFile(const QJsonObject& configuration) const;
    // With the frames recorded to this file, which is not there yet.
    std::optional<QJsonObject> recorded(const QJsonObject& configuration, const QString& path) const;
    // The files that it writes its frames to, by the members that name them.
    QMap<QString, QString> frameFiles(const QJsonObject& configuration) const;
    // Without a trace or a record of frames, if it has one.
    QJsonObject untraced(const QJsonObject& configuration) const;
    // What a controller has to know of the link to answer on it.
    ControllerLink link(const QJsonObject& configuration) const;
    // Whether the link is one over TCP, as far as the driver says.
    bool isTcp(const QJsonObject& configuration) const;
    // The member by which a link over TCP speaks to unit 0; empty for any other link.
    QString broadcastMember(const QJsonObject& configuration) const;
    // With the link speaking to this unit.
    std::optional<QJsonObject> withUnit(const QJsonObject& configuration, int unit) const;
    AddressOffset addressOffset(const QJsonObject& configuration) const;

private:
    std::optional<QJsonObject> withFile(const char* entry, const QJsonObject& configuration,
                                        const QString& path) const;

    QVariantMap m_properties;
};
