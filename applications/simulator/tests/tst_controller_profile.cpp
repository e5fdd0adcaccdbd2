#include "applications/simulator/controller_profile.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/sample_configuration.h"

#include <QSet>
#include <QSignalSpy>
#include <QTest>

using Words = QVector<quint16>;

namespace {

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

} // namespace

class TestControllerProfile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void identificationBlocks_data();
    void identificationBlocks();
    void profilesAreDistinct();
    void layoutOfProfile_data();
    void layoutOfProfile();
    void torqueUnitOfProfile_data();
    void torqueUnitOfProfile();
};

void TestControllerProfile::identificationBlocks_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("name"); // in the configuration

    const auto row = [](const char* profile, const char* block, int generation, const char* title,
                        const char* name) {
        QTest::newRow(profile) << bytes(block) << generation << title << name;
    };
    row("mdc26-gen1v1", "0100 0100 0400 DC05 7D00 03 07", 1, "MDC-26 generation 1", "MDgen1V1");
    row("mdc26-gen1v2", "0100 0100 0400 C409 7D00 03 07", 1, "MDC-26 generation 1", "MDC-26");
    row("mdc22-gen1v2", "0100 0300 0D00 210C 2A00 0F 07 13", 1, "MDC-22 generation 1", "MDC-22");
    row("mdc32-gen1v2", "0100 0200 0600 810C 7D00 03 07", 1, "MDC-32 generation 1", "MDC-32");
    row("mdc32-gen2", "0100 0200 0700 AC0F 2A00 0F 07 13", 2, "MDC-32 generation 2", "MDgen2");
    row("mdc22-gen2", "0100 0300 1100 0410 2A00 0F 07 13", 2, "MDC-22 generation 2", "MDgen2");
    row("mdc26-gen2", "0100 0100 0400 6B10 2A00 01 07 13 00000000", 2, "MDC-26 generation 2", "MDgen2");
    row("bm-gen1v1", "0100 0100 0500 CE04 2A00 0A 07 13 00000000", 1, "BM generation 1", "MDgen1V1");
    row("bm-firmware2-gen1v1", "0100 0100 0500 2409 2A00 0A 07 13 00000000", 1, "BM generation 1", "BM");
    row("bm-gen2", "0100 0100 0600 CD10 2A00 0A 07 13 00000000", 2, "BM generation 2", "MDgen2");
    row("unknown-gen1v2", "0100 0900 0D00 280A 2A00 0F 07 13", 1, "Unknown generation 1", "????");
    row("nameless-gen1v2", "0100 0100 0400 8C0A 2A00 07 07 13 00000000", 1, "Nameless generation 1", "");
    row("unreadable-gen1v2", "0100 0200 0700 810C", 1, "Unreadable generation 1", "????");
}

void TestControllerProfile::identificationBlocks()
{
    QFETCH(QByteArray, block);
    QFETCH(int, generation);
    QFETCH(QString, title);
    QFETCH(QString, name);
    const auto profile = ControllerProfile::byName(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(profile.has_value());
    QCOMPARE(profile->identificationBlock().toHex(), block.toHex());
    QCOMPARE(profile->generation(), generation);
    QCOMPARE(profile->title(), title);
    QCOMPARE(profile->configurationName(), name);
}

void TestControllerProfile::profilesAreDistinct()
{
    QSet<QString> names;
    QSet<QByteArray> blocks;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles) {
        names.insert(profile.name);
        blocks.insert(profile.identificationBlock());
        QVERIFY2(!profile.description.isEmpty(), qPrintable(profile.name));
        QVERIFY2(!profile.reference.isEmpty(), qPrintable(profile.name));
    }
    QCOMPARE(profiles.size(), 13);
    QCOMPARE(names.size(), profiles.size());
    QCOMPARE(blocks.size(), profiles.size());
    QVERIFY(!ControllerProfile::byName(QStringLiteral("mdc99-gen9")).has_value());
}

void TestControllerProfile::layoutOfProfile_data()
{
    QTest::addColumn<int>("firmware");
    QTest::addColumn<bool>("isBm");
    QTest::addColumn<bool>("isFirst");

    QTest::newRow("999") << 999 << false << false;
    QTest::newRow("1000") << 1000 << false << true;
    QTest::newRow("1999") << 1999 << false << true;
    QTest::newRow("2000") << 2000 << false << false;
    QTest::newRow("3999") << 3999 << false << false;
    QTest::newRow("4000") << 4000 << false << false;
    QTest::newRow("BM 999") << 999 << true << true;
    QTest::newRow("BM 2500") << 2500 << true << true;
    QTest::newRow("BM 4000") << 4000 << true << false;
}

void TestControllerProfile::layoutOfProfile()
{
    QFETCH(int, firmware);
    QFETCH(bool, isBm);
    QFETCH(bool, isFirst);
    ControllerProfile profile =
        *ControllerProfile::byName(isBm ? QStringLiteral("bm-gen1v1") : QStringLiteral("mdc26-gen2"));
    profile.firmware = static_cast<quint16>(firmware);
    QCOMPARE(profile.hasFirstRegisterLayout(), isFirst);
    // A serial byte of 10 makes no BM of the other blocks.
    profile.layout = ControllerProfile::Layout::Bytes13;
    QCOMPARE(profile.hasFirstRegisterLayout(), firmware >= 1000 && firmware < 2000);
}

void TestControllerProfile::torqueUnitOfProfile_data()
{
    QTest::addColumn<int>("address");

    // By the firmware's number, unlike the screen lock.
    QTest::newRow("mdc26-gen1v1") << 602;
    QTest::newRow("mdc26-gen1v2") << 601;
    QTest::newRow("mdc32-gen1v2") << 601;
    QTest::newRow("bm-gen1v1") << 602;
    QTest::newRow("bm-firmware2-gen1v1") << 601;
    QTest::newRow("unknown-gen1v2") << 601;
    QTest::newRow("nameless-gen1v2") << 601;
    QTest::newRow("unreadable-gen1v2") << 601;
    QTest::newRow("mdc32-gen2") << 2001;
    QTest::newRow("bm-gen2") << 2001;
}

void TestControllerProfile::torqueUnitOfProfile()
{
    QFETCH(int, address);
    SimulatedController controller(sampleConfiguration(),
                                   *ControllerProfile::byName(QString::fromLatin1(QTest::currentDataTag())));
    QCOMPARE(controller.problems(), QStringList());
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const auto place = static_cast<quint16>(address);
    Words read;
    QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
    QCOMPARE(read, Words{0});
    QCOMPARE(controller.write(holding, place, {2}), quint8(0));
    QCOMPARE(controller.torqueUnit(), quint16(2));
    QCOMPARE(controller.write(holding, place, {3}), SimulatedController::c_illegalValue);
    QSignalSpy changes(&controller, &SimulatedController::valueChanged);
    QVERIFY(controller.setTorqueUnit(7));
    QCOMPARE(changes.size(), 1);
    QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
    QCOMPARE(read, Words{7});
}

QTEST_GUILESS_MAIN(TestControllerProfile)
#include "tst_controller_profile.moc"
