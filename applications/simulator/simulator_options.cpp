#include "applications/simulator/simulator_options.h"

#include "applications/simulator/channel_meaning.h"
#include "applications/simulator/register_bank.h"

#include <CLI/CLI.hpp>

#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr int c_usageError = 2;
constexpr quint16 c_defaultPort = 1502;
// One hour, as for the times of faults.
constexpr int c_longestInterval = 3600000;

std::string profileTable()
{
    std::string table;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles) {
        table += QStringLiteral("  %1 %2; reference \"%3\"\n")
                     .arg(profile.name, -19)
                     .arg(profile.description, profile.reference)
                     .toStdString();
    }
    return table;
}

std::string faultTable()
{
    std::string table =
        "A fault is written name[=value][@when][/function][#register]. Without \"@\" it hits every\n"
        "request, \"@once\" the next one, \"@3\" or \"@5-7,9\" those numbers, counted from the start;\n"
        "\"/6\" or \"/0x06\" lets it see only requests with that function code, \"#117\" or \"#100-199\"\n"
        "only those that read or write one of these registers.\n\n";
    for (const FaultDescription& fault : faultDescriptions()) {
        QString name = QString::fromLatin1(fault.name);
        if (fault.valueName != nullptr)
            name += QLatin1Char('=') + QString::fromLatin1(fault.valueName);
        table +=
            QStringLiteral("  %1 %2\n").arg(name, -15).arg(QString::fromLatin1(fault.meaning)).toStdString();
    }
    return table;
}

// A CLI11 check: the text says what is wrong, an empty one that nothing is.
std::string checkFault(const std::string& text)
{
    QString error;
    Fault::parse(QString::fromStdString(text), &error);
    return error.toStdString();
}

std::string checkProfile(const std::string& name)
{
    if (ControllerProfile::byName(QString::fromStdString(name)))
        return {};
    return "\"" + name + "\" is no profile; there are\n" + profileTable();
}

// What is read before it is put into options.
struct Given
{
    std::string configuration;
    std::string object;
    std::string pluginFolder;
    std::string profile = "mdc32-gen2";
    std::string serialDevice;
    std::string parity = "even";
    std::vector<std::string> faults;
    std::vector<std::string> replays;
    std::string replaySpeed = "1";
    std::optional<quint16> port;
    bool listProfiles = false;
    bool listFaults = false;
};

void addController(CLI::App& app, SimulatorOptions& options, Given& given)
{
    app.add_option("--config", given.configuration,
                   "Bench configuration whose register map the controller follows (the bundled sample)");
    app.add_option("--object", given.object,
                   "Name of the device object in it (needed when there are several)");
    app.add_option("--profile", given.profile, "Which controller to be, see --list-profiles")
        ->check(CLI::Validator(checkProfile, "NAME"))
        ->capture_default_str();
    app.add_option("--unit", options.unitId, "Modbus unit id (that of the device's driver)")
        ->check(CLI::Range(1, 247));
    app.add_option("--address-offset", options.addressOffset,
                   "What a register of the configuration has more on the wire (that of the device's driver)")
        ->check(CLI::Range(-RegisterBank::c_addressCount, RegisterBank::c_addressCount));
    app.add_option("--plugins", given.pluginFolder,
                   "Folder of the plug-ins, which know the settings of drivers (../plugins)");
}

void addTransports(CLI::App& app, SimulatorOptions& options, Given& given)
{
    app.add_option("--port", given.port,
                   "TCP port, 0 takes a free one (1502 unless --pty or --serial is given)");
    auto* ptyOption =
        app.add_flag("--pty", options.pseudoTerminal, "Serve a pseudo-terminal; its name is printed");
    app.add_option("--pace", options.pace,
                   "Baud rate whose time the bytes on --pty take, 11 bits each (no time unless given)")
        ->needs(ptyOption)
        ->check(CLI::Range(300, 4000000));
    auto* serialOption = app.add_option("--serial", given.serialDevice, "Serve this serial device");
    app.add_option("--baud", options.baudRate, "Baud rate of --serial")
        ->needs(serialOption)
        ->check(CLI::Range(50, 4000000))
        ->capture_default_str();
    app.add_option("--parity", given.parity, "Parity of --serial: even, odd or none")
        ->needs(serialOption)
        ->check(CLI::IsMember({"even", "odd", "none"}))
        ->capture_default_str();
}

void addState(CLI::App& app, SimulatorOptions& options, Given& given)
{
    app.add_option("--fault", given.faults, "A fault, see --list-faults; may be given several times")
        ->check(CLI::Validator(checkFault, "FAULT"))
        ->expected(1)
        ->take_all();
    app.add_flag("--motor-run", options.motorRunning, "The motor runs");
    app.add_option("--alarm", options.alarm, "An alarm with this code is active");
    app.add_option("--torque-unit", options.torqueUnit, "Code of the unit of torque")
        ->check(CLI::Range(0, static_cast<int>(c_largestTorqueUnit)))
        ->capture_default_str();
    app.add_option("--tightening-interval", options.tighteningInterval,
                   "Run a tightening cycle every so many ms (none unless given)")
        ->check(CLI::Range(1, c_longestInterval));
    app.add_option("--event-count", options.eventCount,
                   "Where the event counter starts, 0 to 65535; the first event has one more")
        ->capture_default_str();
}

// How many times as fast; 0 for "instant", less for what is no speed.
double speedOf(const std::string& text)
{
    constexpr double c_least = 0.01;
    constexpr double c_most = 1000;
    if (text == "instant")
        return 0;
    bool isNumber = false;
    const double speed = QString::fromStdString(text).toDouble(&isNumber);
    return isNumber && speed >= c_least && speed <= c_most ? speed : -1;
}

std::string checkSpeed(const std::string& text)
{
    return speedOf(text) < 0
               ? "\"" + text + "\" is no speed: needed is a number from 0.01 to 1000, or instant"
               : std::string();
}

void addReplay(CLI::App& app, Given& given)
{
    auto* replay =
        app.add_option("--replay", given.replays,
                       "Be the controller whose session mdc-bench --record FILE recorded; several\n"
                       "are replayed one behind the other")
            ->type_name("FILE")
            ->expected(1)
            ->take_all();
    app.add_option("--replay-speed", given.replaySpeed,
                   "So many times as fast as it was recorded, or instant")
        ->needs(replay)
        ->type_name("N|instant")
        ->check(CLI::Validator(checkSpeed, ""))
        ->capture_default_str();
}

// What a recorded controller is says its record.
void refuseBesideReplay(const CLI::App& app, const Given& given)
{
    if (given.replays.empty())
        return;
    for (const char* const option :
         {"--config", "--object", "--profile", "--unit", "--address-offset", "--plugins", "--pace", "--fault",
          "--motor-run", "--alarm", "--torque-unit", "--tightening-interval", "--event-count"}) {
        if (app.count(option) > 0)
            throw CLI::ExcludesError("--replay", option);
    }
}

void take(const Given& given, SimulatorOptions& options)
{
    options.configuration = QString::fromStdString(given.configuration);
    options.object = QString::fromStdString(given.object);
    options.pluginFolder = QString::fromStdString(given.pluginFolder);
    options.profile = *ControllerProfile::byName(QString::fromStdString(given.profile));
    options.serialDevice = QString::fromStdString(given.serialDevice);
    options.parity = static_cast<char>(std::toupper(static_cast<unsigned char>(given.parity.front())));
    for (const std::string& text : given.faults)
        options.faults.append(*Fault::parse(QString::fromStdString(text)));
    for (const std::string& file : given.replays)
        options.replays.append(QString::fromStdString(file));
    options.replaySpeed = speedOf(given.replaySpeed);
    if (given.port || (!options.pseudoTerminal && given.serialDevice.empty()))
        options.port = given.port.value_or(c_defaultPort);
}

} // namespace

std::optional<SimulatorOptions> parseCommandLine(const QStringList& arguments, int* exitCode)
{
    SimulatorOptions options;
    Given given;
    given.configuration = options.configuration.toStdString();
    CLI::App app{"A simulated MDC controller: answers Modbus TCP on 127.0.0.1, on a serial device or on a\n"
                 "pseudo-terminal, and misbehaves on demand.",
                 "mdc-simulator"};
    addController(app, options, given);
    addTransports(app, options, given);
    addState(app, options, given);
    addReplay(app, given);
    app.add_flag("--quiet", options.quiet, "Print nothing but where it listens, and errors");
    app.add_flag("--list-profiles", given.listProfiles, "List the profiles and end");
    app.add_flag("--list-faults", given.listFaults, "List the faults and end");
    // The parser takes the last one first.
    std::vector<std::string> reversed;
    for (auto it = arguments.crbegin(); it != arguments.crend(); ++it)
        reversed.push_back(it->toStdString());
    try {
        app.parse(reversed);
        refuseBesideReplay(app, given);
    } catch (const CLI::ParseError& error) {
        const int code = app.exit(error, std::cout, std::cerr);
        *exitCode = code == 0 ? 0 : c_usageError;
        return std::nullopt;
    }
    if (given.listProfiles || given.listFaults) {
        std::cout << (given.listProfiles ? profileTable() : std::string())
                  << (given.listFaults ? faultTable() : std::string());
        *exitCode = 0;
        return std::nullopt;
    }
    take(given, options);
    return options;
}
