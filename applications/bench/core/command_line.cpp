#include "applications/bench/core/command_line.h"

#include "applications/bench/backup/backup_command_line.h"
#include "applications/bench/core/suggestion.h"
#include "applications/bench/core/translations.h"

#include <CLI/CLI.hpp>

#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int c_defaultLinkWait = 3000; // ms, as the driver allows for a connection by default
constexpr int c_defaultKeptFiles = 5;
constexpr double c_millisecondsPerSecond = 1000;
constexpr double c_longestListening = 2000000; // s; in milliseconds it fits an int

constexpr const char* c_description =
    "Run commands of device plug-ins at a test bench, or try them without any device:\n"
    "without --config a simulated controller runs inside this program.";

constexpr const char* c_examples =
    "Examples:\n"
    "  mdc-bench demo                            see what happens, no device needed\n"
    "  mdc-bench commands                        what can be run\n"
    "  mdc-bench run setDirection direction=1    run one command\n"
    "  mdc-bench --config bench.json backup      save a controller's registers to a file\n"
    "  mdc-bench --config bench.json check       look a bench over before using it\n"
    "\n"
    "Results go to standard output, messages to standard error.\n"
    "\"mdc-bench SUBCOMMAND --help\" tells more about a subcommand.\n";

constexpr const char* c_demoExamples =
    "Examples:\n"
    "  mdc-bench demo                        over TCP, then over a serial line (pseudo-terminal)\n"
    "  mdc-bench demo --rtu -v               the serial line only, with the log of the plug-ins\n"
    "  mdc-bench demo --profile mdc32-gen2   another controller\n";

constexpr const char* c_listExamples = "Examples:\n"
                                       "  mdc-bench list\n"
                                       "  mdc-bench --config bench.json list --timeout 500 --format json\n";

constexpr const char* c_commandsExamples =
    "Examples:\n"
    "  mdc-bench commands                    all commands\n"
    "  mdc-bench commands setDirection       one command\n"
    "  mdc-bench commands --object driver    the commands of one object\n"
    "  mdc-bench commands --format markdown  the reference page\n";

constexpr const char* c_runExamples =
    "Values are converted to the declared type: whole numbers, true or false, text, JSON lists and\n"
    "objects. A command that listens prints each update until Ctrl-C, --count or --seconds, which end\n"
    "it with exit code 0.\n"
    "\n"
    "Examples:\n"
    "  mdc-bench run getInfo\n"
    "  mdc-bench run getRegister channel=direction --format jsonl\n"
    "  mdc-bench run listenMotorRunState --changes --seconds 60\n"
    "  mdc-bench --config bench.json run setProgram program=3 --object mdc --timeout 2000\n"
    "  mdc-bench run setDirection -- direction=1    whatever follows -- is no option\n"
    "  mdc-bench run setDirection direction=1 --fault help    which faults can be simulated\n";

constexpr const char* c_resultsExamples =
    "One line per tightening, and one for every gap: each event is told once, over lost links and\n"
    "restarts of this program too when --output names a file. Ctrl-C, --count and --seconds end it with\n"
    "exit code 0.\n"
    "\n"
    "Examples:\n"
    "  mdc-bench --config bench.json results\n"
    "  mdc-bench --config bench.json results --output tightenings.jsonl --rotate-size 10000000\n"
    "  mdc-bench --config bench.json results --format csv --output tightenings.csv\n";

constexpr const char* c_panelExamples =
    "One tab per device, all with --object NAME. With --screenshot no display is needed: the page is drawn\n"
    "into a picture once it shows all its values. Exit code 5 when there was no connection.\n"
    "\n"
    "Examples:\n"
    "  mdc-bench panel\n"
    "  mdc-bench --config bench.json panel --dark --language fr\n"
    "  mdc-bench panel --screenshot panel.png --size 1280x800\n"
    "  mdc-bench panel --screenshot failed.png --press idButtonLock --fault exception=2/0x06\n";

constexpr const char* c_checkExamples =
    "Exit code 0 when nothing worse than a warning was found, else the code of the first error.\n"
    "\n"
    "Examples:\n"
    "  mdc-bench check\n"
    "  mdc-bench --config bench.json check --timeout 1000\n";

constexpr const char* c_generalGroup = "General";
constexpr std::size_t c_helpColumn = 30;

// Shows the options that hold for every subcommand in the help of each.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override
    {
        std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
        for (std::size_t at = 0; (at = text.find("\n\n\n", at)) != std::string::npos;)
            text.erase(at, 1);
        return text;
    }

    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override
    {
        const CLI::App* const parent = app->get_parent();
        if (parent == nullptr || mode == CLI::AppFormatMode::Sub)
            return CLI::Formatter::make_subcommands(app, mode);
        std::string text;
        for (const std::string& group : parent->get_groups()) {
            if (group != c_generalGroup)
                text +=
                    "\n" + make_group(group, false, parent->get_options([&group](const CLI::Option* option) {
                        return option->get_group() == group;
                    }));
        }
        return text;
    }

    // Without how often: the description says it.
    std::string make_option_usage(const CLI::Option* option) const override
    {
        const std::string text =
            make_option_name(option, true) + (option->get_expected_max() > 1 ? "..." : "");
        return option->get_required() ? text : "[" + text + "]";
    }

    // The type and nothing else: what excludes what is told when it happens.
    std::string make_option_opts(const CLI::Option* option) const override
    {
        return option->get_type_name().empty() ? std::string() : " " + option->get_type_name();
    }

    std::string make_description(const CLI::App* app) const override
    {
        return app->get_description() + "\n\n";
    }
};

QString exitCodeTable()
{
    QList<QStringList> rows;
    for (const ExitCodeDescription& description : exitCodeDescriptions())
        rows.append({QStringLiteral("  %1").arg(static_cast<int>(description.code), 3),
                     QString::fromLatin1(description.text)});
    return QStringLiteral("\nExit codes:\n") + formatTable({}, rows);
}

// What the options are parsed into: CLI11 knows std::string.
struct RawOptions
{
    std::string config;
    std::string plugins;
    std::string properties;
    std::string profile;
    std::string trace;
    std::string simulate;
    std::string format;
    std::string language;
    std::vector<std::string> faults;
    std::string object;
    std::string command;
    std::vector<std::string> arguments;
    int linkWait = c_defaultLinkWait;
    int orderTimeout = 0;
    int count = 0;
    double seconds = 0;
    bool changes = false;
    std::string output;
    qint64 rotateSize = 0;
    int keep = c_defaultKeptFiles;
    std::string programName = "program";
    std::string screenshot;
    std::string size = "600x800";
    std::vector<std::string> presses;
    bool dark = false;
    bool verbose = false;
    bool quiet = false;
    bool noIdentify = false;
    bool tcp = false;
    bool rtu = false;
};

// Marks the words behind "--", which are no options whatever they begin with. CLI11 hands them to the
// parent of a subcommand whose remaining positionals are optional, so it never sees the "--".
constexpr QChar c_literalMark(u'\x1');

QStringList markLiterals(const QStringList& arguments)
{
    QStringList words;
    bool literal = false;
    for (const QString& argument : arguments) {
        if (literal)
            words.append(c_literalMark + argument);
        else if (argument == QLatin1String("--"))
            literal = true;
        else
            words.append(argument);
    }
    return words;
}

QString withoutMark(const std::string& word)
{
    const QString text = QString::fromStdString(word);
    return text.startsWith(c_literalMark) ? text.mid(1) : text;
}

struct Parser
{
    CLI::App app{c_description, "mdc-bench"};
    RawOptions raw;
    CLI::App* demo = nullptr;
    CLI::App* list = nullptr;
    CLI::App* commands = nullptr;
    CLI::App* run = nullptr;
    CLI::App* results = nullptr;
    CLI::App* check = nullptr;
    CLI::App* panel = nullptr;
    BackupSubcommands backups;

    Parser()
    {
        app.formatter(std::make_shared<HelpFormatter>());
        app.get_formatter()->column_width(c_helpColumn);
        app.get_help_ptr()->group(c_generalGroup);
        app.set_version_flag("--version", versionText().toStdString(), "Print the version and exit")
            ->group(c_generalGroup);
        app.require_subcommand(1);
        app.fallthrough();
        addCommonOptions();
        addSubcommands();
        app.footer(c_examples + exitCodeTable().toStdString());
        for (CLI::App* subcommand : app.get_subcommands({})) {
            subcommand->get_formatter()->column_width(c_helpColumn);
            subcommand->get_help_ptr()->group("Options");
        }
    }

    void addCommonOptions()
    {
        const std::string bench = "Bench";
        app.add_option("--config", raw.config,
                       "Configuration of the bench; without it the bundled one, simulated")
            ->type_name("FILE")
            ->group(bench);
        app.add_option("--plugins", raw.plugins, "Folder of the plug-ins [<program>/../plugins]")
            ->type_name("DIR")
            ->group(bench);
        app.add_option(
               "--properties", raw.properties,
               "Where persistent properties are kept [in the user's data folder; none when simulated]")
            ->type_name("FILE")
            ->group(bench);
        app.add_option("--trace", raw.trace, "Write every frame that is sent or received to this file")
            ->type_name("FILE")
            ->group(bench);
        const std::string simulation = "Simulated controller";
        app.add_option("--simulate", raw.simulate,
                       "Use a controller inside this program [none with --config, else tcp]")
            ->type_name("tcp|rtu|none")
            ->check(CLI::IsMember({"tcp", "rtu", "none"}).description(""))
            ->group(simulation);
        app.add_option("--profile", raw.profile, "Which controller it is (a wrong name lists them all)")
            ->type_name("NAME")
            ->group(simulation);
        app.add_option("--fault", raw.faults,
                       "What goes wrong with it; may be repeated (\"help\" lists the faults)")
            ->type_name("FAULT")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
            ->group(simulation);
        const std::string output = "Output";
        app.add_option("--format", raw.format, "Form of the results [table; jsonl for \"results\"]")
            ->type_name("table|json|jsonl|csv")
            ->check(CLI::IsMember({"table", "json", "jsonl", "markdown", "csv"}).description(""))
            ->group(output);
        app.add_option("--language", raw.language, "Language of the plug-ins' texts [the system's, else en]")
            ->type_name(availableLanguages().join(QLatin1Char('|')).toStdString())
            ->group(output);
        CLI::Option* verbose =
            app.add_flag("-v,--verbose", raw.verbose, "Tell what is done, show the whole log")->group(output);
        app.add_flag("--quiet", raw.quiet, "No warnings, no log; errors only")
            ->group(output)
            ->excludes(verbose);
    }

    void addSubcommands()
    {
        demo = add("demo", "Show what happens between a command and the wire, without any device",
                   c_demoExamples);
        demo->add_flag("--tcp", raw.tcp, "Over TCP only");
        demo->add_flag("--rtu", raw.rtu, "Over a serial line only");

        list = add("list", "Objects, plug-ins, state and statistics of the links", c_listExamples);
        addLinkWait(list);

        commands = add("commands", "What can be run, with parameters and results", c_commandsExamples);
        commands->add_option("NAME", raw.command, "Only this command")->type_name("");
        addObject(commands, "Only the commands of this object");

        run = add("run", "Run one command of an object", c_runExamples);
        run->add_option("COMMAND", raw.command, "Name of the command")->type_name("")->required();
        run->add_option("name=value", raw.arguments, "Its parameters")->type_name("")->expected(0, -1);
        addObject(run, "Object whose command it is [the first device]");
        run->add_option("--timeout", raw.orderTimeout, "Bound for the whole order in milliseconds [none]")
            ->type_name("MS")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""));
        run->add_flag("--no-identify", raw.noIdentify,
                      "Do not read the device information first (the registers of generation 1 are used)");
        addListeningBounds(run, "Listening: end after so many printed updates [none]");
        run->add_flag("--changes", raw.changes, "Listening: print only what differs from the update before");

        results = add("results", "Log the tightenings of a controller as they happen", c_resultsExamples);
        addObject(results, "Device whose tightenings they are [the first device]");
        results->add_option("--output", raw.output, "Append to this file [standard output]")
            ->type_name("FILE");
        results
            ->add_option("--rotate-size", raw.rotateSize,
                         "Begin a new file before it would hold more bytes; the full one becomes FILE.1 "
                         "[never]")
            ->type_name("BYTES")
            ->check(CLI::PositiveNumber.description(""));
        results
            ->add_option("--keep", raw.keep,
                         "How many full files are kept [" + std::to_string(c_defaultKeptFiles) + "]")
            ->type_name("N")
            ->check(CLI::Range(0, 1000).description(""));
        results->add_option("--program-value", raw.programName, "Value that tells the program [program]")
            ->type_name("NAME");
        addListeningBounds(results, "End after so many events [none]");

        backups.addTo(app);

        panel = add("panel", "Show the maintenance page of a device in a window", c_panelExamples);
        addObject(panel, "Only the page of this device [all devices]");
        addLinkWait(panel);
        panel->add_option("--screenshot", raw.screenshot, "Draw the page into this PNG file and end")
            ->type_name("FILE");
        CLI::Option* const press =
            panel
                ->add_option("--press", raw.presses,
                             "Press the item whose object name ends so before the picture is drawn; may be "
                             "repeated")
                ->type_name("NAME")
                ->expected(1)
                ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        press->needs("--screenshot");
        panel->add_option("--size", raw.size, "Size of the window in pixels [600x800]")->type_name("WxH");
        panel->add_flag("--dark", raw.dark, "Light on dark");

        check = add("check", "Look over configuration, plug-ins, links and register map", c_checkExamples);
        addObject(check, "Only this device");
        addLinkWait(check);
    }

    CLI::App* add(const char* name, const char* description, const char* footer)
    {
        CLI::App* const subcommand = app.add_subcommand(name, description);
        subcommand->footer(footer);
        return subcommand;
    }

    void addObject(CLI::App* subcommand, const char* description)
    {
        subcommand->add_option("--object", raw.object, description)->type_name("NAME");
    }

    void addListeningBounds(CLI::App* subcommand, const char* ofCount)
    {
        subcommand->add_option("--count", raw.count, ofCount)
            ->type_name("N")
            ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""));
        subcommand->add_option("--seconds", raw.seconds, "Listening: end after so many seconds [none]")
            ->type_name("S")
            ->check(CLI::Range(0.001, c_longestListening).description(""));
    }

    void addLinkWait(CLI::App* subcommand)
    {
        subcommand
            ->add_option("--timeout", raw.linkWait,
                         "How long to wait for the links in milliseconds [" +
                             std::to_string(c_defaultLinkWait) + "]")
            ->type_name("MS")
            ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
    }

    QStringList subcommandNames()
    {
        QStringList names;
        for (const CLI::App* subcommand : app.get_subcommands({}))
            names.append(QString::fromStdString(subcommand->get_name()));
        return names;
    }

    // CLI11 complains of a missing subcommand when a word is none; the word is what helps.
    QString describe(const CLI::ParseError& error)
    {
        const std::vector<CLI::App*> chosen = app.get_subcommands();
        const CLI::App* const where = chosen.empty() ? &app : chosen.front();
        const QString hint =
            QStringLiteral("\nSee \"mdc-bench %1--help\".")
                .arg(chosen.empty() ? QString()
                                    : QString::fromStdString(where->get_name()) + QLatin1Char(' '));
        QStringList extras;
        for (const std::string& word : app.remaining(true))
            extras.append(QString::fromStdString(word));
        if (extras.isEmpty())
            return QString::fromStdString(error.what()) + hint;
        const QString word = withoutMark(extras.constFirst().toStdString());
        if (extras.constFirst().startsWith(QLatin1Char('-')))
            return QStringLiteral("unknown option \"%1\"").arg(word) +
                   didYouMean(word.section(QLatin1Char('='), 0, 0), optionNames(where)) + hint;
        if (chosen.empty())
            return QStringLiteral("unknown subcommand \"%1\"").arg(word) +
                   didYouMean(word, subcommandNames()) +
                   QStringLiteral("\nSubcommands: %1.").arg(subcommandNames().join(QStringLiteral(", "))) +
                   hint;
        return QStringLiteral("unexpected argument \"%1\"").arg(word) + hint;
    }

    static QStringList optionNames(const CLI::App* where)
    {
        QStringList names;
        for (const CLI::App* at = where; at != nullptr; at = at->get_parent()) {
            for (const CLI::Option* option : at->get_options()) {
                for (const std::string& name : option->get_lnames())
                    names.append(QStringLiteral("--") + QString::fromStdString(name));
            }
        }
        return names;
    }
};

QStringList toStringList(const std::vector<std::string>& texts)
{
    QStringList list;
    for (const std::string& text : texts)
        list.append(withoutMark(text));
    return list;
}

BenchOptions::Simulation simulationOf(const RawOptions& raw)
{
    if (raw.simulate.empty())
        return raw.config.empty() ? BenchOptions::Simulation::Tcp : BenchOptions::Simulation::None;
    if (raw.simulate == "tcp")
        return BenchOptions::Simulation::Tcp;
    return raw.simulate == "rtu" ? BenchOptions::Simulation::Rtu : BenchOptions::Simulation::None;
}

BenchOptions toOptions(const Parser& parser)
{
    const RawOptions& raw = parser.raw;
    BenchOptions options;
    options.configFile = QString::fromStdString(raw.config);
    options.pluginFolder = QString::fromStdString(raw.plugins);
    options.propertiesFile = QString::fromStdString(raw.properties);
    options.profile = QString::fromStdString(raw.profile);
    options.traceFile = QString::fromStdString(raw.trace);
    options.faults = toStringList(raw.faults);
    options.simulation = simulationOf(raw);
    options.format = outputFormatByName(QString::fromStdString(raw.format))
                         .value_or(parser.results->parsed() ? OutputFormat::JsonLines : OutputFormat::Table);
    options.language = QString::fromStdString(raw.language);
    options.verbose = raw.verbose;
    options.quiet = raw.quiet;
    options.object = QString::fromStdString(raw.object);
    options.command = withoutMark(raw.command);
    options.arguments = toStringList(raw.arguments);
    options.identify = !raw.noIdentify;
    options.demoTcp = raw.tcp || !raw.rtu;
    options.demoRtu = raw.rtu || !raw.tcp;
    options.timeout = raw.linkWait;
    options.count = raw.count;
    options.duration = static_cast<int>(raw.seconds * c_millisecondsPerSecond);
    options.changesOnly = raw.changes;
    options.outputFile = QString::fromStdString(raw.output);
    options.rotateSize = raw.rotateSize;
    options.keptFiles = raw.keep;
    options.programName = QString::fromStdString(raw.programName);
    options.backup = parser.backups.options();
    options.panel.screenshotFile = QString::fromStdString(raw.screenshot);
    options.panel.size = sizeFromText(QString::fromStdString(raw.size));
    options.panel.presses = toStringList(raw.presses);
    options.panel.dark = raw.dark;
    if (parser.demo->parsed())
        options.subcommand = BenchOptions::Subcommand::Demo;
    else if (parser.list->parsed())
        options.subcommand = BenchOptions::Subcommand::List;
    else if (parser.commands->parsed())
        options.subcommand = BenchOptions::Subcommand::Commands;
    else if (parser.results->parsed())
        options.subcommand = BenchOptions::Subcommand::Results;
    else if (parser.check->parsed())
        options.subcommand = BenchOptions::Subcommand::Check;
    else if (parser.panel->parsed())
        options.subcommand = BenchOptions::Subcommand::Panel;
    else if (const auto chosen = parser.backups.chosen()) {
        options.subcommand = *chosen;
        options.timeout = parser.backups.orderTimeout();
        options.object = parser.backups.object();
    } else {
        options.subcommand = BenchOptions::Subcommand::Run;
        options.timeout = raw.orderTimeout;
    }
    return options;
}

// Combinations that the parser's rules cannot tell; empty when there is nothing to complain about.
QString contradiction(const BenchOptions& options)
{
    const QStringList languages = availableLanguages();
    if (!options.language.isEmpty() && !languages.contains(options.language))
        return QStringLiteral("there are no texts in the language \"%1\"; there are: %2")
            .arg(options.language, languages.join(QStringLiteral(", ")));
    QString ofBackups = BackupSubcommands::contradiction(options);
    if (!ofBackups.isEmpty())
        return ofBackups;
    if (!options.panel.size.isValid())
        return QStringLiteral("--size takes width and height in pixels, %1 to %2 each, as in 600x800")
            .arg(c_smallestPanel)
            .arg(c_largestPanel);
    const bool isDemo = options.subcommand == BenchOptions::Subcommand::Demo;
    if (options.format == OutputFormat::Markdown && options.subcommand != BenchOptions::Subcommand::Commands)
        return QStringLiteral("--format markdown is for \"commands\" only");
    const bool isResults = options.subcommand == BenchOptions::Subcommand::Results;
    if (options.format == OutputFormat::Csv && !isResults)
        return QStringLiteral("--format csv is for \"results\" only");
    if (isResults && options.format != OutputFormat::JsonLines && options.format != OutputFormat::Csv)
        return QStringLiteral("\"results\" writes --format jsonl or csv");
    if (isResults && options.rotateSize > 0 && options.outputFile.isEmpty())
        return QStringLiteral("--rotate-size needs --output FILE");
    if (isDemo && options.format != OutputFormat::Table)
        return QStringLiteral("\"demo\" is for reading and has no --format; \"run\" has");
    if (isDemo && !options.configFile.isEmpty())
        return QStringLiteral("\"demo\" shows the bundled configuration and takes no --config; use \"run\"");
    if (!isDemo && options.simulation == BenchOptions::Simulation::None && options.configFile.isEmpty() &&
        (options.subcommand == BenchOptions::Subcommand::Run || isResults ||
         options.subcommand == BenchOptions::Subcommand::Check ||
         options.subcommand == BenchOptions::Subcommand::Panel))
        return QStringLiteral("--simulate none needs --config FILE: there is no controller otherwise");
    if (options.simulation == BenchOptions::Simulation::None && !options.faults.isEmpty())
        return QStringLiteral("--fault needs a simulated controller: add --simulate tcp or --simulate rtu");
    if (options.simulation == BenchOptions::Simulation::None && !options.profile.isEmpty())
        return QStringLiteral("--profile needs a simulated controller: add --simulate tcp or --simulate rtu");
    return {};
}

} // namespace

QString versionText()
{
    return QStringLiteral("mdc-bench %1 (Qt %2)")
        .arg(QStringLiteral(MDC_BENCH_VERSION), QString::fromLatin1(qVersion()));
}

ParsedCommandLine parseCommandLine(const QStringList& arguments)
{
    Parser parser;
    ParsedCommandLine result;
    if (arguments.isEmpty()) {
        result.exitCode = ExitCode::Usage;
        result.text = QStringLiteral("a subcommand is required: %1\n"
                                     "Start with \"mdc-bench demo\", or see \"mdc-bench --help\".")
                          .arg(parser.subcommandNames().join(QStringLiteral(", ")));
        return result;
    }
    // Last argument first, as this overload wants it.
    std::vector<std::string> words;
    const QStringList marked = markLiterals(arguments);
    for (auto it = marked.crbegin(); it != marked.crend(); ++it)
        words.push_back(it->toStdString());
    try {
        parser.app.parse(std::move(words));
        const BenchOptions options = toOptions(parser);
        result.text = contradiction(options);
        if (result.text.isEmpty())
            result.options = options;
        else
            result.exitCode = ExitCode::Usage;
    } catch (const CLI::CallForHelp&) {
        result.text = QString::fromStdString(parser.app.help());
    } catch (const CLI::CallForVersion& version) {
        result.text = QString::fromStdString(version.what()) + QLatin1Char('\n');
    } catch (const CLI::ParseError& error) {
        result.exitCode = ExitCode::Usage;
        result.text = parser.describe(error);
    }
    return result;
}
