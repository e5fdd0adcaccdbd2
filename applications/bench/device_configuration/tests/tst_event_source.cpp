#include "applications/bench/device_configuration/event_source.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

QJsonObject channel(const QString& id, int address, const QString& type)
{
    return {{"id", id},
            {"value", QJsonArray{QJsonObject{{"id", "register"}, {"value", address}},
                                 QJsonObject{{"id", "readRegisterType"}, {"value", type}}}}};
}

QJsonObject descriptor(const QString& name, int address, const QString& type)
{
    return {{"parameter_name", name}, {"start_address", address}, {"end_address", address}, {"type", type}};
}

} // namespace

class TstEventSource : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void source_data();
    void source();
};

void TstEventSource::source_data()
{
    QTest::addColumn<QJsonArray>("channels");
    QTest::addColumn<QJsonArray>("keys");
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("channel");
    QTest::addColumn<QString>("error");
    const QString holding = "holdingRegisters";
    const QJsonArray one{channel("eventData", 5201, holding)};
    const QJsonArray two{channel("eventDataV2", 6201, holding)};
    const auto add = [](const QJsonArray& channels, const QJsonObject& more) {
        QJsonArray all = channels;
        all.append(more);
        return all;
    };
    const QJsonArray names{"eventCountNo", "torque"};
    const QJsonArray namesLater{"torque", "eventCountNo"};
    const QJsonArray later{descriptor("torque", 6201, "int"), descriptor("eventCountNo", 6203, "int")};
    QTest::newRow("1, first") << one << names << 1 << "eventData"
                              << "";
    QTest::newRow("1, own channel") << add(one, channel("count", 5202, holding)) << namesLater << 1 << "count"
                                    << "";
    QTest::newRow("1, no channel") << one << namesLater << 1 << ""
                                   << "\"eventCount\" with the \"register\" 5202";
    QTest::newRow("1, channel of another type")
        << add(one, channel("count", 5202, "inputRegisters")) << namesLater << 1 << ""
        << "no channel reads";
    QTest::newRow("1, no counter") << one << QJsonArray{"torque"} << 1 << ""
                                   << "0 times";
    QTest::newRow("1, two counters") << one << QJsonArray{"eventCountNo", "torque", "eventCountNo"} << 1 << ""
                                     << "2 times";
    QTest::newRow("1, no block") << two << names << 1 << ""
                                 << "\"eventData\" has no \"register\"";
    QTest::newRow("2, first") << two
                              << QJsonArray{descriptor("eventCountNo", 6201, "int"),
                                            descriptor("torque", 6202, "int")}
                              << 2 << "eventData"
                              << "";
    QTest::newRow("2, own channel") << add(two, channel("countV2", 6203, holding)) << later << 2 << "count"
                                    << "";
    QTest::newRow("2, channel of generation 1")
        << add(two, channel("count", 6203, holding)) << later << 2 << ""
        << "\"eventCountV2\" with the \"register\" 6203";
    QTest::newRow("2, float") << two
                              << QJsonArray{descriptor("torque", 6202, "int"),
                                            descriptor("eventCountNo", 6201, "float")}
                              << 2 << "eventData"
                              << "no \"int\"";
}

void TstEventSource::source()
{
    QFETCH(QJsonArray, channels);
    QFETCH(QJsonArray, keys);
    QFETCH(int, generation);
    QFETCH(QString, channel);
    QFETCH(QString, error);
    const QString list = generation == 1 ? "eventDataKeys" : "eventDataKeysV2";
    const EventSource found =
        eventSource({{"channels", channels}, {"parameters", QJsonObject{{list, keys}}}}, generation);
    QCOMPARE(found.counterChannel, channel);
    QCOMPARE(found.errors.size(), error.isEmpty() ? 0 : 1);
    QVERIFY2(found.errors.value(0).contains(error), qPrintable(found.errors.value(0)));
    if (error.isEmpty())
        QCOMPARE(found.valueNames, QStringList{"torque"});
}

QTEST_GUILESS_MAIN(TstEventSource)
#include "tst_event_source.moc"
