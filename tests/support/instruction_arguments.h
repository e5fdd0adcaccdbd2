#pragma once

#include <QString>
#include <QVariantMap>

// Arguments of instructions to a driver.

inline QVariantMap readArguments(int address, int size = 1,
                                 const QString& type = QStringLiteral("holdingRegisters"))
{
    return {{"register", address}, {"registerType", type}, {"dataSize", size}};
}

inline QVariantMap writeArguments(int address, const QVariant& data,
                                  const QString& type = QStringLiteral("singleRegister"))
{
    return {{"register", address}, {"registerType", type}, {"data", data}};
}

inline QVariantMap listenArguments(int address, int interval, int size = 1)
{
    QVariantMap arguments = readArguments(address, size);
    arguments.insert("recurrentInterval", interval);
    return arguments;
}
