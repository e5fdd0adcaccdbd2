#include "applications/bench/list/list_subcommand.h"

#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/list/bench_listing.h"
#include "applications/bench/list/serial_ports.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_utilities/printable_text.h>
#include <lib_utilities/version.h>
#include <QFileInfo>
#include <QJsonArray>

namespace {

QString linkText(const DAbstractPlugin* driver)
{
    if (driver == nullptr)
        return QStringLiteral("no driver");
    return isConnected(*driver) ? QStringLiteral("connected") : QStringLiteral("not connected");
}

// The table with its last cells, the state of the links, in colour: a table takes no colours, whose codes
// could as well be part of a name.
QString withColouredLinks(const Console& console, const QString& table, const QStringList& links)
{
    QStringList lines = table.split(QLatin1Char('\n'));
    for (int i = 0; i < links.size(); ++i) {
        const QString& link = links.at(i);
        QString& line = lines[i + 1]; // below the header
        const Console::Tint tint = link == QLatin1String("connected")       ? Console::Tint::Good
                                   : link == QLatin1String("not connected") ? Console::Tint::Bad
                                                                            : Console::Tint::None;
        line = line.left(line.size() - link.size()) + console.tinted(link, tint);
    }
    return lines.join(QLatin1Char('\n'));
}

// 0.4312 as "0.431": more digits of a time in milliseconds are noise.
QString statisticText(const QVariant& value)
{
    return value.userType() == QMetaType::Double ? QString::number(value.toDouble(), 'f', 3)
                                                 : valueText(value);
}

void printTables(Console& console, const BenchSession& session, const QList<DAbstractPlugin*>& plugins,
                 const QList<DPluginReport>& reports)
{
    QList<QStringList> rows;
    QStringList links;
    for (const DAbstractPlugin* const plugin : plugins) {
        const DAbstractPlugin* const driver = session.driverOf(*plugin);
        links.append(linkText(driver));
        const bool isDriver = plugin->pluginType() == IPlugin::CeTypeDriver;
        rows.append({plugin->getName(), typeName(plugin->pluginType()), plugin->pluginName(),
                     isDriver || driver == nullptr ? QStringLiteral("-") : driver->getName(),
                     driver == nullptr
                         ? QStringLiteral("-")
                         : driver->getProperty(driver_contract::c_address, QVariant()).toString(),
                     links.constLast()});
    }
    console.out(withColouredLinks(
        console,
        formatTable({QStringLiteral("OBJECT"), QStringLiteral("TYPE"), QStringLiteral("PLUG-IN"),
                     QStringLiteral("DRIVER"), QStringLiteral("ADDRESS"), QStringLiteral("LINK")},
                    rows),
        links));
    rows.clear();
    for (const DPluginReport& report : reports)
        rows.append({QFileInfo(report.file).fileName(),
                     report.error.isEmpty() ? report.name : QStringLiteral("-"),
                     report.error.isEmpty() ? versionToString(report.version) : QStringLiteral("-"),
                     report.error.isEmpty() ? QStringLiteral("loaded") : report.error});
    console.out(QLatin1Char('\n') + formatTable({QStringLiteral("PLUG-IN FILE"), QStringLiteral("NAME"),
                                                 QStringLiteral("VERSION"), QStringLiteral("STATE")},
                                                rows));
    for (const DAbstractPlugin* const plugin : plugins) {
        const QVariantMap statistics = statisticsOf(*plugin);
        if (statistics.isEmpty())
            continue;
        rows.clear();
        for (auto it = statistics.cbegin(); it != statistics.cend(); ++it)
            rows.append({QStringLiteral("  ") + it.key(), statisticText(it.value())});
        console.out(QStringLiteral("\nStatistics of \"%1\" since this program started:\n")
                        .arg(printableText(plugin->getName())) +
                    formatTable({}, rows));
    }
}

ExitCode listPorts(Console& console, OutputFormat format)
{
    const QList<SerialPort> ports = serialPorts();
    if (ports.isEmpty())
        console.note(QStringLiteral("this machine has no serial port"));
    if (format == OutputFormat::Table)
        console.out(formatTable({QStringLiteral("PORT"), QStringLiteral("DESCRIPTION"),
                                 QStringLiteral("MANUFACTURER"), QStringLiteral("SERIAL NUMBER")},
                                portRows(ports)));
    ResultWriter writer(console, format);
    const QJsonArray array = toJson(ports);
    for (const QJsonValue& port : array)
        writer.record(port.toObject().value(QLatin1String("name")).toString(), port.toObject());
    writer.document({{QStringLiteral("ports"), array}});
    return ExitCode::Done;
}

} // namespace

ListSubcommand::ListSubcommand()
    : Subcommand({"list", "Objects, plug-ins, state and statistics of the links",
                  "Examples:\n"
                  "  mdc-bench list\n"
                  "  mdc-bench --config bench.json list --timeout 500 --format json\n"
                  "  mdc-bench list --ports\n"})
{}

void ListSubcommand::addTo(OptionSet& options)
{
    addLinkWait(options, m_options.linkWait);
    options.flag("--ports", m_options.ports,
                 "The serial ports of this machine instead, as a configuration names them");
}

ExitCode ListSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    if (m_options.ports)
        return listPorts(console, general.format);
    BenchSession session(general, QString(), console, interrupt);
    session.ignoreConfiguredTraces();
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    session.startFaults();
    session.waitForLinks(m_options.linkWait);
    if (interrupt.requested())
        return ExitCode::Interrupted;

    const QList<DAbstractPlugin*> plugins = session.plugins();
    const QList<DPluginReport> reports = session.host().pluginReports();
    if (general.format == OutputFormat::Table)
        printTables(console, session, plugins, reports);

    ResultWriter writer(console, general.format);
    for (const DAbstractPlugin* const plugin : plugins)
        writer.record(plugin->getName(), objectAsJson(session, *plugin));
    writer.document(benchListing(session));
    return ExitCode::Done;
}
