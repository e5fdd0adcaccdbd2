#include "applications/bench/device_configuration/order_check.h"

#include "tests/support/configuration_errors.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

namespace {

const RegisterTypes c_types{{"holdingRegisters", "singleRegister"}, {"holdingRegisters", "singleRegister"}};
const ConnectedController c_generation2{2, 4012, false, "MDgen2"};
const ConnectedController c_firmware3{1, 3000, false, "MDC-26"};
const ConnectedController c_firmware1{1, 1500, false, "MDgen1V1"};
const ConnectedController c_bm{1, 3000, true, "BM"};
const ConnectedController c_unknown{};

const QStringList c_allCommands{
    "getInfo",       "setDirection",  "setProgram",       "SetTriggerProgram",   "setLock",
    "setLockScreen", "getPresetData", "listenEventsData", "listenMotorRunState", "backup",
    "restoreBackup", "resetAlarm",    "getRegister"};

// The change of one entry of one channel of the sample; no entry: the channel is not there.
struct Change
{
    QString channel;
    QString entry = QString();
    QJsonValue value = QJsonValue(QJsonValue::Undefined);
};

QJsonObject sample()
{
    const DLoadedConfiguration loaded = loadConfiguration(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
    const QJsonArray objects = loaded.configuration.value("objects").toArray();
    return objects.at(1).toObject().value("configuration").toObject();
}

QJsonObject changed(QJsonObject configuration, const Change& change)
{
    QJsonArray channels;
    const QJsonArray all = configuration.value("channels").toArray();
    for (const QJsonValue& element : all) {
        QJsonObject channel = element.toObject();
        if (channel.value("id").toString() != change.channel) {
            channels.append(channel);
            continue;
        }
        if (change.entry.isEmpty())
            continue;
        QJsonArray entries;
        const QJsonArray values = channel.value("value").toArray();
        for (const QJsonValue& entry : values) {
            if (entry["id"].toString() != change.entry)
                entries.append(entry);
        }
        if (!change.value.isUndefined())
            entries.append(QJsonObject{{"id", change.entry}, {"value", change.value}});
        channel.insert("value", entries);
        channels.append(channel);
    }
    configuration.insert("channels", channels);
    return configuration;
}

QJsonObject withText(QJsonObject configuration, const QString& key, const QString& text)
{
    QJsonObject parameters = configuration.value("parameters").toObject();
    parameters.insert(key, text);
    configuration.insert("parameters", parameters);
    return configuration;
}

QStringList messages(const QList<Finding>& findings)
{
    QStringList texts;
    for (const Finding& finding : findings)
        texts.append(finding.subject + ": " + finding.message);
    return texts;
}

// The commands that are refused.
QStringList refused(const QJsonObject& configuration, const ConnectedController& controller,
                    int addressOffset = 0)
{
    QStringList names;
    for (const QString& command : c_allCommands) {
        if (!checkOrder({configuration,
                         command,
                         {{"channel", "direction"}},
                         controller,
                         c_types,
                         {"addressOffset", addressOffset}})
                 .isEmpty())
            names.append(command);
    }
    return names;
}

} // namespace

Q_DECLARE_METATYPE(ConnectedController)

class TstOrderCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusedCommands_data()
    {
        QTest::addColumn<QJsonObject>("configuration");
        QTest::addColumn<ConnectedController>("controller");
        QTest::addColumn<QStringList>("commands");
        const auto row = [](const char* name, const Change& change, const ConnectedController& controller,
                            const QStringList& commands) {
            QTest::newRow(name) << changed(sample(), change) << controller << commands;
        };
        for (const ConnectedController& controller : {c_generation2, c_firmware3, c_firmware1, c_unknown})
            QTest::newRow(qPrintable("nothing wrong, " + controller.modelName))
                << sample() << controller << QStringList{};
        row("the generation's channel", {"setDirection"}, c_generation2, {});
        row("a channel", {"directionChangeV2"}, c_generation2, {"setDirection"});
        row("another generation's channel", {"directionChange"}, c_generation2, {});
        row("without an identification", {"directionChange"}, c_unknown, {"setDirection"});
        row("a channel of all", {"alarmReset"}, c_firmware3, {"resetAlarm"});
        row("an entry", {"lockChangeV2", "writeRegisterType"}, c_generation2, {"setLock"});
        row("a type", {"lockChangeV2", "writeRegisterType", "coil"}, c_generation2, {"setLock"});
        row("a type of what is read", {"directionV2", "readRegisterType", "coil"}, c_generation2,
            {"getRegister"});
        row("the channel that an order does not name", {"alarmV2", "readRegisterType"}, c_generation2, {});
        // The command says itself that there is no such channel.
        row("the channel that an order names", {"directionV2"}, c_generation2, {});
        row("the second layout", {"lockScreen"}, c_firmware3, {"setLockScreen"});
        row("the second layout, of the first", {"lockScreen"}, c_firmware1, {});
        row("the first layout", {"lockScreenGen1V1"}, c_firmware1, {"setLockScreen"});
        row("the first layout, of a BM", {"lockScreenGen1V1"}, c_bm,
            {"setLockScreen", "backup", "restoreBackup"});
        row("the first layout, of the second", {"lockScreenGen1V1"}, c_firmware3, {});
        row("the length of a program", {"currentPresetV2", "size"}, c_generation2,
            {"SetTriggerProgram", "getPresetData"});
        row("another length of a program", {"currentPresetV2", "size", 41}, c_generation2,
            {"SetTriggerProgram", "getPresetData"});
        row("too few programs", {"presetsV2", "size", 10}, c_generation2, {"SetTriggerProgram"});
        row("a shared register", {"presetChangeV2", "register", 6001}, c_generation2,
            {"setDirection", "setProgram"});
        row("a shared register of another generation", {"presetChangeV2", "register", 6001}, c_firmware3, {});
        row("the unit of torque", {"torqueUnitV2"}, c_generation2, {"restoreBackup"});
        row("the unit of torque of another controller", {"torqueUnitV2"}, c_firmware1, {});
        QTest::newRow("a group outside")
            << withText(sample(), "MDgen2_config", "\"backup_range\": [1-2040]; \"preset60\": [2361-2400];")
            << c_generation2 << QStringList{"restoreBackup"};
        QTest::newRow("no range") << withText(sample(), "MDgen2_config", "\"preset1\": [1-40];")
                                  << c_generation2 << QStringList{"backup", "restoreBackup"};
        QTest::newRow("no range of another model")
            << withText(sample(), "MDC-26_config", "\"preset1\": [1-10];") << c_generation2 << QStringList{};
    }

    void refusedCommands()
    {
        QFETCH(QJsonObject, configuration);
        QFETCH(ConnectedController, controller);
        QFETCH(QStringList, commands);
        QCOMPARE(refused(configuration, controller), commands);
    }

    void addressBelowZero()
    {
        const QJsonObject configuration = changed(sample(), {"alarmReset", "register", 0});
        QCOMPARE(refused(configuration, c_generation2), QStringList());
        QCOMPARE(refused(configuration, c_generation2, -1), QStringList("resetAlarm"));
    }

    // As the look at the whole configuration says it.
    void names()
    {
        const QList<Finding> findings = checkOrder(
            {changed(sample(), {"lockChangeV2", "register"}), "setLock", {}, c_generation2, c_types});
        QCOMPARE(messages(findings),
                 QStringList("setLock, generation 2: the channel \"lockChangeV2\" has no \"register\""));
        QVERIFY(!findings.constFirst().remedy.isEmpty());
    }

    void unknownCommand() { QVERIFY(checkOrder({{}, "polish", {}, c_generation2, c_types}).isEmpty()); }
};

QTEST_GUILESS_MAIN(TstOrderCheck)
#include "tst_order_check.moc"
