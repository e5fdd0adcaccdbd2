// What is asked of a controller, how often, and what becomes of what it refuses.

#include "applications/bench/probe/device_probe.h"
#include "applications/bench/probe/link_probe.h"
#include "applications/bench/probe/probe_findings.h"
#include "applications/bench/probe/probe_rows.h"
#include "applications/bench/probe/round_trips.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QTest>

namespace {

const QString c_holding = "holdingRegisters";

QJsonObject channel(const QString& id, int address, const QString& type = c_holding, int size = 0,
                    const QJsonObject& more = {})
{
    QJsonArray entries{QJsonObject{{"id", "register"}, {"value", address}},
                       QJsonObject{{"id", "readRegisterType"}, {"value", type}}};
    if (size > 0)
        entries.append(QJsonObject{{"id", "size"}, {"value", size}});
    for (auto it = more.begin(); it != more.end(); ++it)
        entries.append(QJsonObject{{"id", it.key()}, {"value", it.value()}});
    return {{"id", id}, {"value", entries}};
}

QJsonObject map(const QJsonArray& channels)
{
    return {{"channels", channels}};
}

// "holdingRegisters 6101+6".
QString textOf(const ReadRequest& request)
{
    return QString("%1 %2+%3").arg(request.type).arg(request.address).arg(request.count);
}

// Answers with the address of each register, but for the holes, and takes down what it is asked.
struct Controller
{
    QSet<int> holes;
    int most = 125;
    ExitCode silence = ExitCode::Done;
    QStringList asked;

    RegisterReader reader()
    {
        return [this](const ReadRequest& request) -> ReadReply {
            asked.append(textOf(request));
            if (silence != ExitCode::Done)
                return {silence, {}, "nobody there", 0};
            QList<int> values;
            for (int i = 0; i < request.count; ++i) {
                if (holes.contains(request.address + i) || request.count > most)
                    return {ExitCode::Refused, {}, "refused", 200};
                values.append(request.address + i);
            }
            return {ExitCode::Done, values, {}, 100};
        };
    }
};

} // namespace

class TstDeviceProbe : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requests_data()
    {
        QTest::addColumn<QJsonArray>("channels");
        QTest::addColumn<int>("generation");
        QTest::addColumn<QStringList>("requests");
        const auto row = [](const char* name, const QJsonArray& channels, const QStringList& requests,
                            int generation = 1) {
            QTest::newRow(name) << channels << generation << requests;
        };
        row("none", {}, {});
        row("one", {channel("a", 7)}, {"holdingRegisters 7+1"});
        row("adjacent", {channel("b", 8), channel("a", 7)}, {"holdingRegisters 7+2"});
        row("a gap", {channel("a", 7), channel("b", 9)}, {"holdingRegisters 7+1", "holdingRegisters 9+1"});
        row("the same one", {channel("a", 7), channel("b", 7)}, {"holdingRegisters 7+1"});
        row("one inside a block", {channel("eventData", 7, c_holding, 5), channel("b", 9)},
            {"holdingRegisters 7+5"});
        row("two names of one table", {channel("a", 7), channel("b", 8, "singleRegister")},
            {"holdingRegisters 7+2"});
        row("three tables, one between two names of another",
            {channel("a", 7, "singleRegister"), channel("b", 8, "inputRegisters"), channel("c", 9)},
            {"singleRegister 7+1", "holdingRegisters 9+1", "inputRegisters 8+1"});
        row("bits", {channel("a", 7, "coils"), channel("b", 8, "coils")}, {"coils 7+2"});
        row("as many as one request takes", {channel("eventData", 1, c_holding, 124), channel("b", 125)},
            {"holdingRegisters 1+125"});
        row("one more", {channel("eventData", 1, c_holding, 125), channel("b", 126)},
            {"holdingRegisters 1+125", "holdingRegisters 126+1"});
        row("a block that is too large", {channel("eventData", 1, c_holding, 130)},
            {"holdingRegisters 1+125", "holdingRegisters 126+5"});
        row("up to the last register", {channel("eventData", 65530, c_holding, 16)},
            {"holdingRegisters 65530+6"});
        row("two registers of one value", {channel("a", 7, c_holding, 0, {{"wordOrder", "lowFirst"}})},
            {"holdingRegisters 7+2"});
        row("of another generation", {channel("a", 7), channel("aV2", 8)}, {"holdingRegisters 8+1"}, 2);
        row("the first and the last program",
            {channel("currentPreset", 100, c_holding, 20), channel("presets", 0, c_holding, 4)},
            {"holdingRegisters 1+20", "holdingRegisters 61+20", "holdingRegisters 100+1"});
        row("one program",
            {channel("currentPreset", 100, c_holding, 20), channel("presets", 0, c_holding, 1)},
            {"holdingRegisters 1+20", "holdingRegisters 100+1"});
        row("without a type", {QJsonObject{{"id", "a"}, {"value", QJsonArray{}}}}, {});
    }

    void requests()
    {
        QFETCH(QJsonArray, channels);
        QFETCH(int, generation);
        QFETCH(QStringList, requests);
        ConnectedController connected;
        connected.generation = generation;
        QStringList asked;
        const QList<ReadRequest> planned = probeRequests(probedRanges(map(channels), connected));
        for (const ReadRequest& request : planned)
            asked.append(textOf(request));
        QCOMPARE(asked, requests);
    }

    // The torque unit's two channels are of two layouts.
    void torqueUnit()
    {
        const QJsonObject both = map({channel("torqueUnit", 7), channel("torqueUnitGen1V1", 9)});
        for (const auto& [model, name] :
             {std::pair{"MDgen1V1", "torqueUnitGen1V1"}, {"MDC-26", "torqueUnit"}}) {
            const QList<ProbedRange> ranges = probedRanges(both, {1, 0, false, model});
            QCOMPARE(ranges.size(), 1);
            QCOMPARE(ranges.constFirst().channel, QString(name));
        }
    }

    void refusal_data()
    {
        QTest::addColumn<QList<int>>("holes");
        QTest::addColumn<int>("most");
        QTest::addColumn<QStringList>("asked"); // until the first round trip that is only measured
        QTest::addColumn<QString>("values");    // "2 of 3"
        const QString block = "holdingRegisters 10+6";
        QTest::newRow("none") << QList<int>{} << 125 << QStringList{block} << "3 of 3";
        // One request for all, one for each of the three, one for each register of the block.
        QTest::newRow("a state") << QList<int>{10} << 125
                                 << QStringList{block, "holdingRegisters 10+1", "holdingRegisters 11+1",
                                                "holdingRegisters 12+4"}
                                 << "2 of 3";
        QTest::newRow("in the block") << QList<int>{14} << 125
                                      << QStringList{block,
                                                     "holdingRegisters 10+1",
                                                     "holdingRegisters 11+1",
                                                     "holdingRegisters 12+4",
                                                     "holdingRegisters 12+1",
                                                     "holdingRegisters 13+1",
                                                     "holdingRegisters 14+1",
                                                     "holdingRegisters 15+1"}
                                      << "2 of 3";
        QTest::newRow("too much at once") << QList<int>{} << 3
                                          << QStringList{block,
                                                         "holdingRegisters 10+1",
                                                         "holdingRegisters 11+1",
                                                         "holdingRegisters 12+4",
                                                         "holdingRegisters 12+1",
                                                         "holdingRegisters 13+1",
                                                         "holdingRegisters 14+1",
                                                         "holdingRegisters 15+1"}
                                          << "3 of 3";
    }

    void refusal()
    {
        QFETCH(QList<int>, holes);
        QFETCH(int, most);
        QFETCH(QStringList, asked);
        QFETCH(QString, values);
        Controller controller;
        controller.holes = QSet<int>(holes.cbegin(), holes.cend());
        controller.most = most;
        const QJsonObject configuration =
            map({channel("a", 10), channel("b", 11), channel("eventData", 12, c_holding, 4)});
        DeviceProbe probe(configuration, {}, controller.reader());
        const ProbeResult result = probe.run();
        QCOMPARE(controller.asked.mid(0, asked.size()), asked);
        QCOMPARE(result.requests, asked.size());
        const auto read = std::count_if(result.values.cbegin(), result.values.cend(),
                                        [](const ProbedValue& value) { return value.isRead(); });
        QCOMPARE(QString("%1 of %2").arg(read).arg(result.values.size()), values);
        QCOMPARE(result.values.at(2).wasReadWhole, most == 125 && !holes.contains(14));
        for (const ProbedValue& value : result.values) {
            if (value.isRead())
                QCOMPARE(value.values.constFirst(), value.range.address);
        }
    }

    // Nobody waits for every register of a controller that is not there.
    void silence()
    {
        Controller controller;
        controller.silence = ExitCode::TimedOut;
        QJsonArray channels;
        for (int i = 0; i < 20; ++i)
            channels.append(channel(QString("c%1").arg(i), 2 * i));
        const ProbeResult result = DeviceProbe(map(channels), {}, controller.reader()).run();
        QCOMPARE(controller.asked.size(), 2);
        QCOMPARE(result.code, ExitCode::TimedOut);
        QCOMPARE(result.end, QString("nobody there"));
        QCOMPARE(result.values.size(), 20);
        QVERIFY(result.roundTrips.isEmpty());
    }

    void cancelled()
    {
        Controller controller;
        const QJsonObject configuration = map({channel("a", 10), channel("b", 20)});
        DeviceProbe probe(configuration, {}, controller.reader(),
                          [&controller] { return controller.asked.size() == 1; });
        probe.run();
        QCOMPARE(controller.asked.size(), 1);
    }

    void outOfTime_data()
    {
        QTest::addColumn<int>("requests"); // that there is time for
        QTest::addColumn<bool>("isRefused");
        QTest::addColumn<QStringList>("unprobed");
        QTest::addColumn<bool>("isError");
        QTest::newRow("at once") << 0 << false << QStringList{"a", "b"} << true;
        QTest::newRow("in between") << 1 << false << QStringList{"b", "round trips"} << true;
        QTest::newRow("behind the values") << 2 << false << QStringList{"round trips"} << false;
        QTest::newRow("behind a refusal")
            << 3 << true << QStringList{"what is beside", "round trips"} << true;
        QTest::newRow("enough") << 100 << false << QStringList{} << false;
    }

    // A slow controller does not hold it up for ever, and what it has not looked at is told.
    void outOfTime() // docs/security.md
    {
        QFETCH(int, requests);
        QFETCH(bool, isRefused);
        QFETCH(QStringList, unprobed);
        QFETCH(bool, isError);
        Controller controller;
        if (isRefused)
            controller.holes = {20};
        const QJsonObject configuration = map({channel("a", 10), channel("b", 20)});
        DeviceProbe probe(configuration, {}, controller.reader(), {},
                          [&] { return controller.asked.size() >= requests; });
        const ProbeResult result = probe.run();
        QCOMPARE(result.unprobed, unprobed);
        QCOMPARE(controller.asked.size(), requests);
        QStringList told;
        for (const ProbeFinding& found : probeFindings(result, configuration, {})) {
            if (!found.finding.message.contains("not probed"))
                continue;
            told.append(found.finding.message);
            QCOMPARE(found.finding.level == FindingLevel::Error, isError);
            QCOMPARE(found.code == ExitCode::TimedOut, isError);
            QVERIFY2(found.finding.remedy.contains("--seconds"), qPrintable(found.finding.remedy));
        }
        QCOMPARE(told.size(), unprobed.isEmpty() ? 0 : 1);
        QVERIFY2(told.isEmpty() || told.constFirst().endsWith(unprobed.join(", ")),
                 qPrintable(told.join(' ')));
    }

    void notation_data()
    {
        QTest::addColumn<int>("address");
        QTest::addColumn<QString>("plain"); // empty: none
        QTest::newRow("holding") << 40107 << "holdingRegisters 106+1";
        QTest::newRow("the first one") << 40001 << "holdingRegisters 0+1";
        QTest::newRow("input") << 30107 << "inputRegisters 106+1";
        QTest::newRow("none") << 40000 << "";
        QTest::newRow("the last one") << 49999 << "holdingRegisters 9998+1";
        QTest::newRow("beyond") << 50000 << "";
        QTest::newRow("plain") << 107 << "";
    }

    void notation()
    {
        QFETCH(int, address);
        QFETCH(QString, plain);
        const std::optional<ReadRequest> request = withoutNotation({address, 1, c_holding});
        QCOMPARE(request ? textOf(*request) : QString(), plain);
    }

    void roundTripsOf_data()
    {
        QTest::addColumn<QList<qint64>>("times");
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << QList<qint64>{} << "";
        QTest::newRow("one") << QList<qint64>{250}
                             << "minimum 0.25 ms, median 0.25 ms, 99th percentile 0.25 ms (1 requests)";
        QTest::newRow("two") << QList<qint64>{3000, 1000}
                             << "minimum 1.00 ms, median 1.00 ms, 99th percentile 3.00 ms (2 requests)";
        QList<qint64> hundred;
        for (qint64 i = 100; i > 0; --i)
            hundred.append(i * 1000);
        QTest::newRow("a hundred")
            << hundred << "minimum 1.00 ms, median 50.00 ms, 99th percentile 99.00 ms (100 requests)";
    }

    void roundTripsOf()
    {
        QFETCH(QList<qint64>, times);
        QFETCH(QString, text);
        const std::optional<RoundTrips> trips = roundTrips(times);
        QCOMPARE(trips ? toText(*trips) : QString(), text);
    }

    void pause_data()
    {
        QTest::addColumn<int>("needed"); // ms; negative: it answers nobody
        QTest::addColumn<QString>("text");
        QTest::newRow("none") << 0 << "none needed between requests";
        QTest::newRow("as short as any") << 5 << "5 ms needed between requests";
        QTest::newRow("between two") << 30 << "50 ms needed between requests";
        QTest::newRow("the longest") << 500 << "500 ms needed between requests";
        QTest::newRow("longer") << 501 << "some requests are missed with any pause up to 500 ms";
        QTest::newRow("deaf") << -1 << "some requests are missed with any pause up to 500 ms";
    }

    void pause()
    {
        QFETCH(int, needed);
        QFETCH(QString, text);
        int waited = 0;
        const RegisterReader reader = [&](const ReadRequest& /*request*/) -> ReadReply {
            const bool isAnswered = needed >= 0 && waited >= needed;
            return {isAnswered ? ExitCode::Done : ExitCode::TimedOut, {}, {}, 0};
        };
        LinkFacts facts;
        facts.pause = neededPause(reader, {7, 1, c_holding}, [&waited](int ms) { waited = ms; });
        QCOMPARE(pauseText(facts), text);
    }

    void rows()
    {
        QJsonObject configuration = map(
            {channel("temperature", 10, c_holding, 0, {{"scale", 0.1}, {"unit", "°C"}}),
             channel("motorRun", 11),
             channel("eventData", 20, c_holding, 2,
                     {{"values", QJsonObject{{"torque", QJsonObject{{"scale", 0.01}, {"unit", "Nm"}}}}}})});
        configuration.insert("parameters",
                             QJsonObject{{"eventDataKeys", QJsonArray{"eventCountNo", "torque"}}});
        Controller controller;
        controller.holes = {11};
        const ProbeResult result = DeviceProbe(configuration, {}, controller.reader()).run();
        QStringList lines;
        const QList<ProbeRow> rows = probeRows(result, configuration, {"addressOffset", -1});
        for (const ProbeRow& row : rows)
            lines.append(probeCells(row).join(" | "));
        QCOMPARE(lines, (QStringList{"temperature | 10 | 9 | holdingRegisters | 10 | 1.0 °C",
                                     "motorRun | 11 | 10 | holdingRegisters | - | refused",
                                     "eventData | 20-21 | 19-20 | holdingRegisters | 20 21 | ",
                                     "eventData.eventCountNo | 20 | 19 | int | 20 | ",
                                     "eventData.torque | 21 | 20 | int | 21 | 0.21 Nm"}));
    }
};

QTEST_GUILESS_MAIN(TstDeviceProbe)
#include "tst_device_probe.moc"
