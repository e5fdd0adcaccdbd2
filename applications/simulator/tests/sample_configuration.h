#pragma once

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/simulated_controller.h"
#include "tests/commands/command_rows.h"
#include "tests/support/profile_rows.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>

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

// And what else the commands' rows bring along.
inline QJsonArray withKnownChannels(QJsonArray channels)
{
    const QJsonObject known = knownChannels();
    for (auto entry = known.begin(); entry != known.end(); ++entry)
        channels.append(channel(qPrintable(entry.key()), entry.value().toObject()));
    return channels;
}

inline QJsonArray sampleChannels()
{
    QJsonArray channels{writeEntry("directionChange", 5001),
                        writeEntry("presetChange", 5002),
                        writeEntry("alarmReset", 5003),
                        readEntry("direction", 5101),
                        readEntry("motorRun", 5102),
                        readEntry("currentPreset", 5103, "holdingRegisters", 20),
                        readEntry("alarm", 5104),
                        writeEntry("lockChange", 5004),
                        writeEntry("lockScreen", 5005),
                        writeEntry("lockScreenGen1V1", 5006),
                        readEntry("lock", 5105),
                        readEntry("screenLock", 5106),
                        readEntry("eventData", 5201, "holdingRegisters", 12),
                        readEntry("presets", 1, "holdingRegisters", 30),
                        readEntry("torqueUnit", 601),
                        readEntry("torqueUnitGen1V1", 602),
                        writeEntry("directionChangeV2", 6001),
                        writeEntry("presetChangeV2", 6002),
                        readEntry("directionV2", 6101),
                        readEntry("motorRunV2", 6102),
                        readEntry("currentPresetV2", 6103, "holdingRegisters", 40),
                        readEntry("alarmV2", 6104),
                        writeEntry("lockChangeV2", 6004),
                        writeEntry("lockScreenV2", 6005),
                        readEntry("lockV2", 6105),
                        readEntry("screenLockV2", 6106),
                        readEntry("eventDataV2", 6201, "holdingRegisters", 16),
                        readEntry("presetsV2", 1, "holdingRegisters", 50),
                        readEntry("torqueUnitV2", 2001)};
    return withKnownChannels(channels);
}

inline QJsonObject descriptor(const char* name, int start, int end, const char* type)
{
    return {{QStringLiteral("parameter_name"), QLatin1String(name)},
            {QStringLiteral("start_address"), start},
            {QStringLiteral("end_address"), end},
            {QStringLiteral("type"), QLatin1String(type)}};
}

inline QJsonArray sampleEventNames()
{
    return {"eventCountNo", "program",      "direction",     "result",        "torque",    "angle",
            "duration",     "targetTorque", "minimumTorque", "maximumTorque", "errorCode", "speed"};
}

inline QJsonArray sampleEventDescriptors()
{
    return {descriptor("eventCountNo", 6201, 6201, "int"), descriptor("program", 6202, 6202, "int"),
            descriptor("direction", 6203, 6203, "int"),    descriptor("result", 6204, 6204, "int"),
            descriptor("torque", 6205, 6206, "float"),     descriptor("angle", 6207, 6208, "float"),
            descriptor("duration", 6209, 6209, "int"),     descriptor("targetTorque", 6210, 6211, "float"),
            descriptor("torqueTrace", 6212, 6215, "list"), descriptor("errorCode", 6216, 6216, "int")};
}

// `range` is that of generation 1.
inline QJsonObject configurationOf(const QJsonArray& channels, const char* range = "[1-620]")
{
    QJsonObject parameters{
        {QStringLiteral("eventDataKeys"), sampleEventNames()},
        {QStringLiteral("eventDataKeysV2"), sampleEventDescriptors()},
        {QStringLiteral("presetDataKeysV2"),
         QJsonArray{descriptor("strategy", 1, 1, "int"), descriptor("minimumTorque", 7, 8, "float"),
                    descriptor("reserved", 34, 40, "list")}}};
    const QString text = QStringLiteral("\"backup_range\": %1; \"preset1\": [1-20];");
    for (const ProfileRow& row : c_profileRows) {
        const QLatin1String model(row.configurationName);
        if (!model.isEmpty())
            parameters.insert(model + QStringLiteral("_config"),
                              text.arg(QLatin1String(row.generation == 1 ? range : "[1-2040]")));
    }
    return {{QStringLiteral("channels"), channels}, {QStringLiteral("parameters"), parameters}};
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

inline ControllerProfile profileOfGeneration(int generation)
{
    return *ControllerProfile::byName(generation == 1 ? QStringLiteral("mdc22-gen1v2")
                                                      : QStringLiteral("mdc32-gen2"));
}

// What a controller has against the sample itself, in either generation: nothing, or every test of it would
// tell of what follows.
inline QString sampleProblems()
{
    QStringList problems;
    for (const int generation : {1, 2})
        problems += SimulatedController(sampleConfiguration(), profileOfGeneration(generation)).problems();
    return problems.join(QLatin1Char('\n'));
}
