#include "applications/bench/run/missing_configuration.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

QJsonObject channel(const QString& id, const QJsonObject& entries)
{
    QJsonArray values;
    for (auto it = entries.constBegin(); it != entries.constEnd(); ++it)
        values.append(QJsonObject{{"id", it.key()}, {"value", it.value()}});
    return {{"id", id}, {"value", values}};
}

QJsonObject writable(const QString& id)
{
    return channel(id, {{"register", 1}, {"writeRegisterType", "coils"}});
}

QJsonObject readable(const QString& id)
{
    return channel(id, {{"register", 2}, {"readRegisterType", "coils"}});
}

const RegisterTypes c_types{{"coils"}, {"coils"}};

} // namespace

class TstMissingConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void missing_data()
    {
        QTest::addColumn<QJsonArray>("channels");
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("channel"); // that the order names
        QTest::addColumn<int>("generation");
        QTest::addColumn<QStringList>("expected"); // a part of each text
        const QJsonArray direction{writable("directionChange"), writable("directionChangeV2")};
        const QJsonArray readings{readable("direction"), readable("directionV2"), readable("alarmV2")};
        QTest::newRow("nothing") << direction << "setDirection"
                                 << "" << 2 << QStringList{};
        QTest::newRow("the channel of the generation")
            << QJsonArray{writable("directionChange")} << "setDirection"
            << "" << 2
            << QStringList{"generation 2: the channel \"directionChangeV2\" is missing (add it to"};
        QTest::newRow("the channel of another generation")
            << QJsonArray{writable("directionChangeV2")} << "setDirection"
            << "" << 2 << QStringList{};
        QTest::newRow("an entry")
            << QJsonArray{readable("alarmReset")} << "resetAlarm"
            << "" << 1 << QStringList{"the channel \"alarmReset\" has no \"writeRegisterType\" (add it to"};
        QTest::newRow("generation 0 is the first one")
            << QJsonArray{} << "setDirection"
            << "" << 0 << QStringList{"generation 1: the channel \"directionChange\" is missing"};
        QTest::newRow("a channel to read") << readings << "getRegister"
                                           << "direction" << 2 << QStringList{};
        QTest::newRow("a misspelt channel to read")
            << readings << "getRegister"
            << "directoin" << 2
            << QStringList{"no channel \"directoinV2\" for generation 2; did you mean \"direction\"?"};
        QTest::newRow("a channel to read that is like none")
            << readings << "getRegister"
            << "pressure" << 2
            << QStringList{"no channel \"pressureV2\" for generation 2; it has: direction, alarm"};
        QTest::newRow("a channel of the other generation")
            << QJsonArray{readable("direction")} << "getRegister"
            << "direction" << 2 << QStringList{"no channel \"directionV2\" for generation 2"};
    }

    void missing()
    {
        QFETCH(QJsonArray, channels);
        QFETCH(QString, command);
        QFETCH(QString, channel);
        QFETCH(int, generation);
        QFETCH(QStringList, expected);
        const QStringList texts = missingConfiguration(
            {{{"channels", channels}}, command, {{"channel", channel}}, {generation}, c_types});
        QVERIFY2(texts.size() == expected.size(), qPrintable(texts.join('\n')));
        for (int i = 0; i < texts.size(); ++i)
            QVERIFY2(texts.at(i).contains(expected.at(i)), qPrintable(texts.at(i)));
    }
};

QTEST_GUILESS_MAIN(TstMissingConfiguration)
#include "tst_missing_configuration.moc"
