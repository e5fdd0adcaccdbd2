#include "applications/bench/run/changed_values.h"

#include <QTest>

class TstChangedValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changed_data();
    void changed();
};

void TstChangedValues::changed_data()
{
    QTest::addColumn<QVariantMap>("before");
    QTest::addColumn<QVariantMap>("now");
    QTest::addColumn<QVariantMap>("changes");
    const QVariantMap values{{"a", 1}, {"b", 2}};
    const QVariantMap other{{"a", 1}, {"b", 3}};
    QTest::newRow("first") << QVariantMap{} << QVariantMap{{"x", values}} << QVariantMap{{"x", values}};
    QTest::newRow("same") << QVariantMap{{"x", values}} << QVariantMap{{"x", values}} << QVariantMap{};
    QTest::newRow("one of two") << QVariantMap{{"x", values}} << QVariantMap{{"x", other}}
                                << QVariantMap{{"x", QVariantMap{{"b", 3}}}};
    QTest::newRow("plain") << QVariantMap{{"x", false}, {"y", 1}} << QVariantMap{{"x", true}, {"y", 1}}
                           << QVariantMap{{"x", true}};
    QTest::newRow("map becomes nothing")
        << QVariantMap{{"x", values}} << QVariantMap{{"x", QVariant()}} << QVariantMap{{"x", QVariant()}};
    QTest::newRow("null becomes 0") << QVariantMap{{"x", QVariant()}} << QVariantMap{{"x", 0}}
                                    << QVariantMap{{"x", 0}};
    QTest::newRow("lists") << QVariantMap{{"x", QVariantList{1, 2}}} << QVariantMap{{"x", QVariantList{1, 3}}}
                           << QVariantMap{{"x", QVariantList{1, 3}}};
}

void TstChangedValues::changed()
{
    QFETCH(QVariantMap, before);
    QFETCH(QVariantMap, now);
    QTEST(changedValues(before, now), "changes");
}

QTEST_GUILESS_MAIN(TstChangedValues)
#include "tst_changed_values.moc"
