#include "applications/bench/support/support_subcommand.h"

#include "applications/bench/core/option_set.h"

SupportSubcommand::SupportSubcommand()
    : Subcommand({"support", "Pack what is needed to help with a bench into an archive",
                  "Configuration, versions, plug-ins, statistics, findings of \"check\", log, properties, "
                  "and the trace that\n"
                  "the configuration or --trace names: here no trace is written. Serial numbers, addresses, "
                  "users and home\n"
                  "folders are replaced by placeholders unless --with-identity is given. A bench that cannot "
                  "be used is\n"
                  "packed all the same. Nothing is written to a controller, and nothing is sent to anybody.\n"
                  "\n"
                  "Examples:\n"
                  "  mdc-bench --config bench.json support help.zip\n"
                  "  mdc-bench --config bench.json support help.zip --probe --add monday.csv\n"})
{}

void SupportSubcommand::addTo(OptionSet& options)
{
    options.word("FILE", m_options.file, "The archive (ZIP) that is written").required();
    options.texts("--add", "FILE", m_options.added,
                  "Pack this file too: a trace, a record, a log, a backup; may be repeated");
    options.flag("--probe", m_options.isProbing,
                 "Read everything that is configured, as \"check --probe\" does");
    options.flag(
        "--with-identity", m_options.withIdentity,
        "Leave serial numbers, addresses, users and folders as they are, and pack files that are no text");
    options.flag("--force", m_options.replaces, "Replace a file of the name of the archive");
    addLinkWait(options, m_options.linkWait);
}

QString SupportSubcommand::contradiction(const GeneralOptions& general) const
{
    return firstProblem({formatProblem(general), controllerProblem(general)});
}

ExitCode SupportSubcommand::run(const GeneralOptions& general, Console& console, Interrupt& interrupt)
{
    SupportRun run(general, m_options, console, interrupt);
    return run.run();
}
