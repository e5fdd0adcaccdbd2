#include "model/channel_names.h"

#include <QTest>

class TestMdcChannelNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void generationSuffixes_data();
    void generationSuffixes();
    void versionedNames_data();
    void versionedNames();
    void suffixesComeOffAgain();
    void namesWithoutSuffix_data();
    void namesWithoutSuffix();
    void firmware_data();
    void firmware();
    void lastGenerations();
    void torqueUnitChannels_data();
    void torqueUnitChannels();
    void torqueUnitChannelsOfModels_data();
    void torqueUnitChannelsOfModels();
    void lockScreenChannels_data();
    void lockScreenChannels();
    void modelNames_data();
    void modelNames();
    void backupRangeKeys_data();
    void backupRangeKeys();
};

void TestMdcChannelNames::generationSuffixes_data()
{
    QTest::addColumn<QVariant>("version");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("0") << QVariant(0) << "";
    QTest::newRow("1") << QVariant(1) << "";
    QTest::newRow("2") << QVariant(2) << "V2";
    QTest::newRow("2 unsigned") << QVariant(2u) << "V2";
    QTest::newRow("10") << QVariant(10) << "V10";
    QTest::newRow("65535") << QVariant(65535) << "V65535";
    QTest::newRow("65536") << QVariant(65536) << "";
    QTest::newRow("65537") << QVariant(65537) << "";
    QTest::newRow("65538") << QVariant(65538) << "V2";
    QTest::newRow("text") << QVariant("3") << "V3";
    QTest::newRow("no number") << QVariant("three") << "";
    QTest::newRow("invalid") << QVariant() << "";
}

void TestMdcChannelNames::generationSuffixes()
{
    QFETCH(QVariant, version);
    QFETCH(QString, suffix);
    QCOMPARE(generationSuffix(softwareGeneration(version)), suffix);
    // As a number it may be taken as it stands.
    if (version.userType() == QMetaType::Int)
        QCOMPARE(generationSuffix(version.toInt()), suffix);
}

void TestMdcChannelNames::versionedNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("base");
    QTest::addColumn<int>("generation");
    const auto plain = [](const char* name) { QTest::newRow(name) << name << name << 1; };
    plain("");
    plain("direction");
    plain("V");
    plain("directionV");
    plain("directionV0");
    plain("directionV1");
    plain("directionV02");
    plain("directionV+2");
    plain("directionV 2");
    plain("directionV65536");
    plain("directionV65538");
    plain("directionV99999999999");
    plain("directionv2");
    plain("directionV2x");
    plain("lockScreenGen1V1");
    QTest::newRow("V2") << "V2"
                        << "" << 2;
    QTest::newRow("directionV2") << "directionV2"
                                 << "direction" << 2;
    QTest::newRow("directionV10") << "directionV10"
                                  << "direction" << 10;
    QTest::newRow("directionV65535") << "directionV65535"
                                     << "direction" << 65535;
    QTest::newRow("directionV3V2") << "directionV3V2"
                                   << "directionV3" << 2;
}

void TestMdcChannelNames::versionedNames()
{
    QFETCH(QString, name);
    const VersionedName taken = versionedName(name);
    QTEST(taken.base, "base");
    QTEST(taken.generation, "generation");
    QCOMPARE(taken.base + generationSuffix(taken.generation), name);
}

void TestMdcChannelNames::suffixesComeOffAgain()
{
    for (int generation = 1; generation <= 65535; ++generation) {
        const VersionedName taken = versionedName("motorRun" + generationSuffix(generation));
        QCOMPARE(taken.base, QString("motorRun"));
        QCOMPARE(taken.generation, generation);
    }
}

void TestMdcChannelNames::namesWithoutSuffix_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("given"); // null: none
    QTest::newRow("generation 1") << "alarm" << 1 << "alarm";
    QTest::newRow("generation 1, a later one's") << "alarmV2" << 1 << "alarmV2";
    QTest::newRow("generation 0") << "alarm" << 0 << "alarm";
    QTest::newRow("generation 2") << "alarmV2" << 2 << "alarm";
    QTest::newRow("generation 2, nothing before it") << "V2" << 2 << "";
    QTest::newRow("generation 2, without") << "alarm" << 2 << QString();
    QTest::newRow("generation 2, another's") << "alarmV3" << 2 << QString();
    QTest::newRow("generation 2, V12") << "alarmV12" << 2 << QString();
}

void TestMdcChannelNames::namesWithoutSuffix()
{
    QFETCH(QString, name);
    QFETCH(int, generation);
    QFETCH(QString, given);
    const std::optional<QString> found = nameWithoutSuffix(name, generation);
    QCOMPARE(found.has_value(), !given.isNull());
    QCOMPARE(found.value_or(QString()), given);
}

void TestMdcChannelNames::firmware_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("generation");
    QTest::addColumn<bool>("isFirst");
    QTest::newRow("none") << 0 << "" << 1 << false;
    QTest::newRow("before the first") << 999 << "0.99.9" << 1 << false;
    QTest::newRow("first") << 1000 << "1.00.0" << 1 << true;
    QTest::newRow("last of the first") << 1999 << "1.99.9" << 1 << true;
    QTest::newRow("second") << 2000 << "2.00.0" << 1 << false;
    QTest::newRow("last of generation 1") << 3999 << "3.99.9" << 1 << false;
    QTest::newRow("first of generation 2") << 4000 << "4.00.0" << 2 << false;
    QTest::newRow("two digits") << 12345 << "12.34.5" << 2 << false;
    QTest::newRow("largest") << 65535 << "65.53.5" << 2 << false;
}

void TestMdcChannelNames::lastGenerations()
{
    QCOMPARE(lastGeneration(), generationOfFirmware(quint16{65535}));
}

void TestMdcChannelNames::firmware()
{
    QFETCH(int, number);
    QFETCH(QString, text);
    QFETCH(int, generation);
    QFETCH(bool, isFirst);
    QCOMPARE(generationOfFirmware(static_cast<quint16>(number)), generation);
    QCOMPARE(generationOfFirmware(text), generation);
    QVERIFY(generation <= lastGeneration());
    QCOMPARE(isFirstFirmware(static_cast<quint16>(number)), isFirst);
    QCOMPARE(isFirstFirmware(text), isFirst);
}

void TestMdcChannelNames::torqueUnitChannels_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("firmware");
    QTest::addColumn<QString>("channel");
    QTest::newRow("first firmware") << 1 << "1.23.0"
                                    << "torqueUnitGen1V1";
    QTest::newRow("generation 1") << 1 << "3.10.5"
                                  << "torqueUnit";
    QTest::newRow("generation 2") << 2 << "4.01.2"
                                  << "torqueUnitV2";
    QTest::newRow("generation 2, odd firmware") << 2 << "1.00.0"
                                                << "torqueUnitV2";
    QTest::newRow("none") << 0 << "1.00.0"
                          << "torqueUnit";
}

void TestMdcChannelNames::torqueUnitChannels()
{
    QFETCH(int, generation);
    QFETCH(QString, firmware);
    QTEST(torqueUnitChannel(generation, firmware), "channel");
}

void TestMdcChannelNames::torqueUnitChannelsOfModels_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("channel");
    QTest::newRow("first firmware") << "MDgen1V1"
                                    << "torqueUnitGen1V1";
    QTest::newRow("model") << "MDC-26"
                           << "torqueUnit";
    QTest::newRow("unknown model") << "????"
                                   << "torqueUnit";
    QTest::newRow("generation 2") << "MDgen2"
                                  << "torqueUnitV2";
    QTest::newRow("generation 12") << "MDgen12"
                                   << "torqueUnitV12";
    QTest::newRow("no generation") << "MDgen1"
                                   << "torqueUnit";
}

void TestMdcChannelNames::torqueUnitChannelsOfModels()
{
    QFETCH(QString, model);
    QTEST(torqueUnitChannel(model), "channel");
}

void TestMdcChannelNames::lockScreenChannels_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("firmware");
    QTest::addColumn<bool>("isBm");
    QTest::addColumn<QString>("channel");
    const QString first = QStringLiteral("lockScreenGen1V1");
    QTest::newRow("before the first layout") << 1 << 999 << false << "lockScreen";
    QTest::newRow("first of the first layout") << 1 << 1000 << false << first;
    QTest::newRow("last of the first layout") << 1 << 1999 << false << first;
    QTest::newRow("behind the first layout") << 1 << 2000 << false << "lockScreen";
    QTest::newRow("BM") << 1 << 3105 << true << first;
    QTest::newRow("generation 2") << 2 << 4012 << false << "lockScreenV2";
    QTest::newRow("generation 2, first firmware") << 2 << 1500 << false << "lockScreenV2";
    QTest::newRow("generation 2, BM") << 2 << 4012 << true << "lockScreenV2";
    QTest::newRow("generation 0") << 0 << 1500 << false << "lockScreen";
    QTest::newRow("generation 0, BM") << 0 << 1500 << true << "lockScreen";
}

void TestMdcChannelNames::lockScreenChannels()
{
    QFETCH(int, generation);
    QFETCH(int, firmware);
    QFETCH(bool, isBm);
    QTEST(lockScreenChannel(generation, static_cast<quint16>(firmware), isBm), "channel");
}

void TestMdcChannelNames::modelNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("generation"); // 0: none
    QTest::addColumn<bool>("isReserved");
    QTest::newRow("first firmware") << modelNameOfFirstFirmware() << 0 << true;
    QTest::newRow("generation 2") << modelNameOfGeneration(2) << 2 << true;
    QTest::newRow("generation 65535") << modelNameOfGeneration(65535) << 65535 << true;
    QTest::newRow("MDgen2") << "MDgen2" << 2 << true;
    QTest::newRow("MDgen10") << "MDgen10" << 10 << true;
    QTest::newRow("MDgen65536") << "MDgen65536" << 0 << true;
    QTest::newRow("MDgen0") << "MDgen0" << 0 << true;
    QTest::newRow("MDgen1") << "MDgen1" << 0 << true;
    QTest::newRow("MDgen02") << "MDgen02" << 0 << true;
    QTest::newRow("MDgen") << "MDgen" << 0 << true;
    QTest::newRow("mdgen2") << "mdgen2" << 0 << false;
    QTest::newRow("MDC-26") << "MDC-26" << 0 << false;
    QTest::newRow("MD") << "MD" << 0 << false;
    QTest::newRow("empty") << "" << 0 << false;
}

void TestMdcChannelNames::modelNames()
{
    QFETCH(QString, name);
    QFETCH(int, generation);
    QFETCH(bool, isReserved);
    QCOMPARE(generationOfModelName(name).value_or(0), generation);
    QCOMPARE(isReservedModelName(name), isReserved);
}

void TestMdcChannelNames::backupRangeKeys_data()
{
    QTest::addColumn<QString>("parameter");
    QTest::addColumn<QString>("model"); // null: none
    QTest::newRow("generation") << "MDgen2_config"
                                << "MDgen2";
    QTest::newRow("model") << "MDC-26_config"
                           << "MDC-26";
    QTest::newRow("no model") << "_config"
                              << "";
    QTest::newRow("another parameter") << "eventDataKeys" << QString();
    QTest::newRow("misspelt") << "MDgen2_confgi" << QString();
    QTest::newRow("in the middle") << "MDgen2_configs" << QString();
}

void TestMdcChannelNames::backupRangeKeys()
{
    QFETCH(QString, parameter);
    QFETCH(QString, model);
    const std::optional<QString> found = modelOfBackupRangeKey(parameter);
    QCOMPARE(found.has_value(), !model.isNull());
    QCOMPARE(found.value_or(QString()), model);
    if (found)
        QCOMPARE(backupRangeKey(*found), parameter);
}

QTEST_GUILESS_MAIN(TestMdcChannelNames)

#include "tst_mdc_channel_names.moc"
