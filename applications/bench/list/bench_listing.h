#pragma once

#include <QJsonObject>
#include <QString>
#include <QVariantMap>

#include <lib_plugins_management/i_plugin.h>

class BenchSession;
class DAbstractPlugin;

QString typeName(IPlugin::Type type);
// Of a driver since the program started; empty for what counts nothing.
QVariantMap statisticsOf(const DAbstractPlugin& plugin);

QJsonObject objectAsJson(const BenchSession& session, const DAbstractPlugin& plugin);
// "objects", each as above, and "plugins", the files of the plug-in folder.
QJsonObject benchListing(BenchSession& session);
