#include "applications/bench/core/command_line.h"

#include "applications/bench/core/literal_words.h"
#include "applications/bench/core/option_set.h"
#include "applications/bench/core/program_help.h"
#include "applications/bench/core/suggestion.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace {

// "table; jsonl for "results"": the form of results that nobody asks for, of all but these.
QString formatsText(const Subcommands& subcommands)
{
    QString text = QLatin1String(outputFormatDescription(OutputFormat::Table).name);
    for (const auto& subcommand : subcommands) {
        const OutputFormat format = subcommand->description().formats.constFirst();
        if (format != OutputFormat::Table)
            text += QStringLiteral("; %1 for \"%2\"")
                        .arg(QLatin1String(outputFormatDescription(format).name), subcommand->name());
    }
    return text;
}

QStringList optionNames(const CLI::App* where)
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

class Parser
{
public:
    explicit Parser(const Subcommands& subcommands)
        : m_subcommands(subcommands)
    {
        addProgramHelp(m_app);
        m_app.require_subcommand(1);
        m_app.fallthrough();
        OptionSet general(m_app);
        m_general.addTo(general, formatsText(subcommands));
        for (const auto& subcommand : subcommands) {
            const SubcommandDescription& description = subcommand->description();
            CLI::App* const app = m_app.add_subcommand(description.name, description.summary);
            app->footer(description.details);
            OptionSet options(*app);
            subcommand->addTo(options);
            app->get_help_ptr()->group("Options");
        }
    }

    // Throws what CLI11 throws: a wish for help, or what is wrong.
    ParsedCommandLine parse(const QStringList& arguments)
    {
        // Last argument first, as this overload wants it.
        std::vector<std::string> words;
        const QStringList marked = withMarkedLiterals(arguments);
        for (auto it = marked.crbegin(); it != marked.crend(); ++it)
            words.push_back(it->toStdString());
        m_app.parse(std::move(words));

        ParsedCommandLine parsed;
        for (const auto& subcommand : m_subcommands) {
            if (!m_app.got_subcommand(subcommand->description().name))
                continue;
            parsed.general = m_general.options(subcommand->description().formats.constFirst());
            parsed.text =
                firstProblem({languageProblem(parsed.general), subcommand->contradiction(parsed.general),
                              simulationProblem(parsed.general)});
            if (parsed.text.isEmpty())
                parsed.subcommand = subcommand.get();
            else
                parsed.exitCode = ExitCode::Usage;
        }
        return parsed;
    }

    // Of the subcommand that is asked for, else of the program.
    QString help() const
    {
        for (const auto& subcommand : m_subcommands) {
            if (m_app.got_subcommand(subcommand->description().name))
                m_general.describeFormats(subcommand->description().formats);
        }
        return QString::fromStdString(m_app.help());
    }

    QStringList subcommandNames() const
    {
        QStringList names;
        for (const auto& subcommand : m_subcommands)
            names.append(subcommand->name());
        return names;
    }

    // CLI11 complains of a missing subcommand when a word is none; the word is what helps.
    QString describe(const CLI::ParseError& error) const
    {
        const std::vector<CLI::App*> chosen = m_app.get_subcommands();
        const CLI::App* const where = chosen.empty() ? &m_app : chosen.front();
        const QString hint =
            QStringLiteral("\nSee \"mdc-bench %1--help\".")
                .arg(chosen.empty() ? QString()
                                    : QString::fromStdString(where->get_name()) + QLatin1Char(' '));
        const std::vector<std::string> extras = m_app.remaining(true);
        if (extras.empty())
            return QString::fromStdString(error.what()) + hint;
        const QString word = withoutMark(extras.front());
        if (extras.front().starts_with('-'))
            return QStringLiteral("unknown option \"%1\"").arg(word) +
                   didYouMean(word.section(QLatin1Char('='), 0, 0), optionNames(where)) + hint;
        if (chosen.empty())
            return QStringLiteral("unknown subcommand \"%1\"").arg(word) +
                   didYouMean(word, subcommandNames()) +
                   QStringLiteral("\nSubcommands: %1.").arg(subcommandNames().join(QStringLiteral(", "))) +
                   hint;
        return QStringLiteral("unexpected argument \"%1\"").arg(word) + hint;
    }

private:
    const Subcommands& m_subcommands;
    CLI::App m_app{c_programDescription, "mdc-bench"};
    GeneralOptionsParser m_general;
};

} // namespace

ParsedCommandLine parseCommandLine(const Subcommands& subcommands, const QStringList& arguments)
{
    Parser parser(subcommands);
    ParsedCommandLine parsed;
    if (arguments.isEmpty()) {
        parsed.exitCode = ExitCode::Usage;
        parsed.text = QStringLiteral("a subcommand is required: %1\n"
                                     "Start with \"mdc-bench demo\", or see \"mdc-bench --help\".")
                          .arg(parser.subcommandNames().join(QStringLiteral(", ")));
        return parsed;
    }
    try {
        return parser.parse(arguments);
    } catch (const CLI::CallForHelp&) {
        parsed.text = parser.help();
    } catch (const CLI::CallForVersion&) {
        parsed.isVersion = true;
    } catch (const CLI::ParseError& error) {
        parsed.exitCode = ExitCode::Usage;
        parsed.text = parser.describe(error);
    }
    return parsed;
}
