#include <lib_host/plugin_loader.h>

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QLibrary>
#include <QPluginLoader>

namespace {

const QString c_interfacePrefix = QStringLiteral("org.mdcbench.");

DLoadedPlugin refused(const QString& file, const QString& why)
{
    return {file, nullptr, QStringLiteral("%1: %2").arg(file, why)};
}

DLoadedPlugin loadFile(const QString& file)
{
    QPluginLoader loader(file);
    // A function that is missing is found now, by this file's refusal, and not later by the end of
    // the program. Nothing is ever unloaded: texts and types of a plug-in may outlive its objects.
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    const QJsonObject metaData = loader.metaData();
    if (metaData.isEmpty()) {
        // Loads nothing without metadata, and says whether there is none or another Qt's.
        loader.load();
        return refused(file, QStringLiteral("is no plug-in for this program (%1)").arg(loader.errorString()));
    }
    const QString className = metaData.value(QLatin1String("className")).toString();
    const QString interface = metaData.value(QLatin1String("IID")).toString();
    const QString wanted = c_interfacePrefix + className;
    if (interface != wanted) {
        return refused(file,
                       QStringLiteral("has the interface \"%1\"; \"%2\" is needed").arg(interface, wanted));
    }
    QObject* const object = loader.instance();
    if (object == nullptr)
        return refused(file, QStringLiteral("cannot be loaded (%1)").arg(loader.errorString()));
    auto* const root = qobject_cast<DAbstractPlugin*>(object);
    if (root == nullptr) {
        const QString why = QStringLiteral("its root object, a %1, is no plug-in object of this host")
                                .arg(QLatin1String(object->metaObject()->className()));
        loader.unload();
        return refused(file, why);
    }
    return {file, root, {}};
}

} // namespace

QList<DLoadedPlugin> loadPluginFolder(const QString& folder)
{
    const QFileInfo info(folder);
    if (!info.isDir() || !info.isReadable())
        return {refused(folder, QStringLiteral("is no folder that can be read"))};
    QList<DLoadedPlugin> plugins;
    const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& file : files) {
        if (QLibrary::isLibrary(file.fileName()))
            plugins.append(loadFile(file.absoluteFilePath()));
    }
    return plugins;
}
