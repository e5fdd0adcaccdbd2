#include "command_bench.h"

#include "model/backup_file.h"
#include "model/channel_names.h"
#include "model/command_needs.h"
#include "model/device_information.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QMap>
#include <QRegularExpression>
#include <QRegularExpressionMatch>
#include <QRegularExpressionMatchIterator>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

namespace {

// Enough for the longest sequence of a command, and an end for one that never stops asking.
constexpr int c_mostSteps = 100;
// What every register holds: also the number of registers of a block, so that each list fits.
constexpr int c_word = 3;

const QDir c_samples(QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations"));

// The controllers between which commands choose.
struct Controller
{
    const char* title;
    int generation;
    int firmware;
    const char* version;
    const char* model;
};

constexpr Controller c_controllers[] = {
    {"second layout", 1, 3105, "3.10.5", "MDC-26"},
    {"first firmware", 1, 1500, "1.50.0", "MDC-26"},
    {"BM", 1, 3105, "3.10.5", "BM"},
    {"generation 2", 2, 4012, "4.01.2", "MDC-32"},
};

DeviceInformation informationOf(const Controller& controller)
{
    return {QString::fromLatin1(controller.model), QStringLiteral("MD"),
            QString::fromLatin1(controller.version), QStringLiteral("1"), controller.generation};
}

QString modelNameOf(const Controller& controller)
{
    return configurationModelName(informationOf(controller)).value_or(QString());
}

bool hasFirstLayout(const Controller& controller)
{
    return controller.generation == 1 &&
           (isFirstFirmware(static_cast<quint16>(controller.firmware)) || controller.model == QString("BM"));
}

const CommandNeeds* needsOf(const QString& command)
{
    const QList<CommandNeeds>& table = commandNeeds();
    const auto found = std::find_if(table.cbegin(), table.cend(),
                                    [&command](const CommandNeeds& row) { return row.command == command; });
    return found == table.cend() ? nullptr : &*found;
}

// Under which name this controller's channel is looked up; empty for one that is of no use to it.
QString channelOf(const CommandNeeds& needs, const NeededChannel& need, const Controller& controller,
                  const QVariantMap& arguments)
{
    const QString suffix = generationSuffix(controller.generation);
    switch (need.chosenBy) {
    case ChosenBy::Nothing:
        return need.name;
    case ChosenBy::Generation: {
        const bool isReplaced =
            std::any_of(needs.channels.cbegin(), needs.channels.cend(),
                        [](const NeededChannel& other) { return other.chosenBy == ChosenBy::FirstLayout; });
        return isReplaced && hasFirstLayout(controller) ? QString() : need.name + suffix;
    }
    case ChosenBy::FirstLayout:
        return hasFirstLayout(controller) ? need.name : QString();
    case ChosenBy::Model:
        return torqueUnitChannel(modelNameOf(controller));
    case ChosenBy::Order:
        return arguments.value(QStringLiteral("channel")).toString() + suffix;
    }
    return {};
}

QString parameterOf(const NeededParameter& need, const Controller& controller)
{
    switch (need.chosenBy) {
    case ChosenBy::Nothing:
        return need.name;
    case ChosenBy::Generation:
        return need.name + generationSuffix(controller.generation);
    case ChosenBy::Model:
        return backupRangeKey(modelNameOf(controller));
    case ChosenBy::FirstLayout:
    case ChosenBy::Order:
        break;
    }
    return {};
}

// "channel/entry" or "parameter" of all that the table says of a command with this controller.
QSet<QString> neededNames(const CommandNeeds& needs, const Controller& controller,
                          const QVariantMap& arguments)
{
    QSet<QString> names;
    for (const NeededChannel& need : needs.channels) {
        const QString channel = channelOf(needs, need, controller, arguments);
        if (channel.isEmpty())
            continue;
        for (const ChannelEntry entry : need.entries)
            names.insert(channel + '/' + entryName(entry));
        if (!need.keyList.isEmpty())
            names.insert(need.keyList + generationSuffix(controller.generation));
    }
    for (const NeededParameter& need : needs.parameters)
        names.insert(parameterOf(need, controller));
    return names;
}

QJsonObject sampleFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("a sample configuration cannot be read");
    return QJsonDocument::fromJson(file.readAll()).object();
}

// The channels of the sample configuration, and all that the table names for any controller.
QStringList channelNames()
{
    QStringList names;
    const QStringList maps = c_samples.entryList({"register_map_*.json"});
    for (const QString& map : maps) {
        const QJsonArray channels = sampleFile(c_samples.filePath(map)).value("channels").toArray();
        for (const QJsonValue& channel : channels)
            names.append(channel.toObject().value("id").toString());
    }
    for (const Controller& controller : c_controllers) {
        for (const CommandNeeds& needs : commandNeeds()) {
            for (const NeededChannel& need : needs.channels)
                names.append(channelOf(needs, need, controller, {{"channel", "direction"}}));
        }
    }
    names.removeDuplicates();
    names.removeAll(QString());
    names.sort();
    return names;
}

// Those of the sample configuration, whose lists may be anything here, and all that the table names.
QStringList parameterNames()
{
    QStringList names;
    for (const char* const file : {"parameters.json", "backup_ranges.json"})
        names += sampleFile(c_samples.filePath(file)).value("parameters").toObject().keys();
    for (const Controller& controller : c_controllers) {
        for (const CommandNeeds& needs : commandNeeds()) {
            for (const NeededChannel& need : needs.channels) {
                if (!need.keyList.isEmpty())
                    names.append(need.keyList + generationSuffix(controller.generation));
            }
            for (const NeededParameter& need : needs.parameters)
                names.append(parameterOf(need, controller));
        }
    }
    names.removeDuplicates();
    return names;
}

// Each of them with every entry that any command reads, and a register and types of its own.
QJsonObject completeChannels(const QStringList& names)
{
    QJsonObject channels;
    int address = 0;
    for (const QString& name : names) {
        ++address;
        channels.insert(name, QJsonObject{{"register", address},
                                          {"readRegisterType", "read " + name},
                                          {"writeRegisterType", "write " + name},
                                          {"size", c_word}});
    }
    return channels;
}

// A list that any block of c_word registers can be read by.
QJsonArray keyList(const QString& name)
{
    if (versionedName(name).generation == 1)
        return {"a", "b", "c"};
    return {QJsonObject{{"parameter_name", "a"}, {"start_address", 1}, {"end_address", 1}, {"type", "int"}}};
}

QJsonObject completeParameters(const QStringList& names, int highestRegister)
{
    QJsonObject parameters;
    const QString ranges = QStringLiteral(R"("backup_range": [1-%1]; "preset1": [1-2]; "preset2": [3-3]; )"
                                          R"("extraA": [4-4];)")
                               .arg(highestRegister);
    for (const QString& name : names) {
        if (modelOfBackupRangeKey(name))
            parameters.insert(name, ranges);
        else
            parameters.insert(name, keyList(name));
    }
    return parameters;
}

// What a controller of this kind, whose registers all hold the same, answers to an instruction.
QVariantMap answerTo(const QString& instruction, const Controller& controller)
{
    if (instruction.startsWith("myself getInfo"))
        return {{"deviceInformation", deviceInformationRecord(informationOf(controller))}};
    if (instruction.startsWith("driver deviceInformation")) {
        const QByteArray block("\0\0\1\0\1\0\x44\x16\1\0\1\1\1", 13);
        return {{"deviceInformation", QVariantMap{{"info", block}}}};
    }
    if (instruction.startsWith("driver write"))
        return {{"values", QVariantList{1}}};
    static const QRegularExpression c_size("dataSize=int:(\\d+)");
    const QRegularExpressionMatch match = c_size.match(instruction);
    QVariantList words;
    for (int i = match.hasMatch() ? match.captured(1).toInt() : 1; i > 0; --i)
        words.append(c_word);
    return {{"values", words}};
}

} // namespace

// The table of what commands need, against what they do. A command cannot be watched while it looks
// something up: what it looks up is what makes a difference when it is missing.
class TestMdcCommandNeeds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void everyCommandHasARow();
    void declaredArguments_data() { addCommands(); }
    void declaredArguments();
    void declaredResults_data() { addCommands(); }
    void declaredResults();
    void effects_data() { addCommands(); }
    void effects();
    void triggerProgramIsToldAsItIsWritten();
    void otherCommandsOfTheSameName();
    void argumentsInTheSources_data();
    void argumentsInTheSources();
    void argumentsAreConsistent_data() { addCommands(); }
    void argumentsAreConsistent();
    void argumentsMakeADifference_data() { addCommands(); }
    void argumentsMakeADifference();
    void usableDefaults_data() { addCommands(); }
    void usableDefaults();
    void lookUps_data();
    void lookUps();

private:
    static void addCommands();
    // All that a command does in an order: whether it starts, what it sends, publishes and logs, each
    // instruction answered by the controller.
    QStringList trace(const QString& command, const QVariantMap& arguments, const Controller& controller,
                      const QJsonObject& channels, const QJsonObject& parameters) const;
    QStringList trace(const QString& command, const QVariantMap& arguments,
                      const Controller& controller) const
    {
        return trace(command, arguments, controller, m_channels, m_parameters);
    }
    // Values of an argument that differ in what they mean, the first of them good for any order.
    QVariantList candidates(const CommandArgument& argument, const Controller& controller) const;
    // Every choice of candidates for all arguments.
    QList<QVariantMap> choices(const CommandNeeds& needs, const Controller& controller) const;

    QTemporaryDir m_folder;
    QJsonObject m_channels;
    QJsonObject m_parameters;
};

void TestMdcCommandNeeds::initTestCase()
{
    QVERIFY(m_folder.isValid() && QDir(m_folder.path()).mkdir("other"));
    m_channels = completeChannels(channelNames());
    m_parameters = completeParameters(parameterNames(), m_channels.size());
    for (const Controller& controller : c_controllers) {
        for (const int value : {c_word, c_word + 1}) {
            QVariantList words;
            for (int i = 0; i < m_channels.size(); ++i)
                words.append(value);
            QFile file(m_folder.filePath(QStringLiteral("%1_%2.csv").arg(controller.model).arg(value)));
            const QByteArray text =
                backupText({controller.model, "1", controller.version}, QDate(2024, 3, 5), words).toUtf8();
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
        }
    }
}

void TestMdcCommandNeeds::addCommands()
{
    QTest::addColumn<QString>("command");
    const QStringList commands = pluginCommands();
    for (const QString& command : commands)
        QTest::newRow(qPrintable(command)) << command;
}

QStringList TestMdcCommandNeeds::trace(const QString& command, const QVariantMap& arguments,
                                       const Controller& controller, const QJsonObject& channels,
                                       const QJsonObject& parameters) const
{
    Bench bench(command, arguments);
    bench.identify(controller.generation, controller.firmware, QString(controller.model));
    setChannels(bench.device(), channels);
    bench.device().setInPluginConfig("parameters", parameters);
    QStringList seen{bench.command().commandExecute() ? "starts" : "does not start"};
    for (int step = 0; step < bench.order().sent().size() && step < c_mostSteps; ++step) {
        // Numbered one by one.
        const int behind = bench.order().sent().size() - 1 - step;
        const quint64 instruction = bench.order().lastInstruction() - static_cast<quint64>(behind);
        const bool ok =
            bench.command().setReply(instruction, answerTo(bench.order().sent().at(step), controller));
        seen.append(ok ? "goes on" : "fails");
    }
    return seen + bench.order().sent() + bench.order().published() + bench.logged();
}

QVariantList TestMdcCommandNeeds::candidates(const CommandArgument& argument,
                                             const Controller& controller) const
{
    if (argument.type == "bool")
        return {false, true};
    if (argument.type == "strg") {
        const auto file = [&](int value) {
            return m_folder.filePath(QStringLiteral("%1_%2.csv").arg(controller.model).arg(value));
        };
        const QMap<QString, QVariantList> c_texts{
            {"channel", {"direction", "alarm"}},
            {"filePath", {file(c_word), file(c_word + 1)}},
            {"folderPath", {m_folder.path(), m_folder.filePath("other")}}};
        return c_texts.value(argument.name, {"MDC", "other"});
    }
    QVariantList numbers;
    for (const ArgumentValue& value : argument.values)
        numbers.append(value.value);
    return numbers.isEmpty() ? QVariantList{argument.lowest.value_or(1), argument.lowest.value_or(1) + 1}
                             : numbers;
}

QList<QVariantMap> TestMdcCommandNeeds::choices(const CommandNeeds& needs, const Controller& controller) const
{
    QList<QVariantMap> all{QVariantMap()};
    for (const CommandArgument& argument : needs.arguments) {
        QList<QVariantMap> longer;
        const QVariantList values = candidates(argument, controller);
        for (const QVariantMap& choice : qAsConst(all)) {
            for (const QVariant& value : values) {
                longer.append(choice);
                longer.last().insert(argument.name, value);
            }
        }
        all = longer;
    }
    return all;
}

void TestMdcCommandNeeds::everyCommandHasARow()
{
    const QStringList commands = pluginCommands();
    QStringList rows;
    for (const CommandNeeds& needs : commandNeeds())
        rows.append(needs.command);
    for (const QString& command : commands)
        QVERIFY2(rows.contains(command),
                 qPrintable(QStringLiteral("the command \"%1\" has no row in commandNeeds()").arg(command)));
    for (const QString& row : qAsConst(rows))
        QVERIFY2(commands.contains(row),
                 qPrintable(QStringLiteral("commandNeeds() has a row \"%1\", which is no command").arg(row)));
    QCOMPARE(rows, commands);
}

void TestMdcCommandNeeds::declaredArguments()
{
    QFETCH(QString, command);
    const CommandNeeds* const needs = needsOf(command);
    QVERIFY(needs != nullptr);
    PDeviceMdc device;
    device.initPluginCommands();
    const QVariantList declared = device.getCommandParameters(command).value("parameters").toList();
    QStringList expected;
    for (const QVariant& parameter : declared) {
        const QVariantMap map = parameter.toMap();
        expected.append(map.value("id").toString() + ' ' + map.value("type").toString());
    }
    QStringList found;
    for (const CommandArgument& argument : needs->arguments) {
        if (argument.isDeclared)
            found.append(argument.name + ' ' + argument.type);
    }
    QCOMPARE(found, expected);
    for (int i = 0; i < declared.size(); ++i) {
        const QVariant declaredDefault = declared.at(i).toMap().value("default");
        const CommandArgument& argument = needs->arguments.at(i);
        if (argument.usableDefault.isValid() && declaredDefault.isValid())
            QCOMPARE(typedText(argument.usableDefault), typedText(declaredDefault));
    }
}

void TestMdcCommandNeeds::declaredResults()
{
    QFETCH(QString, command);
    const CommandNeeds* const needs = needsOf(command);
    QVERIFY(needs != nullptr);
    PDeviceMdc device;
    device.initPluginCommands();
    QStringList expected;
    const QList<DCommandValue> declared = device.commandPrototype(command)->results();
    for (const DCommandValue& result : declared)
        expected.append(result.id);
    QStringList found;
    for (const CommandResult& result : needs->results) {
        found.append(result.name);
        QVERIFY2(!result.meaning.isEmpty(), qPrintable(result.name));
        QVERIFY2(!result.meaning.endsWith('.'), qPrintable(result.meaning));
    }
    QCOMPARE(found, expected);
}

// Whole sentences that name every channel and list that the command looks up.
void TestMdcCommandNeeds::effects()
{
    QFETCH(QString, command);
    const CommandNeeds* const needs = needsOf(command);
    QVERIFY(needs != nullptr);
    QVERIFY2(needs->effect.endsWith('.'), qPrintable(needs->effect));
    QStringList all{needs->effect};
    for (const CommandResult& result : needs->results)
        all.append(result.meaning);
    const QString text = all.join(' ');
    for (const NeededChannel& need : needs->channels) {
        for (const QString& name : {need.name, need.keyList})
            QVERIFY2(name.isEmpty() || text.contains('"' + name + '"'), qPrintable(name + ": " + text));
    }
    // A command that sends no write says so, and only such a one.
    bool writes = false;
    for (const QVariantMap& choice : choices(*needs, c_controllers[3])) {
        const QStringList done = trace(command, choice, c_controllers[3]);
        writes = writes || std::any_of(done.cbegin(), done.cend(),
                                       [](const QString& line) { return line.startsWith("driver write"); });
    }
    QVERIFY2(needs->effect.contains("Writes nothing") != writes, qPrintable(needs->effect));
}

void TestMdcCommandNeeds::triggerProgramIsToldAsItIsWritten()
{
    const QStringList done = trace("SetTriggerProgram", {{"resetMode", false}}, c_controllers[3]);
    static const QRegularExpression c_data("data=int:(-?\\d+)");
    QStringList written;
    for (const QString& line : done) {
        if (line.startsWith("driver write"))
            written.append(c_data.match(line).captured(1));
    }
    QCOMPARE(written.size(), 6);
    const QString effect = needsOf("SetTriggerProgram")->effect;
    QVERIFY2(effect.contains(written.join(", ")), qPrintable(written.join(", ")));
}

void TestMdcCommandNeeds::otherCommandsOfTheSameName()
{
    QCOMPARE(findCommandNeeds("setLock", {"lock"}), needsOf("setLock"));
    QVERIFY(findCommandNeeds("setLock", {"lock", "unlockLoosening"}) == nullptr);
    QVERIFY(findCommandNeeds("setLock", {}) == nullptr);
    QVERIFY(findCommandNeeds("openLock", {"lock"}) == nullptr);
}

void TestMdcCommandNeeds::argumentsInTheSources_data()
{
    QTest::addColumn<QString>("path");
    const QDir folder(QStringLiteral(MDC_SOURCE_DIRECTORY "/plugins/p_device_mdc/source"));
    const QStringList files = folder.entryList({"d_cmd_*.cpp"});
    QCOMPARE(files.size(), pluginCommands().size());
    for (const QString& file : files)
        QTest::newRow(qPrintable(file)) << folder.filePath(file);
}

// What is read without being declared shows nowhere else.
void TestMdcCommandNeeds::argumentsInTheSources()
{
    QFETCH(QString, path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString source = QString::fromUtf8(file.readAll());
    static const QRegularExpression c_command(R"re(: DAbstractCommand\(QStringLiteral\("(\w+)"\))re");
    const CommandNeeds* const needs = needsOf(c_command.match(source).captured(1));
    QVERIFY2(needs != nullptr, "the command's name is not found in its source");
    QStringList known;
    for (const CommandArgument& argument : needs->arguments)
        known.append(argument.name);
    known.sort();
    static const QRegularExpression c_read(R"re(getParameterValue\(\s*(?:QStringLiteral\("(\w+)"\))?)re");
    QStringList read;
    QRegularExpressionMatchIterator matches = c_read.globalMatch(source);
    while (matches.hasNext()) {
        const QString name = matches.next().captured(1);
        QVERIFY2(!name.isEmpty(), "an argument is read whose name does not stand beside it");
        read.append(name);
    }
    read.removeDuplicates();
    read.sort();
    QCOMPARE(read, known);
}

void TestMdcCommandNeeds::argumentsAreConsistent()
{
    QFETCH(QString, command);
    const CommandNeeds* const needs = needsOf(command);
    QVERIFY(needs != nullptr);
    const QMap<QString, int> c_types{{"ui16", QMetaType::UInt},
                                     {"int", QMetaType::Int},
                                     {"strg", QMetaType::QString},
                                     {"bool", QMetaType::Bool}};
    for (const CommandArgument& argument : needs->arguments) {
        QVERIFY2(c_types.contains(argument.type), qPrintable(argument.name));
        QVERIFY2(!argument.meaning.isEmpty(), qPrintable(argument.name));
        QVERIFY2(argument.isRequired != argument.usableDefault.isValid(), qPrintable(argument.name));
        if (argument.usableDefault.isValid())
            QCOMPARE(argument.usableDefault.userType(), c_types.value(argument.type));
        QCOMPARE(argument.lowest.has_value(), argument.type == "ui16" || argument.type == "int");
        if (argument.values.isEmpty())
            continue;
        QVERIFY2(argument.lowest && argument.highest, qPrintable(argument.name));
        int expected = *argument.lowest;
        for (const ArgumentValue& value : argument.values) {
            QCOMPARE(value.value, expected++);
            QVERIFY(!value.meaning.isEmpty());
        }
        QCOMPARE(expected, *argument.highest + 1);
    }
}

void TestMdcCommandNeeds::argumentsMakeADifference()
{
    QFETCH(QString, command);
    const CommandNeeds* const needs = needsOf(command);
    QVERIFY(needs != nullptr);
    const Controller& controller = c_controllers[0];
    const QList<QVariantMap> all = choices(*needs, controller);
    for (const CommandArgument& argument : needs->arguments) {
        const bool makesADifference = std::any_of(all.cbegin(), all.cend(), [&](const QVariantMap& choice) {
            QVariantMap other = choice;
            other.insert(argument.name, candidates(argument, controller).constFirst());
            return trace(command, choice, controller) != trace(command, other, controller);
        });
        QVERIFY2(makesADifference, qPrintable(argument.name));
    }
}

void TestMdcCommandNeeds::usableDefaults()
{
    QFETCH(QString, command);
    const CommandNeeds* const needs = needsOf(command);
    QVERIFY(needs != nullptr);
    const Controller& controller = c_controllers[0];
    const QList<QVariantMap> all = choices(*needs, controller);
    for (const CommandArgument& argument : needs->arguments) {
        if (argument.isRequired)
            continue;
        for (QVariantMap choice : all) {
            choice.remove(argument.name);
            const QStringList without = trace(command, choice, controller);
            choice.insert(argument.name, argument.usableDefault);
            QCOMPARE(trace(command, choice, controller), without);
        }
    }
}

void TestMdcCommandNeeds::lookUps_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("controller");
    const QStringList commands = pluginCommands();
    for (const QString& command : commands) {
        int index = 0;
        for (const Controller& controller : c_controllers)
            QTest::addRow("%s: %s", qPrintable(command), controller.title) << command << index++;
    }
}

void TestMdcCommandNeeds::lookUps()
{
    QFETCH(QString, command);
    QFETCH(int, controller);
    const Controller& connected = c_controllers[controller];
    const CommandNeeds* const needs = needsOf(command);
    QVERIFY(needs != nullptr);
    const QVariantMap arguments = choices(*needs, connected).constFirst();
    const QStringList complete = trace(command, arguments, connected);
    QVERIFY2(!complete.contains("fails") && !complete.contains("does not start"),
             qPrintable(complete.join('\n')));
    // A channel that neither the table nor the sample configuration knows reads as these.
    for (const QString& line : complete) {
        QVERIFY2(!line.contains("register=int:0,") && !line.contains("registerType=QString:}"),
                 qPrintable(line));
    }

    QSet<QString> lookedUp;
    for (auto channel = m_channels.begin(); channel != m_channels.end(); ++channel) {
        QJsonObject withoutIt = m_channels;
        withoutIt.remove(channel.key());
        if (trace(command, arguments, connected, withoutIt, m_parameters) == complete)
            continue;
        const QStringList entries = channel.value().toObject().keys();
        for (const QString& entry : entries) {
            QJsonObject fewer = channel.value().toObject();
            fewer.remove(entry);
            QJsonObject channels = m_channels;
            channels.insert(channel.key(), fewer);
            if (trace(command, arguments, connected, channels, m_parameters) != complete)
                lookedUp.insert(channel.key() + '/' + entry);
        }
    }
    const QStringList names = m_parameters.keys();
    for (const QString& name : names) {
        QJsonObject parameters = m_parameters;
        parameters.remove(name);
        if (trace(command, arguments, connected, m_channels, parameters) != complete)
            lookedUp.insert(name);
    }
    const QSet<QString> needed = neededNames(*needs, connected, arguments);
    QVERIFY2(lookedUp == needed, qPrintable(QStringLiteral("looked up, and not in commandNeeds(): %1\n"
                                                           "in commandNeeds(), and not looked up: %2")
                                                .arg(QStringList((lookedUp - needed).values()).join(", "),
                                                     QStringList((needed - lookedUp).values()).join(", "))));
}

QTEST_GUILESS_MAIN(TestMdcCommandNeeds)
#include "tst_mdc_command_needs.moc"
