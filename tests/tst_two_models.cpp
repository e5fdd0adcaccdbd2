#include "applications/simulator/backed_up_registers.h"
#include "applications/simulator/controller_profile.h"
#include "applications/simulator/simulated_controller.h"
#include "plugins/p_device_mdc/model/backup_range.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/device_information.h"
#include "plugins/p_device_mdc/model/identification_block.h"
#include "tests/support/sample_bench.h"
#include "tests/support/table_gaps.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QRegularExpression>
#include <QTest>

// The device plug-in and the simulated controller know of each other's registers only what the
// configuration says, each by a model of its own. Here both read the same: where they disagreed, the one
// would be tested against a controller that there is not.
class tst_TwoModels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyModelHasAProfile();
    void everyToolTableHasAProfile();
    void identification_data();
    void identification();
    void firmware_data();
    void firmware();
    void versionedChannels_data();
    void versionedChannels();
    void bundledRanges_data();
    void bundledRanges();
    void ranges_data();
    void ranges();
};

namespace {

const ToolModels& toolsOf(const ControllerProfile& profile)
{
    return profile.reference == QLatin1String("BM") ? bmToolTable() : mdcToolTable();
}

Identification identificationOf(const ControllerProfile& profile)
{
    return decodeIdentification(profile.identificationBlock(), &toolsOf(profile));
}

// As a host arrives at it: from the block.
QString configurationName(const Identification& identification)
{
    DeviceInformation information;
    information.controllerModel = identification.controllerModel;
    information.version = identification.version;
    information.softwareVersion = identification.generation;
    return configurationModelName(information).value_or(QStringLiteral("none"));
}

void addProfiles()
{
    QTest::addColumn<QString>("profile");
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        QTest::newRow(qPrintable(profile.name)) << profile.name;
}

// What the plug-in reads of the text, "1-620"; empty for nothing. A backup reads as many registers as the
// range has, whichever it begins with.
QString pluginRange(const QString& text)
{
    const auto range = backupRange(backupRangeItems(QRegularExpression(backupRangePattern()), text));
    // The grammar allows numbers that no register has: the end of such a range is beyond int.
    return range ? QStringLiteral("%1-%2").arg(range->first).arg(qint64{range->first} + range->count - 1)
                 : QString();
}

QString simulatorRange(const QString& text)
{
    const auto range = backedUpRegisters(text);
    return range ? QStringLiteral("%1-%2").arg(range->first).arg(range->last) : QString();
}

} // namespace

// What the plug-in can call a controller, a profile makes it call one.
void tst_TwoModels::everyModelHasAProfile()
{
    QStringList simulated;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        simulated.append(profile.model);
    // Of no model at all, as "nameless" is.
    simulated.removeAll(QString());
    const QString same = QStringLiteral("told by a byte of the block like \"MD\" and \"BM\", and by nothing "
                                        "else: what holds for \"MD\" holds for it");
    const QString gaps = tableGaps(
        QStringLiteral("ControllerProfile::all(), by model"), controllerModels(), simulated,
        {{QStringLiteral("AD"), same}, {QStringLiteral("MDT"), same}, {QStringLiteral("BMT"), same}});
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

// The table of tools is chosen by the reference, which each profile has.
void tst_TwoModels::everyToolTableHasAProfile()
{
    QStringList references;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        references.append(profile.reference);
    const QString gaps = tableGaps(
        QStringLiteral("ControllerProfile::all(), by reference"), {"MDC", "MDTC", "BM"}, references,
        {{QStringLiteral("MDTC"), QStringLiteral("no family of controllers of its own: the same blocks, read "
                                                 "with another table of tools, which is tested as such")}});
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

void tst_TwoModels::identification_data()
{
    addProfiles();
}

void tst_TwoModels::identification()
{
    QFETCH(QString, profile);
    const ControllerProfile simulated = *ControllerProfile::byName(profile);
    const Identification read = identificationOf(simulated);
    QCOMPARE(read.controllerModel, simulated.model);
    QCOMPARE(read.version, simulated.version());
    QCOMPARE(read.generation, simulated.generation());
    QCOMPARE(configurationName(read), simulated.configurationName());
    // A tool that no host knows would look like a mistake of the host's.
    const bool isRead = simulated.layout != ControllerProfile::Layout::Bytes8;
    QCOMPARE(read.toolModel == QLatin1String("????"), !isRead);
    QCOMPARE(read.serial.isEmpty(), !isRead);
}

void tst_TwoModels::firmware_data()
{
    QTest::addColumn<int>("number");
    for (const int number : {0, 1, 315, 999, 1000, 1001, 1999, 2000, 3999, 4000, 4012, 9999, 10000, 65535})
        QTest::addRow("%d", number) << number;
}

// Any firmware, in each of the profiles' blocks.
void tst_TwoModels::firmware()
{
    QFETCH(int, number);
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (ControllerProfile simulated : profiles) {
        simulated.firmware = static_cast<quint16>(number);
        const Identification read = identificationOf(simulated);
        if (simulated.layout == ControllerProfile::Layout::Bytes8) {
            // The firmware that nobody can read, and that makes the generation all the same.
            QCOMPARE(read.version, QString());
            continue;
        }
        QCOMPARE(read.version, simulated.version());
        QCOMPARE(read.generation, simulated.generation());
        QCOMPARE(configurationName(read), simulated.configurationName());
        QCOMPARE(generationSuffix(read.generation), simulated.channelSuffix());
        QCOMPARE(isFirstFirmware(read.version), simulated.hasFirstFirmware());
    }
}

void tst_TwoModels::versionedChannels_data()
{
    addProfiles();
}

// Where the plug-in writes, the controller has the register, and has it at no other name's place.
void tst_TwoModels::versionedChannels()
{
    QFETCH(QString, profile);
    const ControllerProfile simulated = *ControllerProfile::byName(profile);
    const Identification read = identificationOf(simulated);
    const QString suffix = generationSuffix(read.generation);
    const bool isBm = read.controllerModel == QLatin1String("BM");
    const QStringList chosen{QStringLiteral("directionChange") + suffix,
                             lockScreenChannel(read.generation, read.versionNumber, isBm),
                             torqueUnitChannel(read.generation, read.version),
                             torqueUnitChannel(configurationName(read))};
    QCOMPARE(chosen.at(2), chosen.at(3));

    // Every candidate has a register that nobody else has; the one of the torque unit takes 2 and not 3.
    const QStringList candidates{"directionChange",  "directionChangeV2", "lockScreen",
                                 "lockScreenGen1V1", "lockScreenV2",      "torqueUnit",
                                 "torqueUnitGen1V1", "torqueUnitV2"};
    QJsonArray channels;
    for (int i = 0; i < candidates.size(); ++i) {
        const auto entry = [](const char* id, const QJsonValue& value) {
            return QJsonObject{{"id", id}, {"value", value}};
        };
        channels.append(QJsonObject{
            {"id", candidates.at(i)},
            {"value", QJsonArray{entry("register", 100 + i), entry("writeRegisterType", "singleRegister"),
                                 entry("readRegisterType", "holdingRegisters")}}});
    }
    const SimulatedController controller({{"channels", channels}}, simulated);
    for (int i = 0; i < candidates.size(); ++i) {
        const QString& candidate = candidates.at(i);
        const bool isChosen = chosen.contains(candidate);
        const auto accepts = [&](quint16 value) {
            return controller.checkWrite(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(100 + i),
                                         {value}) == SimulatedController::c_accepted;
        };
        QVERIFY2(accepts(1) == isChosen, qPrintable(candidate));
        const bool isBounded = !candidate.startsWith(QLatin1String("lockScreen"));
        QVERIFY2(accepts(3) == (isChosen && !isBounded), qPrintable(candidate));
    }
}

void tst_TwoModels::bundledRanges_data()
{
    QTest::addColumn<QString>("text");
    const QJsonObject parameters = deviceConfiguration(sampleBench()).value("parameters").toObject();
    for (auto parameter = parameters.begin(); parameter != parameters.end(); ++parameter) {
        if (modelOfBackupRangeKey(parameter.key()))
            QTest::newRow(qPrintable(parameter.key())) << parameter.value().toString();
    }
}

void tst_TwoModels::bundledRanges()
{
    QFETCH(QString, text);
    QVERIFY(!pluginRange(text).isEmpty());
    QCOMPARE(simulatorRange(text), pluginRange(text));
}

void tst_TwoModels::ranges_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("range"); // empty: none

    const auto row = [](const char* text, const char* range) {
        const QString name = QString::fromUtf8(text).replace('\n', "\\n").replace('\t', "\\t");
        QTest::newRow(qPrintable(name)) << QString::fromUtf8(text) << QString::fromLatin1(range);
    };
    row(R"("backup_range": [1-1500]; "groupA": [12-12]; "groupB": [100-199], [300-399];)", "1-1500");
    row(R"("backup_range": [1-2])", "1-2");
    row(R"("backup_range": [1-2];)", "1-2");
    row(R"("backup_range": [7-9])", "7-9");
    row(R"("backup_range": [0-99])", "");
    row(R"("backup_range": [5-5])", "");
    row(R"("backup_range": [9-5])", "");
    row(R"("backup_range": [1-10], [20-30])", "1-10");
    row(R"("backup_range": [20-30], [1-10])", "20-30");
    row(R"("backup_range": [0-9], [20-30])", "");
    // Of several the last one that is valid.
    row(R"("backup_range": [1-10]; "backup_range": [1-20])", "1-20");
    row(R"("backup_range": [1-20]; "backup_range": [1-10])", "1-10");
    row(R"("backup_range": [1-10]; "backup_range": [0-20])", "1-10");
    row(R"("backup_range": [1-10]; "backup_range": [1-20]; "backup_range": [5-5])", "1-20");
    row(R"("backup_range": [1-10]"backup_range": [1-20])", "1-20");
    // Numbers.
    row(R"("backup_range": [001-010])", "1-10");
    row(R"("backup_range": [1-65535])", "1-65535");
    row(R"("backup_range": [1-65536])", "");
    row(R"("backup_range": [2-65536])", "2-65536");
    row(R"("backup_range": [0-65535])", "");
    row(R"("backup_range": [70000-70010])", "70000-70010");
    row(R"("backup_range": [1-2147483647])", "");
    row(R"("backup_range": [2147483640-2147483647])", "2147483640-2147483647");
    row(R"("backup_range": [1-2147483648])", "");
    row(R"("backup_range": [1-99999999999999999999])", "");
    row(R"("backup_range": [99999999999999999999-99999999999999999999])", "");
    row(R"("backup_range": [-1-10])", "");
    row(R"("backup_range": [+1-10])", "");
    row(R"("backup_range": [1--10])", "");
    row(R"("backup_range": [1.0-10])", "");
    row(R"("backup_range": [0x1-0xA])", "");
    row(R"("backup_range": [1e1-20])", "");
    row(R"("backup_range": [a-b])", "");
    row(R"("backup_range": [1-])", "");
    row(R"("backup_range": [-10])", "");
    row(R"("backup_range": [-])", "");
    row(R"("backup_range": [])", "");
    row(R"("backup_range": [10])", "");
    row(R"("backup_range": [1-10-20])", "");
    row("\"backup_range\": [\u0661-\u0669]", "");
    // Blanks and signs, none more and none less.
    row(R"("backup_range":[1-10])", "");
    row(R"("backup_range":  [1-10])", "");
    row(R"("backup_range" : [1-10])", "");
    row(R"("backup_range": [ 1-10])", "");
    row(R"("backup_range": [1 - 10])", "");
    row(R"("backup_range": [1-10 ])", "");
    row(R"("backup_range": 1-10)", "");
    row(R"("backup_range": [1-10)", "");
    row(R"("backup_range": (1-10))", "");
    row(R"("backup_range"; [1-10])", "");
    row(R"(backup_range: [1-10])", "");
    row(R"('backup_range': [1-10])", "");
    row("\"backup_range\":\t[1-10]", "");
    row("\"backup_range\":\n[1-10]", "");
    row("\n\n  \"backup_range\": [1-10]\n", "1-10");
    // Names.
    row(R"("Backup_range": [1-10])", "");
    row(R"("backup_range ": [1-10])", "");
    row(R"(" backup_range": [1-10])", "");
    row(R"("my backup_range": [1-10])", "");
    row(R"("backup_range2": [1-10])", "");
    row(R"(""backup_range": [1-10])", "1-10");
    row(R"("x"backup_range": [1-10])", "1-10");
    row(R"("backup_range"": [1-10])", "");
    row(R"("backup_range": "backup_range": [1-10])", "1-10");
    row(R"("backup_range": ["backup_range": [1-10])", "1-10");
    row(R"("backup_range": [1-"backup_range": [1-10])", "1-10");
    row(R"("preset1": [1-20)"
        R"(; "backup_range": [1-10])",
        "1-10");
    row(R"("preset1": [1-20], "backup_range": [1-10])", "1-10");
    row(R"("preset1": [1-20], ["backup_range": [1-10])", "1-10");
    row(R"("backup_range": [1-10], [20-)", "1-10");
    row(R"("groupA": [1-10])", "");
    row(R"({"backup_range": [1-10]})", "1-10");
    row(R"(\"backup_range\": [1-10])", "");
    row("nothing of the kind", "");
    row("", "");
}

void tst_TwoModels::ranges()
{
    QFETCH(QString, text);
    QFETCH(QString, range);
    QCOMPARE(pluginRange(text), range);
    QCOMPARE(simulatorRange(text), range);
}

QTEST_GUILESS_MAIN(tst_TwoModels)
#include "tst_two_models.moc"
