#include "applications/bench/results/tightening_format.h"

#include <QDate>
#include <QDateTime>
#include <QJsonDocument>
#include <QTest>
#include <QTime>

Q_DECLARE_METATYPE(TighteningLine)

namespace {

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

} // namespace

class TstTighteningFormat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void format_data();
    void format();
    void csvColumns();
    void described();
    void badLine_data();
    void badLine();
};

void TstTighteningFormat::format_data()
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

void TstTighteningFormat::format()
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

void TstTighteningFormat::csvColumns()
{
    QCOMPARE(tighteningHeader(layoutOf(TighteningFormat::Csv)),
             QByteArray("kind,time,serial,count,late,program,from,to,missed,values.program,values.torque\n"));
    QCOMPARE(tighteningHeader(layoutOf(TighteningFormat::JsonLines)), QByteArray());
}

// Beside the raw values, which stay as they are.
void TstTighteningFormat::described()
{
    ValueDescription torque;
    torque.scale = 0.01;
    torque.unit = "Nm";
    TighteningLayout layout = layoutOf(TighteningFormat::JsonLines);
    layout.descriptions = {{"torque", torque}, {"angle", {}}};
    const QByteArray json = tighteningText(eventLine(17), layout);
    QVERIFY2(json.endsWith(R"("values":{"program":3,"torque":625},"described":{"torque":"6.25 Nm"}})"
                           "\n"),
             json.constData());
    layout.format = TighteningFormat::Csv;
    QVERIFY(tighteningHeader(layout).endsWith("values.program,values.torque,described.torque\n"));
    const QByteArray csv = tighteningText(eventLine(17), layout);
    QVERIFY2(csv.endsWith(",3,625,6.25 Nm\n"), csv.constData());
    QCOMPARE(tighteningState(csv.chopped(1), layout.format)->count, quint16(17));
    QVERIFY(beginsTighteningLog(tighteningHeader(layout), layoutOf(TighteningFormat::Csv)));
}

void TstTighteningFormat::badLine_data()
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

void TstTighteningFormat::badLine()
{
    QFETCH(bool, csv);
    QFETCH(QByteArray, line);
    QVERIFY(!tighteningState(line, csv ? TighteningFormat::Csv : TighteningFormat::JsonLines));
}

QTEST_GUILESS_MAIN(TstTighteningFormat)
#include "tst_tightening_format.moc"
