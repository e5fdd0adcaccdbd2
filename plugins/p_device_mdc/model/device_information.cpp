#include "model/device_information.h"

#include "model/channel_names.h"

#include <QCoreApplication>
#include <QVariantMap>

namespace {

QVariantMap entry(const QString& id, const QString& name, const QVariant& value)
{
    return {{QStringLiteral("id"), id}, {QStringLiteral("name"), name}, {QStringLiteral("value"), value}};
}

} // namespace

QVariantList deviceInformationRecord(const DeviceInformation& information)
{
    return {
        //% "Controller model"
        entry(QStringLiteral("controllerModel"), qtTrId("DCmdGetInfo_Controller_model"),
              information.controllerModel),
        //% "Screwdriver model"
        entry(QStringLiteral("screwdriverModel"), qtTrId("DCmdGetInfo_Screwdriver_model"),
              information.screwdriverModel),
        //% "Version"
        entry(QStringLiteral("version"), qtTrId("DCmdGetInfo_Version"), information.version),
        //% "Screwdriver S/N"
        entry(QStringLiteral("screwdriverSN"), qtTrId("DCmdGetInfo_Screwdriver_S_N"),
              information.screwdriverSN),
        //% "Software version"
        entry(QStringLiteral("softwareVersion"), qtTrId("DCmdGetInfo_Software_version"),
              information.softwareVersion),
    };
}

std::optional<DeviceInformation> deviceInformation(const QVariant& record)
{
    DeviceInformation information;
    information.softwareVersion = 0;
    bool isFound = false;
    const QVariantList entries = record.toList();
    for (const QVariant& item : entries) {
        const QVariantMap map = item.toMap();
        const QString id = map.value(QStringLiteral("id")).toString();
        const QVariant value = map.value(QStringLiteral("value"));
        if (id == QLatin1String("controllerModel"))
            information.controllerModel = value.toString();
        else if (id == QLatin1String("screwdriverModel"))
            information.screwdriverModel = value.toString();
        else if (id == QLatin1String("version"))
            information.version = value.toString();
        else if (id == QLatin1String("screwdriverSN"))
            information.screwdriverSN = value.toString();
        else if (id == QLatin1String("softwareVersion"))
            information.softwareVersion = softwareGeneration(value);
        else
            continue;
        isFound = true;
    }
    return isFound ? std::optional<DeviceInformation>(information) : std::nullopt;
}

std::optional<QString> configurationModelName(const DeviceInformation& information)
{
    const auto generation = static_cast<quint16>(information.softwareVersion);
    if (generation == 0)
        return std::nullopt;
    if (generation > 1)
        return modelNameOfGeneration(generation);
    return isFirstFirmware(information.version) ? modelNameOfFirstFirmware() : information.controllerModel;
}
