#include "applications/bench/device_configuration/connected_controller.h"

#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/device_information.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <algorithm>

ConnectedController connectedController(const DAbstractPlugin& device)
{
    const QVariant generation = device.getProperty(QStringLiteral("softwareVersion"), QVariant());
    const QVariant firmware = device.getProperty(QStringLiteral("version"), QVariant());
    const QString model = device.getProperty(QStringLiteral("controllerModel"), QVariant()).toString();
    ConnectedController controller;
    if (generation.isNull())
        return controller;
    controller.generation = std::max<int>(softwareGeneration(generation), 1);
    if (firmware.isNull())
        return controller;
    controller.firmware = firmware.toInt();
    controller.isBm = model.contains(QLatin1String("bm"), Qt::CaseInsensitive);
    constexpr int c_numbersPerFirmware = 1000;
    DeviceInformation information;
    information.controllerModel = model;
    information.version = QString::number(controller.firmware / c_numbersPerFirmware);
    information.softwareVersion = controller.generation;
    controller.modelName = configurationModelName(information).value_or(QString());
    return controller;
}
