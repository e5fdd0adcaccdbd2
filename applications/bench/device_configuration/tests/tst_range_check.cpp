#include "applications/bench/device_configuration/range_check.h"

#include "plugins/p_device_mdc/model/channel_names.h"
#include "tests/support/configuration_errors.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

#include <optional>

namespace {

QJsonObject channel(const QString& id, const QJsonObject& entries)
{
    QJsonArray values;
    for (auto it = entries.constBegin(); it != entries.constEnd(); ++it)
        values.append(QJsonObject{{"id", it.key()}, {"value", it.value()}});
    return {{"id", id}, {"value", values}};
}

QJsonObject unitChannel(const QString& id, int address)
{
    return channel(id, {{"register", address}, {"readRegisterType", "holdingRegisters"}});
}

QJsonObject configurationOf(const QJsonArray& channels, const QJsonObject& parameters = {})
{
    return {{"channels", channels}, {"parameters", parameters}};
}

QJsonObject usualConfiguration(const QJsonObject& parameters = {})
{
    return configurationOf({unitChannel("torqueUnit", 50)}, parameters);
}

// "error: …" and "warning: …" of what is not ok.
QStringList complaints(const QList<Finding>& findings)
{
    QStringList lines;
    for (const Finding& finding : findings) {
        if (finding.level != FindingLevel::Ok)
            lines.append((finding.level == FindingLevel::Error ? "error: " : "warning: ") + finding.message);
    }
    return lines;
}

const QString c_range = "\"backup_range\": [1-60]; ";
const QString c_preset = "\"preset1\": [1-20]; ";
const QString c_good = c_range + c_preset + "\"extraGeneral\": [41-60];";

void addText(const char* name, const QString& text, const char* level = nullptr,
             const QString& message = QString())
{
    QStringList expected;
    if (level != nullptr)
        expected.append(QString("%1: \"M_config\": %2").arg(level, message));
    QTest::newRow(name) << text << expected;
}

// What is an item, and what is none.
void addItems()
{
    addText("good", c_good);
    addText("good, separators of all kinds", " ;\n" + c_range + " ,;\t" + c_preset + ";; ");
    addText("no item", "backup_range: [1-60]", "error", "there is no item in it");
    addText("empty", "", "error", "there is no item in it");
    addText("misspelt item", c_range + c_preset + "\"preset2\":[21-40]; \"preset3\": [41-60]", "warning",
            "no item, passed over: \"preset2\":[21-40]");
    addText("misspelt at the end", c_good + " \"preset3\": [41 - 60];", "warning",
            "no item, passed over: \"preset3\": [41 - 60]");
    addText("misspelt second range", c_good.chopped(1) + ",[33-34];", "warning",
            "no item, passed over: [33-34]");
    addText("long misspelt item", c_good + QString(100, 'x'), "warning",
            "no item, passed over: " + QString(60, 'x') + "…");
}

// "backup_range".
void addRanges()
{
    addText("no range", c_preset, "error", "it has no \"backup_range\", no backup is made");
    addText("range begins at 0", "\"backup_range\": [0-60]; " + c_preset, "error",
            "\"backup_range\": [0-60] is not valid: it begins below register 1");
    addText("single register", "\"backup_range\": [5-5]; " + c_preset, "error",
            "\"backup_range\": [5-5] is not valid: it has a single register");
    addText("range backwards", "\"backup_range\": [60-1]; " + c_preset, "error",
            "\"backup_range\": [60-1] is not valid: it runs backwards");
    addText("too many registers", "\"backup_range\": [1-65536]; " + c_preset, "error",
            "\"backup_range\": [1-65536] is not valid: it has more than 65535 registers");
    addText("most registers", "\"backup_range\": [1-65535]; " + c_preset);
    addText("number too large", "\"backup_range\": [1-99999999999]; " + c_preset, "error",
            "\"backup_range\": [1-99999999999] is not valid: a number in it is too large");
    addText("ignored before", "\"backup_range\": [0-9]; " + c_good, "warning",
            "\"backup_range\": [0-9] is not valid and ignored: it begins below register 1");
    addText("ignored behind", c_good + "\"backup_range\": [7-7];", "warning",
            "\"backup_range\": [7-7] is not valid and ignored: it has a single register");
    addText("too long beside a valid one", c_good + "\"backup_range\": [1-70000];", "error",
            "\"backup_range\": [1-70000] is not valid: it has more than 65535 registers");
    addText(
        "replaced", "\"backup_range\": [1-50]; " + c_good, "error",
        "\"backup_range\": [1-50] is replaced by \"backup_range\": [1-60], and a restore, which compares a "
        "file with both, refuses every file");
    addText("given twice", c_range + c_good, "warning", "\"backup_range\": [1-60] is given twice");
    addText("second range ignored", "\"backup_range\": [1-60], [70-80]; " + c_preset, "warning",
            "the second range of \"backup_range\": [1-60], [70-80] is ignored, a backup is one block");
    addText("not from 1", "\"backup_range\": [21-80]; \"preset2\": [21-40];", "error",
            "\"backup_range\": [21-80] does not begin at 1: its backup reads from register 1 and numbers its "
            "lines from A0001, and a restore refuses the file");
}

// Groups that reach outside of it.
void addGroupsOutside()
{
    addText(
        "preset partly outside", c_range + "\"preset3\": [41-61];", "error",
        "\"preset3\": [41-61] reaches outside of the backup's registers 1 to 60: a file has no value for it");
    addText(
        "register 0", c_range + "\"preset1\": [0-20];", "error",
        "\"preset1\": [0-20] reaches outside of the backup's registers 1 to 60: a file has no value for it");
    addText(
        "second range outside", c_good + "\"extraTool\": [30-31], [100-199];", "error",
        "\"extraTool\": [30-31], [100-199] reaches outside of the backup's registers 1 to 60: a file has no "
        "value for it");
    QTest::newRow("outside, never restored")
        << c_good + "\"groupA\": [99-99];"
        << QStringList{"warning: \"M_config\": \"groupA\" is neither a preset nor an extra group: a restore "
                       "never writes it",
                       "warning: \"M_config\": \"groupA\": [99-99] reaches outside of the backup's registers "
                       "1 to 60: a file has no value for it"};
}

// Registers that stand twice, or in no order.
void addOverlaps()
{
    addText("groups backwards", c_good + "\"preset2\": [40-21];", "warning",
            "[40-21] of \"preset2\" runs backwards and lists no register");
    addText("groups overlap", c_good + "\"preset2\": [20-40];", "warning",
            "\"preset1\" and \"preset2\" share register 20");
    addText("one group inside another", c_good + "\"preset2\": [5-9];", "warning",
            "\"preset1\" and \"preset2\" share registers 5 to 9");
    QTest::newRow("three groups overlap")
        << c_range + "\"preset3\": [8-30]; \"preset1\": [1-10]; \"preset2\": [5-20];"
        << QStringList{"warning: \"M_config\": \"preset1\" and \"preset2\" share registers 5 to 10",
                       "warning: \"M_config\": \"preset2\" and \"preset3\" share registers 8 to 20"};
    addText("a group overlaps itself", c_good + "\"preset2\": [21-30], [30-40];", "warning",
            "\"preset2\" lists register 30 twice");
    addText("two groups of one name", c_good + "\"preset1\": [21-40];", "warning",
            "\"preset1\" is given 2 times, the last one counts");
}

// Names that no restore knows, and more registers than one takes.
void addNamesAndAmounts()
{
    addText("preset without a number", c_good + "\"preset\": [21-40];", "warning",
            "\"preset\" has no number from 1 on: it is in no range of presets");
    addText("preset with a letter", c_good + "\"presetA\": [21-40];", "warning",
            "\"presetA\" has no number from 1 on: it is in no range of presets");
    addText("preset 0", c_good + "\"preset0\": [21-40];", "warning",
            "\"preset0\" has no number from 1 on: it is in no range of presets");
    addText("preset with two numbers", c_good + "\"preset1preset2\": [21-40];", "warning",
            "\"preset1preset2\" has no number from 1 on: it is in no range of presets");
    addText("preset in capitals", c_good + "\"Preset2\": [21-40];", "warning",
            "\"Preset2\" is neither a preset nor an extra group: a restore never writes it");
    addText("group with too large a number", c_good + "\"preset2\": [21-99999999999];", "error",
            "\"preset2\": [21-99999999999] has too large a number, or lists more than 65536 registers: no "
            "restore is possible");
    addText(
        "group with too many registers", c_good + "\"preset2\": [21-65557];", "error",
        "\"preset2\": [21-65557] has too large a number, or lists more than 65536 registers: no restore is "
        "possible");
    const QString shared = "warning: \"M_config\": \"preset1\" and \"%1\" share registers 1 to 65535";
    const QString everything = "\"backup_range\": [1-65535]; \"preset1\": [1-65535]; \"preset2\": [1-65535];";
    QTest::newRow("as much as one restore writes") << everything << QStringList{shared.arg("preset2")};
    QTest::newRow("more than one restore writes")
        << everything + "\"extraTool\": [1-65535];"
        << QStringList{"error: \"M_config\": a restore of all groups would write more than 131072 registers "
                       "and is refused",
                       shared.arg("preset2"), shared.arg("extraTool")};
    QTest::newRow("two slips of one item")
        << c_good + "\"groupA\": [9-5], [60-61];"
        << QStringList{"warning: \"M_config\": \"groupA\" is neither a preset nor an extra group: a restore "
                       "never writes it",
                       "warning: \"M_config\": [9-5] of \"groupA\" runs backwards and lists no register",
                       "warning: \"M_config\": \"groupA\": [9-5], [60-61] reaches outside of the backup's "
                       "registers 1 to 60: a file has no value for it",
                       "warning: \"M_config\": \"extraGeneral\" and \"groupA\" share register 60"};
    addText("nothing to restore", c_range, "warning", "no group is ever restored");
}

} // namespace

class TstRangeCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_data();
    void text();
    void torqueUnit_data();
    void torqueUnit();
    void connectedModel_data();
    void connectedModel();
    void everyFindingSaysWhatToDo();
    void sampleIsClean();
    void hugeTextIsTold();
};

void TstRangeCheck::text_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");
    addItems();
    addRanges();
    addGroupsOutside();
    addOverlaps();
    addNamesAndAmounts();
}

void TstRangeCheck::text()
{
    QFETCH(QString, text);
    QTEST(complaints(checkRangeText("M", text, usualConfiguration())), "expected");
}

void TstRangeCheck::torqueUnit_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QJsonObject>("channel");
    QTest::addColumn<QString>("expected"); // behind "error: "MODEL_config": "
    QTest::newRow("first firmware") << "MDgen1V1" << unitChannel("torqueUnitGen1V1", 60) << "";
    QTest::newRow("model") << "MDC-26" << unitChannel("torqueUnit", 1) << "";
    QTest::newRow("generation 2") << "MDgen2" << unitChannel("torqueUnitV2", 5) << "";
    const QString missing = "the channel \"%1\" is missing or has no \"register\": a restore cannot compare "
                            "the unit of torque";
    QTest::newRow("first firmware, other channel")
        << "MDgen1V1" << unitChannel("torqueUnit", 5) << missing.arg("torqueUnitGen1V1");
    QTest::newRow("model, other channel")
        << "MDC-26" << unitChannel("torqueUnitGen1V1", 5) << missing.arg("torqueUnit");
    QTest::newRow("generation 2, other channel")
        << "MDgen2" << unitChannel("torqueUnit", 5) << missing.arg("torqueUnitV2");
    QTest::newRow("no register") << "MDC-26"
                                 << channel("torqueUnit", {{"readRegisterType", "holdingRegisters"}})
                                 << missing.arg("torqueUnit");
    QTest::newRow("no type") << "MDC-26" << channel("torqueUnit", {{"register", 5}})
                             << "the channel \"torqueUnit\" has no \"readRegisterType\": a restore cannot "
                                "read the unit of torque";
    QTest::newRow("register 0") << "MDC-26" << unitChannel("torqueUnit", 0)
                                << "the channel \"torqueUnit\" has register 0: a restore needs one from 1 on";
    QTest::newRow("behind the range")
        << "MDC-26" << unitChannel("torqueUnit", 61)
        << "the register 61 of the channel \"torqueUnit\" is not in the backup: a restore cannot compare "
           "the unit of torque";
}

void TstRangeCheck::torqueUnit()
{
    QFETCH(QString, model);
    QFETCH(QJsonObject, channel);
    QFETCH(QString, expected);
    QStringList lines;
    if (!expected.isEmpty())
        lines.append(QString("error: \"%1_config\": %2").arg(model, expected));
    const QString text = "\"backup_range\": [1-60]; \"preset1\": [1-20];";
    QCOMPARE(complaints(checkRangeText(model, text, configurationOf({channel}))), lines);
}

void TstRangeCheck::connectedModel_data()
{
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QJsonObject>("parameters");
    QTest::addColumn<bool>("isIdentified");
    QTest::addColumn<QString>("connected");
    QTest::addColumn<QStringList>("expected");
    const QStringList backup{"getInfo", "backup"};
    const QJsonValue good("\"backup_range\": [1-60]; \"preset1\": [1-20];");
    const QJsonObject parameters{{"MDC-26_config", good}, {"eventDataKeys", QJsonArray{"a"}}};
    const QString missing = "error: the parameter \"%1_config\" is missing: the connected controller can be "
                            "neither backed up nor restored";
    QTest::newRow("its text is there") << backup << parameters << true << "MDC-26" << QStringList{};
    QTest::newRow("not identified") << backup << parameters << false << "" << QStringList{};
    QTest::newRow("another model's text")
        << backup << parameters << true << "MDC-22" << QStringList{missing.arg("MDC-22")};
    QTest::newRow("no text at all") << QStringList{"restoreBackup"} << QJsonObject{} << true << "MDC-26"
                                    << QStringList{missing.arg("MDC-26")};
    QTest::newRow("a model that nobody knows")
        << backup << parameters << true << "????" << QStringList{missing.arg("????")};
    QTest::newRow("a text that no controller looks up")
        << QStringList{"getInfo"} << QJsonObject{{"MCD-26_config", good}} << false << ""
        << QStringList{"warning: \"MCD-26_config\": no controller tells the model \"MCD-26\"; did you mean "
                       "\"MDC-26\" or \"MDC-22\"?"};
    QTest::newRow("texts of all kinds of controllers") << QStringList{"getInfo"}
                                                       << QJsonObject{{"MDC-32_config", good},
                                                                      {"BM_config", good},
                                                                      {"AD_config", good},
                                                                      {"????_config", good}}
                                                       << false << "" << QStringList{};
    QTest::newRow("a model without a name")
        << backup << parameters << true << ""
        << QStringList{"error: the connected controller tells no model to look its registers up by"};
    QTest::newRow("nothing is backed up")
        << QStringList{"getInfo"} << parameters << true << "MDC-22" << QStringList{};
    QTest::newRow("texts are checked all the same")
        << QStringList{"getInfo"} << QJsonObject{{"MDC-22_config", "x"}, {"MDC-26_config", 5}} << false << ""
        << QStringList{"error: \"MDC-22_config\": there is no item in it",
                       "error: \"MDC-26_config\": there is no item in it"};
    QTest::newRow("texts of no controller")
        << backup
        << QJsonObject{{"MDgen0_config", good},
                       {"MDgen1_config", good},
                       {"MDgen02_config", good},
                       {"MDgen12_config", good}}
        << false << ""
        << QStringList{"warning: \"MDgen02_config\": it is of no controller, and never read",
                       "warning: \"MDgen0_config\": it is of no controller, and never read",
                       "warning: \"MDgen12_config\": it is of no controller, and never read",
                       "warning: \"MDgen1_config\": it is of no controller, and never read"};
}

void TstRangeCheck::connectedModel()
{
    QFETCH(QStringList, commands);
    QFETCH(QJsonObject, parameters);
    QFETCH(bool, isIdentified);
    QFETCH(QString, connected);
    const std::optional<QString> name =
        isIdentified ? std::optional<QString>(connected) : std::optional<QString>();
    QTEST(complaints(checkRanges(commands, usualConfiguration(parameters), name)), "expected");
}

void TstRangeCheck::everyFindingSaysWhatToDo()
{
    const QString text = "\"backup_range\": [3-9], [1-2]; \"backup_range\": [0-9]; \"backup_range\": [4-9]; "
                         "\"preset1\": [5-3], [5-6]; \"presetA\": [6-12]; oops \"x\": [1-2]; \"x\": [1-2]; "
                         "\"extraY\": [1-9999999999];";
    const QList<Finding> findings = checkRangeText("MDC-26", text, {});
    QVERIFY2(findings.size() >= 11, qPrintable(complaints(findings).join('\n')));
    for (const Finding& finding : findings) {
        QVERIFY2(!finding.remedy.isEmpty(), qPrintable(finding.message));
        QCOMPARE(finding.subject, QString("backup of MDC-26"));
    }
}

void TstRangeCheck::sampleIsClean()
{
    const DLoadedConfiguration loaded = loadConfiguration(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
    QVERIFY2(loaded.errors.isEmpty(), qPrintable(errorText(loaded.errors)));
    const QJsonObject device =
        loaded.configuration.value("objects").toArray().at(1).toObject().value("configuration").toObject();
    QStringList told;
    for (const Finding& finding : checkRanges({"backup"}, device, QString("MDgen2"))) {
        QVERIFY2(finding.level == FindingLevel::Ok, qPrintable(finding.message));
        told.append(finding.subject + ": " + finding.message);
    }
    // A family that the sample has besides these has its line too.
    for (const QString& line :
         {QString("backup of MDC-22: \"MDC-22_config\": registers 1 to 620, 31 groups"),
          QString("backup of MDC-26: \"MDC-26_config\": registers 1 to 620, 31 groups"),
          QString("backup of MDC-32: \"MDC-32_config\": registers 1 to 620, 31 groups"),
          QString("backup of MDgen1V1: \"MDgen1V1_config\": registers 1 to 620, 31 groups"),
          QString("backup of MDgen2: \"MDgen2_config\": registers 1 to 2040, 51 groups")})
        QVERIFY2(told.contains(line), qPrintable(told.join('\n')));
    QStringList models;
    const QStringList parameters = device.value("parameters").toObject().keys();
    for (const QString& parameter : parameters) {
        if (const std::optional<QString> model = modelOfBackupRangeKey(parameter))
            models.append("backup of " + *model);
    }
    QStringList subjects;
    for (const QString& line : qAsConst(told))
        subjects.append(line.section(": ", 0, 0));
    QCOMPARE(subjects, models);
}

// Slips that list everything again and again end in findings, not in a machine that is out of memory.
void TstRangeCheck::hugeTextIsTold()
{
    constexpr int c_groups = 2000;
    QString text = "\"backup_range\": [1-65535]; ";
    for (int i = 1; i <= c_groups; ++i)
        text += QString("\"preset%1\": [1-65535]; ").arg(i);
    QElapsedTimer clock;
    clock.start();
    const QStringList lines = complaints(checkRangeText("M", text, usualConfiguration()));
    QVERIFY2(clock.elapsed() < 30000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(lines.size(), c_groups);
    QCOMPARE(lines.constFirst(), QString("error: \"M_config\": its groups list more than 1000000 registers "
                                         "together: no restore is possible"));
}

QTEST_GUILESS_MAIN(TstRangeCheck)
#include "tst_range_check.moc"
