// Whoever adds a row to the table of subcommands, or an exit code, is told here what else belongs to it.

#include "applications/bench/subcommand_table.h"
#include "applications/bench/tests/parsed_call.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

namespace {

const QString c_table = QStringLiteral("applications/bench/subcommand_table.cpp");
const QString c_manual = QStringLiteral("docs/bench.md");
const QString c_readme = QStringLiteral("README.md");

// Of a file of the checkout; empty when it cannot be read.
QString textOf(const QString& file)
{
    QFile page(QStringLiteral(MDC_SOURCE_DIRECTORY "/") + file);
    return page.open(QIODevice::ReadOnly) ? QString::fromUtf8(page.readAll()) : QString();
}

// What stands under a heading of the manual, to the next one of its level.
QString sectionOf(const QString& page, const QString& heading)
{
    const QString rest = page.section(QStringLiteral("\n## %1\n").arg(heading), 1, 1);
    return rest.section(QStringLiteral("\n## "), 0, 0);
}

QString complaint(const Subcommand& subcommand, const QString& what)
{
    return QStringLiteral("the subcommand \"%1\" of %2 %3").arg(subcommand.name(), c_table, what);
}

} // namespace

class TstSubcommandTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySubcommandHasANameOfItsOwn()
    {
        QStringList names;
        for (const auto& subcommand : makeSubcommands()) {
            QVERIFY2(!subcommand->name().isEmpty() && !names.contains(subcommand->name()),
                     qPrintable(complaint(*subcommand, "has no name of its own")));
            names.append(subcommand->name());
        }
        QVERIFY(!names.isEmpty());
    }

    void everySubcommandHasHelp()
    {
        for (const auto& subcommand : makeSubcommands()) {
            const QString name = subcommand->name();
            const QString summary = QString::fromUtf8(subcommand->description().summary);
            QVERIFY2(!summary.isEmpty() && !summary.endsWith('.'),
                     qPrintable(complaint(*subcommand, "has no summary, one line without a stop")));
            const QString examples =
                QString::fromUtf8(subcommand->description().details).section("Examples:\n", 1, 1);
            const QRegularExpression example(QStringLiteral("^  mdc-bench (.* )?%1\\b").arg(name),
                                             QRegularExpression::MultilineOption);
            QVERIFY2(example.match(examples).hasMatch(),
                     qPrintable(complaint(*subcommand, "has no example in its help")));

            const ParsedCall help({name, "--help"});
            QVERIFY(help->subcommand == nullptr);
            QCOMPARE(help->exitCode, ExitCode::Done);
            for (const QString& part : {summary, examples.trimmed(), QStringLiteral("--config FILE")})
                QVERIFY2(help->text.contains(part),
                         qPrintable(complaint(*subcommand, "lacks in its help: ") + part));
            QVERIFY(ParsedCall({"--help"})->text.contains(summary));
        }
    }

    // What a call without any word complains of is marked in the help.
    void helpMarksWhatIsRequired()
    {
        static const QRegularExpression c_required(QStringLiteral("^(\\S+) is required"));
        QStringList seen;
        for (const auto& subcommand : makeSubcommands()) {
            const QString wanted = c_required.match(ParsedCall({subcommand->name()})->text).captured(1);
            const QString help = ParsedCall({subcommand->name(), "--help"})->text;
            if (wanted.isEmpty()) {
                QVERIFY2(!help.contains("required)"),
                         qPrintable(complaint(*subcommand, "marks what is not required:\n") + help));
                continue;
            }
            seen.append(subcommand->name() + ' ' + wanted);
            const QRegularExpression line(QStringLiteral("^  %1\\b[^\n]*\\(required\\)$").arg(wanted),
                                          QRegularExpression::MultilineOption);
            QVERIFY2(line.match(help).hasMatch(),
                     qPrintable(complaint(*subcommand, "does not mark what is required:\n") + help));
        }
        QCOMPARE(seen,
                 (QStringList{"init FOLDER", "run COMMAND", "restore FILE", "compare FILE", "support FILE"}));
        const QString restore = ParsedCall({"restore", "--help"})->text.simplified();
        QVERIFY2(restore.contains("(3,5-7); required without --extras"), qPrintable(restore));
        QVERIFY2(ParsedCall({"restore", "f"})->text.startsWith("--presets is required, or --extras"),
                 qPrintable(ParsedCall({"restore", "f"})->text));
    }

    void helpOffersTheFormsThatThereAre()
    {
        static const QRegularExpression c_forms(QStringLiteral("^  --format (\\S+)"),
                                                QRegularExpression::MultilineOption);
        for (const auto& subcommand : makeSubcommands()) {
            const QList<OutputFormat>& formats = subcommand->description().formats;
            QStringList names;
            for (const OutputFormat format : formats)
                names.append(QLatin1String(outputFormatDescription(format).name));
            // With one form only there is nothing to choose.
            const QString expected = names.size() > 1 ? names.join('|') : QString();
            const QString help = ParsedCall({subcommand->name(), "--help"})->text;
            QVERIFY2(
                c_forms.match(help).captured(1) == expected,
                qPrintable(complaint(*subcommand, "offers other forms than " + expected + ":\n") + help));
            QVERIFY2(expected.isEmpty() == !help.contains("Form of the results"), qPrintable(help));
            if (!expected.isEmpty())
                QVERIFY2(help.contains(QStringLiteral("Form of the results [%1]").arg(names.constFirst())),
                         qPrintable(help));
        }
        const QString program = ParsedCall({"--help"})->text;
        QVERIFY2(c_forms.match(program).captured(1) == "FORM", qPrintable(program));
        QVERIFY2(!program.contains("csv") && !program.contains("markdown"), qPrintable(program));
    }

    void everySubcommandIsDescribed()
    {
        const QString rows = sectionOf(textOf(c_manual), "Subcommands");
        QVERIFY2(!rows.isEmpty(), qPrintable(c_manual + " has no section \"Subcommands\""));
        for (const auto& subcommand : makeSubcommands()) {
            const QRegularExpression row(QStringLiteral("^\\| `%1\\b[^`]*` \\| \\S").arg(subcommand->name()),
                                         QRegularExpression::MultilineOption);
            QVERIFY2(row.match(rows).hasMatch(),
                     qPrintable(
                         complaint(*subcommand, "has no row in the section \"Subcommands\" of " + c_manual)));
        }
    }

    void everySubcommandRefusesFormsThatItDoesNotHave()
    {
        for (const auto& subcommand : makeSubcommands()) {
            const QList<OutputFormat>& formats = subcommand->description().formats;
            QVERIFY2(!formats.isEmpty(), qPrintable(complaint(*subcommand, "has no form of results")));
            for (const OutputFormatDescription& format : outputFormatDescriptions()) {
                GeneralOptions general;
                general.simulation = GeneralOptions::Simulation::Tcp;
                general.format = format.format;
                QVERIFY2(subcommand->contradiction(general).isEmpty() == formats.contains(format.format),
                         qPrintable(complaint(*subcommand, "says of --format ") + format.name + ": \"" +
                                    subcommand->contradiction(general) + '"'));
            }
        }
    }

    // The message for the others names it.
    void formsOfOneSubcommand()
    {
        for (const OutputFormatDescription& format : outputFormatDescriptions()) {
            QStringList owners;
            for (const auto& subcommand : makeSubcommands()) {
                if (subcommand->description().formats.contains(format.format))
                    owners.append(subcommand->name());
            }
            if (!format.onlyOf.isEmpty())
                QCOMPARE(owners, format.onlyOf);
            else
                QVERIFY2(owners.size() > 1, format.name);
        }
    }

    void everyExitCodeIsDescribed()
    {
        const QString rows = sectionOf(textOf(c_manual), "Exit codes");
        QVERIFY2(!rows.isEmpty(), qPrintable(c_manual + " has no section \"Exit codes\""));
        const QString listed = textOf(c_readme).section("Exit codes:", 1, 1).section("\n\n", 0, 0);
        QVERIFY2(!listed.isEmpty(), qPrintable(c_readme + " has no paragraph \"Exit codes:\""));
        for (const ExitCodeDescription& description : exitCodeDescriptions()) {
            const QString number = QString::number(static_cast<int>(description.code));
            const auto complain = [&](const QString& where) {
                return QStringLiteral("the exit code %1 (%2) %3")
                    .arg(number, QLatin1String(description.text), where);
            };
            QVERIFY2(rows.contains(QStringLiteral("\n| %1 | ").arg(number)),
                     qPrintable(complain("has no row in the section \"Exit codes\" of " + c_manual)));
            QVERIFY2(
                QRegularExpression(QStringLiteral("(^|[ \n])%1 [a-z]").arg(number)).match(listed).hasMatch(),
                qPrintable(complain("is not in the paragraph \"Exit codes:\" of " + c_readme)));
        }
    }
};

QTEST_GUILESS_MAIN(TstSubcommandTable)
#include "tst_subcommand_table.moc"
