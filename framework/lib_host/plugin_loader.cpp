#include <lib_host/plugin_loader.h>

#include <lib_host/platform.h>
#include <lib_plugins_management/contract_version.h>
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

// A plug-in may do whatever its program may: whoever can exchange it can as well.
QString exchangeProblem(const QString& canonical)
{
    if (canonical.isEmpty())
        return QStringLiteral("is not loaded: it is gone, or a link to nothing");
    const QString who = whoMayExchange(canonical);
    return who.isEmpty()
               ? QString()
               : QStringLiteral("is not loaded: %1, and could have this program run other code; take "
                                "that right away (chmod go-w), or load a copy in a folder of your own")
                     .arg(who);
}

// Why a plug-in of this contract cannot run here; empty when it can. One that says nothing is taken as it is.
QString contractProblem(const QString& contract)
{
    using namespace contract_version;
    if (contract.isEmpty())
        return {};
    const int breaking = contract.section(QLatin1Char('.'), 0, 0).toInt();
    const int compatible = contract.section(QLatin1Char('.'), 1).toInt();
    if (breaking == c_breaking && compatible <= c_compatible)
        return {};
    return QStringLiteral(
               "was built against version %1 of the contract between hosts and plug-ins, and this host "
               "has %2.%3: build it against the headers of this host, or use it with one of its own")
        .arg(contract)
        .arg(c_breaking)
        .arg(c_compatible);
}

DLoadedPlugin loadFile(const QString& file)
{
    // Once: a link may lead elsewhere at the next look.
    const QString canonical = QFileInfo(file).canonicalFilePath();
    const QString exchanged = exchangeProblem(canonical);
    if (!exchanged.isEmpty())
        return refused(file, exchanged);
    QPluginLoader loader(canonical);
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
    const QString contract = metaData.value(QLatin1String("MetaData"))
                                 .toObject()
                                 .value(QLatin1String(contract_version::c_contract))
                                 .toString();
    const QString problem = contractProblem(contract);
    if (!problem.isEmpty())
        return refused(file, problem);
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
    const QString canonical = info.canonicalFilePath();
    const QString exchanged = exchangeProblem(canonical);
    if (!exchanged.isEmpty())
        return {refused(folder, exchanged)};
    QList<DLoadedPlugin> plugins;
    const QFileInfoList files = QDir(canonical).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& file : files) {
        if (QLibrary::isLibrary(file.fileName()))
            plugins.append(loadFile(file.absoluteFilePath()));
    }
    return plugins;
}
