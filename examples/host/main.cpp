// A host in one page: loads the plug-ins of a folder, makes the objects of a configuration, runs one order,
// prints its results and ends.
//
//   example-host PLUGIN_FOLDER CONFIGURATION OBJECT COMMAND [NAME=VALUE]...
//
// Ends with 0 when the order was carried out, with 1 when it failed, with 2 when there was nothing to run.

#include <lib_host/configuration.h>
#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QTextStream>

namespace {

constexpr int c_timeout = 5000; // milliseconds for the whole order

int refuse(const QString& text)
{
    QTextStream(stderr) << "example-host: " << text << '\n';
    return 2;
}

QVariantMap argumentsOf(const QStringList& texts)
{
    QVariantMap arguments;
    for (const QString& text : texts)
        arguments.insert(text.section(QLatin1Char('='), 0, 0), text.section(QLatin1Char('='), 1));
    return arguments;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList words = application.arguments();
    if (words.size() < 5)
        return refuse(
            QStringLiteral("needed are PLUGIN_FOLDER CONFIGURATION OBJECT COMMAND [NAME=VALUE]..."));

    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(words.at(1));
    for (const DPluginReport& report : reports) {
        if (!report.error.isEmpty())
            return refuse(report.error);
    }
    const DLoadedConfiguration loaded = loadConfiguration(words.at(2), host.kinds());
    if (!loaded.errors.isEmpty())
        return refuse(loaded.errors.first().toString());
    const QStringList errors = host.configure(loaded.configuration);
    if (!errors.isEmpty())
        return refuse(errors.first());
    const DAbstractPlugin* const object = host.findObject(words.at(3));
    if (object == nullptr)
        return refuse(QStringLiteral("the configuration has no object \"%1\"").arg(words.at(3)));

    // Everything is told from the event loop, the end of an order as well.
    QObject::connect(&host, &DHost::orderFinished, &application,
                     [](quint64 /*order*/, const DOrderOutcome& outcome) {
                         QTextStream(stdout) << QJsonDocument::fromVariant(outcome.results).toJson();
                         if (!outcome.ok)
                             QTextStream(stderr) << "example-host: " << outcome.errorMessage << '\n';
                         QCoreApplication::exit(outcome.ok ? 0 : 1);
                     });
    host.startOrder(object->objectUuid(), words.at(4), argumentsOf(words.mid(5)), c_timeout);
    return QCoreApplication::exec();
}
