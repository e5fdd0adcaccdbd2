#pragma once

#include "applications/bench/core/option_set.h"
#include "applications/bench/core/output_format.h"

#include <QString>
#include <QStringList>

#include <optional>

// What every subcommand may be asked for: which bench, which simulated controller, and how to speak.
struct GeneralOptions
{
    enum class Simulation { None, Tcp, Rtu };

    // Empty: the bundled configuration.
    QString configFile;
    // Empty: "../plugins" as seen from the program.
    QString pluginFolder;
    // Empty: "properties.json" in the user's data folder.
    QString propertiesFile;
    // Driver's trace of frames; empty for none.
    QString traceFile;
    // New file for the driver's record of the session; empty for none.
    QString recordFile;

    Simulation simulation = Simulation::None;
    // Empty: the first profile that the device object's configuration fits.
    QString profile;
    QStringList faults;

    OutputFormat format = OutputFormat::Table;
    // Of the plug-ins' texts; empty: the system's.
    QString language;
    bool verbose = false;
    bool quiet = false;
};

// Reads them from the command line.
class GeneralOptionsParser
{
public:
    // `formats` is what the program's help says of the form of results that nobody has asked for.
    void addTo(OptionSet& options, const QString& formats);
    // For the help of a subcommand that has these.
    void describeFormats(const QList<OutputFormat>& formats) const;
    // After parsing. `format` is the one that nobody has asked for.
    GeneralOptions options(OutputFormat format) const;

private:
    void addBenchOptions(OptionSet& options);
    void addSimulationOptions(OptionSet& options);
    void addOutputOptions(OptionSet& options, const QString& formats);

    GeneralOptions m_options;
    std::optional<GeneralOptions::Simulation> m_simulation;
    std::optional<OutputFormat> m_format;
    std::optional<AddedOption> m_formatOption;
};

// Each is one reason why these options cannot be; empty when there is none.
QString languageProblem(const GeneralOptions& general);
// Of a simulated controller without one.
QString simulationProblem(const GeneralOptions& general);
// For what needs a controller, simulated or not.
QString controllerProblem(const GeneralOptions& general);
