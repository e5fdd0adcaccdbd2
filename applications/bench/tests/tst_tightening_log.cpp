#include "applications/bench/core/outage.h"
#include "applications/bench/results/event_counts.h"
#include "applications/bench/results/event_source.h"
#include "applications/bench/results/tightening_format.h"
#include "applications/bench/results/tightening_ledger.h"
#include "applications/bench/results/tightening_log.h"
#include "applications/bench/run/changed_values.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>

Q_DECLARE_METATYPE(TighteningLine)

namespace {

EventUpdate reported(const QVariant& count, int torque = 0)
{
    return {{{"eventCountNo", count}, {"torque", torque}, {"program", 3}}, QDateTime(), false};
}

CountedUpdate counted(int count)
{
    return {static_cast<quint16>(count), reported(count)};
}

QString textOf(const TighteningLine& line)
{
    using Kind = TighteningLine::Kind;
    switch (line.kind) {
    case Kind::Sequence:
        return QStringLiteral("sequence %1 %2").arg(line.serial).arg(line.count);
    case Kind::Event:
        return QStringLiteral("event %1").arg(line.count);
    case Kind::Gap:
        return QStringLiteral("gap %1-%2 (%3)").arg(line.from).arg(line.to).arg(missedCount(line));
    case Kind::Reset:
        return QStringLiteral("reset %1>%2").arg(line.from).arg(line.to);
    }
    return {};
}

TighteningLine eventLine(int count)
{
    TighteningLine line;
    line.serial = QStringLiteral("1907");
    line.count = static_cast<quint16>(count);
    line.update.values = {{"eventCountNo", count}, {"torque", 625}, {"program", 3}};
    line.update.time = QDateTime(QDate(2026, 3, 1), QTime(9, 30, 0, 125), Qt::OffsetFromUTC, 3600);
    return line;
}

TighteningLayout layoutOf(TighteningFormat format)
{
    return {format, QStringLiteral("program"), {QStringLiteral("program"), QStringLiteral("torque")}};
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(none)");
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

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

class TstTighteningLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void counts_data();
    void counts();
    void countThatIsNone_data();
    void countThatIsNone();
    void ledger_data();
    void ledger();
    void ledgerKeepsValuesOfItsEvent();
    void format_data();
    void format();
    void csvColumns();
    void badLine_data();
    void badLine();
    void logGoesOn_data();
    void logGoesOn();
    void tornLine_data();
    void tornLine();
    void rotation_data();
    void rotation();
    void recoversFromRotatedFile();
    void otherColumnsBeginANewFile();
    void refusedFiles_data();
    void refusedFiles();
    void onlyOneWriter();
    void fullDisk();
    void source_data();
    void source();
    void outage();
    void changed_data();
    void changed();
};

// A script of what happens: "before 7" a new order after this reading, "-1" or "8" an update, "read 8" a
// reading of the counter, "lost" the link; what comes out of each is written behind ":".
void TstTighteningLog::counts_data()
{
    QTest::addColumn<QStringList>("script");
    QTest::newRow("nothing happens") << QStringList{"before 7:", "-1:", "read 7:7", "-1:7"};
    QTest::newRow("event after the start")
        << QStringList{"before 7:", "-1:", "read 7:7", "8:8", "8:8", "9:9"};
    QTest::newRow("count comes back to the base")
        << QStringList{"before 7:", "-1:", "read 7:7", "8:8", "-1:7"};
    QTest::newRow("event between reading and order")
        << QStringList{"before 7:", "-1:", "read 8:", "-1:8", "9:9"};
    QTest::newRow("event between first update and reading")
        << QStringList{"before 7:", "-1:", "read 8:", "8:7 8", "-1:7"};
    QTest::newRow("event before any reading") << QStringList{"before 7:", "-1:", "8:7 8", "read 8:", "-1:7"};
    QTest::newRow("two events before any reading leave it open")
        << QStringList{"before 7:", "-1:", "9:9", "read 9:", "10:10"};
    QTest::newRow("one event on each side leaves it open")
        << QStringList{"before 7:", "-1:", "read 9:", "9:9", "10:10"};
    QTest::newRow("base left open is learned when it comes back")
        << QStringList{"before 7:", "-1:", "9:9", "10:10", "-1:", "read 8:", "-1:8", "9:9"};
    QTest::newRow("repeated before the reading comes")
        << QStringList{"before 7:", "-1:", "-1:", "read 7:7", "-1:7"};
    QTest::newRow("link lost before the reading")
        << QStringList{"before 7:", "-1:", "lost:", "-1:", "read 8:", "-1:8"};
    QTest::newRow("link lost, then the count before proves nothing")
        << QStringList{"before 7:", "-1:", "lost:", "8:8"};
    QTest::newRow("link lost with a known base")
        << QStringList{"before 7:", "-1:", "read 7:7", "lost:", "12:12", "-1:7"};
    QTest::newRow("over the end") << QStringList{"before 65535:", "-1:", "0:65535 0", "-1:65535", "1:1"};
    QTest::newRow("wrapped between reading and order")
        << QStringList{"before 65535:", "-1:", "read 0:", "-1:0"};
    QTest::newRow("a new order forgets the base")
        << QStringList{"before 7:", "-1:", "read 7:7", "before 9:", "-1:", "read 9:9", "7:7"};
    QTest::newRow("reading without an open question") << QStringList{"before 7:", "8:8", "read 8:", "9:9"};
}

void TstTighteningLog::counts()
{
    QFETCH(QStringList, script);
    EventCounts counts;
    for (const QString& step : script) {
        const QString action = step.section(':', 0, 0);
        const auto number = static_cast<quint16>(action.section(' ', 1).toUInt());
        QList<CountedUpdate> known;
        if (action.startsWith("before"))
            counts.restart(number);
        else if (action.startsWith("read"))
            known = counts.counterRead(number);
        else if (action == "lost")
            counts.interrupted();
        else
            known = counts.update(reported(action.toInt()));
        QStringList texts;
        for (const CountedUpdate& update : known)
            texts.append(QString::number(update.count));
        QVERIFY2(texts.join(' ') == step.section(':', 1),
                 qPrintable(QString("\"%1\" gave \"%2\"").arg(step, texts.join(' '))));
        QVERIFY(!counts.wantsReading() || action == "-1" || action == "lost");
    }
}

void TstTighteningLog::countThatIsNone_data()
{
    QTest::addColumn<QVariant>("count");
    QTest::newRow("missing") << QVariant();
    QTest::newRow("text") << QVariant("many");
    QTest::newRow("below") << QVariant(-2);
    QTest::newRow("above") << QVariant(65536);
    QTest::newRow("list") << QVariant(QVariantList{7});
}

void TstTighteningLog::countThatIsNone()
{
    QFETCH(QVariant, count);
    EventCounts counts;
    counts.restart(7);
    QVERIFY(!reportedCount(reported(count)));
    QVERIFY(counts.update(reported(count)).isEmpty());
    QVERIFY(!counts.wantsReading());
}

void TstTighteningLog::ledger_data()
{
    QTest::addColumn<int>("last"); // -1: new log
    QTest::addColumn<QString>("observed");
    QTest::addColumn<QString>("lines");
    QTest::newRow("new log") << -1 << "A5 A5 A6"
                             << "sequence A 5; event 6";
    QTest::newRow("duplicates") << 4 << "A5 A5 A5 A6 A6"
                                << "event 5; event 6";
    QTest::newRow("restart, nothing new") << 5 << "A5 A5"
                                          << "";
    QTest::newRow("restart, one event meanwhile") << 5 << "A6"
                                                  << "event 6";
    QTest::newRow("restart, three events meanwhile") << 5 << "A8"
                                                     << "gap 6-7 (2); event 8";
    QTest::newRow("jump of two") << 5 << "A7 A8"
                                 << "gap 6-6 (1); event 7; event 8";
    QTest::newRow("over the end") << 65534 << "A65535 A0 A1"
                                  << "event 65535; event 0; event 1";
    QTest::newRow("gap over the end") << 65534 << "A2"
                                      << "gap 65535-1 (3); event 2";
    QTest::newRow("gap up to the end") << 65534 << "A0"
                                       << "gap 65535-65535 (1); event 0";
    QTest::newRow("largest gap over the end") << 65535 << "A8192"
                                              << "gap 0-8191 (8192); event 8192";
    QTest::newRow("more is a reset") << 65535 << "A8193"
                                     << "reset 65535>8193; event 8193";
    QTest::newRow("largest gap") << 0 << "A65535"
                                 << "gap 1-65534 (65534); event 65535";
    QTest::newRow("reset to 0 is no event") << 100 << "A0 A0 A1"
                                            << "reset 100>0; event 1";
    QTest::newRow("reset, then events") << 100 << "A3 A4"
                                        << "reset 100>3; event 3; event 4";
    QTest::newRow("back by one") << 100 << "A99"
                                 << "reset 100>99; event 99";
    QTest::newRow("another controller") << 100 << "B7 B7 B8"
                                        << "sequence B 7; event 8";
    QTest::newRow("another controller at the same count") << 100 << "B100 B101"
                                                          << "sequence B 100; event 101";
    QTest::newRow("there and back") << 100 << "B7 A103"
                                    << "sequence B 7; sequence A 103";
}

void TstTighteningLog::ledger()
{
    QFETCH(int, last);
    QFETCH(QString, observed);
    QFETCH(QString, lines);
    std::optional<TighteningLedger::State> state;
    if (last >= 0)
        state = TighteningLedger::State{"A", static_cast<quint16>(last)};
    QStringList texts;
    TighteningLedger all(state);
    for (const QString& word : observed.split(' '))
        for (const TighteningLine& line : all.observe(word.left(1), counted(word.mid(1).toInt())))
            texts.append(textOf(line));
    QCOMPARE(texts.join("; "), lines);

    // The same when the bench restarts after each line: the state of a line is all that is needed. A line
    // that was not written before the restart follows after it.
    QStringList restarted;
    for (const QString& word : observed.split(' ')) {
        for (bool goesOn = true; goesOn;) {
            TighteningLedger ledger(state);
            const QList<TighteningLine> news = ledger.observe(word.left(1), counted(word.mid(1).toInt()));
            goesOn = news.size() > 1;
            if (news.isEmpty())
                break;
            restarted.append(textOf(news.first()));
            state = TighteningLedger::State{news.first().serial, news.first().count};
        }
    }
    QCOMPARE(restarted.join("; "), lines);
}

void TstTighteningLog::ledgerKeepsValuesOfItsEvent()
{
    TighteningLedger ledger(TighteningLedger::State{"A", 5});
    CountedUpdate update = counted(8);
    update.update.late = true;
    const QList<TighteningLine> lines = ledger.observe("A", update);
    QCOMPARE(lines.size(), 2);
    QVERIFY(lines.first().update.values.isEmpty());
    QCOMPARE(lines.last().update.values, update.update.values);
    QVERIFY(lines.last().update.late);
}

void TstTighteningLog::format_data()
{
    QTest::addColumn<TighteningLine>("line");
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("csv");
    TighteningLine line = eventLine(17);
    QTest::newRow("event")
        << line
        << QByteArray(
               R"({"v":1,"kind":"event","time":"2026-03-01T09:30:00.125+01:00","serial":"1907","count":17,)"
               R"("late":false,"program":3,"values":{"program":3,"torque":625}})")
        << QByteArray("event,2026-03-01T09:30:00.125+01:00,1907,17,0,3,,,,3,625");
    line.update.late = true;
    line.serial = "a,\"b\"\n";
    line.update.values = {{"torque", QVariantList{1, 2}}};
    QTest::newRow("awkward values")
        << line
        << QByteArray(
               R"({"v":1,"kind":"event","time":"2026-03-01T09:30:00.125+01:00","serial":"a,\"b\"\n","count":17,)"
               R"("late":true,"program":null,"values":{"program":null,"torque":[1,2]}})")
        << QByteArray(R"(event,2026-03-01T09:30:00.125+01:00,"a,""b"" ",17,1,,,,,,"[1,2]")");
    line = eventLine(9);
    line.update.values.clear();
    line.kind = TighteningLine::Kind::Gap;
    line.from = 65535;
    line.to = 9;
    QTest::newRow("gap")
        << line
        << QByteArray(
               R"({"v":1,"kind":"gap","time":"2026-03-01T09:30:00.125+01:00","serial":"1907","count":9,)"
               R"("from":65535,"to":9,"missed":11})")
        << QByteArray("gap,2026-03-01T09:30:00.125+01:00,1907,9,0,,65535,9,11,,");
    line.kind = TighteningLine::Kind::Reset;
    line.from = 100;
    line.to = 10;
    QTest::newRow("reset")
        << line
        << QByteArray(
               R"({"v":1,"kind":"reset","time":"2026-03-01T09:30:00.125+01:00","serial":"1907","count":9,)"
               R"("from":100,"to":10})")
        << QByteArray("reset,2026-03-01T09:30:00.125+01:00,1907,9,0,,100,10,,,");
    line.kind = TighteningLine::Kind::Sequence;
    QTest::newRow("sequence")
        << line
        << QByteArray(
               R"({"v":1,"kind":"sequence","time":"2026-03-01T09:30:00.125+01:00","serial":"1907","count":9})")
        << QByteArray("sequence,2026-03-01T09:30:00.125+01:00,1907,9,0,,,,,,");
}

void TstTighteningLog::format()
{
    QFETCH(TighteningLine, line);
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, csv);
    QCOMPARE(tighteningText(line, layoutOf(TighteningFormat::JsonLines)), json + '\n');
    QCOMPARE(tighteningText(line, layoutOf(TighteningFormat::Csv)), csv + '\n');
    for (const TighteningFormat form : {TighteningFormat::JsonLines, TighteningFormat::Csv}) {
        const QByteArray text = form == TighteningFormat::Csv ? csv : json;
        const auto state = tighteningState(text, form);
        QVERIFY(state);
        QCOMPARE(state->count, line.count);
        QCOMPARE(state->serial.trimmed(), line.serial.trimmed());
    }
}

void TstTighteningLog::csvColumns()
{
    QCOMPARE(tighteningHeader(layoutOf(TighteningFormat::Csv)),
             QByteArray("kind,time,serial,count,late,program,from,to,missed,values.program,values.torque\n"));
    QCOMPARE(tighteningHeader(layoutOf(TighteningFormat::JsonLines)), QByteArray());
}

void TstTighteningLog::badLine_data()
{
    QTest::addColumn<bool>("csv");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("empty") << false << QByteArray();
    QTest::newRow("torn") << false << QByteArray(R"({"v":1,"kind":"event","serial":"1907","count":1)");
    QTest::newRow("no count") << false << QByteArray(R"({"v":1,"kind":"event","serial":"1907"})");
    QTest::newRow("count too large") << false
                                     << QByteArray(R"({"kind":"event","serial":"1907","count":65536})");
    QTest::newRow("count with fraction")
        << false << QByteArray(R"({"kind":"event","serial":"1907","count":1.5})");
    QTest::newRow("other object") << false << QByteArray(R"({"name":"values","count":1})");
    QTest::newRow("list") << false << QByteArray("[1,2]");
    QTest::newRow("csv empty") << true << QByteArray();
    QTest::newRow("csv header") << true << tighteningHeader(layoutOf(TighteningFormat::Csv)).trimmed();
    QTest::newRow("csv short") << true << QByteArray("event,2026,1907,17");
    QTest::newRow("csv open quote") << true << QByteArray("event,2026,\"1907,17,0,3,,,,3,625");
    QTest::newRow("csv count too large") << true << QByteArray("event,2026,1907,65536,0,3,,,,3,625");
}

void TstTighteningLog::badLine()
{
    QFETCH(bool, csv);
    QFETCH(QByteArray, line);
    QVERIFY(!tighteningState(line, csv ? TighteningFormat::Csv : TighteningFormat::JsonLines));
}

void TstTighteningLog::logGoesOn_data()
{
    QTest::addColumn<bool>("csv");
    QTest::newRow("json") << false;
    QTest::newRow("csv") << true;
}

void TstTighteningLog::logGoesOn()
{
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QString error;
    for (const int count : {17, 18}) {
        TighteningLog log(path, layout, 0, 5);
        QVERIFY2(log.open(&error), qPrintable(error));
        QCOMPARE(log.lastState().has_value(), count == 18);
        QVERIFY(!log.lastState() || (log.lastState()->count == 17 && log.lastState()->serial == "1907"));
        QVERIFY2(log.append(eventLine(count), &error), qPrintable(error));
        // Whoever reads along sees it before the program ends.
        QVERIFY(contentOf(path).endsWith(tighteningText(eventLine(count), layout)));
        QCOMPARE(log.notes(), QStringList());
    }
    QCOMPARE(contentOf(path), tighteningHeader(layout) + tighteningText(eventLine(17), layout) +
                                  tighteningText(eventLine(18), layout));
}

void TstTighteningLog::tornLine_data()
{
    logGoesOn_data();
}

// A line may be cut anywhere: the log goes on with the line before it.
void TstTighteningLog::tornLine()
{
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const QByteArray good = tighteningHeader(layout) + tighteningText(eventLine(17), layout);
    const QByteArray next = tighteningText(eventLine(18), layout);
    for (int size = 0; size <= next.size(); ++size) {
        QVERIFY(writeFile(path, good + next.left(size)));
        TighteningLog log(path, layout, 0, 5);
        QString error;
        QVERIFY2(log.open(&error), qPrintable(error));
        const bool isWhole = size == next.size();
        QCOMPARE(int(log.lastState()->count), isWhole ? 18 : 17);
        QCOMPARE(log.notes().size(), size == 0 || isWhole ? 0 : 1);
        QVERIFY(log.append(eventLine(19), &error));
        QCOMPARE(contentOf(path),
                 good + (isWhole ? next : QByteArray()) + tighteningText(eventLine(19), layout));
    }
    // A file that was made longer by a crash but never filled.
    QVERIFY(writeFile(path, good + QByteArray(100, '\0')));
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QCOMPARE(int(log.lastState()->count), 17);
    QCOMPARE(contentOf(path), good);
    // The header itself.
    if (csv) {
        const QString torn = folder.filePath("torn");
        QVERIFY(writeFile(torn, tighteningHeader(layout).left(10)));
        TighteningLog again(torn, layout, 0, 5);
        QVERIFY2(again.open(&error), qPrintable(error));
        QVERIFY(!again.lastState());
        QCOMPARE(contentOf(torn), tighteningHeader(layout));
    }
}

void TstTighteningLog::rotation_data()
{
    logGoesOn_data();
}

void TstTighteningLog::rotation()
{
    QFETCH(bool, csv);
    const TighteningLayout layout = layoutOf(csv ? TighteningFormat::Csv : TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const auto lineSize = tighteningText(eventLine(10), layout).size();
    const auto size = tighteningHeader(layout).size() + 2 * lineSize; // two lines each, exactly
    QString error;
    {
        TighteningLog log(path, layout, size, 2);
        QVERIFY2(log.open(&error), qPrintable(error));
        for (int count = 10; count < 19; ++count)
            QVERIFY2(log.append(eventLine(count), &error), qPrintable(error));
    }
    const auto file = [&layout](const QList<int>& counts) {
        QByteArray content = tighteningHeader(layout);
        for (const int count : counts)
            content += tighteningText(eventLine(count), layout);
        return content;
    };
    QCOMPARE(contentOf(path), file({18}));
    QCOMPARE(contentOf(path + ".1"), file({16, 17}));
    QCOMPARE(contentOf(path + ".2"), file({14, 15}));
    QCOMPARE(contentOf(path + ".3"), QByteArray("(none)"));
    // Smaller than a line: one line each, never none and never half of one.
    TighteningLog small(path, layout, 1, 2);
    QVERIFY2(small.open(&error), qPrintable(error));
    QVERIFY(small.append(eventLine(19), &error));
    QVERIFY(small.append(eventLine(20), &error));
    QCOMPARE(contentOf(path), file({20}));
    QCOMPARE(contentOf(path + ".1"), file({19}));
    QCOMPARE(contentOf(path + ".2"), file({18}));
}

void TstTighteningLog::recoversFromRotatedFile()
{
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QVERIFY(writeFile(path + ".1", tighteningText(eventLine(17), layout)));
    QVERIFY(writeFile(path + ".2", tighteningText(eventLine(12), layout)));
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY(log.lastState());
    QCOMPARE(int(log.lastState()->count), 17);
}

void TstTighteningLog::otherColumnsBeginANewFile()
{
    TighteningLayout layout = layoutOf(TighteningFormat::Csv);
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const QByteArray old = tighteningHeader(layout) + tighteningText(eventLine(17), layout);
    QVERIFY(writeFile(path, old));
    layout.valueNames.append("angle");
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QCOMPARE(log.notes().size(), 1);
    QCOMPARE(int(log.lastState()->count), 17);
    QCOMPARE(contentOf(path), tighteningHeader(layout));
    QCOMPARE(contentOf(path + ".1"), old);
}

void TstTighteningLog::refusedFiles_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("error");
    QTest::newRow("another file") << "notes"
                                  << "something else";
    QTest::newRow("a folder") << "folder"
                              << "no file";
    QTest::newRow("nowhere") << "missing/log"
                             << "cannot be made";
}

void TstTighteningLog::refusedFiles()
{
    QFETCH(QString, name);
    QFETCH(QString, error);
    QTemporaryDir folder;
    QVERIFY(writeFile(folder.filePath("notes"), "to do:\nlunch\n"));
    QVERIFY(QDir(folder.path()).mkdir("folder"));
    TighteningLog log(folder.filePath(name), layoutOf(TighteningFormat::JsonLines), 0, 5);
    QString text;
    QVERIFY(!log.open(&text));
    QVERIFY2(text.contains(error) && text.contains(name), qPrintable(text));
    QCOMPARE(contentOf(folder.filePath("notes")), QByteArray("to do:\nlunch\n"));
}

void TstTighteningLog::onlyOneWriter()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    QString error;
    TighteningLog first(path, layoutOf(TighteningFormat::JsonLines), 0, 5);
    QVERIFY(first.open(&error));
    TighteningLog second(path, layoutOf(TighteningFormat::JsonLines), 0, 5);
    QVERIFY(!second.open(&error));
    QVERIFY2(error.contains("another program"), qPrintable(error));
}

// A limit of the file's size stands for the full disk: the write takes half of a line, as there.
void TstTighteningLog::fullDisk()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("log");
    const TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    const QByteArray text = tighteningText(eventLine(17), layout);
    TighteningLog log(path, layout, 0, 5);
    QString error;
    QVERIFY2(log.open(&error), qPrintable(error));
    QVERIFY(log.append(eventLine(17), &error));
    struct rlimit before = {};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
    struct rlimit full = before;
    full.rlim_cur = static_cast<rlim_t>(text.size() * 3 / 2);
    std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
    const bool isAppended = log.append(eventLine(18), &error);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &before), 0);
    QVERIFY(!isAppended);
    QVERIFY2(error.contains(path) && error.contains("written"), qPrintable(error));
    QCOMPARE(contentOf(path), text);
    QVERIFY2(log.append(eventLine(19), &error), qPrintable(error));
    QCOMPARE(contentOf(path), text + tighteningText(eventLine(19), layout));
}

void TstTighteningLog::source_data()
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

void TstTighteningLog::source()
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

void TstTighteningLog::outage()
{
    Outage outage;
    QCOMPARE(outage.answered(), QString());
    for (int round = 0; round < 2; ++round) {
        QCOMPARE(outage.missed("no answer"), QString("no answer; listening goes on"));
        QCOMPARE(outage.missed("not connected"), QString());
        QVERIFY(outage.isOngoing());
        QCOMPARE(outage.answered(), QString("the controller answers again, missed replies: 2"));
        QCOMPARE(outage.answered(), QString());
    }
}

void TstTighteningLog::changed_data()
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

void TstTighteningLog::changed()
{
    QFETCH(QVariantMap, before);
    QFETCH(QVariantMap, now);
    QTEST(changedValues(before, now), "changes");
}

QTEST_GUILESS_MAIN(TstTighteningLog)
#include "tst_tightening_log.moc"
