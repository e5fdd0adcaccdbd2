// Configurations that are made for a controller: what is written, and what the built program does with it.

#include "applications/bench/device_configuration/command_requirements.h"
#include "applications/bench/init/answers.h"
#include "applications/bench/init/configuration_files.h"
#include "applications/bench/init/controller_meeting.h"
#include "applications/bench/init/init_report.h"
#include "applications/bench/init/new_files.h"
#include "applications/bench/init/register_meaning.h"
#include "applications/bench/init/tests/register_list_rows.h"
#include "applications/simulator/platform.h"
#include "plugins/p_device_mdc/model/identification_block.h"
#include "tests/support/bench_program.h"
#include "tests/support/configuration_errors.h"
#include "tests/support/sample_bench.h"
#include "tests/support/sample_folder.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <algorithm>

using Take = QString (*)(const QString&, InitOptions&);
Q_DECLARE_METATYPE(Take)

namespace {

const RegisterTypes c_registerTypes{
    {"holdingRegisters", "singleRegister", "inputRegisters", "coils", "discreteInputs"},
    {"holdingRegisters", "singleRegister", "coils"}};

PlannedConfiguration plannedFor(const QList<int>& generations, const KnownEntries& known = {})
{
    PlannedConfiguration plan;
    plan.driver = QUuid::createUuid();
    plan.device = QUuid::createUuid();
    plan.line.host = "192.0.2.7";
    plan.reference = "MDC";
    plan.generations = generations;
    planChannels(plan, commandNeeds(), known, {});
    return plan;
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList allCommands()
{
    QStringList names;
    for (const CommandNeeds& needs : commandNeeds())
        names.append(needs.command);
    return names;
}

QString textOf(const OpenEntry& entry)
{
    return QString("%1 %2").arg(entry.name, entry.entry).trimmed();
}

// The finding is about this entry of this channel, or about this list.
bool isAbout(const Finding& finding, const OpenEntry& entry)
{
    if (entry.entry.isEmpty())
        return finding.message.contains('"' + entry.name + '"');
    return finding.message.startsWith(QString("the channel \"%1\" has no ").arg(entry.name)) &&
           finding.message.contains('"' + entry.entry + '"');
}

// All that is known, a line each.
QStringList linesOf(const RegisterMeaning& meaning)
{
    QStringList lines;
    for (auto channel = meaning.entries.cbegin(); channel != meaning.entries.cend(); ++channel) {
        for (auto entry = channel->cbegin(); entry != channel->cend(); ++entry) {
            const QByteArray object = QJsonDocument(entry.value().toObject()).toJson(QJsonDocument::Compact);
            lines.append(QString("%1.%2=%3")
                             .arg(channel.key(), entry.key(),
                                  entry.value().isObject() ? QString::fromUtf8(object)
                                                           : entry.value().toVariant().toString()));
        }
    }
    for (auto list = meaning.keyLists.cbegin(); list != meaning.keyLists.cend(); ++list)
        lines.append(list.key() + '=' +
                     QString::fromUtf8(QJsonDocument(list.value()).toJson(QJsonDocument::Compact)));
    lines.sort();
    return lines;
}

ConnectedController controllerOf(const RegisterListRow& row)
{
    ConnectedController controller;
    controller.generation = row.generation;
    controller.firmware = row.firmware;
    if (row.firmware > 0)
        controller.modelName = "MDgen1V1";
    return controller;
}

QJsonObject documentOf(const QString& text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object();
}

QStringList addressOf(const Simulator& simulator)
{
    return {"--host", "127.0.0.1", "--port", QString::number(simulator.tcpPort())};
}

} // namespace

class TstInit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qunsetenv("NO_COLOR"); }

    void generations_data()
    {
        QTest::addColumn<QList<int>>("generations");
        QTest::addColumn<QStringList>("files");
        QTest::newRow("first") << QList<int>{1}
                               << QStringList{"bench.json", "register_map_common.json",
                                              "register_map_generation1.json", "schema/bench.schema.json",
                                              "schema/device_configuration.schema.json"};
        QTest::newRow("second") << QList<int>{2}
                                << QStringList{"bench.json", "register_map_common.json",
                                               "register_map_generation2.json", "schema/bench.schema.json",
                                               "schema/device_configuration.schema.json"};
        QTest::newRow("both") << QList<int>{1, 2}
                              << QStringList{"bench.json",
                                             "register_map_common.json",
                                             "register_map_generation1.json",
                                             "register_map_generation2.json",
                                             "schema/bench.schema.json",
                                             "schema/device_configuration.schema.json"};
    }

    // What is written loads, and what is told to be open is what the check misses: nothing more, nothing
    // less.
    void generations()
    {
        QFETCH(QList<int>, generations);
        QFETCH(QStringList, files);
        const PlannedConfiguration plan = plannedFor(generations);
        const QList<ConfigurationFile> written = configurationFiles(plan);
        QStringList names;
        for (const ConfigurationFile& file : written)
            names.append(file.name);
        QCOMPARE(names, files);
        for (const QString& name : qAsConst(names))
            QVERIFY2(possibleFileNames().contains(name), qPrintable(name));

        const QTemporaryDir folder;
        QVERIFY(!makeNewFiles(folder.path(), written));
        // Each names the schema that it is checked with, beside it.
        for (const ConfigurationFile& file : written) {
            const QString schema = documentOf(QString::fromUtf8(file.text)).value("$schema").toString();
            QVERIFY2(schema.startsWith("http") || QFile::exists(folder.filePath(schema)),
                     qPrintable(file.name + ": " + schema));
        }
        const DLoadedConfiguration loaded = loadConfiguration(folder.filePath("bench.json"));
        QVERIFY2(loaded.errors.isEmpty(), qPrintable(errorText(loaded.errors)));
        const QJsonArray objects = loaded.configuration.value("objects").toArray();
        QCOMPARE(objects.at(0).toObject().value("id").toString(), plan.driver.toString());
        QCOMPARE(objects.at(1).toObject().value("driver").toString(), plan.driver.toString());
        const QJsonObject device = objects.at(1).toObject().value("configuration").toObject();
        QCOMPARE(describedGenerations(commandNeeds(), device), generations);

        const QList<OpenEntry> open = openEntries(plan);
        QVERIFY(!open.isEmpty());
        const QList<Finding> findings = checkRequirements(commandNeeds(), allCommands(), device,
                                                          generations.constLast(), c_registerTypes);
        for (const OpenEntry& entry : open) {
            // The unit of torque is looked after together with the texts of backups.
            if (entry.name.startsWith("torqueUnit"))
                continue;
            QVERIFY2(std::any_of(findings.cbegin(), findings.cend(),
                                 [&entry](const Finding& finding) {
                                     return finding.level != FindingLevel::Ok && isAbout(finding, entry);
                                 }),
                     qPrintable("the check does not name " + textOf(entry)));
        }
        for (const Finding& finding : findings) {
            if (finding.level == FindingLevel::Ok || !finding.message.startsWith("the channel"))
                continue;
            QVERIFY2(std::any_of(open.cbegin(), open.cend(),
                                 [&finding](const OpenEntry& entry) { return isAbout(finding, entry); }),
                     qPrintable("not told as open: " + finding.message));
        }
    }

    void knownEntriesAreWritten()
    {
        const PlannedConfiguration plan =
            plannedFor({2}, {{"presetChangeV2", {{"register", 40258}, {"writeRegisterType", "coils"}}},
                             {"alarmReset", {{"register", 813}}},
                             {"spindleV2", {{"register", 5}, {"readRegisterType", "inputRegisters"}}}});
        const QList<OpenEntry> open = openEntries(plan);
        for (const OpenEntry& entry : open)
            QVERIFY2(entry.name != "presetChangeV2" && entry.name != "alarmReset", qPrintable(textOf(entry)));
        const QTemporaryDir folder;
        QVERIFY(!makeNewFiles(folder.path(), configurationFiles(plan)));
        const DLoadedConfiguration loaded = loadConfiguration(folder.filePath("bench.json"));
        QVERIFY2(loaded.errors.isEmpty(), qPrintable(errorText(loaded.errors)));
        const QJsonObject device = deviceConfiguration(loaded.configuration);
        QCOMPARE(channelEntry(device, "presetChangeV2", "register"), QJsonValue(40258));
        QCOMPARE(channelEntry(device, "presetChangeV2", "writeRegisterType"), QJsonValue("coils"));
        QCOMPARE(channelEntry(device, "alarmReset", "register"), QJsonValue(813));
        QCOMPARE(channelEntry(device, "alarmReset", "writeRegisterType"), QJsonValue("singleRegister"));
        QCOMPARE(channelEntry(device, "spindleV2", "readRegisterType"), QJsonValue("inputRegisters"));
        QVERIFY(contentOf(folder.filePath("register_map_common.json"))
                    .contains("        { \"id\": \"register\", \"value\": 813 },\n"));
    }

    void serialLine()
    {
        PlannedConfiguration plan = plannedFor({1});
        plan.line = {{}, "COM3", 502, 9600, "none", 17, -1};
        const QJsonObject bench = documentOf(QString::fromUtf8(configurationFiles(plan).at(0).text));
        QCOMPARE(bench.value("objects").toArray().at(0).toObject().value("configuration").toObject(),
                 (QJsonObject{{"transport", "rtu"},
                              {"serialPort", "COM3"},
                              {"baudRate", 9600},
                              {"parity", "none"},
                              {"unitId", 17},
                              {"addressOffset", -1}}));
    }

    void filesAreMadeAllOrNone()
    {
        const QTemporaryDir folder;
        const QString below = folder.filePath("a/b");
        QVERIFY(!existingFileProblem(below, {"one", "two"}));
        QVERIFY(!makeNewFiles(below, {{"two", "first"}}));
        const auto problem = makeNewFiles(below, {{"one", "x"}, {"two", "y"}, {"three", "z"}});
        QVERIFY(problem && problem->code == ExitCode::CommandFailed);
        QVERIFY2(problem->messages.constFirst().startsWith(below + "/two is there already"),
                 qPrintable(problem->messages.constFirst()));
        QCOMPARE(QDir(below).entryList(QDir::Files), QStringList{"two"});
        QCOMPARE(contentOf(below + "/two"), QByteArray("first"));
        const auto existing = existingFileProblem(below, {"one", "two"});
        QVERIFY(existing && existing->messages.constFirst().contains("/two"));
        const auto file = existingFileProblem(below + "/two", {"one"});
        QVERIFY(file && file->messages.constFirst().contains("no folder"));
        QVERIFY(makeNewFiles(below + "/two", {{"one", "x"}}));
    }

    void referenceOfEveryModel()
    {
        for (const QString& model : controllerModels()) {
            const bool isUnknown = model.isEmpty() || model.contains('?') || model == "AD";
            const QString reference = referenceOfModel(model);
            QVERIFY2(reference.isEmpty() == isUnknown, qPrintable(model));
        }
        QCOMPARE(referenceOfModel("MDT"), QString("MDTC"));
        QCOMPARE(referenceOfModel("MDC-32"), QString("MDC"));
        QCOMPARE(referenceOfModel("BMT"), QString("BM"));
    }

    void registerLists_data()
    {
        QTest::addColumn<int>("row");
        const QList<RegisterListRow> rows = registerListRows();
        for (int i = 0; i < rows.size(); ++i)
            QTest::newRow(rows.at(i).name) << i;
    }

    void registerLists()
    {
        QFETCH(int, row);
        const RegisterListRow expected = registerListRows().at(row);
        const RegisterList list = readRegisterList(expected.text);
        QCOMPARE(list.error, QString());
        const RegisterMeaning meaning =
            meaningOf(list, controllerOf(expected),
                      expected.offset == 1 ? std::nullopt : std::optional<int>(expected.offset));
        QStringList known = expected.known;
        known.sort();
        QCOMPARE(linesOf(meaning), known);
        QCOMPARE(meaning.addressOffset, expected.offsetOfDriver);
        QStringList whys;
        for (const LeftOutRow& left : meaning.leftOut)
            whys.append(QString("%1: %2").arg(left.line).arg(left.why));
        QVERIFY2(whys.size() == expected.leftOut.size(), qPrintable(whys.join('\n')));
        for (int i = 0; i < whys.size(); ++i)
            QVERIFY2(whys.at(i).startsWith(expected.leftOut.at(i)), qPrintable(whys.at(i)));
        // Each row of the list is told once at least.
        for (const ListedRegister& listed : list.registers)
            QVERIFY2(std::any_of(meaning.understood.cbegin(), meaning.understood.cend(),
                                 [&](const UnderstoodRow& one) { return one.line == listed.line; }) ||
                         std::any_of(meaning.leftOut.cbegin(), meaning.leftOut.cend(),
                                     [&](const LeftOutRow& one) { return one.line == listed.line; }),
                     qPrintable(listed.name));
    }

    void unreadableLists_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("error");
        for (const UnreadableListRow& row : unreadableListRows())
            QTest::newRow(row.name) << row.text << QString::fromLatin1(row.error);
    }

    void unreadableLists()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, error);
        const RegisterList list = readRegisterList(text);
        QVERIFY2(list.error.contains(error), qPrintable(list.error));
    }

    void listSizeLimit() // docs/security.md
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("registers.csv");
        constexpr int c_limit = 4 << 20;
        for (const int size : {c_limit, c_limit + 1}) {
            QByteArray list = "Name,Address,Access\nSelect program,2,W\n";
            list += '#' + QByteArray(size - list.size() - 1, ' ');
            QVERIFY(writeFile(path, list));
            const BenchEnd end =
                endOf(*startBench({"init", folder.filePath(QString::number(size)), "--host", "127.0.0.1",
                                   "--port", "1", "--generation", "2", "--from-csv", path}));
            QVERIFY2(end.exitCode == (size > c_limit ? 3 : 0), qPrintable(end.err));
            QCOMPARE(end.err.contains("4194304 bytes"), size > c_limit);
            QCOMPARE(QFile::exists(folder.filePath(QString::number(size)) + "/bench.json"), size == c_limit);
        }
    }

    // A list that ends anywhere, or has lost a byte, is read or refused.
    void damagedLists()
    {
        const QList<RegisterListRow> rows = registerListRows();
        for (const RegisterListRow& row : rows) {
            for (int at = 0; at < row.text.size(); at += 5) {
                for (const QByteArray& text : {row.text.left(at), QByteArray(row.text).remove(at, 1),
                                               QByteArray(row.text).insert(at, '"')}) {
                    const RegisterList list = readRegisterList(text);
                    const RegisterMeaning meaning = meaningOf(list, controllerOf(row), std::nullopt);
                    QVERIFY(meaning.leftOut.size() >= list.leftOut.size());
                    for (const UnderstoodRow& one : meaning.understood)
                        QVERIFY(one.line > 0);
                }
            }
        }
    }

    void backupRangeOfAList()
    {
        RegisterMeaning meaning;
        ConnectedController controller;
        controller.generation = 2;
        QCOMPARE(backupRangeText(meaning, controller), QString());
        meaning.programSize = 65535;
        meaning.programCount = 65535;
        QCOMPARE(backupRangeText(meaning, controller), QString());
        meaning.programSize = 40;
        meaning.programCount = 2;
        QCOMPARE(backupRangeText(meaning, controller),
                 QString(R"("backup_range": [1-80]; "preset1": [1-40]; "preset2": [41-80];)"));
        meaning.entries["torqueUnitV2"].insert("register", 2001);
        QVERIFY(backupRangeText(meaning, controller).startsWith(R"("backup_range": [1-2001];)"));
    }

    void answers_data()
    {
        QTest::addColumn<Take>("take");
        QTest::addColumn<QString>("answer");
        // host, serial port, port, baud rate, parity, unit, offset, generation; empty: a complaint
        QTest::addColumn<QString>("expected");
        QTest::newRow("address") << Take(&takeAddress) << "192.168.1.20"
                                 << "192.168.1.20,,0,0,,-1,,";
        QTest::newRow("name with a port") << Take(&takeAddress) << "line3:1502"
                                          << "line3,,1502,0,,-1,,";
        QTest::newRow("address of IPv6") << Take(&takeAddress) << "fe80::1"
                                         << "fe80::1,,0,0,,-1,,";
        QTest::newRow("serial line") << Take(&takeAddress) << "/dev/ttyUSB0"
                                     << ",/dev/ttyUSB0,0,0,,-1,,";
        QTest::newRow("serial line of Windows") << Take(&takeAddress) << "COM3"
                                                << ",COM3,0,0,,-1,,";
        QTest::newRow("no address") << Take(&takeAddress) << ""
                                    << "";
        QTest::newRow("two words") << Take(&takeAddress) << "the controller"
                                   << "";
        QTest::newRow("port of nobody") << Take(&takeAddress) << "line3:70000"
                                        << "";
        QTest::newRow("port") << Take(&takePort) << "65535"
                              << ",,65535,0,,-1,,";
        QTest::newRow("port 0") << Take(&takePort) << "0"
                                << "";
        QTest::newRow("baud rate") << Take(&takeBaudRate) << "9600"
                                   << ",,0,9600,,-1,,";
        QTest::newRow("baud rate in words") << Take(&takeBaudRate) << "fast"
                                            << "";
        QTest::newRow("parity") << Take(&takeParity) << "None"
                                << ",,0,0,none,-1,,";
        QTest::newRow("no parity") << Take(&takeParity) << "mark"
                                   << "";
        QTest::newRow("unit") << Take(&takeUnit) << "255"
                              << ",,0,0,,255,,";
        QTest::newRow("unit 256") << Take(&takeUnit) << "256"
                                  << "";
        QTest::newRow("offset") << Take(&takeOffset) << "-1"
                                << ",,0,0,,-1,-1,";
        QTest::newRow("offset 1") << Take(&takeOffset) << "1"
                                  << "";
        QTest::newRow("generation") << Take(&takeGeneration) << "ALL"
                                    << ",,0,0,,-1,,all";
        QTest::newRow("generation 3") << Take(&takeGeneration) << "3"
                                      << "";
        QTest::newRow("no list") << Take(&takeRegisterList) << ""
                                 << ",,0,0,,-1,,";
        QTest::newRow("absent list") << Take(&takeRegisterList) << "/absent/list.csv"
                                     << "";
    }

    void answers()
    {
        QFETCH(Take, take);
        QFETCH(QString, answer);
        QFETCH(QString, expected);
        InitOptions options;
        const QString complaint = take(answer, options);
        QCOMPARE(complaint.isEmpty(), !expected.isEmpty());
        if (expected.isEmpty())
            return;
        QCOMPARE(QStringList({options.host, options.serialPort, QString::number(options.port),
                              QString::number(options.baudRate), options.parity,
                              QString::number(options.unitId), options.offset, options.generation})
                     .join(','),
                 expected);
    }

    void controllers_data()
    {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("generation");
        QTest::addColumn<int>("unit");
        QTest::newRow("generation 2") << "mdc32-gen2" << QStringList{} << 2 << 1;
        QTest::newRow("generation 1") << "mdc22-gen1v2" << QStringList{} << 1 << 1;
        QTest::newRow("another unit and offset")
            << "mdc32-gen2" << QStringList{"--unit", "7", "--offset", "-1"} << 2 << 7;
        QTest::newRow("all generations") << "mdc22-gen1v2" << QStringList{"--generation", "all"} << 1 << 1;
    }

    // Made by the program for the controller that answers, and good for getInfo at once.
    void controllers()
    {
        QFETCH(QString, profile);
        QFETCH(QStringList, options);
        QFETCH(int, generation);
        QFETCH(int, unit);
        Simulator simulator(deviceConfiguration(sampleBench()), *ControllerProfile::byName(profile));
        simulator.setUnitId(unit);
        QVERIFY(simulator.listenTcp());
        const QTemporaryDir folder;
        const QString made = folder.filePath("line3");
        const BenchEnd end = endOf(*startBench(QStringList{"init", made, "--yes", "--format", "json"} +
                                               addressOf(simulator) + options));
        QVERIFY2(end.exitCode == 0, qPrintable(end.out + end.err));
        const QJsonObject told = documentOf(end.out);
        QCOMPARE(told.value("controller").toObject().value("generation").toInt(), generation);
        QCOMPARE(told.value("reference").toString(), QString("MDC"));
        const QString bench = told.value("files").toArray().at(0).toString();
        QCOMPARE(bench, made + "/bench.json");

        const BenchEnd info = endOf(*startBench({"--config", bench, "run", "getInfo"}));
        QVERIFY2(info.exitCode == 0, qPrintable(info.out + info.err));
        QVERIFY2(info.out.contains("deviceInformation.screwdriverModel  MD"), qPrintable(info.out));
        const BenchEnd check = endOf(*startBench({"--config", bench, "check"}));
        QCOMPARE(check.exitCode, 3);
        const QJsonArray open = told.value("open").toArray();
        QVERIFY(!open.isEmpty());
        for (const QJsonValue& entry : open) {
            const QString name = entry.toObject().value("name").toString();
            QVERIFY2(name.startsWith("torqueUnit") || check.out.contains('"' + name + '"'),
                     qPrintable(name + "\n" + check.out));
        }
        const BenchEnd again = endOf(*startBench(QStringList{"init", made, "--yes"} + addressOf(simulator)));
        QCOMPARE(again.exitCode, 1);
        QVERIFY2(again.err.contains("bench.json is there already"), qPrintable(again.err));
    }

    void unitsOfALine()
    {
        InitOptions options;
        options.serialPort = "COM3";
        for (const char* const unit : {"0", "248"})
            QVERIFY(!takeUnit(unit, options).isEmpty());
        QVERIFY(takeUnit("247", options).isEmpty());
        QCOMPARE(options.unitId, 247);
    }

    void controllerOnALine()
    {
        if (!hasPseudoTerminals())
            QSKIP("a serial line is a pseudo-terminal");
        Simulator simulator(deviceConfiguration(sampleBench()), *ControllerProfile::byName("bm-gen1v1"));
        QString error;
        const QString port = simulator.openPseudoTerminal(&error);
        QVERIFY2(!port.isEmpty(), qPrintable(error));
        const QTemporaryDir folder;
        const QString made = folder.filePath("line4");
        const BenchEnd end = endOf(
            *startBench({"init", made, "--yes", "--serial", port, "--baud", "38400", "--format", "json"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.out + end.err));
        QCOMPARE(documentOf(end.out).value("reference").toString(), QString("BM"));
        const BenchEnd info = endOf(*startBench({"--config", made + "/bench.json", "run", "getInfo"}));
        QVERIFY2(info.exitCode == 0, qPrintable(info.out + info.err));
        QVERIFY2(info.out.contains("1.23.0"), qPrintable(info.out));
    }

    void identitiesAreFresh()
    {
        const QTemporaryDir folder;
        QStringList seen;
        for (const char* const name : {"a", "b"}) {
            const BenchEnd end = endOf(*startBench(
                {"init", folder.filePath(name), "--host", "127.0.0.1", "--port", "1", "--generation", "2"}));
            QVERIFY2(end.exitCode == 0, qPrintable(end.out + end.err));
            QVERIFY2(end.err.contains("nobody answered"), qPrintable(end.err));
            const QJsonArray objects =
                documentOf(QString::fromUtf8(contentOf(folder.filePath(name) + "/bench.json")))
                    .value("objects")
                    .toArray();
            for (const QJsonValue& object : objects)
                seen.append(object.toObject().value("id").toString());
        }
        QCOMPARE(seen.size(), 4);
        QCOMPARE(seen.removeDuplicates(), 0);
    }
};

QTEST_GUILESS_MAIN(TstInit)
#include "tst_init.moc"
