#include "applications/bench/run/order_arguments.h"

#include <QTest>

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

    void knownArgument_data()
    {
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<bool>("forced");
        QTest::addColumn<QVariantMap>("values");
        QTest::addColumn<QString>("error");
        QTest::newRow("undeclared, with its type")
            << QStringList{"lock=1", "unlockLoosening=no"} << false
            << QVariantMap{{"lock", 1U}, {"unlockLoosening", false}} << "";
        QTest::newRow("undeclared, not of its type")
            << QStringList{"lock=1", "unlockLoosening=maybe"} << false << QVariantMap{{"lock", 1U}}
            << "true or false is needed";
        QTest::newRow("undeclared, misspelt")
            << QStringList{"lock=1", "unlockLosening=yes"} << false << QVariantMap{{"lock", 1U}}
            << "did you mean \"unlockLoosening\"";
        QTest::newRow("highest") << QStringList{"lock=3"} << false << QVariantMap{{"lock", 3U}} << "";
        QTest::newRow("without a meaning")
            << QStringList{"lock=4"} << false << QVariantMap()
            << "it is 0 (none), 1 (both), 2 (loosening), 3 (fastening); --force";
        QTest::newRow("without a meaning, forced")
            << QStringList{"lock=4"} << true << QVariantMap{{"lock", 4U}} << "";
    }

    void knownArgument()
    {
        QFETCH(QStringList, texts);
        QFETCH(bool, forced);
        QFETCH(QVariantMap, values);
        QFETCH(QString, error);
        const QList<DCommandValue> declared{{"lock", "ui16", {}, QVariant("")}};
        const OrderArguments arguments =
            parseOrderArguments("setLock", texts, declared, knownArguments("setLock", declared), forced);
        QCOMPARE(arguments.values, values);
        QVERIFY(arguments.warnings.isEmpty());
        QCOMPARE(arguments.errors.size(), error.isEmpty() ? 0 : 1);
        QVERIFY2(arguments.errors.join(QString()).contains(error), qPrintable(arguments.errors.join('\n')));
    }

    void anotherCommandOfThatName()
    {
        QVERIFY(knownArguments("setLock", {{"door", "ui16", {}, {}}}).isEmpty());
        QVERIFY(knownArguments("setDoor", {}).isEmpty());
    }

    void missing_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QVariant>("defaultValue");
        QTest::addColumn<QString>("text"); // empty: it may be left out
        QTest::newRow("known") << "setLock"
                               << "lock"
                               << "ui16" << QVariant("")
                               << "parameter \"lock\" is not given: directions of rotation";
        QTest::newRow("known, can be left out") << "SetTriggerProgram"
                                                << "resetMode"
                                                << "bool" << QVariant() << "";
        QTest::newRow("not known, no default")
            << "paint"
            << "colour"
            << "strg" << QVariant() << "parameter \"colour\" is not given; add colour=VALUE";
        QTest::newRow("not known, default of another type")
            << "paint"
            << "coats"
            << "ui16" << QVariant("") << "parameter \"coats\" is not given; add coats=NUMBER";
        QTest::newRow("not known, default") << "paint"
                                            << "coats"
                                            << "ui16" << QVariant(2) << "";
    }

    void missing()
    {
        QFETCH(QString, command);
        QFETCH(QString, name);
        QFETCH(QString, type);
        QFETCH(QVariant, defaultValue);
        QFETCH(QString, text);
        const QList<DCommandValue> declared{{name, type, {}, defaultValue}};
        const QStringList texts = missingArguments({}, declared, knownArguments(command, declared));
        QCOMPARE(texts.size(), text.isEmpty() ? 0 : 1);
        QVERIFY2(texts.value(0).contains(text), qPrintable(texts.join('\n')));
        QCOMPARE(missingArguments({{name, 1}}, declared, knownArguments(command, declared)), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstOrderArguments)
#include "tst_order_arguments.moc"
