#pragma once

#include <QJsonObject>
#include <QString>

class Simulator;

enum class Transport { Tcp, Rtu };

// The bundled bench, one driver and one device on it, with the files that it names merged; empty with a text
// when it is not good. Whoever takes no text cannot go on without the bench: the program ends with the text.
QJsonObject sampleBench(QString* error = nullptr);

// The "configuration" of the bench's device: channels and parameters.
QJsonObject deviceConfiguration(const QJsonObject& bench);

// The bench with another link, the driver's "configuration".
QJsonObject withLink(QJsonObject bench, const QJsonObject& link);
// The bench with another "configuration" of its device; an empty `reference` changes nothing there.
QJsonObject withDevice(QJsonObject bench, const QJsonObject& configuration, const QString& reference);
// The bench with a device of another identity.
QJsonObject withDeviceId(QJsonObject bench, const QString& id);

// Opens the controller to one client and returns the link that leads to it; empty with a text when it cannot.
QJsonObject openLink(Simulator& simulator, Transport transport, QString* error);
