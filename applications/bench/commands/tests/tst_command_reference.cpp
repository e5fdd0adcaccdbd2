#include "applications/bench/commands/command_reference.h"

#include <QJsonArray>
#include <QtTest>

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
};

QTEST_GUILESS_MAIN(TstCommandReference)
#include "tst_command_reference.moc"
