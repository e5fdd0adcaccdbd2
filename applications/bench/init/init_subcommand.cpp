#include "applications/bench/init/init_subcommand.h"

#include "applications/bench/core/option_set.h"
#include "applications/bench/init/init_run.h"

namespace {

constexpr int c_lastPort = 65535;
constexpr int c_slowest = 300;
constexpr int c_fastest = 4000000;
constexpr int c_lastUnit = 255;
constexpr int c_lastUnitOfLine = 247;

// It is about a controller that is there, and the configuration is what comes of it.
QString otherBenchProblem(const GeneralOptions& general)
{
    if (!general.configFile.isEmpty())
        return QStringLiteral("\"init\" writes a configuration and reads none: leave --config out");
    if (!general.profile.isEmpty() || !general.faults.isEmpty())
        return QStringLiteral("\"init\" asks a controller that is there, and simulates none: leave %1 out")
            .arg(general.profile.isEmpty() ? QStringLiteral("--fault") : QStringLiteral("--profile"));
    return {};
}

// The line has fewer than TCP: 0 is for all at once, and nobody answers it.
QString unitProblem(const InitOptions& options)
{
    const bool isGood = options.serialPort.isEmpty() || options.unitId < 0 ||
                        (options.unitId >= 1 && options.unitId <= c_lastUnitOfLine);
    return isGood ? QString()
                  : QStringLiteral("--unit on a serial line is from 1 to %1").arg(c_lastUnitOfLine);
}

} // namespace

InitSubcommand::InitSubcommand()
    : Subcommand(
          {"init", "Write a configuration for a controller",
           "Asks the controller who it is, and writes what its generation needs. What nobody has told stays "
           "an\n"
           "entry that \"mdc-bench check\" names. No file is ever replaced.\n"
           "\n"
           "On a terminal it asks for what is not given, unless --yes is.\n"
           "\n"
           "A register list (--from-csv) has a heading with at least a name and an address; what was "
           "understood\n"
           "of it, what was left out and why is shown.\n"
           "\n"
           "Examples:\n"
           "  mdc-bench init line3 --host localhost --unit 7 --generation 2 --yes\n"
           "  mdc-bench init line4 --serial /dev/ttyUSB0 --baud 38400 --generation all --yes\n"
           "  mdc-bench init line5 --host localhost --generation 2 --from-csv registers.csv --yes\n"})
{}

void InitSubcommand::addTo(OptionSet& options)
{
    options.word("FOLDER", m_options.folder, "Where the files are written; made when it is missing")
        .required();
    const AddedOption host =
        options.text("--host", "NAME", m_options.host, "Name or address of the controller");
    const AddedOption serial =
        options.text("--serial", "PORT", m_options.serialPort, "Serial line to the controller")
            .excludes(host);
    options.number("--port", "N", m_options.port, 1, c_lastPort, "Its TCP port [502]").excludes(serial);
    options.number("--baud", "N", m_options.baudRate, c_slowest, c_fastest, "Of the serial line [19200]")
        .excludes(host);
    options.text("--parity", "even|odd|none", m_options.parity, "Of the serial line [even]")
        .oneOf({"even", "odd", "none"})
        .excludes(host);
    options.number("--unit", "N", m_options.unitId, 0, c_lastUnit, "Modbus unit [1]");
    options
        .text(
            "--offset", "0|-1", m_options.offset,
            "What is added to a register's number on the wire: -1 where the documentation counts from 1 [0]")
        .oneOf({"0", "-1"});
    options.anyText("--reference", "TEXT", m_options.reference,
                    "Order reference of the controller, with MDTC, MDC or BM in it [by its model]");
    options
        .text("--generation", "1|2|all", m_options.generation,
              "Generations to write, whether or not the controller answers [the one that answers]")
        .oneOf({"1", "2", "all"});
    options.text("--from-csv", "FILE", m_options.registerList,
                 "Register list of the controller, as manuals and spreadsheets have it");
    options.flag("--yes", m_options.withoutQuestions, "Ask nothing, not on a terminal either");
    addLinkWait(options, m_options.linkWait);
}

QString InitSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({formatProblem(general), otherBenchProblem(general), unitProblem(m_options)});
}

ExitCode InitSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    InitRun run(general, m_options, console, interrupt);
    return run.run();
}
