#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/subcommands.h"
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

} // namespace

ExitCode runPanel(const BenchOptions& options, Console& console, Interrupt& interrupt)
{
    QString error;
    const PanelLibrary* const library = loadPanelLibrary(QCoreApplication::applicationDirPath(), &error);
    if (library == nullptr) {
        console.error(QStringLiteral("pages cannot be shown: %1").arg(error));
        return ExitCode::CommandFailed;
    }
    BenchSession session(options, console, interrupt);
    const ExitCode opened = session.open();
    if (opened != ExitCode::Done)
        return opened;
    PanelRequest request;
    request.devices = devicesOf(session, options.object.isEmpty() ? nullptr : session.chosenObject());
    if (request.devices.isEmpty()) {
        console.error(QStringLiteral("%1 has no such device object").arg(session.configurationName()));
        return ExitCode::Usage;
    }
    request.title = QStringLiteral("mdc-bench");
    request.size = options.panel.size;
    request.dark = options.panel.dark;
    request.screenshotFile = options.panel.screenshotFile;
    request.presses = options.panel.presses;
    request.isIdle = [&session] { return session.host().runningOrderCount() == 0; };
    session.waitForLinks(options.timeout);
    session.startFaults();
    QObject::connect(&interrupt, &Interrupt::interrupted, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    const PanelEnd end = interrupt.requested() ? PanelEnd::Closed : library->show(request, &error);
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
