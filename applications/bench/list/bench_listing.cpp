#include "applications/bench/list/bench_listing.h"

#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/output_format.h"
#include "applications/bench/core/result_writer.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_utilities/version.h>

#include <QJsonArray>

QString typeName(IPlugin::Type type)
{
    return type == IPlugin::CeTypeDriver ? QStringLiteral("driver") : QStringLiteral("device");
}

QVariantMap statisticsOf(const DAbstractPlugin& plugin)
{
    return plugin.getProperty(driver_contract::c_statistics, QVariant()).toMap();
}

QJsonObject objectAsJson(const BenchSession& session, const DAbstractPlugin& plugin)
{
    QJsonObject object{{QStringLiteral("id"), plugin.objectUuid().toString()},
                       {QStringLiteral("name"), plugin.getName()},
                       {QStringLiteral("type"), typeName(plugin.pluginType())},
                       {QStringLiteral("plugin"), plugin.pluginName()},
                       {QStringLiteral("pluginId"), plugin.pluginUuid().toString()},
                       {QStringLiteral("version"), versionToString(plugin.pluginVersion())}};
    const DAbstractPlugin* const driver = session.driverOf(plugin);
    if (driver != nullptr) {
        object.insert(QStringLiteral("connected"), isConnected(*driver));
        object.insert(QStringLiteral("address"),
                      driver->getProperty(driver_contract::c_address, QVariant()).toString());
    }
    if (plugin.pluginType() == IPlugin::CeTypeDriver)
        object.insert(QStringLiteral("statistics"), toJson(statisticsOf(plugin)));
    else if (driver != nullptr)
        object.insert(QStringLiteral("driver"), driver->getName());
    return object;
}

QJsonObject benchListing(BenchSession& session)
{
    QJsonArray objects;
    const QList<DAbstractPlugin*> plugins = session.plugins();
    for (const DAbstractPlugin* const plugin : plugins)
        objects.append(objectAsJson(session, *plugin));
    QJsonArray files;
    const QList<DPluginReport> reports = session.host().pluginReports();
    for (const DPluginReport& report : reports)
        files.append(QJsonObject{{QStringLiteral("file"), report.file},
                                 {QStringLiteral("name"), report.name},
                                 {QStringLiteral("version"), versionToString(report.version)},
                                 {QStringLiteral("error"), report.error}});
    return {{QStringLiteral("objects"), objects}, {QStringLiteral("plugins"), files}};
}
