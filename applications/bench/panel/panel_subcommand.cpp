#include "applications/bench/panel/panel_subcommand.h"

#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/option_set.h"
#include "applications/panel/panel_library.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>

namespace {

QList<PanelDevice> devicesOf(BenchSession& session, const DAbstractPlugin* only)
{
    QList<PanelDevice> devices;
    const QList<BenchObject> objects = session.objects();
    for (const BenchObject& object : objects) {
        const DAbstractPlugin* const plugin = session.host().findInstance(object.uuid);
        if (plugin == nullptr || plugin->pluginType() != IPlugin::CeTypeDevice ||
            (only != nullptr && only != plugin))
            continue;
        devices.append({object.kind, object.uuid, object.name, object.reference});
    }
    return devices;
}

ExitCode exitCodeOf(PanelEnd end, const QString& error, Console& console, const Interrupt& interrupt)
{
    switch (end) {
    case PanelEnd::Closed:
        return interrupt.requested() ? ExitCode::Interrupted : ExitCode::Done;
    case PanelEnd::Saved:
        return ExitCode::Done;
    case PanelEnd::SavedWithout:
        console.error(QStringLiteral("the picture shows a page without all its values: the controller "
                                     "could not be reached, did not answer, or did not give all values"));
        return ExitCode::NotConnected;
    case PanelEnd::Failed:
        console.error(error);
        return ExitCode::CommandFailed;
    }
    return ExitCode::CommandFailed;
}

QString loadingError(const QString& error)
{
    return QStringLiteral("pages cannot be shown: %1").arg(error);
}

QString sizeProblem(const QSize& size)
{
    if (size.isValid())
        return {};
    return QStringLiteral("--size takes width and height in pixels, %1 to %2 each, as in 600x800")
        .arg(c_smallestPanel)
        .arg(c_largestPanel);
}

} // namespace

PanelSubcommand::PanelSubcommand()
    : Subcommand(
          {"panel", "Show the maintenance page of a device in a window",
           "One tab per device, all with --object NAME. With --screenshot no display is needed: the page "
           "is drawn\n"
           "into a picture once it shows all its values. Exit code 5 when there was no connection.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench panel\n"
           "  mdc-bench --config bench.json panel --dark --language fr\n"
           "  mdc-bench panel --screenshot panel.png --size 1280x800\n"
           "  mdc-bench panel --screenshot failed.png --press idButtonLock --fault "
           "exception=2/0x06\n"})
{}

void PanelSubcommand::addTo(OptionSet& options)
{
    addObject(options, m_options.object, "Only the page of this device [all devices]");
    addLinkWait(options, m_options.linkWait);
    options.text("--screenshot", "FILE", m_options.screenshotFile,
                 "Draw the page into this PNG file and end");
    options
        .texts("--press", "NAME", m_options.presses,
               "Press the item whose object name ends so before the picture is drawn; may be repeated")
        .needs("--screenshot");
    options.converted(
        "--size", "WxH", [this](const QString& text) { m_options.size = sizeFromText(text); },
        "Size of the window in pixels [600x800]");
    options.flag("--dark", m_options.dark, "Light on dark");
}

QString PanelSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({sizeProblem(m_options.size), formatProblem(general), controllerProblem(general)});
}

std::unique_ptr<QCoreApplication> PanelSubcommand::makeApplication(int& argc, char** argv,
                                                                   BenchProblem* problem) const
{
    QString programFolder;
    {
        // Only an application object knows where its program is.
        const QCoreApplication probe(argc, argv);
        programFolder = QCoreApplication::applicationDirPath();
    }
    QString error;
    std::unique_ptr<QCoreApplication> application;
    const PanelLibrary* const library = loadPanelLibrary(programFolder, &error);
    if (library != nullptr)
        application = library->makeApplication(argc, argv, !m_options.screenshotFile.isEmpty(), &error);
    if (application == nullptr)
        *problem = {ExitCode::CommandFailed,
                    {loadingError(error)},
                    QStringLiteral("--screenshot FILE draws a page without any display")};
    return application;
}

ExitCode PanelSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    QString error;
    const PanelLibrary* const library = loadPanelLibrary(QCoreApplication::applicationDirPath(), &error);
    if (library == nullptr) {
        console.error(loadingError(error));
        return ExitCode::CommandFailed;
    }
    BenchSession session(general, m_options.object, console, interrupt);
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    PanelRequest request;
    request.devices = devicesOf(session, m_options.object.isEmpty() ? nullptr : session.chosenObject());
    if (request.devices.isEmpty()) {
        console.error(QStringLiteral("%1 has no such device object").arg(session.configurationName()));
        return ExitCode::Usage;
    }
    request.title = QStringLiteral("mdc-bench");
    request.size = m_options.size;
    request.dark = m_options.dark;
    request.screenshotFile = m_options.screenshotFile;
    request.presses = m_options.presses;
    request.isIdle = [&session] { return session.host().runningOrderCount() == 0; };
    session.waitForLinks(m_options.linkWait);
    session.startFaults();
    QObject::connect(&interrupt, &Interrupt::interrupted, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    const PanelEnd end = interrupt.requested() ? PanelEnd::Closed : library->show(request, &error);
    return exitCodeOf(end, error, console, interrupt);
}
