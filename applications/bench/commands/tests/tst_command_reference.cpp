#include "applications/bench/commands/command_reference.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

class TstCommandReference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void markdown()
    {
        PluginCommands plugin;
        plugin.plugin = "Plugin X";
        plugin.version = "1.0";
        plugin.object = "x";
        plugin.commands.append({"look",
                                "stopLooking",
                                "Looks | listens",
                                {{"channel", "strg", "Which\none", QVariant("a")}},
                                {}});
        const QString page = commandsAsMarkdown({plugin});
        QVERIFY(page.contains("## Plugin X 1.0\n\n### look\n\nLooks \\| listens\n\n"
                              "Listens until it is stopped with `stopLooking`.\n\n"
                              "| Parameters | Type | Meaning | Default |\n|---|---|---|---|\n"
                              "| `channel` | `strg` | Which one | `a` |\n\nResults: none.\n"));
        // Nothing of the bench at hand: the page is the same everywhere.
        QVERIFY(!page.contains("\"x\""));
        const QJsonObject object = commandAsJson(plugin, plugin.commands.constFirst());
        QCOMPARE(object.value("parameters").toArray().at(0).toObject().value("default").toString(),
                 QString("a"));
        QCOMPARE(object.value("stopName").toString(), QString("stopLooking"));
    }

    void whatIsKnownStandsBesideWhatIsDeclared()
    {
        CommandArgument level{"level", "ui16", "How | far", true};
        level.lowest = 0;
        level.highest = 1;
        level.values = {{0, "shut"}, {1, "open"}};
        CommandArgument slowly{"slowly", "bool", "Takes its time"};
        slowly.usableDefault = false;
        slowly.isDeclared = false;
        CommandNeeds known{"setValve", {level, slowly}};
        known.effect = "Moves the valve.";
        known.results = {{"doneOk", "true: it has moved"}};
        known.channels = {{"valve", ChosenBy::Generation, {ChannelEntry::Register}, "valveKeys", "it leaks"}};
        known.parameters = {{"_config", ChosenBy::Model}};
        PluginCommands plugin;
        plugin.plugin = "Plugin X";
        plugin.commands.append({"setValve",
                                {},
                                "Regle la vanne",
                                {{"level", "ui16", "Niveau", QVariant("")}},
                                {{"doneOk", "bool", "lock done", {}}},
                                &known});
        const QString page = commandsAsMarkdown({plugin});
        QVERIFY2(
            page.contains("### setValve\n\nMoves the valve.\n\nDeclared as: Regle la vanne\n\n"
                          "| Parameters | Type | Declared as | Meaning | Values | Default |\n"
                          "|---|---|---|---|---|---|\n"
                          "| `level` | `ui16` | Niveau | How \\| far | 0 (shut), 1 (open) | *required* |\n"
                          "| `slowly` | `bool` | *not declared* | Takes its time | – | `false` |\n\n"
                          "| Results | Type | Declared as | Meaning |\n|---|---|---|---|\n"
                          "| `doneOk` | `bool` | lock done | true: it has moved |\n"),
            qPrintable(page));
        const QString text = commandsAsText({plugin});
        QVERIFY2(text.contains("  setValve level=<ui16> [slowly=<bool>]\n    Regle la vanne\n"
                               "    Moves the valve.\n"),
                 qPrintable(text));
        QVERIFY2(text.contains("How | far; 0 (shut), 1 (open); required\n"), qPrintable(text));
        QVERIFY2(text.contains("(not declared)\n"), qPrintable(text));
        QVERIFY2(text.contains("Takes its time; default false\n"), qPrintable(text));
        const QJsonObject object = commandAsJson(plugin, plugin.commands.constFirst());
        QCOMPARE(object.value("channels").toArray(),
                 (QJsonArray{QJsonObject{{"name", "valve"},
                                         {"chosenBy", "generation"},
                                         {"entries", QJsonArray{"register"}},
                                         {"keyList", "valveKeys"},
                                         {"consequence", "it leaks"}}}));
        QCOMPARE(object.value("configurationParameters").toArray(),
                 (QJsonArray{QJsonObject{{"name", "_config"}, {"chosenBy", "model"}}}));
    }
};

QTEST_GUILESS_MAIN(TstCommandReference)
#include "tst_command_reference.moc"
