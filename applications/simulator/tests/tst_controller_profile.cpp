#include "applications/simulator/controller_profile.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/sample_configuration.h"
#include "tests/support/markdown_table.h"
#include "tests/support/profile_rows.h"
#include "tests/support/simulator_names.h"
#include "tests/support/table_gaps.h"

#include <QSet>
#include <QSignalSpy>
#include <QTest>

#include <iterator>

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
    void initTestCase();
    void identificationBlocks_data();
    void identificationBlocks();
    void profilesAreDistinct();
    void everyProfileHasItsRows();
    void everyProfileIsDocumented();
    void layoutOfProfile_data();
    void layoutOfProfile();
    void torqueUnitOfProfile_data();
    void torqueUnitOfProfile();
};

void TestControllerProfile::initTestCase()
{
    QVERIFY2(sampleProblems().isEmpty(), qPrintable(sampleProblems()));
}

void TestControllerProfile::identificationBlocks_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("name");
    for (const ProfileRow& row : c_profileRows)
        QTest::newRow(row.profile) << bytes(row.block) << row.generation << QString::fromLatin1(row.title)
                                   << QString::fromLatin1(row.configurationName);
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
    QCOMPARE(profiles.size(), static_cast<int>(std::size(c_profileRows)));
    QCOMPARE(names.size(), profiles.size());
    QCOMPARE(blocks.size(), profiles.size());
    QVERIFY(!ControllerProfile::byName(QStringLiteral("mdc99-gen9")).has_value());
}

void TestControllerProfile::everyProfileHasItsRows()
{
    const QString gaps = profileRowGaps();
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

// What the page says of a profile is what it is.
void TestControllerProfile::everyProfileIsDocumented()
{
    const QString page = QStringLiteral(MDC_SOURCE_DIRECTORY "/docs/simulator.md");
    const QList<QStringList> table = markdownTable(page, QStringLiteral("## Profiles"));
    QStringList rows;
    for (const QStringList& cells : table) {
        const QString name = cells.first();
        rows.append(name);
        const auto profile = ControllerProfile::byName(name);
        if (!profile)
            continue; // told below
        QCOMPARE(cells.size(), 5);
        const QString block = QStringLiteral("%1 bytes").arg(static_cast<int>(profile->layout));
        QVERIFY2(cells.at(1).startsWith(block), qPrintable(name));
        const bool isReadable = profile->layout != ControllerProfile::Layout::Bytes8;
        QVERIFY2(!isReadable || cells.at(2).startsWith(QString::number(profile->family)), qPrintable(name));
        QVERIFY2(cells.at(3) == (isReadable ? QString::number(profile->firmware) : QString()),
                 qPrintable(name));
        QVERIFY2(cells.at(4) == profile->reference, qPrintable(name));
    }
    const QString gaps = tableGaps(QStringLiteral("docs/simulator.md, Profiles"), profileNames(), rows);
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
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
    for (const ProfileRow& row : c_profileRows)
        QTest::newRow(row.profile) << row.torqueUnit;
}

void TestControllerProfile::torqueUnitOfProfile()
{
    QFETCH(int, address);
    SimulatedController controller(sampleConfiguration(),
                                   *ControllerProfile::byName(QString::fromLatin1(QTest::currentDataTag())));
    QVERIFY2(controller.problems().isEmpty(), qPrintable(controller.problems().join('\n')));
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
