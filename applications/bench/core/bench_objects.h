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

// With this as the object's own configuration.
QJsonObject withConfiguration(const QJsonObject& benchConfiguration, const QUuid& object,
                              const QJsonObject& configuration);
QJsonObject withReference(const QJsonObject& benchConfiguration, const QUuid& device,
                          const QString& reference);
