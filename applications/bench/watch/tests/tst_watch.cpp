// What is shown of values that are read again and again: plots, ages, changes, screens; and who is asked anew
// after the link was lost.

#include "applications/bench/watch/value_history.h"
#include "applications/bench/watch/value_plot.h"
#include "applications/bench/watch/watch_output.h"
#include "applications/bench/watch/watch_screen.h"
#include "applications/bench/watch/watched_rows.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "tests/support/bench_program.h"
#include "tests/support/sample_bench.h"
#include "tests/support/sample_folder.h"
#include "tests/support/swapped_controllers.h"

#include <QDate>
#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QTime>

using Numbers = QList<std::optional<double>>;
Q_DECLARE_METATYPE(Numbers)

namespace {

const QByteArray c_configuration = R"({"channels": [
  {"id": "directionV2", "value": [{"id": "register", "value": 5},
                                  {"id": "readRegisterType", "value": "holdingRegisters"}]},
  {"id": "direction", "value": [{"id": "register", "value": 3},
                                {"id": "readRegisterType", "value": "holdingRegisters"}]},
  {"id": "eventDataV2", "value": [{"id": "register", "value": 10}, {"id": "size", "value": 3},
                                  {"id": "readRegisterType", "value": "holdingRegisters"},
                                  {"id": "values", "value": {"torque": {"unit": "cNm"}}}]},
  {"id": "presetsV2", "value": [{"id": "size", "value": 2},
                                {"id": "readRegisterType", "value": "holdingRegisters"}]},
  {"id": "currentPresetV2", "value": [{"id": "size", "value": 4}]}],
 "parameters": {"eventDataKeysV2": [
  {"parameter_name": "eventCountNo", "start_address": 10, "end_address": 10, "type": "int"},
  {"parameter_name": "torque", "start_address": 11, "end_address": 12, "type": "float"}]}})";

QJsonObject configuration()
{
    return QJsonDocument::fromJson(c_configuration).object();
}

QList<ProbedRange> ranges()
{
    ConnectedController controller;
    controller.generation = 2;
    return probedRanges(configuration(), controller);
}

WatchedLine lineOf(const QString& name, const QString& value, bool isMarked = false)
{
    return {name, value, "forward", 400, isMarked, "▁█"};
}

} // namespace

class TstWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plot_data()
    {
        QTest::addColumn<Numbers>("values");
        QTest::addColumn<QString>("plot");
        QTest::newRow("none") << Numbers{} << "";
        QTest::newRow("one") << Numbers{7} << "▄";
        QTest::newRow("all the same") << Numbers{7, 7, 7} << "▄▄▄";
        QTest::newRow("two") << Numbers{0, 1} << "▁█";
        QTest::newRow("every level") << Numbers{0, 1, 2, 3, 4, 5, 6, 7} << "▁▂▃▄▅▆▇█";
        QTest::newRow("negative ones") << Numbers{-4, 0, -2} << "▁█▅";
        QTest::newRow("a gap") << Numbers{std::nullopt, 0, std::nullopt, 10} << " ▁ █";
        QTest::newRow("nothing at all") << Numbers{std::nullopt, std::nullopt} << "  ";
    }

    void plot()
    {
        QFETCH(Numbers, values);
        QFETCH(QString, plot);
        QCOMPARE(valuePlot(values), plot);
    }

    void history()
    {
        ValueHistory history;
        QVERIFY(!history.isKnown() && !history.age(5));
        QVERIFY(history.take(1000, "1", 1));
        QVERIFY(!history.isMarked(1000)); // the first value is no change
        QVERIFY(!history.take(2000, "1", 1));
        QVERIFY(history.take(3000, "2", 2));
        QVERIFY(history.isMarked(3000) && history.isMarked(5999) && !history.isMarked(6000));
        QCOMPARE(history.age(3400), std::optional<qint64>(400));
        QCOMPARE(history.text(), QString("2"));
    }

    // The last minute, in parts: the last value of each, nothing where none was read.
    void parts()
    {
        ValueHistory history;
        history.take(1000, "1", 1);
        history.take(10000, "2", 2);
        history.take(19999, "3", 3);
        history.take(20000, "4", 4);
        history.take(45000, "x", std::nullopt);
        history.take(60000, "5", 5);
        QCOMPARE(history.parts(60000, 6), (Numbers{2, 4, std::nullopt, std::nullopt, std::nullopt, 5}));
        QCOMPARE(history.parts(60000, 1), (Numbers{5}));
        // What is older than a minute is gone.
        history.take(70000, "6", 6);
        QCOMPARE(history.parts(70000, 6), (Numbers{4, std::nullopt, std::nullopt, std::nullopt, 5, 6}));
        QCOMPARE(history.parts(200000, 2), (Numbers{std::nullopt, std::nullopt}));
    }

    void age_data()
    {
        QTest::addColumn<int>("milliseconds"); // negative: never
        QTest::addColumn<QString>("text");
        QTest::newRow("never") << -1 << "-";
        QTest::newRow("now") << 0 << "0.0 s";
        QTest::newRow("tenths") << 440 << "0.4 s";
        QTest::newRow("seconds") << 10000 << "10 s";
        QTest::newRow("almost a minute") << 59999 << "59 s";
        QTest::newRow("minutes") << 185000 << "3 min";
    }

    void age()
    {
        QFETCH(int, milliseconds);
        QFETCH(QString, text);
        QCOMPARE(ageText(milliseconds < 0 ? std::nullopt : std::optional<qint64>(milliseconds)), text);
    }

    void screen()
    {
        WatchScreen screen{"mdc at here", {}, {lineOf("direction", "0"), lineOf("motorRun", "1", true)}};
        const QStringList lines = screenLines(screen, 80, 24);
        QCOMPARE(lines.size(), 4);
        QVERIFY(lines.at(1).contains("LAST MINUTE"));
        QVERIFY2(lines.at(2).contains("direction  0      0.4 s  ▁█           forward"),
                 qPrintable(lines.at(2)));
        QVERIFY(lines.at(3).startsWith('*') && !lines.at(2).startsWith('*'));
        screen.trouble = "not connected";
        QCOMPARE(screenLines(screen, 80, 24).at(1), QString("not connected"));
        // Whoever has named the object, and whatever the controller made the driver say.
        WatchScreen steering = screen;
        steering.title = "mdc\x1b]0;t\x07 at here";
        steering.trouble = "not\x1b[2Jconnected";
        QCOMPARE(screenLines(steering, 80, 24).mid(0, 2),
                 (QStringList{"mdc\\x1b]0;t\\x07 at here", "not\\x1b[2Jconnected"}));
        // Nothing wraps, and nothing scrolls away.
        for (const QString& line : screenLines(screen, 20, 24))
            QVERIFY2(line.size() <= 20, qPrintable(line));
        const QStringList low = screenLines(screen, 80, 4);
        QCOMPARE(low.size(), 3);
        QVERIFY2(low.constLast().startsWith("… and 3 more"), qPrintable(low.constLast()));
    }

    void redrawing()
    {
        QCOMPARE(redrawn({"a", "b"}, 0), QString("a\nb\n"));
        QCOMPARE(redrawn({"a"}, 2), QString("\x1b[2A\r\x1b[Ja\n"));
    }

    void selection_data()
    {
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("error");
        const QString event = "eventDataV2.eventCountNo eventDataV2.torque";
        QTest::newRow("all") << QStringList{} << "directionV2 " + event << "";
        QTest::newRow("one") << QStringList{"direction"} << "directionV2"
                             << "";
        QTest::newRow("with its suffix") << QStringList{"directionV2"} << "directionV2"
                                         << "";
        QTest::newRow("a block") << QStringList{"eventData"} << event << "";
        QTest::newRow("a value of it") << QStringList{"eventData.torque"} << "eventDataV2.torque"
                                       << "";
        QTest::newRow("two values and a block") << QStringList{"eventData.torque", "direction", "eventData"}
                                                << "eventDataV2.torque directionV2 eventDataV2.eventCountNo"
                                                << "";
        QTest::newRow("the same one twice") << QStringList{"direction", "direction"} << "directionV2"
                                            << "";
        QTest::newRow("none of that name") << QStringList{"directoin"} << ""
                                           << "did you mean \"direction\"?";
        QTest::newRow("no such value") << QStringList{"eventData.torqe"} << ""
                                       << "did you mean \"torque\"?";
        QTest::newRow("a value of what has none") << QStringList{"direction.x"} << ""
                                                  << "\"direction\" has no value \"x\"";
        QTest::newRow("stored programs") << QStringList{"presets"} << ""
                                         << "no channel \"presets\"";
    }

    void selection()
    {
        QFETCH(QStringList, words);
        QFETCH(QString, shown);
        QFETCH(QString, error);
        const WatchSelection selection = watchSelection(words, ranges(), configuration(), "V2");
        QVERIFY2(selection.error.contains(error) && selection.error.isEmpty() == error.isEmpty(),
                 qPrintable(selection.error));
        if (error.isEmpty())
            QCOMPARE(selection.shown.join(' '), shown);
    }

    // What was not read is not there, and what was has its meaning and its number.
    void rows()
    {
        const WatchSelection selection = watchSelection({}, ranges(), configuration(), "V2");
        RegisterImage image;
        QVERIFY(watchedRows(selection, image, configuration(), {}).isEmpty());
        image.take({5, 1, "holdingRegisters"}, {1});
        QList<ProbeRow> rows = watchedRows(selection, image, configuration(), {});
        QCOMPARE(rows.size(), 1);
        QCOMPARE(rows.constFirst().meaning, QString("loosening"));
        image.take({10, 3, "holdingRegisters"}, {7, 0x4148, 0x7AE1});
        rows = watchedRows(selection, image, configuration(), {});
        QCOMPARE(rows.size(), 3);
        QCOMPARE(rows.constLast().channel, QString("eventDataV2.torque"));
        // As commands give it: hundredths.
        QCOMPARE(rows.constLast().value, QString("1253"));
        QCOMPARE(rows.constLast().number, std::optional<double>(1253));
        QCOMPARE(rows.constLast().meaning, QString("1253 cNm"));
    }

    void csv()
    {
        WatchReading reading;
        reading.time = QDateTime(QDate(2026, 3, 1), QTime(9, 30, 0, 125), Qt::OffsetFromUTC, 3600);
        reading.names = QStringList{"a", "b,c", "d"};
        reading.read = QStringList{"a", "d"};
        for (const QString& name : reading.names)
            reading.histories[name].take(0, "1 2", std::nullopt);
        QCOMPARE(watchCsvHeader(reading.names), QByteArray("time,a,\"b,c\",d\n"));
        // An empty field for what was not read now, whatever is known of it.
        QCOMPARE(watchCsvLine(reading), QByteArray("2026-03-01T09:30:00.125+01:00,1 2,,1 2\n"));
    }

    // A reading has no values of two controllers.
    void swappedWithinAReading() // docs/security.md
    {
        const QJsonObject device = deviceConfiguration(sampleBench());
        ControllerProfile profile = *ControllerProfile::byName("mdc32-gen2");
        Simulator first(device, profile);
        // In this layout the serial number reads otherwise.
        profile.layout = ControllerProfile::Layout::Bytes12;
        Simulator second(device, profile);
        QVERIFY(first.listenTcp() && second.listenTcp());
        for (const char* const channel : {"direction", "torqueUnit"})
            second.controller().setValue(channel, 1);
        SwappedControllers swapped(first.tcpPort(), second.tcpPort(), SwappedControllers::By::Connection, 2);
        SampleFolder folder;
        const QString bench = folder.filePath("bench.json");
        QVERIFY(swapped.listen() && folder.isValid() && writeBenchFor(first, profile.reference, bench));
        QFile file(bench);
        QVERIFY(file.open(QIODevice::ReadWrite));
        const QByteArray text =
            file.readAll().replace(QByteArray::number(first.tcpPort()), QByteArray::number(swapped.port()));
        QVERIFY(file.resize(0) && file.seek(0) && file.write(text) == text.size());
        file.close();
        // Behind the first one of a reading's two requests.
        QVERIFY(first.faults().add("twice@5/0x03"));
        const auto process =
            startBench({"--config", bench, "--properties", folder.filePath("p.json"), "watch", "direction",
                        "torqueUnit", "--interval", "20", "--format", "csv"});
        QByteArray out;
        QTRY_VERIFY2_WITH_TIMEOUT((out += process->readAllStandardOutput()).contains(",1,1\n"),
                                  out.constData(), 30000);
        process->kill();
        process->waitForFinished();
        QVERIFY2(out.contains(",0,0\n"), out.constData());
        QVERIFY2(!out.contains(",0,1\n") && !out.contains(",1,0\n"), out.constData());
        QVERIFY2(process->readAllStandardError().contains("another controller answers"), out.constData());
    }

    void swapped_data()
    {
        QTest::addColumn<QString>("profile"); // of the controller that takes the place of "mdc32-gen2"
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<QString>("told");
        QTest::addColumn<QString>("shown"); // empty: the program ends by itself, with 1
        const QStringList direction{"direction", "--format", "jsonl"};
        QTest::newRow("the same one") << "mdc32-gen2" << direction << "the controller answers again"
                                      << "\"name\":\"directionV2\"";
        QTest::newRow("another serial number")
            << "mdc26-gen2" << direction
            << "another controller answers: MD, generation 2, serial number 1907010042, instead of MDC-32, "
               "generation 2, serial number 1907150042"
            << "\"name\":\"directionV2\"";
        QTest::newRow("another generation")
            << "mdc32-gen1v2" << direction << "another controller answers: MDC-32, generation 1"
            << "\"name\":\"direction\"";
        QTest::newRow("a value that it does not have")
            << "mdc32-gen1v2" << QStringList{"directionV2"} << "there is no channel \"directionV2\""
            << "";
        QTest::newRow("columns that it does not have")
            << "mdc32-gen1v2" << QStringList{"direction", "--format", "csv"} << "other columns"
            << "";
    }

    // What answers after a lost link may be another controller.
    void swapped()
    {
        QFETCH(QString, profile);
        QFETCH(QStringList, words);
        QFETCH(QString, told);
        QFETCH(QString, shown);
        const QJsonObject device = deviceConfiguration(sampleBench());
        const auto first = ControllerProfile::byName("mdc32-gen2");
        auto simulator = std::make_unique<Simulator>(device, *first);
        QVERIFY(simulator->listenTcp());
        const quint16 port = simulator->tcpPort();
        SampleFolder folder;
        const QString bench = folder.filePath("bench.json");
        QVERIFY(folder.isValid() && writeBenchFor(*simulator, first->reference, bench));
        const auto process =
            startBench(QStringList{"--config", bench, "--properties", folder.filePath("properties.json"),
                                   "watch", "--interval", "20"} +
                       words);
        QByteArray out;
        QByteArray err;
        const auto sees = [&process](QByteArray& all, const QByteArray& bytes, const QString& text) {
            all += bytes;
            return all.contains(text.toUtf8()) && process != nullptr;
        };
        QTRY_VERIFY(sees(out, process->readAllStandardOutput(), "direction"));
        simulator.reset();
        if (!words.contains("csv"))
            QTRY_VERIFY(sees(err, process->readAllStandardError(), "watching goes on"));
        simulator = std::make_unique<Simulator>(device, *ControllerProfile::byName(profile));
        QVERIFY(simulator->listenTcp(port));
        out.clear();
        QTRY_VERIFY2_WITH_TIMEOUT(sees(err, process->readAllStandardError(), told), err.constData(), 10000);
        if (shown.isEmpty()) {
            QTRY_COMPARE(process->state(), QProcess::NotRunning);
            QCOMPARE(process->exitCode(), 1);
            return;
        }
        // Values of the controller that is there now.
        simulator->controller().setValue("direction", 1);
        QTRY_VERIFY2(sees(out, process->readAllStandardOutput(), shown), out.constData());
        process->kill();
        process->waitForFinished();
    }
};

QTEST_GUILESS_MAIN(TstWatch)
#include "tst_watch.moc"
