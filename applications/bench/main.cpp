#include "applications/bench/core/bench.h"
#include "applications/bench/core/command_line.h"
#include "applications/bench/core/console.h"
#include "applications/panel/panel_library.h"

#include <lib_host/event_dispatcher.h>
#include <QCoreApplication>

#include <memory>

namespace {

// What asks for a page, if it does: only a page needs an application object with windows.
std::optional<BenchOptions> panelOptions(const QStringList& arguments)
{
    if (!arguments.contains(QStringLiteral("panel")))
        return std::nullopt;
    std::optional<BenchOptions> options = parseCommandLine(arguments).options;
    return options && options->subcommand == BenchOptions::Subcommand::Panel ? options : std::nullopt;
}

// Null with `error`.
std::unique_ptr<QCoreApplication> panelApplication(int& argc, char** argv, const PanelOptions& options,
                                                   QString* error)
{
    QString programFolder;
    {
        // Only an application object knows where its program is.
        const QCoreApplication probe(argc, argv);
        programFolder = QCoreApplication::applicationDirPath();
    }
    const PanelLibrary* const library = loadPanelLibrary(programFolder, error);
    if (library == nullptr)
        return nullptr;
    return library->makeApplication(argc, argv, !options.screenshotFile.isEmpty(), error);
}

} // namespace

int main(int argc, char* argv[])
{
    preferQtEventDispatcher();
    QStringList arguments;
#ifndef Q_OS_WIN
    // The bytes as they are, whatever the locale of a script is: file names and values are UTF-8.
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
#else
    {
        const QCoreApplication probe(argc, argv);
        arguments = QCoreApplication::arguments().mid(1);
    }
#endif
    std::unique_ptr<QCoreApplication> application;
    const std::optional<BenchOptions> panel = panelOptions(arguments);
    if (panel) {
        QString error;
        application = panelApplication(argc, argv, panel->panel, &error);
        if (application == nullptr) {
            Console console(false, false);
            console.error(QStringLiteral("pages cannot be shown: %1").arg(error));
            console.hint(QStringLiteral("--screenshot FILE draws a page without any display"));
            return static_cast<int>(ExitCode::CommandFailed);
        }
    } else {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("mdc-bench"));
    return runBench(arguments);
}
