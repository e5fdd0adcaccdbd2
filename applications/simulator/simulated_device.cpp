#include "applications/simulator/simulated_device.h"

#include "applications/simulator/device_object.h"

#include <lib_host/configuration.h>
#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/plugin_description.h>

#include <QCoreApplication>
#include <QDir>
#include <QUuid>

namespace {

QString pluginFolder(const SimulatorOptions& options)
{
    return options.pluginFolder.isEmpty()
               ? QDir::cleanPath(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"))
               : options.pluginFolder;
}

// The link of the driver object, as far as the options do not say it.
ControllerLink linkOf(const QJsonObject& driver, const DPluginKinds& kinds, const SimulatorOptions& options,
                      QStringList* notes)
{
    using namespace plugin_description;
    const DAbstractPlugin* const kind = kinds.value(QUuid(driver.value(QStringLiteral("plugin")).toString()));
    const QVariantMap description =
        kind == nullptr ? QVariantMap() : kind->property(c_driverDescription).toMap();
    ControllerLink link =
        ControllerLink::describedBy(description, driver.value(QStringLiteral("configuration")).toObject());
    link.unitId = options.unitId.value_or(link.unitId);
    link.addressOffset = options.addressOffset.value_or(link.addressOffset);
    const bool isTold = description.contains(c_unit) || (options.unitId && options.addressOffset);
    if (!driver.isEmpty() && !isTold)
        notes->append(
            QStringLiteral("the driver \"%1\" %2; %3 and address offset %4 are taken, --unit and "
                           "--address-offset say otherwise")
                .arg(driver.value(QStringLiteral("name")).toString(),
                     kind == nullptr
                         ? QStringLiteral("has no plug-in in %1 that could be asked for its settings (see "
                                          "--plugins)")
                               .arg(pluginFolder(options))
                         : QStringLiteral("does not say which unit it speaks to"),
                     ControllerLink{link.unitId, 0}.toText(), QString::number(link.addressOffset)));
    return link;
}

} // namespace

std::optional<SimulatedDevice> SimulatedDevice::read(const SimulatorOptions& options, QStringList* errors)
{
    DHost host;
    host.loadPlugins(pluginFolder(options));
    const DLoadedConfiguration loaded = loadConfiguration(options.configuration, host.kinds());
    for (const DConfigurationError& error : loaded.errors)
        errors->append(error.toString());
    if (!loaded.errors.isEmpty())
        return std::nullopt;
    QString error;
    const auto device = findDeviceObject(loaded.configuration, options.object, &error);
    if (!device) {
        errors->append(QStringLiteral("%1: %2").arg(options.configuration, error));
        return std::nullopt;
    }
    SimulatedDevice result;
    result.reference = device->value(QStringLiteral("reference")).toString();
    result.configuration = device->value(QStringLiteral("configuration")).toObject();
    result.link =
        linkOf(findDriverObject(loaded.configuration, *device), host.kinds(), options, &result.notes);
    return result;
}
