#include "applications/bench/backup/backup_subcommand.h"
#include "applications/bench/backup/compare_subcommand.h"
#include "applications/bench/backup/restore_subcommand.h"
#include "applications/bench/tests/parsed_call.h"

#include <QTest>

class TstBackupCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandLine()
    {
        const ParsedCall saving({"backup", "--name", "a", "--folder", "b", "--force", "--object", "mdc"});
        const auto* const backup = saving.as<BackupSubcommand>();
        QVERIFY(backup != nullptr);
        QCOMPARE(backup->options().name, QString("a"));
        QCOMPARE(backup->options().folder, QString("b"));
        QVERIFY(backup->options().overwrite);
        QCOMPARE(backup->options().device.object, QString("mdc"));
        QCOMPARE(backup->options().device.timeout, 0);

        const ParsedCall writing(
            {"restore", "f", "--presets", "2-5", "--extras", "--verify", "--timeout", "9"});
        const auto* const restore = writing.as<RestoreSubcommand>();
        QVERIFY(restore != nullptr);
        QCOMPARE(restore->options().file, QString("f"));
        QCOMPARE(presetsText(restore->options().choice.presets), QString("2-5"));
        QVERIFY(restore->options().choice.withExtras && restore->options().verify);
        QVERIFY(!restore->options().withoutSnapshot && !restore->options().dryRun);
        QCOMPARE(restore->options().device.timeout, 9);

        const ParsedCall comparing({"compare", "a", "b", "--simulate", "none"});
        const auto* const compare = comparing.as<CompareSubcommand>();
        QVERIFY(compare != nullptr);
        QCOMPARE(compare->options().files, (QStringList{"a", "b"}));
        QVERIFY(ParsedCall({"compare", "--help"})->text.contains("FILE..."));
    }

    void extrasAlone()
    {
        const ParsedCall writing({"restore", "f", "--extras"});
        const auto* const restore = writing.as<RestoreSubcommand>();
        QVERIFY2(restore != nullptr, qPrintable(writing->text));
        QVERIFY(restore->options().choice.presets.isEmpty());
        QVERIFY(restore->options().choice.withExtras);
    }

    void filesBehindTheDashes()
    {
        const ParsedCall writing({"restore", "--presets", "1", "--", "--odd.csv"});
        const auto* const restore = writing.as<RestoreSubcommand>();
        QVERIFY(restore != nullptr);
        QCOMPARE(restore->options().file, QString("--odd.csv"));
        const ParsedCall comparing({"compare", "--", "--a.csv", "b.csv"});
        const auto* const compare = comparing.as<CompareSubcommand>();
        QVERIFY(compare != nullptr);
        QCOMPARE(compare->options().files, (QStringList{"--a.csv", "b.csv"}));
    }

    void unusableCommandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("text");
        using L = QStringList;
        QTest::newRow("separator in the name") << L{"backup", "--name", "a/b"} << "--folder";
        QTest::newRow("backup of nothing") << L{"backup", "--simulate", "none"} << "--config";
        QTest::newRow("backup with a file") << L{"backup", "file.csv"} << "unexpected argument";
        QTest::newRow("backup as csv") << L{"backup", "--format", "csv"} << "\"results\" only";
        QTest::newRow("no file") << L{"restore", "--presets", "1"} << "FILE is required";
        QTest::newRow("no presets") << L{"restore", "f"} << "--presets is required, or --extras";
        QTest::newRow("presets") << L{"restore", "f", "--presets", "all"} << "\"all\" names no presets";
        QTest::newRow("verify nothing")
            << L{"restore", "f", "--presets", "1", "--dry-run", "--verify"} << "--dry-run excludes --verify";
        QTest::newRow("no snapshot anywhere")
            << L{"restore", "f", "--presets", "1", "--no-snapshot", "--snapshot-folder", "x"}
            << "--no-snapshot excludes --snapshot-folder";
        QTest::newRow("restore to nothing")
            << L{"restore", "f", "--presets", "1", "--simulate", "none"} << "--config";
        QTest::newRow("misspelt") << L{"restore", "f", "--preset", "1"} << "did you mean \"--presets\"?";
        QTest::newRow("compare nothing") << L{"compare"} << "FILE is required";
        QTest::newRow("compare three") << L{"compare", "a", "b", "c"} << "At Most 2";
        QTest::newRow("compare with nothing") << L{"compare", "a", "--simulate", "none"} << "--config";
        QTest::newRow("time-out") << L{"backup", "--timeout", "0"} << "--timeout";
    }

    void unusableCommandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, text);
        const ParsedCall parsed(arguments);
        QVERIFY(parsed->subcommand == nullptr);
        QCOMPARE(static_cast<int>(parsed->exitCode), 2);
        QVERIFY2(parsed->text.contains(text), qPrintable(parsed->text));
    }
};

QTEST_GUILESS_MAIN(TstBackupCommandLine)
#include "tst_backup_command_line.moc"
