#include "applications/bench/device_configuration/command_requirements.h"

#include "applications/bench/device_configuration/known_channels.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "tests/support/table_gaps.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

namespace {

const RegisterTypes c_registerTypes{
    {"holdingRegisters", "singleRegister", "inputRegisters", "coils", "discreteInputs"},
    {"holdingRegisters", "singleRegister", "coils"}};

QJsonObject channel(const QString& id, const QJsonObject& entries)
{
    QJsonArray values;
    for (auto it = entries.constBegin(); it != entries.constEnd(); ++it)
        values.append(QJsonObject{{QStringLiteral("id"), it.key()}, {QStringLiteral("value"), it.value()}});
    return {{QStringLiteral("id"), id}, {QStringLiteral("value"), values}};
}

QJsonObject writable(const QString& id, int address)
{
    return channel(id, {{QStringLiteral("register"), address},
                        {QStringLiteral("writeRegisterType"), QStringLiteral("singleRegister")}});
}

QJsonObject configurationOf(const QJsonArray& channels)
{
    return {{QStringLiteral("channels"), channels}};
}

// Everything that the five commands need, for generations 1 and 2.
QJsonArray completeChannels()
{
    return {writable(QStringLiteral("directionChange"), 5001), writable(QStringLiteral("presetChange"), 5002),
            writable(QStringLiteral("alarmReset"), 5003), writable(QStringLiteral("directionChangeV2"), 6001),
            writable(QStringLiteral("presetChangeV2"), 6002)};
}

QJsonArray without(const QJsonArray& channels, const QString& id)
{
    QJsonArray rest;
    for (const QJsonValue& element : channels) {
        if (element.toObject().value(QLatin1String("id")).toString() != id)
            rest.append(element);
    }
    return rest;
}

QJsonArray with(const QJsonArray& channels, const QJsonObject& added)
{
    QJsonArray all = without(channels, added.value(QLatin1String("id")).toString());
    all.append(added);
    return all;
}

QString levelName(FindingLevel level)
{
    switch (level) {
    case FindingLevel::Ok:
        return QStringLiteral("ok");
    case FindingLevel::Warning:
        return QStringLiteral("warning");
    case FindingLevel::Error:
        return QStringLiteral("error");
    }
    return {};
}

// "error: setDirection, generation 2: …" of everything that is not ok.
QStringList complaints(const QList<Finding>& findings)
{
    QStringList lines;
    for (const Finding& finding : findings) {
        if (finding.level != FindingLevel::Ok)
            lines.append(levelName(finding.level) + QStringLiteral(": ") + finding.subject +
                         QStringLiteral(": ") + finding.message);
    }
    return lines;
}

// Channels and entries that are not there.
void addMissing(const QJsonArray& complete)
{
    QTest::newRow("missing for the connected generation")
        << without(complete, "directionChangeV2") << 2 << "setDirection"
        << QStringList{"error: setDirection, generation 2: the channel \"directionChangeV2\" is missing"};
    QTest::newRow("missing for another generation")
        << without(complete, "directionChangeV2") << 1 << "setDirection"
        << QStringList{"warning: setDirection, generation 2: the channel \"directionChangeV2\" is missing"};
    QTest::newRow("missing, nothing identified")
        << without(complete, "presetChange") << 0 << "setProgram"
        << QStringList{"warning: setProgram, generation 1: the channel \"presetChange\" is missing"};
    QTest::newRow("a generation that nobody describes")
        << complete << 3 << "setProgram"
        << QStringList{"error: setProgram, generation 3: the channel \"presetChangeV3\" is missing"};
    QTest::newRow("the reset has no generation")
        << without(complete, "alarmReset") << 2 << "resetAlarm"
        << QStringList{"error: resetAlarm: the channel \"alarmReset\" is missing"};
    QTest::newRow("no type")
        << with(complete, channel("directionChange", {{"register", 1}})) << 1 << "setDirection"
        << QStringList{"error: setDirection, generation 1: the channel \"directionChange\" has no "
                       "\"writeRegisterType\""};
    QTest::newRow("no register and no type")
        << with(complete, channel("alarmReset", {})) << 1 << "resetAlarm"
        << QStringList{"error: resetAlarm: the channel \"alarmReset\" has no \"register\", "
                       "\"writeRegisterType\""};
    QTest::newRow("a channel to read without any type")
        << with(complete, channel("pressure", {{"register", 1}})) << 1 << "getRegister"
        << QStringList{"error: getRegister: the channel \"pressure\" has no \"readRegisterType\" or "
                       "\"writeRegisterType\""};
    QTest::newRow("a channel without a register is no register")
        << with(complete, channel("note", {{"size", 3}})) << 1 << "getRegister" << QStringList{};
    QTest::newRow("no register at all") << QJsonArray{} << 1 << "getRegister"
                                        << QStringList{"error: getRegister: no channel has a \"register\""};
}

// Values that no register can have.
void addWrongValues(const QJsonArray& complete)
{
    QTest::newRow("highest address") << with(complete, writable("alarmReset", 65535)) << 1 << "resetAlarm"
                                     << QStringList{};
    QTest::newRow("address too high") << with(complete, writable("alarmReset", 65536)) << 1 << "resetAlarm"
                                      << QStringList{"error: channel alarmReset: \"register\" is 65536"};
    QTest::newRow("address negative") << with(complete, writable("alarmReset", -1)) << 1 << "resetAlarm"
                                      << QStringList{"error: channel alarmReset: \"register\" is -1"};
    QTest::newRow("address a fraction")
        << with(complete, channel("alarmReset", {{"register", 1.5}, {"writeRegisterType", "coils"}})) << 1
        << "resetAlarm" << QStringList{"error: channel alarmReset: \"register\" is 1.5"};
    QTest::newRow("address a text") << with(complete, channel("alarmReset", {{"register", "5003"},
                                                                             {"writeRegisterType", "coils"}}))
                                    << 1 << "resetAlarm"
                                    << QStringList{"error: channel alarmReset: \"register\" is a text"};
    QTest::newRow("unknown type")
        << with(complete, channel("alarmReset", {{"register", 1}, {"writeRegisterType", "holding"}})) << 1
        << "resetAlarm" << QStringList{"error: channel alarmReset: \"writeRegisterType\" is \"holding\""};
    QTest::newRow("type that cannot be written")
        << with(complete, channel("alarmReset", {{"register", 1}, {"writeRegisterType", "inputRegisters"}}))
        << 1 << "resetAlarm"
        << QStringList{"error: channel alarmReset: \"writeRegisterType\" is \"inputRegisters\", which "
                       "cannot be written"};
    QTest::newRow("type that can be read")
        << with(complete, channel("input", {{"register", 1}, {"readRegisterType", "discreteInputs"}})) << 1
        << "getRegister" << QStringList{};
    QTest::newRow("no size")
        << with(complete, channel("currentPreset", {{"register", 1}, {"readRegisterType", "coils"}})) << 1
        << "SetTriggerProgram"
        << QStringList{
               "error: SetTriggerProgram, generation 1: the channel \"currentPreset\" has no \"size\": "
               "it "
               "would overwrite registers 1 to 6, those of program 1",
               "warning: SetTriggerProgram, generation 2: the channel \"currentPresetV2\" is missing: it "
               "would overwrite registers 1 to 6, those of program 1"};
    QTest::newRow("size 0") << with(complete, channel("currentPreset", {{"register", 1}, {"size", 0}})) << 1
                            << "resetAlarm" << QStringList{"error: channel currentPreset: \"size\" is 0"};
    QTest::newRow("size a text") << with(complete,
                                         channel("currentPreset", {{"register", 1}, {"size", "20"}}))
                                 << 1 << "resetAlarm"
                                 << QStringList{"error: channel currentPreset: \"size\" is a text"};
}

// What not every controller has, and what nobody knows.
void addOfSomeControllers(const QJsonArray& complete)
{
    QTest::newRow("a list of keys of the generation")
        << with(with(complete,
                     channel("eventData", {{"register", 1}, {"size", 2}, {"readRegisterType", "coils"}})),
                channel("eventDataV2", {{"register", 1}, {"size", 2}, {"readRegisterType", "coils"}}))
        << 2 << "listenEventsData"
        << QStringList{"warning: listenEventsData, generation 1: the parameter \"eventDataKeys\" is missing",
                       "error: listenEventsData, generation 2: the parameter \"eventDataKeysV2\" is missing"};
    QTest::newRow("a channel of some controllers")
        << with(with(complete, writable("lockScreen", 1)), writable("lockScreenV2", 2)) << 1
        << "setLockScreen"
        << QStringList{"warning: setLockScreen, some controllers of generation 1: the channel "
                       "\"lockScreenGen1V1\" is missing"};
    QTest::newRow("a command of tomorrow")
        << complete << 1 << "polish"
        << QStringList{"warning: polish: what it needs from the configuration is not known here"};
}

} // namespace

class TstCommandRequirements : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandFindsWhatItNeeds()
    {
        const QStringList commands{"getInfo", "setDirection", "setProgram", "resetAlarm", "getRegister"};
        const QList<Finding> findings = checkRequirements(
            commandNeeds(), commands, configurationOf(completeChannels()), 2, c_registerTypes);
        QCOMPARE(complaints(findings), QStringList());
        // Two generations of two commands, the reset and the register read; getInfo needs nothing.
        QCOMPARE(findings.size(), 6);
    }

    void requirement_data()
    {
        QTest::addColumn<QJsonArray>("channels");
        QTest::addColumn<int>("generation"); // 0: not identified
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("expected");
        addMissing(completeChannels());
        addWrongValues(completeChannels());
        addOfSomeControllers(completeChannels());
    }

    void requirement()
    {
        QFETCH(QJsonArray, channels);
        QFETCH(int, generation);
        QFETCH(QString, command);
        const std::optional<int> connected = generation == 0 ? std::nullopt : std::optional<int>(generation);
        const QList<Finding> findings = checkRequirements(
            commandNeeds(), {command}, configurationOf(channels), connected, c_registerTypes);
        QTEST(complaints(findings), "expected");
        for (const Finding& finding : findings)
            QCOMPARE(finding.remedy.isEmpty(), finding.level == FindingLevel::Ok);
    }

    void registerTypesOfTheDriver()
    {
        const QJsonObject configuration = configurationOf(
            with(completeChannels(), channel("tag", {{"register", 1}, {"readRegisterType", "tags"}})));
        const QStringList commands{"getRegister"};
        const auto told = [&](const RegisterTypes& types) {
            return complaints(checkRequirements(commandNeeds(), commands, configuration, 2, types));
        };
        QCOMPARE(told(c_registerTypes), QStringList{"error: channel tag: \"readRegisterType\" is \"tags\""});
        QCOMPARE(told({{"tags", "singleRegister"}, {"singleRegister"}}), QStringList());
        QCOMPARE(told({{"tags"}, {}}).size(), completeChannels().size());
        // Nobody knows.
        QCOMPARE(told({}), QStringList());
    }

    void requiredParameter()
    {
        const QList<CommandNeeds> table{{"save", {}, {}, {{"ranges"}}}};
        QCOMPARE(complaints(checkRequirements(table, {"save"}, configurationOf({}), 1, c_registerTypes)),
                 QStringList{"error: save: the parameter \"ranges\" is missing"});
        QJsonObject configuration = configurationOf({});
        configuration.insert("parameters", QJsonObject{{"ranges", QJsonArray{}}});
        QCOMPARE(complaints(checkRequirements(table, {"save"}, configuration, 1, c_registerTypes)),
                 QStringList());
    }

    // A channel that is written is proven by another one, and a list of registers tells of both by words.
    void everyChannelOfACommandIsKnown()
    {
        QStringList needed;
        QStringList neededWritten;
        for (const CommandNeeds& needs : commandNeeds()) {
            for (const NeededChannel& need : needs.channels) {
                if (need.name.isEmpty())
                    continue;
                needed.append(need.name);
                if (need.entries.contains(ChannelEntry::WriteType))
                    neededWritten.append(need.name);
            }
        }
        needed += statusChannels();
        QStringList rows;
        for (const KnownChannel& known : knownChannels()) {
            rows.append(known.name);
            if (!known.shownIn.isEmpty())
                needed.append(known.shownIn);
            QCOMPARE(known.proof.has_value(), known.effect.has_value());
            QVERIFY2(
                neededWritten.contains(known.name) == !known.shownIn.isEmpty(),
                qPrintable(
                    QStringLiteral("knownChannels(): what shows that \"%1\" is written?").arg(known.name)));
        }
        needed.removeDuplicates();
        rows.removeAll("torqueUnitGen1V1");
        const QString gaps = tableGaps(
            QStringLiteral("knownChannels()"), needed, rows,
            {{"lockScreenGen1V1", "a controller that has it has no \"lockScreen\", in whose place it stands"},
             {"presets", "registers from the first one on, which no list names as one"}});
        QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
        for (const KnownChannel& known : knownChannels())
            QVERIFY2(!known.words.isEmpty() || known.name == "torqueUnitGen1V1",
                     qPrintable(QStringLiteral("knownChannels(): no words for \"%1\"").arg(known.name)));
    }

    void generations()
    {
        QCOMPARE(generationSuffix(0), QString());
        QCOMPARE(generationSuffix(1), QString());
        QCOMPARE(generationSuffix(2), QStringLiteral("V2"));
        QCOMPARE(describedGenerations(commandNeeds(), configurationOf(completeChannels())),
                 (QList<int>{1, 2}));
        QCOMPARE(describedGenerations(commandNeeds(), configurationOf({writable("presetChangeV10", 1),
                                                                       writable("otherV3", 2)})),
                 QList<int>{10});
    }
};

QTEST_GUILESS_MAIN(TstCommandRequirements)
#include "tst_command_requirements.moc"
