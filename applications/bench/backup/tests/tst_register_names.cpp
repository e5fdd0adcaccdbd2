#include "applications/bench/backup/backup_comparison.h"
#include "applications/bench/backup/register_names.h"

#include <QTest>

namespace {

RegisterGroups someGroups()
{
    return {{"preset1", {1, 2}},   {"preset2", {3, 4}}, {"preset10", {5, 6}}, {"extraGeneral", {7}},
            {"extraTool", {9, 8}}, {"presetA", {10}},   {"other", {1, 10}},   {"preset3", {}}};
}

} // namespace

class TstRegisterNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names()
    {
        const RegisterNames names(someGroups());
        QCOMPARE(groupsText(names.placesOf(1)), QString("other, preset1"));
        QCOMPARE(positionsText(names.placesOf(1)), QString("1, 1"));
        QCOMPARE(groupsText(names.placesOf(8)), QString("extraTool"));
        QCOMPARE(positionsText(names.placesOf(8)), QString("2"));
        QCOMPARE(groupsText(names.placesOf(99)), QString("-"));
        QCOMPARE(positionsText(names.placesOf(99)), QString("-"));
        QVERIFY(isNameBefore("preset2", "preset10"));
        QVERIFY(!isNameBefore("preset10", "preset2"));
        QVERIFY(!isNameBefore("preset2", "preset2"));
        QVERIFY(isNameBefore("extra", "preset1"));
        QVERIFY(isNameBefore("preset", "preset1"));
        QVERIFY(isNameBefore("9", "10"));
    }

    void ranges_data()
    {
        QTest::addColumn<QList<int>>("numbers");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << QList<int>() << "";
        QTest::newRow("one") << QList<int>{7} << "7";
        QTest::newRow("two") << QList<int>{7, 8} << "7-8";
        QTest::newRow("gaps") << QList<int>{1, 2, 3, 5, 7, 8} << "1-3, 5, 7-8";
        QTest::newRow("repeated") << QList<int>{1, 1, 2, 2, 4, 4} << "1-2, 4";
    }

    void ranges()
    {
        QFETCH(QList<int>, numbers);
        QTEST(rangesText(numbers), "text");
    }
};

QTEST_GUILESS_MAIN(TstRegisterNames)
#include "tst_register_names.moc"
