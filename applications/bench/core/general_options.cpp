#include "applications/bench/core/general_options.h"

#include "applications/bench/core/translations.h"

#include <string>

namespace {

// Headings of the help.
constexpr const char* c_bench = "Bench";
constexpr const char* c_simulation = "Simulated controller";
constexpr const char* c_output = "Output";

} // namespace

void GeneralOptionsParser::addTo(OptionSet& options, const QString& formats)
{
    addBenchOptions(options);
    addSimulationOptions(options);
    addOutputOptions(options, formats);
}

void GeneralOptionsParser::addBenchOptions(OptionSet& options)
{
    options
        .text("--config", "FILE", m_options.configFile,
              "Configuration of the bench; without it the bundled one, simulated")
        .inGroup(c_bench);
    options.text("--plugins", "DIR", m_options.pluginFolder, "Folder of the plug-ins [<program>/../plugins]")
        .inGroup(c_bench);
    options
        .text("--properties", "FILE", m_options.propertiesFile,
              "Where persistent properties are kept [in the user's data folder; none when simulated]")
        .inGroup(c_bench);
    options
        .text("--trace", "FILE", m_options.traceFile,
              "Write every frame that is sent or received to this file")
        .inGroup(c_bench);
    options
        .text("--record", "FILE", m_options.recordFile,
              "Record the session to this new file, for mdc-simulator --replay")
        .inGroup(c_bench);
}

void GeneralOptionsParser::addSimulationOptions(OptionSet& options)
{
    using Simulation = GeneralOptions::Simulation;
    const auto take = [this](const QString& text) {
        m_simulation = text == QLatin1String("tcp")   ? Simulation::Tcp
                       : text == QLatin1String("rtu") ? Simulation::Rtu
                                                      : Simulation::None;
    };
    options
        .converted("--simulate", "tcp|rtu|none", take,
                   "Use a controller inside this program [none with --config, else tcp]")
        .oneOf({"tcp", "rtu", "none"})
        .inGroup(c_simulation);
    options
        .text("--profile", "NAME", m_options.profile, "Which controller it is (a wrong name lists them all)")
        .inGroup(c_simulation);
    options
        .texts("--fault", "FAULT", m_options.faults,
               "What goes wrong with it; may be repeated (\"help\" lists the faults)")
        .inGroup(c_simulation);
}

void GeneralOptionsParser::addOutputOptions(OptionSet& options, const QString& formats)
{
    const auto take = [this](const QString& text) { m_format = outputFormatByName(text); };
    m_formatOption = options
                         .converted("--format", "FORM", take,
                                    "Form of the results [" + formats.toStdString() +
                                        "]; the help of a subcommand lists those that it has")
                         .oneOf({"table", "json", "jsonl", "markdown", "csv"})
                         .inGroup(c_output);
    const std::string languages = availableLanguages().join(QLatin1Char('|')).toStdString();
    options
        .text("--language", languages.c_str(), m_options.language,
              "Language of the plug-ins' texts [the system's, else en]")
        .inGroup(c_output);
    const AddedOption verbose =
        options.flag("-v,--verbose", m_options.verbose, "Tell what is done, show the whole log")
            .inGroup(c_output);
    options.flag("--quiet", m_options.quiet, "No warnings, no log; errors only")
        .excludes(verbose)
        .inGroup(c_output);
}

void GeneralOptionsParser::describeFormats(const QList<OutputFormat>& formats) const
{
    QStringList names;
    for (const OutputFormat format : formats)
        names.append(QLatin1String(outputFormatDescription(format).name));
    const QString description = QStringLiteral("Form of the results [%1]").arg(names.constFirst());
    m_formatOption->describe(names.join(QLatin1Char('|')), formats.size() > 1 ? description : QString());
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
