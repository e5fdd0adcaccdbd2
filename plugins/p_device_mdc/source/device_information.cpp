#include "device_information.h"

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
