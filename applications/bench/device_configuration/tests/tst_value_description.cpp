#include "applications/bench/device_configuration/value_description.h"

#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

class TstValueDescription : public QObject
{
    Q_OBJECT

    static QJsonObject members(const QByteArray& json)
    {
        const QJsonDocument document = QJsonDocument::fromJson(json);
        return document.object();
    }

private Q_SLOTS:
    void registers_data()
    {
        QTest::addColumn<QByteArray>("description");
        QTest::addColumn<QList<int>>("registers");
        QTest::addColumn<QString>("text"); // empty: nothing can be said
        const auto row = [](const char* name, const char* description, const QList<int>& registers,
                            const char* text) {
            QTest::newRow(name) << QByteArray(description) << registers << QString::fromUtf8(text);
        };
        row("nothing is said", "{}", {7}, "7");
        row("scale and unit", R"({"scale": 0.01, "unit": "Nm"})", {1253}, "12.53 Nm");
        row("decimals of the scale", R"({"scale": 0.01, "unit": "Nm"})", {1250}, "12.50 Nm");
        row("a whole scale", R"({"scale": 10, "unit": "ms"})", {25}, "250 ms");
        row("a scale that is no power of ten", R"({"scale": 0.25})", {3}, "0.75");
        row("a scale without an end", R"({"scale": 0.3333333333})", {3}, "1.000000");
        row("unit alone", R"({"unit": "°"})", {90}, "90 °");
        row("a scale of nothing counts for none", R"({"scale": 0})", {90}, "90");
        row("signed", R"({"signed": true})", {65535}, "-1");
        row("signed, the lowest", R"({"signed": true})", {32768}, "-32768");
        row("signed, the highest", R"({"signed": true})", {32767}, "32767");
        row("not signed", "{}", {65535}, "65535");
        row("signed and scaled", R"({"signed": true, "scale": 0.1, "unit": "°C"})", {65411}, "-12.5 °C");
        row("a name", R"({"enum": {"0": "forward", "1": "backward"}})", {1}, "backward");
        row("a value without a name", R"({"enum": {"0": "forward"}, "unit": "x"})", {4}, "4 x");
        row("a name of a negative value", R"({"enum": {"-1": "none"}, "signed": true})", {65535}, "none");
        row("bits", R"({"bits": {"0": "ready", "3": "alarm"}})", {9}, "ready, alarm");
        row("a bit without a name", R"({"bits": {"0": "ready"}})", {0x8001}, "ready, bit 15");
        row("no bit", R"({"bits": {"0": "ready"}})", {0}, "no bit set");
        row("two registers", R"({"wordOrder": "highFirst"})", {1, 2}, "65538");
        row("two registers, the lower first", R"({"wordOrder": "lowFirst"})", {1, 2}, "131073");
        row("two registers, signed", R"({"wordOrder": "highFirst", "signed": true})", {65535, 65534}, "-2");
        row("two registers, not signed", R"({"wordOrder": "highFirst"})", {65535, 65534}, "4294967294");
        row("a float", R"({"encoding": "float", "unit": "Nm"})", {0x4148, 0x7AE1}, "12.53 Nm");
        row("a float, the lower half first", R"({"encoding": "float", "wordOrder": "lowFirst"})",
            {0x7AE1, 0x4148}, "12.53");
        row("a float, scaled", R"({"encoding": "float", "scale": 1000, "unit": "mNm"})", {0x4148, 0x7AE1},
            "12530 mNm");
        row("a float that is no number", R"({"encoding": "float"})", {0x7FC0, 0}, "no number");
        row("a register is missing", R"({"encoding": "float"})", {1}, "");
        row("a register too many", "{}", {1, 2}, "");
        row("none", "{}", {}, "");
        row("a word order that there is not", R"({"wordOrder": "middle"})", {7}, "7");
    }

    void registers()
    {
        QFETCH(QByteArray, description);
        QFETCH(QList<int>, registers);
        QFETCH(QString, text);
        QCOMPARE(describedValue(valueDescription(members(description)), registers), text);
    }

    // Of what commands give, each a number of its own.
    void numbers_data()
    {
        QTest::addColumn<QByteArray>("description");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        const QByteArray torque = R"({"scale": 0.01, "unit": "Nm"})";
        QTest::newRow("an int") << torque << QVariant(1253) << "12.53 Nm";
        QTest::newRow("a negative one") << torque << QVariant(-1253) << "-12.53 Nm";
        QTest::newRow("a double") << torque << QVariant(1253.0) << "12.53 Nm";
        QTest::newRow("signed") << QByteArray(R"({"signed": true})") << QVariant(65535) << "-1";
        QTest::newRow("signed already") << QByteArray(R"({"signed": true})") << QVariant(-1) << "-1";
        QTest::newRow("a text of digits") << torque << QVariant("1253") << "";
        QTest::newRow("a list") << torque << QVariant(QVariantList{1, 2}) << "";
        QTest::newRow("none") << torque << QVariant() << "";
    }

    void numbers()
    {
        QFETCH(QByteArray, description);
        QFETCH(QVariant, value);
        QFETCH(QString, text);
        QCOMPARE(describedValue(valueDescription(members(description)), value), text);
    }

    void ofABlock()
    {
        const ChannelEntries entries{
            {"values",
             members(R"({"torque": {"scale": 0.01, "unit": "Nm"}, "result": {"enum": {"1": "OK"}}})")}};
        const QHash<QString, ValueDescription> descriptions = blockDescriptions(entries);
        QCOMPARE(descriptions.size(), 2);
        QCOMPARE(describedValue(descriptions.value("torque"), QVariant(5)), QString("0.05 Nm"));
        QCOMPARE(describedValue(descriptions.value("result"), QVariant(1)), QString("OK"));
        QVERIFY(blockDescriptions({}).isEmpty());
        QVERIFY(valueDescription(ChannelEntries{}).isEmpty());
        QVERIFY(!descriptions.value("result").isEmpty());
    }

    void scaled()
    {
        const ValueDescription torque = valueDescription(members(R"({"scale": 0.01})"));
        QVERIFY(qFuzzyCompare(scaledValue(torque, {1253}).value_or(0), 12.53));
        QCOMPARE(scaledValue(torque, {1, 2}), std::optional<double>());
        QCOMPARE(scaledValue(valueDescription(members(R"({"encoding": "float"})")), {0x7FC0, 0}),
                 std::optional<double>());
    }
};

QTEST_GUILESS_MAIN(TstValueDescription)
#include "tst_value_description.moc"
