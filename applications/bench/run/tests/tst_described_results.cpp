#include "applications/bench/run/described_results.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

const QByteArray c_configuration = R"({"channels": [
  {"id": "forceV2", "value": [{"id": "register", "value": 7}, {"id": "scale", "value": 0.5},
                              {"id": "unit", "value": "N"}]},
  {"id": "force", "value": [{"id": "register", "value": 3}]},
  {"id": "wideV2", "value": [{"id": "register", "value": 8}, {"id": "wordOrder", "value": "lowFirst"},
                             {"id": "readRegisterType", "value": "inputRegisters"}]},
  {"id": "eventDataV2", "value": [{"id": "values", "value": {"torque": {"scale": 0.01, "unit": "Nm"}}}]},
  {"id": "presetsV2", "value": [{"id": "values", "value": {"speed": {"unit": "rpm"}}}]}]})";

} // namespace

class TstDescribedResults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void results_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QVariantMap>("arguments");
        QTest::addColumn<QVariantMap>("results");
        QTest::addColumn<QVariant>("described");
        const auto channel = [](const char* name) { return QVariantMap{{"channel", name}}; };
        const QVariantMap seven{{"values", QVariantList{7}}};
        QTest::newRow("a channel") << "getRegister" << channel("force") << seven << QVariant("3.5 N");
        QTest::newRow("known by the commands")
            << "getRegister" << channel("lock") << QVariantMap{{"values", QVariantList{2}}}
            << QVariant("loosening");
        QTest::newRow("known by nobody") << "getRegister" << channel("other") << seven << QVariant();
        QTest::newRow("no value") << "getRegister" << channel("force") << QVariantMap() << QVariant();
        QTest::newRow("one register of two") << "getRegister" << channel("wide") << seven << QVariant();
        QTest::newRow("events") << "listenEventsData" << QVariantMap()
                                << QVariantMap{{"values", QVariantMap{{"torque", 1253}, {"program", 3}}}}
                                << QVariant(QVariantMap{{"torque", "12.53 Nm"}});
        QTest::newRow("a program") << "getPresetData" << QVariantMap()
                                   << QVariantMap{{"presetData", QVariantMap{{"speed", 300}}}}
                                   << QVariant(QVariantMap{{"speed", "300 rpm"}});
        QTest::newRow("events that nobody describes")
            << "listenEventsData" << QVariantMap() << QVariantMap{{"values", QVariantMap{{"program", 3}}}}
            << QVariant();
        QTest::newRow("another command") << "setLock" << QVariantMap() << seven << QVariant();
    }

    void results()
    {
        QFETCH(QString, command);
        QFETCH(QVariantMap, arguments);
        QFETCH(QVariantMap, results);
        QFETCH(QVariant, described);
        const QJsonObject configuration = QJsonDocument::fromJson(c_configuration).object();
        QVERIFY(!configuration.isEmpty());
        QCOMPARE(describedResults({configuration, 2, command, arguments, results}), described);
    }

    void whole()
    {
        const QJsonObject configuration = QJsonDocument::fromJson(c_configuration).object();
        const QVariantMap wide{{"channel", "wide"}};
        DescribedOrder order{configuration, 2, "getRegister", wide, {{"values", QVariantList{1}}}};
        const std::optional<WholeValue> value = wholeValue(order);
        QVERIFY(value);
        QCOMPARE(value->address, 8);
        QCOMPARE(value->count, 2);
        QCOMPARE(value->type, QString("inputRegisters"));
        order.registers = {1, 2};
        QCOMPARE(describedResults(order), QVariant("131073"));
        order.arguments = {{"channel", "force"}};
        QVERIFY(!wholeValue(order));
    }
};

QTEST_GUILESS_MAIN(TstDescribedResults)
#include "tst_described_results.moc"
