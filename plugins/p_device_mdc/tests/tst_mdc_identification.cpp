#include "command_bench.h"
#include "tests/support/identification_samples.h"

#include "d_cmd_getInfo.h"
#include "model/identification_block.h"

#include <QSignalSpy>
#include <QTest>

// What a controller says of itself, and what "getInfo" makes of it.
class TestMdcIdentification : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void toolModels_data();
    void toolModels();
    void blocks_data();
    void blocks();
    void blockLengths();
    void versionTexts_data();
    void versionTexts();
    void references_data();
    void references();
    void informationSetsProperties();
    void informationKeepsTheLastReference();
    void informationWithoutADeviceParent();
};

void TestMdcIdentification::toolModels_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("mdc");
    QTest::addColumn<QString>("mdtc");
    QTest::addColumn<QString>("bm");
    const char* const u = "????";
    const struct
    {
        int code;
        const char* mdc;
        const char* mdtc;
        const char* bm;
    } c_rows[] = {
        {0, u, u, u},
        {1, "MD2601", "T2604", "3201"},
        {2, "MD2602", "T2611", "3202"},
        {3, "MD2604", "T2616", "3204"},
        {4, "MD2611", "T3204", "3206"},
        {5, "MD2616", "T3211", "3211"},
        {6, "MD3201", "T3216", "3216"},
        {7, "MD3202", "T3228", "3224"},
        {8, "MD3204", "T3258", "3236"},
        {9, "MD3211", "TP3204", "3245"},
        {10, "MD3216", "TP3206", "3264"},
        {11, "MD3236", "TP3211", u},
        {12, "MD3264", "TP3216", u},
        {13, "MD2201", "TP3220", u},
        {14, "MD3208", "TP3224", u},
        {15, "MD3210", "TP3236", u},
        {16, "MD2203", "TP3245", u},
        {17, "MD2202", "TP3264", u},
        {18, "MD3203", "T3208", u},
        {19, u, "T3243", u},
        {20, u, "T2628", u},
        {21, u, "TP3280", u},
        {22, u, u, u},
        {256, u, u, u},
        {65535, u, u, u},
    };
    for (const auto& row : c_rows)
        QTest::addRow("%d", row.code) << row.code << QString(row.mdc) << QString(row.mdtc) << QString(row.bm);
}

void TestMdcIdentification::toolModels()
{
    QFETCH(int, code);
    QFETCH(QString, mdc);
    QFETCH(QString, mdtc);
    QFETCH(QString, bm);
    const QByteArray info =
        identificationBlock(13, 1, static_cast<quint16>(code), 4000, identificationBytes({0, 0, 0, 0, 0}));
    QCOMPARE(decodeIdentification(info, &mdcToolTable()).toolModel, mdc);
    QCOMPARE(decodeIdentification(info, &mdtcToolTable()).toolModel, mdtc);
    QCOMPARE(decodeIdentification(info, &bmToolTable()).toolModel, bm);
    QCOMPARE(decodeIdentification(info, nullptr).toolModel, QStringLiteral("MDC-26"));
}

void TestMdcIdentification::blocks_data()
{
    QTest::addColumn<QByteArray>("info");
    QTest::addColumn<QString>("controller");
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("generation");

    // Byte by byte, to hold the order of the bytes of a word: 0x0FA5 is 4005.
    QTest::newRow("13, golden") << QByteArray::fromHex("0000 0200 0700 a50f 2a000f0713") << "MDC-32"
                                << "MD3202"
                                << "4.00.5"
                                << "1907150042" << 4005 << 2;
    QTest::newRow("12, golden") << QByteArray::fromHex("ffff 0100 0d00 210c 7d000307") << "MDC-26"
                                << "MD2201"
                                << "3.10.5"
                                << "07.03.0125" << 3105 << 1;
    QTest::newRow("17, golden") << QByteArray::fromHex("0000 0100 0100 ac0f 01020f040506070809") << "MDT"
                                << "MD2601"
                                << "4.01.2"
                                << "0504150201" << 4012 << 2;

    QTest::newRow("12, family 2") << identificationBlock(12, 2, 1, 1, identificationBytes({0, 0, 0, 0}))
                                  << "MDC-32"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "00.00.0000" << 1 << 1;
    QTest::newRow("12, family 3") << identificationBlock(12, 3, 1, 1, identificationBytes({0, 0, 0, 0}))
                                  << "????"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "00.00.0000" << 1 << 1;
    QTest::newRow("12, family 0") << identificationBlock(12, 0, 1, 1, identificationBytes({0, 0, 0, 0}))
                                  << "????"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "00.00.0000" << 1 << 1;
    QTest::newRow("12, family 256") << identificationBlock(12, 256, 1, 1, identificationBytes({0, 0, 0, 0}))
                                    << "????"
                                    << "MD2601"
                                    << "0.00.1"
                                    << "00.00.0000" << 1 << 1;
    QTest::newRow("12, wide serial") << identificationBlock(12, 1, 1, 1,
                                                            identificationBytes({255, 255, 100, 255}))
                                     << "MDC-26"
                                     << "MD2601"
                                     << "0.00.1"
                                     << "255.100.65535" << 1 << 1;
    QTest::newRow("13, family 1") << identificationBlock(13, 1, 1, 1, identificationBytes({1, 2, 3, 4, 5}))
                                  << "MDC-26"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "0504030201" << 1 << 1;
    QTest::newRow("13, family 3") << identificationBlock(13, 3, 1, 1, identificationBytes({1, 2, 3, 4, 5}))
                                  << "MDC-22"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "0504030201" << 1 << 1;
    QTest::newRow("13, family 4") << identificationBlock(13, 4, 1, 1, identificationBytes({1, 2, 3, 4, 5}))
                                  << "????"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "0504030201" << 1 << 1;
    QTest::newRow("13, wide serial") << identificationBlock(13, 1, 1, 1,
                                                            identificationBytes({99, 100, 255, 9, 10}))
                                     << "MDC-26"
                                     << "MD2601"
                                     << "0.00.1"
                                     << "100925510099" << 1 << 1;
    QTest::newRow("13, unknown tool")
        << identificationBlock(13, 1, 19, 1, identificationBytes({1, 2, 3, 4, 5})) << "MDC-26"
        << "????"
        << "0.00.1"
        << "0504030201" << 1 << 1;

    const struct
    {
        int family;
        int byte;
        const char* controller;
    } c_long[] = {
        {1, 1, "MD"},    {1, 2, "AD"},   {1, 10, "BM"},    {1, 15, "MDT"}, {1, 19, "BMT"},
        {1, 0, ""},      {1, 3, ""},     {1, 255, ""},     {2, 1, "????"}, {2, 15, "????"},
        {3, 10, "????"}, {0, 1, "????"}, {257, 1, "????"},
    };
    for (const auto& row : c_long) {
        QTest::addRow("17, family %d, byte %d", row.family, row.byte)
            << identificationBlock(17, static_cast<quint16>(row.family), 2, 3999,
                                   identificationBytes({1, 2, row.byte, 4, 5}))
            << QString(row.controller) << "MD2602"
            << "3.99.9"
            << "0504" + QString::number(row.byte).rightJustified(2, '0') + "0201" << 3999 << 1;
    }
}

void TestMdcIdentification::blocks()
{
    QFETCH(QByteArray, info);
    QFETCH(QString, controller);
    QFETCH(QString, tool);
    QFETCH(QString, version);
    QFETCH(QString, serial);
    QFETCH(int, number);
    QFETCH(int, generation);

    const Identification found = decodeIdentification(info, &mdcToolTable());
    QCOMPARE(found.controllerModel, controller);
    QCOMPARE(found.toolModel, tool);
    QCOMPARE(found.version, version);
    QCOMPARE(found.serial, serial);
    QCOMPARE(int(found.versionNumber), number);
    QCOMPARE(found.generation, generation);
    QCOMPARE(decodeIdentification(info, nullptr).toolModel, controller);
    // Empty is a value: a reader of the properties takes null for "never set".
    QVERIFY(!found.controllerModel.isNull());
    QVERIFY(!decodeIdentification({}, nullptr).version.isNull());
    QVERIFY(!decodeIdentification({}, nullptr).serial.isNull());
}

void TestMdcIdentification::blockLengths()
{
    const QByteArray longest = identificationBlock(64, 1, 1, 4000, identificationBytes({1, 2, 1, 4, 5}));
    for (int length = 0; length <= longest.size(); ++length) {
        const Identification found = decodeIdentification(longest.left(length), &mdcToolTable());
        const bool known = length == 12 || length == 13 || length == 17;
        const QByteArray place = QByteArray::number(length) + " bytes";
        QVERIFY2(found.controllerModel == (length == 17 ? "MD" : known ? "MDC-26" : "????"), place);
        QVERIFY2(found.toolModel == (known ? "MD2601" : "????"), place);
        QVERIFY2(found.version == (known ? "4.00.0" : ""), place);
        QVERIFY2(found.serial == (length == 12 ? "04.01.0513" : known ? "0504010201" : ""), place);
        QVERIFY2(found.versionNumber == (known ? 4000 : 0), place);
        QVERIFY2(found.generation == (known ? 2 : 1), place);
        QVERIFY2(known || decodeIdentification(longest.left(length), nullptr).toolModel == "????", place);
    }
}

void TestMdcIdentification::versionTexts_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("generation");
    QTest::newRow("0") << 0 << "0.00.0" << 1;
    QTest::newRow("9") << 9 << "0.00.9" << 1;
    QTest::newRow("315") << 315 << "0.31.5" << 1;
    QTest::newRow("3105") << 3105 << "3.10.5" << 1;
    QTest::newRow("3999") << 3999 << "3.99.9" << 1;
    QTest::newRow("4000") << 4000 << "4.00.0" << 2;
    QTest::newRow("4012") << 4012 << "4.01.2" << 2;
    QTest::newRow("65535") << 65535 << "65.53.5" << 2;
}

void TestMdcIdentification::versionTexts()
{
    QFETCH(int, number);
    QFETCH(QString, text);
    QFETCH(int, generation);
    for (const int length : {12, 13, 17}) {
        const Identification found =
            decodeIdentification(identificationBlock(length, 1, 1, static_cast<quint16>(number),
                                                     identificationBytes({0, 0, 0, 0, 0})),
                                 nullptr);
        QCOMPARE(found.version, text);
        QCOMPARE(int(found.versionNumber), number);
        QCOMPARE(found.generation, generation);
    }
}

void TestMdcIdentification::references_data()
{
    QTest::addColumn<QString>("tool");
    QTest::newRow("MDC") << "MD3202";
    QTest::newRow("MDTC") << "T3228";
    QTest::newRow("BM") << "3224";
    QTest::newRow("MDTC and BM") << "T3228";
    QTest::newRow("BM, MDC") << "MD3202";
    QTest::newRow("MDC before MDTC") << "T3228";
    QTest::newRow("xMDCx") << "MD3202";
    QTest::newRow("mdc mdtc bm") << "MDC-32";
    QTest::newRow("MD TC") << "MDC-32";
    QTest::newRow("") << "MDC-32";
}

void TestMdcIdentification::references()
{
    QFETCH(QString, tool);
    Bench bench("getInfo", {{"reference", QString(QTest::currentDataTag())}});
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.reply(
        informationReply(identificationBlock(13, 2, 7, 4005, identificationBytes({42, 0, 15, 7, 19})))));
    QCOMPARE(bench.order().published(),
             QStringList{QStringLiteral("results {deviceInformation=%1}")
                             .arg(informationRecord("MDC-32", tool, "4.00.5", "1907150042", 2))});
    QCOMPARE(bench.logged(), QStringList());
}

void TestMdcIdentification::informationSetsProperties()
{
    Bench bench("getInfo", {{"reference", "MDC"}});
    QSignalSpy changed(&bench.device(), &DAbstractPlugin::sigPropertyChanged);
    QVERIFY(bench.command().commandExecute());
    const auto changes = [&changed] {
        QStringList texts;
        while (!changed.isEmpty()) {
            const QVariantList change = changed.takeFirst();
            texts.append(change.at(0).toString() + ' ' + typedText(change.at(1).value<QVariant>()) + ' ' +
                         (change.at(2).toBool() ? "persistent" : "session"));
        }
        return texts;
    };

    QVERIFY(bench.reply(
        informationReply(identificationBlock(13, 2, 7, 4005, identificationBytes({42, 0, 15, 7, 19})))));
    QCOMPARE(changes(), (QStringList{"softwareVersion int:2 session", "version int:4005 session",
                                     "controllerModel QString:MDC-32 session"}));
    QVERIFY(bench.reply({}));
    QCOMPARE(changes(), QStringList());
    QCOMPARE(bench.device().getProperty("softwareVersion", nullptr), QVariant(2));
    // A block that cannot be read is an answer as well: nothing is known any more.
    QVERIFY(bench.reply(informationReply("short")));
    QCOMPARE(changes(), (QStringList{"softwareVersion int:1 session", "version int:0 session",
                                     "controllerModel QString:???? session"}));
}

void TestMdcIdentification::informationKeepsTheLastReference()
{
    PDeviceMdc device;
    FakeOrder order;
    DCmdGetInfo command({{"reference", "BM"}}, &device);
    command.linkWithItsOrder(&order);
    const QVariantMap reply =
        informationReply(identificationBlock(13, 2, 7, 4005, identificationBytes({0, 0, 0, 0, 0})));
    QVERIFY(command.rplGetInfo(1, reply));
    QVERIFY(order.published().constLast().contains("id=QString:screwdriverModel, name=QString:"
                                                   "DCmdGetInfo_Screwdriver_model, value=QString:MDC-32"));
    QVERIFY(command.commandExecute());
    QVERIFY(command.rplGetInfo(1, reply));
    QVERIFY(order.published().constLast().contains("id=QString:screwdriverModel, name=QString:"
                                                   "DCmdGetInfo_Screwdriver_model, value=QString:3224"));
}

void TestMdcIdentification::informationWithoutADeviceParent()
{
    for (const Parent parent : {CeForeign, CeNoParent}) {
        Bench bench("getInfo", {{"reference", "MDC"}}, parent);
        QVERIFY(bench.command().commandExecute());
        QVERIFY(bench.reply(
            informationReply(identificationBlock(13, 2, 7, 4005, identificationBytes({42, 0, 15, 7, 19})))));
        QCOMPARE(bench.logged(), QStringList{"DCmdGetInfo::rplGetInfodeviceInfo: parent is not PDeviceMdc"});
        QCOMPARE(bench.order().published(),
                 QStringList{QStringLiteral("results {deviceInformation=%1}")
                                 .arg(informationRecord("MDC-32", "MD3202", "4.00.5", "1907150042", 2))});
    }
}

QTEST_GUILESS_MAIN(TestMdcIdentification)
#include "tst_mdc_identification.moc"
