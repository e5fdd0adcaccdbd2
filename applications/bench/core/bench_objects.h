#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

// One element of a bench configuration's list "objects".
struct BenchObject
{
    QUuid uuid;
    QString name;
    QUuid kind;   // of the plug-in
    QUuid driver; // object that its target "driver" means; null for none
    QString reference;
    QJsonObject configuration;
};

QList<BenchObject> benchObjects(const QJsonObject& benchConfiguration);

// Where a simulated controller is reached.
struct SimulatorPlace
{
    quint16 tcpPort = 0; // 0 for a serial line
    QString serialDevice;
};

// The configuration with the driver object's transport pointed there, whatever it was before; its
// other settings stay.
QJsonObject withSimulatedLink(const QJsonObject& benchConfiguration, const QUuid& driver,
                              const SimulatorPlace& place);
QJsonObject withReference(const QJsonObject& benchConfiguration, const QUuid& device,
                          const QString& reference);
// With the driver's trace of frames written to this file.
QJsonObject withFrameTrace(const QJsonObject& benchConfiguration, const QUuid& driver, const QString& path);
