#pragma once

#include <QJsonArray>
#include <QJsonObject>

// The channels of both generations that the tests count on, at the addresses of the bundled sample.
// Written out here: a test that reads the sample would follow its mistakes.
inline QJsonObject channel(const char* id, const QJsonObject& values)
{
    QJsonArray list;
    for (auto value = values.begin(); value != values.end(); ++value)
        list.append(
            QJsonObject{{QStringLiteral("id"), value.key()}, {QStringLiteral("value"), value.value()}});
    return {{QStringLiteral("id"), QLatin1String(id)}, {QStringLiteral("value"), list}};
}

inline QJsonObject readEntry(const char* id, int address, const char* type = "holdingRegisters", int size = 0)
{
    QJsonObject values{{QStringLiteral("register"), address},
                       {QStringLiteral("readRegisterType"), QLatin1String(type)}};
    if (size != 0)
        values.insert(QStringLiteral("size"), size);
    return channel(id, values);
}

inline QJsonObject writeEntry(const char* id, int address, const char* type = "singleRegister")
{
    return channel(id, {{QStringLiteral("register"), address},
                        {QStringLiteral("writeRegisterType"), QLatin1String(type)}});
}

inline QJsonArray sampleChannels()
{
    return {writeEntry("directionChange", 5001),
            writeEntry("presetChange", 5002),
            writeEntry("alarmReset", 5003),
            readEntry("direction", 5101),
            readEntry("motorRun", 5102),
            readEntry("currentPreset", 5103, "holdingRegisters", 20),
            readEntry("alarm", 5104),
            readEntry("presets", 1, "holdingRegisters", 30),
            writeEntry("directionChangeV2", 6001),
            writeEntry("presetChangeV2", 6002),
            readEntry("directionV2", 6101),
            readEntry("motorRunV2", 6102),
            readEntry("currentPresetV2", 6103, "holdingRegisters", 40),
            readEntry("alarmV2", 6104),
            readEntry("presetsV2", 1, "holdingRegisters", 50)};
}

inline QJsonObject configurationOf(const QJsonArray& channels)
{
    return {{QStringLiteral("channels"), channels}};
}

inline QJsonObject sampleConfiguration()
{
    return configurationOf(sampleChannels());
}

inline QJsonArray without(const QJsonArray& channels, const QString& id)
{
    QJsonArray result;
    for (const QJsonValue& one : channels) {
        if (one[QStringLiteral("id")].toString() != id)
            result.append(one);
    }
    return result;
}
