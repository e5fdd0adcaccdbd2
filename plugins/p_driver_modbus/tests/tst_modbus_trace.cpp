#include "plugins/p_driver_modbus/source/frame_trace.h"
#include "plugins/p_driver_modbus/source/link_statistics.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

// What the driver writes down and counts.
class TestModbusTrace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statistics();
    void trace();
    void traceIsBounded();
    void traceOnAFullDisk();
};

namespace {

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

} // namespace

void TestModbusTrace::statistics()
{
    LinkStatistics statistics;
    QCOMPARE(statistics.toMap().value("roundTrips").toInt(), 0);
    QVERIFY(!statistics.toMap().contains("roundTripMinimum"));
    for (int i = 1; i <= 100; ++i)
        statistics.addRoundTrip(i * 1000000LL);
    QVariantMap map = statistics.toMap();
    QCOMPARE(map.value("roundTripMinimum").toDouble(), 1.0);
    QCOMPARE(map.value("roundTripMedian").toDouble(), 50.0);
    QCOMPARE(map.value("roundTripPercentile99").toDouble(), 99.0);
    // The window moves on: after as many as it holds, the first ones are forgotten.
    for (int i = 0; i < 1024; ++i)
        statistics.addRoundTrip(7000000);
    map = statistics.toMap();
    QCOMPARE(map.value("roundTrips").toInt(), 1024);
    QCOMPARE(map.value("roundTripMinimum").toDouble(), 7.0);
    QCOMPARE(map.value("roundTripPercentile99").toDouble(), 7.0);
    statistics.connections = 3;
    QCOMPARE(statistics.toMap().value("reconnects").toInt(), 2);
}

void TestModbusTrace::trace()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    {
        FrameTrace trace(path);
        trace.sent(hex("0103"));
        trace.received(hex("018302"));
    }
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QRegularExpression tx("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} tx 01 03\n$");
    const QRegularExpression rx("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} rx 01 83 02\n$");
    QVERIFY(tx.match(file.readLine()).hasMatch());
    QVERIFY(rx.match(file.readLine()).hasMatch());
    QVERIFY(file.atEnd());

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("frame trace .* cannot be written"));
    FrameTrace(folder.filePath("none/trace.txt")).sent(hex("01"));
}

void TestModbusTrace::traceIsBounded()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("trace.txt");
    constexpr qint64 c_limit = 1000;
    {
        FrameTrace trace(path, c_limit);
        for (int i = 0; i < 200; ++i)
            trace.sent(QByteArray(1, static_cast<char>(i)));
    }
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), (QStringList{"trace.txt", "trace.txt.1"}));
    QByteArray kept;
    for (const char* suffix : {".1", ""}) {
        QFile file(path + QLatin1String(suffix));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.size() > 0 && file.size() <= c_limit);
        kept += file.readAll();
    }
    // The last ones, in their order and without a gap.
    QList<QByteArray> lines = kept.trimmed().split('\n');
    for (int i = 200; !lines.isEmpty(); lines.removeLast())
        QVERIFY(lines.last().endsWith(" tx " + QByteArray(1, static_cast<char>(--i)).toHex()));

    // A trace that goes on counts what was there before.
    FrameTrace(path, 1).sent(hex("01"));
    QFile last(path);
    QVERIFY(last.open(QIODevice::ReadOnly));
    QCOMPARE(last.readAll().count('\n'), 1);
}

void TestModbusTrace::traceOnAFullDisk()
{
    if (!QFileInfo::exists("/dev/full"))
        QSKIP("this system has no disk that is always full");
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("^frame trace \"/dev/full\" ends here: the disk is full \\("));
    FrameTrace trace("/dev/full");
    trace.sent(hex("01"));
    // Told once; the link goes on without it.
    trace.sent(hex("01"));
    QVERIFY(!trace.isOpen());
}

QTEST_GUILESS_MAIN(TestModbusTrace)
#include "tst_modbus_trace.moc"
