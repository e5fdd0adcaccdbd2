#include "applications/bench/run/order_arguments.h"

#include <QtTest>

namespace {

QList<DCommandValue> someParameters()
{
    return {{QStringLiteral("direction"), QStringLiteral("ui16"), {}, {}},
            {QStringLiteral("reference"), QStringLiteral("strg"), {}, {}},
            {QStringLiteral("locked"), QStringLiteral("bool"), {}, {}},
            {QStringLiteral("offset"), QStringLiteral("int"), {}, {}},
            {QStringLiteral("keys"), QStringLiteral("varL"), {}, {}},
            {QStringLiteral("options"), QStringLiteral("varM"), {}, {}},
            {QStringLiteral("anything"), QStringLiteral("vart"), {}, {}}};
}

} // namespace

class TstOrderArguments : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void argument_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("value"); // invalid: refused
        QTest::addColumn<QString>("error");  // a part of it
        const QVariant refused;
        QTest::newRow("number") << "direction=1" << QVariant(1U) << "";
        QTest::newRow("highest") << "direction=65535" << QVariant(65535U) << "";
        QTest::newRow("too high") << "direction=65536" << refused << "0 to 65535";
        QTest::newRow("negative") << "direction=-1" << refused << "0 to 65535";
        QTest::newRow("fraction") << "direction=1.5" << refused << "whole number";
        QTest::newRow("no number") << "direction=left" << refused << "\"direction\" cannot be \"left\"";
        QTest::newRow("no value") << "direction=" << refused << "whole number";
        QTest::newRow("text") << "reference=MDC" << QVariant("MDC") << "";
        QTest::newRow("text with quotes") << "reference=a \"b\" 'c'" << QVariant("a \"b\" 'c'") << "";
        QTest::newRow("text with =") << "reference=a=b" << QVariant("a=b") << "";
        QTest::newRow("empty text") << "reference=" << QVariant("") << "";
        QTest::newRow("text that reads as a number") << "reference=12" << QVariant("12") << "";
        QTest::newRow("yes") << "locked=yes" << QVariant(true) << "";
        QTest::newRow("off") << "locked=off" << QVariant(false) << "";
        QTest::newRow("no truth") << "locked=maybe" << refused << "true or false";
        QTest::newRow("negative number") << "offset=-12" << QVariant(-12) << "";
        QTest::newRow("too big") << "offset=2147483648" << refused << "whole number";
        QTest::newRow("list") << "keys=[1, \"a\"]" << QVariant(QVariantList{1.0, "a"}) << "";
        QTest::newRow("no list") << "keys={\"a\": 1}" << refused << "JSON list";
        QTest::newRow("broken list") << "keys=[1," << refused << "JSON list";
        QTest::newRow("map") << "options={\"a\": true}" << QVariant(QVariantMap{{"a", true}}) << "";
        QTest::newRow("no map") << "options=[1]" << refused << "JSON object";
        QTest::newRow("anything: number") << "anything=3" << QVariant(qlonglong(3)) << "";
        QTest::newRow("anything: text") << "anything=three" << QVariant("three") << "";
        QTest::newRow("misspelt") << "directon=1" << refused << "did you mean \"direction\"";
        QTest::newRow("no =") << "direction" << refused << "name=value";
        QTest::newRow("no name") << "=1" << refused << "name=value";
    }

    void argument()
    {
        QFETCH(QString, text);
        QFETCH(QVariant, value);
        QFETCH(QString, error);
        const OrderArguments arguments = parseOrderArguments("someCommand", {text}, someParameters());
        QVERIFY(arguments.warnings.isEmpty());
        if (!value.isValid()) {
            QCOMPARE(arguments.errors.size(), 1);
            QVERIFY2(arguments.errors.constFirst().contains(error),
                     qPrintable(arguments.errors.constFirst()));
            QVERIFY(arguments.values.isEmpty());
            return;
        }
        QCOMPARE(arguments.errors, QStringList());
        const QString name = text.section('=', 0, 0);
        QCOMPARE(arguments.values.keys(), QStringList{name});
        QCOMPARE(arguments.values.value(name), value);
        if (value.userType() != QMetaType::QVariantList)
            QCOMPARE(arguments.values.value(name).userType(), value.userType());
    }

    void argumentTwice()
    {
        const OrderArguments arguments =
            parseOrderArguments("c", {"direction=1", "direction=0"}, someParameters());
        QCOMPARE(arguments.errors.size(), 1);
        QVERIFY(arguments.errors.constFirst().contains("twice"));
    }

    void undeclaredArgument_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("value");
        QTest::newRow("text") << "colour=green" << QVariant("green");
        QTest::newRow("number") << "colour=5" << QVariant(qlonglong(5));
        QTest::newRow("fraction") << "colour=0.5" << QVariant(0.5);
        QTest::newRow("truth") << "colour=true" << QVariant(true);
        QTest::newRow("quoted") << "colour=\"5\"" << QVariant("5");
        QTest::newRow("list") << "colour=[\"a\"]" << QVariant(QVariantList{"a"});
        QTest::newRow("two values") << "colour=1,2" << QVariant("1,2");
        QTest::newRow("empty") << "colour=" << QVariant("");
    }

    void undeclaredArgument()
    {
        QFETCH(QString, text);
        QFETCH(QVariant, value);
        const OrderArguments arguments = parseOrderArguments("someCommand", {text}, someParameters());
        QCOMPARE(arguments.errors, QStringList());
        QCOMPARE(arguments.warnings.size(), 1);
        QVERIFY(arguments.warnings.constFirst().contains("\"colour\""));
        QCOMPARE(arguments.values.value("colour"), value);
        QCOMPARE(arguments.values.value("colour").userType(), value.userType());
    }
};

QTEST_GUILESS_MAIN(TstOrderArguments)
#include "tst_order_arguments.moc"
