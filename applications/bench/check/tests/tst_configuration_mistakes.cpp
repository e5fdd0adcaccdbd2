// The mistakes that people make in a configuration, each made in a copy of the sample, and what the check
// says of it.

#include "applications/bench/check/device_check.h"

#include "plugins/p_device_mdc/model/command_needs.h"
#include "tests/support/configuration_errors.h"
#include "tests/support/markdown_table.h"
#include "tests/support/sample_folder.h"
#include "tests/support/table_gaps.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QTest>

namespace {

const RegisterTypes c_registerTypes{
    {"holdingRegisters", "singleRegister", "inputRegisters", "coils", "discreteInputs"},
    {"holdingRegisters", "singleRegister", "coils"}};

const QString c_map1 = "register_map_generation1.json";
const QString c_map2 = "register_map_generation2.json";
const QString c_common = "register_map_common.json";
const QString c_parameters = "parameters.json";
const QString c_ranges = "backup_ranges.json";

struct Mistake
{
    const char* name;
    QString file;
    QByteArray from;
    QByteArray to;
    // Parts of one line of what the check says, in their order: "error" or "warning" first. None: it says
    // nothing.
    QStringList finding;
    // Of the driver.
    int addressOffset = 0;
};

QStringList namesOfCommands()
{
    QStringList names;
    for (const CommandNeeds& needs : commandNeeds())
        names.append(needs.command);
    return names;
}

QString lineOf(const Finding& finding)
{
    return QString("%1 %2: %3 → %4")
        .arg(finding.level == FindingLevel::Error ? "error" : "warning", finding.subject, finding.message,
             finding.remedy);
}

struct Connected
{
    int generation = 2;
    QString modelName = "MDgen2"; // by which the text of its backup is looked up
    int addressOffset = 0;        // of its driver
};

// What the check says with this controller connected, but for what is well.
QStringList complaintsOf(const QString& path, const Connected& connected = {})
{
    QStringList lines;
    const DLoadedConfiguration loaded = loadConfiguration(path);
    for (const DConfigurationError& error : loaded.errors)
        lines.append("error " + error.toString());
    if (!lines.isEmpty())
        return lines;
    const QJsonArray objects = loaded.configuration.value("objects").toArray();
    CheckedDevice device{namesOfCommands(), objects.at(1).toObject().value("configuration").toObject(),
                         connected.generation, connected.modelName};
    device.types = c_registerTypes;
    device.offset = {"addressOffset", connected.addressOffset};
    const QList<Finding> findings = checkConfigurationOf(device);
    for (const Finding& finding : findings) {
        if (finding.level != FindingLevel::Ok)
            lines.append(lineOf(finding));
    }
    return lines;
}

bool hasParts(const QString& line, const QStringList& parts)
{
    int from = 0;
    for (const QString& part : parts) {
        from = line.indexOf(part, from);
        if (from < 0)
            return false;
        from += part.size();
    }
    return line.startsWith(parts.constFirst());
}

QList<Mistake> mistakesOfRegisters()
{
    return {
        {"two channels write one register",
         c_map2,
         "\"value\": 6002",
         "\"value\": 6001",
         {"error", "presetChangeV2", "\"register\"", "6001", "directionChangeV2", "→"}},
        {"two channels write one register by different types",
         c_map2,
         R"("value": 6002 },
        { "id": "writeRegisterType", "value": "singleRegister" })",
         R"("value": 6001 },
        { "id": "writeRegisterType", "value": "holdingRegisters" })",
         {"error", "presetChangeV2", "\"register\"", "6001", "directionChangeV2", "→"}},
        {"a register of all generations is one of a generation",
         c_common,
         "5003",
         "6004",
         {"error", "lockChangeV2", "\"register\"", "6004", "alarmReset", "→"}},
        {"a register of the first layout is another's",
         c_map1,
         "5006",
         "5001",
         {"error", "lockScreenGen1V1", "\"register\"", "5001", "directionChange", "→"}},
        {"generations may share a register", c_map2, "\"value\": 6001", "\"value\": 5001", {}},
        {"layouts may share a register", c_map1, "5006", "5005", {}},
        {"a coil is no register",
         c_map2,
         R"("value": 6002 },
        { "id": "writeRegisterType", "value": "singleRegister" })",
         R"("value": 6001 },
        { "id": "writeRegisterType", "value": "coils" })",
         {}},
        {"an address below 0 on the wire",
         c_common,
         "5003",
         "0",
         {"error", "channel alarmReset", "\"register\"", "0", "\"addressOffset\"", "-1", "→"},
         -1},
        {"the lowest address on the wire",
         c_common,
         R"("value": 5003 },
        { "id": "writeRegisterType", "value": "singleRegister" })",
         R"("value": 1 },
        { "id": "writeRegisterType", "value": "coils" })",
         {},
         -1},
        {"register 0 as it is", c_common, "5003", "0", {}},
        {"register 65536", c_map2, "6001", "65536", {"error", c_map2, "65536"}},
    };
}

QList<Mistake> mistakesOfPrograms()
{
    return {
        {"a program is longer than the backup's",
         c_map2,
         "\"size\", \"value\": 40",
         "\"size\", \"value\": 41",
         {"error", "generation 2", "\"size\"", "currentPresetV2", "41", "\"preset2\"", "MDgen2_config", "→"}},
        {"a program is shorter than the backup's",
         c_map1,
         "\"size\", \"value\": 20",
         "\"size\", \"value\": 10",
         {"error", "generation 1", "\"size\"", "currentPreset", "10", "\"preset1\"", "MDC-22_config", "→"}},
        {"the backup has another length of a program",
         c_ranges,
         "\\\"preset2\\\": [41-80]",
         "\\\"preset2\\\": [41-79]",
         {"warning", "generation 2", "\"preset2\"", "MDgen2_config", "39", "40", "→"}},
        {"the length of a program is missing",
         c_map2,
         R"(,
        { "id": "size", "value": 40 })",
         "",
         {"error", "SetTriggerProgram", "currentPresetV2", "\"size\"", "program 1", "→"}},
        {"the length of a program is missing for another generation",
         c_map1,
         R"({ "id": "size", "value": 20 },)",
         "",
         {"error", "SetTriggerProgram", "currentPreset", "\"size\"", "program 1", "→"}},
        {"more programs than the backup has",
         c_map2,
         "\"value\": 50",
         "\"value\": 52",
         {"warning", "generation 2", "\"size\"", "presetsV2", "52", "presets 51 to 52", "MDgen2_config",
          "→"}},
        {"fewer presets in the backup than programs",
         c_ranges,
         "\\\"preset7\\\": [241-280];",
         "",
         {"warning", "generation 2", "\"size\"", "presetsV2", "50", "preset 7", "MDgen2_config", "→"}},
    };
}

QList<Mistake> mistakesOfNames()
{
    return {
        {"an entry that nobody reads",
         c_map2,
         R"("id": "presetsV2",
      "name": "Stored programs",
      "value": [)",
         R"("id": "presetsV2",
      "name": "Stored programs",
      "value": [
        { "id": "register", "value": 7 },)",
         {"warning", "presetsV2", "\"register\"", "7", "→"}},
        {"a size that nobody reads",
         c_map2,
         R"({ "id": "register", "value": 6104 },)",
         R"({ "id": "register", "value": 6104 },{ "id": "size", "value": 4 },)",
         {"warning", "alarmV2", "\"size\"", "4", "→"}},
        {"a type to write of what nobody writes",
         c_map2,
         R"({ "id": "register", "value": 6104 },)",
         R"({ "id": "register", "value": 6104 },{ "id": "writeRegisterType", "value": "coils" },)",
         {"warning", "alarmV2", "\"writeRegisterType\"", "coils", "→"}},
        {"a generation that there is not",
         c_map2,
         "lockChangeV2",
         "lockChangeV3",
         {"warning", "channel lockChangeV3", "generation 3", "→", "\"lockChangeV2\""}},
        {"a generation without a suffix",
         c_map1,
         "\"lockChange\"",
         "\"lockChangeV1\"",
         {"warning", "channel lockChangeV1", "generation 1", "→", "\"lockChange\""}},
        {"a list of a generation that there is not",
         c_parameters,
         "eventDataKeysV2",
         "eventDataKeysV3",
         {"warning", "parameters", "\"eventDataKeysV3\"", "generation 3", "→"}},
        {"a backup of a generation that there is not",
         c_ranges,
         "MDgen2_config",
         "MDgen3_config",
         {"warning", "\"MDgen3_config\"", "no controller", "→"}},
        {"a channel one slip away",
         c_map2,
         "directionV2",
         "dirctionV2",
         {"warning", "channel dirctionV2", "\"directionV2\"", "→"}},
        {"a channel to write one slip away",
         c_map2,
         "lockChangeV2",
         "lockChnageV2",
         {"warning", "channel lockChnageV2", "\"lockChangeV2\"", "→"}},
        {"a channel one letter case away",
         c_map2,
         "motorRunV2",
         "motorrunV2",
         {"warning", "channel motorrunV2", "\"motorRunV2\"", "→"}},
        {"a channel of one's own", c_map2, "alarmV2", "pressureV2", {}},
    };
}

QList<Mistake> mistakesOfText()
{
    return {
        {"the same key twice",
         c_common,
         "\"name\": \"Alarm reset\",",
         "\"name\": \"Alarm reset\", \"name\": \"Alarm\",",
         {"error", c_common, "\"name\"", "line 7, column 30", "line 7, column 7"}},
        {"the same key twice, written otherwise",
         c_common,
         "\"name\": \"Alarm reset\",",
         "\"name\": \"Alarm reset\",\n \"n\\u0061me\": \"Alarm\",",
         {"error", c_common, "\"name\"", "line 8, column 2", "line 7, column 7"}},
        {"a comma that is missing",
         c_common,
         "\"Alarm reset\",",
         "\"Alarm reset\"",
         {"error", c_common, "a comma or } is missing before \"value\"", "line 8, column 7"}},
        {"a text without its end",
         c_common,
         "\"Alarm reset\",",
         "\"Alarm reset,",
         {"error", c_common, "the closing \" is missing", "line 7, column 15"}},
        {"a type that there is not",
         c_common,
         "singleRegister",
         "register",
         {"error", c_common, "/channels/0/value/1/value", "channel \"alarmReset\"",
          "entry \"writeRegisterType\"", "\"register\"", "one of holdingRegisters"}},
        {"a key in two objects", c_common, "\"Alarm reset\"", "\"name\"", {}},
    };
}

QList<Mistake> mistakesOfContents()
{
    return {
        {"a channel that is missing",
         c_map2,
         "directionChangeV2",
         "turnV2",
         {"error", "setDirection, generation 2", "\"directionChangeV2\"", "→"}},
        {"a channel of another controller that is missing",
         c_map1,
         "\"directionChange\"",
         "\"turn\"",
         {"warning", "setDirection, generation 1", "\"directionChange\"", "→"}},
        {"an entry that is missing",
         c_common,
         R"(,
        { "id": "writeRegisterType", "value": "singleRegister" })",
         "",
         {"error", "resetAlarm", "\"alarmReset\"", "\"writeRegisterType\"", "→"}},
        {"an entry one slip away",
         c_map2,
         R"("register", "value": 6104)",
         R"("regsiter", "value": 6104)",
         {"warning", "channel alarmV2", "\"regsiter\"", "\"register\"", "→"}},
        {"a list of names that is too short",
         c_parameters,
         R"(      "errorCode",
      "speed"
)",
         R"(      "errorCode"
)",
         {"warning", "listenEventsData, generation 1", "\"eventDataKeys\"", "11", "12", "→"}},
        {"a value outside of its block",
         c_parameters,
         R"("start_address": 6216, "end_address": 6216)",
         R"("start_address": 6217, "end_address": 6217)",
         {"error", "listenEventsData, generation 2", "\"errorCode\"", "6217", "→"}},
        {"a float of three registers",
         c_parameters,
         R"("start_address": 6205, "end_address": 6206)",
         R"("start_address": 6205, "end_address": 6207)",
         {"error", "listenEventsData, generation 2", "\"torque\"", "3 registers", "→"}},
        {"a backup that does not begin at 1",
         c_ranges,
         "[1-2040]",
         "[2-2040]",
         {"error", "backup of MDgen2", "[2-2040]", "→"}},
        {"a group outside of the backup",
         c_ranges,
         "[2001-2040]",
         "[2001-2050]",
         {"error", "backup of MDgen2", "[2001-2050]", "→"}},
        {"an item of a backup that is misspelt",
         c_ranges,
         "\\\"preset50\\\": [",
         "\\\"preset50\\\":[",
         {"warning", "backup of MDgen2", "preset50", "→"}},
        {"a backup of no controller's model",
         c_ranges,
         "MDC-26_config",
         "MDC26_config",
         {"warning", "backup of MDC26", "\"MDC26\"", "→"}},
        {"a file that is not there",
         "bench.json",
         "register_map_common",
         "register_map_all",
         {"error", "register_map_all.json"}},
    };
}

QList<Mistake> allMistakes()
{
    return mistakesOfRegisters() + mistakesOfPrograms() + mistakesOfNames() + mistakesOfContents() +
           mistakesOfText();
}

// Each as its name, "error" or "warning", and a part of what is said of it.
QList<QStringList> documentedMistakes()
{
    return markdownTable(MDC_SOURCE_DIRECTORY "/docs/bench.md", "### Mistakes that it finds");
}

} // namespace

class TstConfigurationMistakes : public QObject
{
    Q_OBJECT

    SampleFolder m_samples;

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_samples.isValid()); }

    void mistake_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QStringList>("finding");
        QTest::addColumn<int>("addressOffset");
        const QList<Mistake> mistakes = allMistakes();
        for (const Mistake& mistake : mistakes)
            QTest::newRow(mistake.name)
                << mistake.file << mistake.from << mistake.to << mistake.finding << mistake.addressOffset;
    }

    void mistake()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QStringList, finding);
        QFETCH(int, addressOffset);
        const QString path = m_samples.configuration(file, from, to);
        QVERIFY2(!path.isEmpty(), "the sample does not have what is to be changed");
        const QStringList lines = complaintsOf(path, {2, "MDgen2", addressOffset});
        const QString all = lines.join('\n');
        if (finding.isEmpty()) {
            QCOMPARE(all, QString());
            return;
        }
        const auto line = std::find_if(lines.cbegin(), lines.cend(),
                                       [&finding](const QString& said) { return hasParts(said, finding); });
        QVERIFY2(line != lines.cend(), qPrintable(all));
        QFile absent(QDir::temp().filePath("a file that nobody has"));
        absent.open(QIODevice::ReadOnly);
        QList<QStringList> documented = documentedMistakes();
        for (QStringList& row : documented) {
            // The page has the words of Linux.
            row.replaceInStrings("No such file or directory", absent.errorString());
            if (row.value(0) == QTest::currentDataTag())
                QVERIFY2(line->startsWith(row.value(1) + ' ') && line->contains(row.value(2)),
                         qPrintable(row.join(" | ") + '\n' + *line));
        }
    }

    // What the page promises to find has a row here, and the other way round.
    void everyMistakeIsDocumented()
    {
        QStringList names;
        const QList<Mistake> mistakes = allMistakes();
        for (const Mistake& mistake : mistakes) {
            if (!mistake.finding.isEmpty())
                names.append(mistake.name);
        }
        QStringList documented;
        const QList<QStringList> rows = documentedMistakes();
        for (const QStringList& row : rows)
            documented.append(row.value(0));
        const QString gaps = tableGaps("docs/bench.md, \"Mistakes that it finds\"", names, documented);
        QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
    }

    void sampleHasNone_data()
    {
        QTest::addColumn<int>("generation");
        QTest::addColumn<QString>("model");
        QTest::newRow("generation 2") << 2 << "MDgen2";
        QTest::newRow("first firmware") << 1 << "MDgen1V1";
        for (const char* const model : {"MDC-22", "MDC-26", "MDC-32"})
            QTest::newRow(model) << 1 << model;
    }

    // Whichever of its controllers is connected.
    void sampleHasNone()
    {
        QFETCH(int, generation);
        QFETCH(QString, model);
        QCOMPARE(
            complaintsOf(MDC_SOURCE_DIRECTORY "/configurations/bench.json", {generation, model}).join('\n'),
            QString());
    }
};

QTEST_GUILESS_MAIN(TstConfigurationMistakes)
#include "tst_configuration_mistakes.moc"
