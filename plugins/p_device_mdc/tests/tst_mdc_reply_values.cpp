// What a driver's reply is taken for.

#include "reply_values.h"

#include <QByteArrayList>
#include <QJsonArray>
#include <QTest>

using namespace mdc;

class TestMdcReplyValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void values_data();
    void values();
    void failureNotices_data();
    void failureNotices();
};

void TestMdcReplyValues::values_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<bool>("isPresent");
    QTest::addColumn<bool>("isList");
    QTest::addColumn<QVariantList>("list");
    const auto row = [](const char* name, const QVariant& values, bool isList, const QVariantList& list) {
        QTest::newRow(name) << QVariantMap{{"values", values}} << true << isList << list;
    };
    QTest::newRow("nothing") << QVariantMap() << false << false << QVariantList();
    row("an invalid value", QVariant(), false, {});
    row("a list", QVariantList{7, 8}, true, {7, 8});
    row("an empty list", QVariantList(), true, {});
    row("a number", 5, false, {});
    row("a list of texts", QStringList{"7"}, false, {});
    row("a list of bytes", QVariant::fromValue(QByteArrayList{"7"}), false, {});
    row("a list of numbers", QVariant::fromValue(QList<int>{7}), false, {});
    row("a JSON list", QJsonArray{7}, false, {});
}

void TestMdcReplyValues::values()
{
    QFETCH(QVariantMap, reply);
    QFETCH(QVariantList, list);
    const ReplyValues values(reply);
    QTEST(values.isPresent(), "isPresent");
    QTEST(values.isList(), "isList");
    QCOMPARE(values.list(), list);
    QCOMPARE(values.isEmpty(), list.isEmpty());
    QCOMPARE(values.first(), list.value(0));
}

void TestMdcReplyValues::failureNotices_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<bool>("isNotice");
    QTest::newRow("a reply") << QVariantMap{{"values", QVariantList{1}}} << false;
    QTest::newRow("a code") << QVariantMap{{"errorCode", 1}} << true;
    QTest::newRow("a code beside values")
        << QVariantMap{{"errorCode", 5}, {"values", QVariantList{0}}} << true;
    QTest::newRow("no error") << QVariantMap{{"errorCode", 0}, {"values", QVariantList{1}}} << false;
    QTest::newRow("no error, with a text")
        << QVariantMap{{"errorCode", 0}, {"errorMessage", "none"}} << false;
}

void TestMdcReplyValues::failureNotices()
{
    QFETCH(QVariantMap, reply);
    QTEST(isFailureNotice(reply), "isNotice");
}

QTEST_APPLESS_MAIN(TestMdcReplyValues)
#include "tst_mdc_reply_values.moc"
