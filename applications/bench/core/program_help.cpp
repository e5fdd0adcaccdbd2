#include "applications/bench/core/program_help.h"

#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/output_format.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace {

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

// Of the options that the help of a subcommand does not repeat.
constexpr const char* c_generalGroup = "General";
constexpr std::size_t c_helpColumn = 30;

class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter() { column_width(c_helpColumn); }

    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override
    {
        std::string text = CLI::Formatter::make_help(app, std::move(name), mode);
        for (std::size_t at = 0; (at = text.find("\n\n\n", at)) != std::string::npos;)
            text.erase(at, 1);
        return text;
    }

    // Shows the options that hold for every subcommand in the help of each.
    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override
    {
        const CLI::App* const parent = app->get_parent();
        if (parent == nullptr || mode == CLI::AppFormatMode::Sub)
            return CLI::Formatter::make_subcommands(app, mode);
        std::string text;
        for (const std::string& group : parent->get_groups()) {
            // What has no heading is not shown.
            if (!group.empty() && group != c_generalGroup)
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

    std::string make_option_desc(const CLI::Option* option) const override
    {
        const std::string text = CLI::Formatter::make_option_desc(option);
        return option->get_required() ? text + " (required)" : text;
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

} // namespace

const char* const c_programDescription =
    "Run commands of device plug-ins at a test bench, or try them without any device:\n"
    "without --config a simulated controller runs inside this program.";

void addProgramHelp(CLI::App& app)
{
    app.formatter(std::make_shared<HelpFormatter>());
    app.get_help_ptr()->group(c_generalGroup);
    // The text needs the plug-ins: whoever parses makes it.
    app.set_version_flag("--version", "", "Print the versions of program, contract, Qt and plug-ins and exit")
        ->group(c_generalGroup);
    app.footer(c_examples + exitCodeTable().toStdString());
}
