#include "applications/bench/core/general_options.h"

#include "applications/bench/core/option_binding.h"
#include "applications/bench/core/translations.h"

#include <CLI/CLI.hpp>

#include <string>

void GeneralOptionsParser::addTo(CLI::App& app, const QString& formats)
{
    addBenchOptions(app);
    addSimulationOptions(app);
    addOutputOptions(app, formats);
}

void GeneralOptionsParser::addBenchOptions(CLI::App& app)
{
    const std::string bench = "Bench";
    addText(app, "--config", m_options.configFile,
            "Configuration of the bench; without it the bundled one, simulated")
        ->type_name("FILE")
        ->group(bench);
    addText(app, "--plugins", m_options.pluginFolder, "Folder of the plug-ins [<program>/../plugins]")
        ->type_name("DIR")
        ->group(bench);
    addText(app, "--properties", m_options.propertiesFile,
            "Where persistent properties are kept [in the user's data folder; none when simulated]")
        ->type_name("FILE")
        ->group(bench);
    addText(app, "--trace", m_options.traceFile, "Write every frame that is sent or received to this file")
        ->type_name("FILE")
        ->group(bench);
}

void GeneralOptionsParser::addSimulationOptions(CLI::App& app)
{
    using Simulation = GeneralOptions::Simulation;
    const std::string simulation = "Simulated controller";
    addConverted(app, "--simulate", "Use a controller inside this program [none with --config, else tcp]",
                 [this](const QString& text) {
                     m_simulation = text == QLatin1String("tcp")   ? Simulation::Tcp
                                    : text == QLatin1String("rtu") ? Simulation::Rtu
                                                                   : Simulation::None;
                 })
        ->type_name("tcp|rtu|none")
        ->check(CLI::IsMember({"tcp", "rtu", "none"}).description(""))
        ->group(simulation);
    addText(app, "--profile", m_options.profile, "Which controller it is (a wrong name lists them all)")
        ->type_name("NAME")
        ->group(simulation);
    addRepeatedText(app, "--fault", m_options.faults,
                    "What goes wrong with it; may be repeated (\"help\" lists the faults)")
        ->type_name("FAULT")
        ->group(simulation);
}

void GeneralOptionsParser::addOutputOptions(CLI::App& app, const QString& formats)
{
    const std::string output = "Output";
    addConverted(app, "--format", "Form of the results [" + formats.toStdString() + "]",
                 [this](const QString& text) { m_format = outputFormatByName(text); })
        ->type_name("table|json|jsonl|csv")
        ->check(CLI::IsMember({"table", "json", "jsonl", "markdown", "csv"}).description(""))
        ->group(output);
    addText(app, "--language", m_options.language, "Language of the plug-ins' texts [the system's, else en]")
        ->type_name(availableLanguages().join(QLatin1Char('|')).toStdString())
        ->group(output);
    CLI::Option* const verbose =
        app.add_flag("-v,--verbose", m_options.verbose, "Tell what is done, show the whole log")
            ->group(output);
    app.add_flag("--quiet", m_options.quiet, "No warnings, no log; errors only")
        ->group(output)
        ->excludes(verbose);
}

GeneralOptions GeneralOptionsParser::options(OutputFormat format) const
{
    GeneralOptions options = m_options;
    options.simulation = m_simulation.value_or(
        options.configFile.isEmpty() ? GeneralOptions::Simulation::Tcp : GeneralOptions::Simulation::None);
    options.format = m_format.value_or(format);
    return options;
}

QString languageProblem(const GeneralOptions& general)
{
    const QStringList languages = availableLanguages();
    if (general.language.isEmpty() || languages.contains(general.language))
        return {};
    return QStringLiteral("there are no texts in the language \"%1\"; there are: %2")
        .arg(general.language, languages.join(QStringLiteral(", ")));
}

QString simulationProblem(const GeneralOptions& general)
{
    if (general.simulation != GeneralOptions::Simulation::None)
        return {};
    const QString text =
        QStringLiteral("%1 needs a simulated controller: add --simulate tcp or --simulate rtu");
    if (!general.faults.isEmpty())
        return text.arg(QStringLiteral("--fault"));
    return general.profile.isEmpty() ? QString() : text.arg(QStringLiteral("--profile"));
}

QString controllerProblem(const GeneralOptions& general)
{
    if (general.simulation != GeneralOptions::Simulation::None || !general.configFile.isEmpty())
        return {};
    return QStringLiteral("--simulate none needs --config FILE: there is no controller otherwise");
}
