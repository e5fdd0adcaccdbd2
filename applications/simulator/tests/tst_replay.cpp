#include "applications/simulator/recorded_session.h"
#include "applications/simulator/replay_plan.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

// What a record says, and what a controller made of it answers. No socket.
class TestReplay : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exchanges_data();
    void exchanges();
    void refusedRecords_data();
    void refusedRecords();
    void longestLine(); // docs/security.md
    void mostPieces();  // docs/security.md
    void files();       // docs/security.md
    void sessionsInARow();
    void polledValues();
    void strangers(); // docs/security.md
    void deliveries_data();
    void deliveries();
    void transactions_data();
    void transactions();
    void requestTexts_data();
    void requestTexts();
};

namespace {

// Lines at these milliseconds: "5 tx 01 03".
QByteArray record(const QStringList& lines)
{
    QByteArray text;
    for (const QString& line : lines) {
        const int at = line.section(' ', 0, 0).toInt();
        text += QString("2026-03-01 09:30:%1.%2 %3\n")
                    .arg(at / 1000, 2, 10, QChar('0'))
                    .arg(at % 1000, 3, 10, QChar('0'))
                    .arg(line.section(' ', 1))
                    .toUtf8();
    }
    return text;
}

// "0103|5:0001,3:02|closed 7|refused 9": request, pieces with their delays, and what the connection came to.
QString textOf(const RecordedExchange& exchange)
{
    QStringList pieces;
    for (const RecordedExchange::Piece& piece : exchange.pieces)
        pieces.append(QString("%1:%2").arg(piece.delay).arg(QString::fromLatin1(piece.bytes.toHex())));
    QString text = QString::fromLatin1(exchange.request.toHex()) + '|' + pieces.join(',');
    if (exchange.closing)
        text += QString("|closed %1").arg(*exchange.closing);
    if (exchange.refusal)
        text += QString("|refused %1").arg(*exchange.refusal);
    return text;
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

RecordedSession session(const QStringList& lines)
{
    QString error;
    const auto parsed = RecordedSession::parse(record(lines), &error);
    if (!parsed)
        qFatal("%s", qPrintable(error));
    return *parsed;
}

} // namespace

void TestReplay::exchanges_data()
{
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<QString>("note"); // empty for none

    QTest::newRow("one") << QStringList{"0 record 1 whatever", "1 open tcp", "5 tx 01 03", "12 rx 00 01"}
                         << QStringList{"0103|7:0001"} << "";
    QTest::newRow("a trace") << QStringList{"1 open tcp", "5 tx 01 03", "12 rx 00 01"}
                             << QStringList{"0103|7:0001"} << "";
    QTest::newRow("in pieces") << QStringList{"0 open tcp", "1 tx 01 03", "3 rx 00",
                                              "7 rx 01 02", "9 tx 01 04", "9 rx 03"}
                               << QStringList{"0103|2:00,4:0102", "0104|0:03"} << "";
    QTest::newRow("a clock that was set back")
        << QStringList{"0 open tcp", "9 tx 01 03", "3 rx 00", "5 rx 01"} << QStringList{"0103|0:00,2:01"}
        << "";
    QTest::newRow("no answer") << QStringList{"0 open tcp", "1 tx 01 03", "3001 left no answer",
                                              "3001 open tcp"}
                               << QStringList{"0103|"} << "";
    QTest::newRow("a part of one") << QStringList{"0 open tcp", "1 tx 01 03", "2 rx 00",
                                                  "3001 left no answer"}
                                   << QStringList{"0103|1:00"} << "";
    QTest::newRow("late, on a line") << QStringList{"0 open rtu", "1 tx 01 03", "3001 left no answer",
                                                    "3002 open rtu", "3500 rx 01 83"}
                                     << QStringList{"0103|3499:0183"} << "";
    QTest::newRow("late, over TCP") << QStringList{"0 open tcp", "1 tx 01 03", "3001 left no answer",
                                                   "3002 open tcp", "3500 rx 01 83"}
                                    << QStringList{"0103|"} << "2 bytes came that belong to no request";
    QTest::newRow("closed") << QStringList{"0 open tcp", "1 tx 01 03", "5 lost closed", "6 open tcp"}
                            << QStringList{"0103||closed 4"} << "";
    QTest::newRow("closed behind an answer")
        << QStringList{"0 open tcp", "1 tx 01 03", "2 rx 00", "502 lost closed", "503 open tcp"}
        << QStringList{"0103|1:00|closed 500"} << "";
    QTest::newRow("refused for a while")
        << QStringList{"0 open tcp",       "1 tx 01 03",         "5 lost closed",
                       "6 failed refused", "200 failed refused", "400 open tcp"}
        << QStringList{"0103||closed 4|refused 299"} << "";
    QTest::newRow("refused for good")
        << QStringList{"0 open tcp", "1 tx 01 03", "5 lost closed", "6 failed no"}
        << QStringList{"0103||closed 4|refused -1"} << "";
    QTest::newRow("refused after this end left")
        << QStringList{"0 open tcp", "1 tx 01 03", "5 left too late", "6 failed no", "8 open tcp"}
        << QStringList{"0103||refused 6"} << "";
    QTest::newRow("ends in a request") << QStringList{"0 open tcp", "1 tx 01 03", "2 rx 00", "3 tx 01 04"}
                                       << QStringList{"0103|1:00"} << "ends before 1 request was answered";
    QTest::newRow("refused at first")
        << QStringList{"0 failed no", "1 failed no", "2 open tcp", "3 tx 01 03", "4 rx 00"}
        << QStringList{"0103|1:00"} << "2 attempts to connect failed before the first request";
    QTest::newRow("the middle of a trace")
        << QStringList{"0 tx 01 03", "1 rx 00", "2 open tcp", "3 tx 01 04", "4 rx 00"}
        << QStringList{"0104|1:00"} << "1 requests before the first connection";
    QTest::newRow("lost without a request")
        << QStringList{"0 open tcp", "1 lost no", "2 open tcp", "3 tx 01 04", "4 rx 00"}
        << QStringList{"0104|1:00"} << "1 connections were lost before a request";
    QTest::newRow("a port that was unplugged")
        << QStringList{"0 open rtu", "1 tx 01 04", "2 lost gone", "3 failed none", "4 open rtu"}
        << QStringList{"0104|"} << "the serial port was lost 1 times";
}

void TestReplay::exchanges()
{
    QFETCH(QStringList, lines);
    QFETCH(QStringList, expected);
    QFETCH(QString, note);
    QString error;
    const auto parsed = RecordedSession::parse(record(lines), &error);
    QVERIFY2(parsed, qPrintable(error));
    QStringList texts;
    for (const RecordedExchange& exchange : parsed->exchanges)
        texts.append(textOf(exchange));
    QCOMPARE(texts, expected);
    QCOMPARE(parsed->isTcp, !lines.filter("open").first().endsWith("rtu"));
    QVERIFY2(parsed->notes.size() == (note.isEmpty() ? 0 : 1), qPrintable(parsed->notes.join('\n')));
    QVERIFY2(parsed->notes.join('\n').contains(note), qPrintable(parsed->notes.join('\n')));
}

void TestReplay::refusedRecords_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("error");

    const QByteArray good = record({"0 record 1 x", "1 open tcp", "2 tx 01 03", "3 rx 00"});
    const auto row = [&good](const char* name, const QByteArray& behind, const char* error) {
        QTest::newRow(name) << good + behind << QString(error);
    };
    QTest::newRow("empty") << QByteArray() << "there is nothing to replay";
    QTest::newRow("a text") << QByteArray("to do:\nlunch\n") << "line 1: it does not begin with a date";
    QTest::newRow("no text") << QByteArray(5000, '\0') + '\n' << "line 1: it does not begin with a date";
    QTest::newRow("one line without an end") << QByteArray(100000, 'x') << "line 1: it is cut off";
    QTest::newRow("another format") << record({"0 record 2 x"})
                                    << "line 1: it is a record of the format \"2\"; this program replays";
    QTest::newRow("a header alone") << record({"0 record 1 x"}) << "there is nothing to replay";
    QTest::newRow("never connected") << record({"0 record 1 x", "1 failed Connection refused"})
                                     << "there is nothing to replay";
    QTest::newRow("no connection") << record({"0 tx 01 03", "1 rx 00"}) << "there is nothing to replay";
    row("another record", good, "line 5: another record begins here");
    row("torn", "2026-03-01 09:30:00.125 rx 01 0", "line 5: it is cut off: the file ends within it");
    row("another transport", record({"4 open rtu"}), "line 5: a record is of one transport");
    row("no transport", record({"4 open udp"}), "line 5: a connection is over \"tcp\" or \"rtu\"");
    row("unknown word", record({"4 send 01"}), "line 5: \"send\" is none of record, open, tx, rx");
    row("no word", "2026-03-01 09:30:00.125\n", "line 5: it does not begin with a date and a time");
    row("empty line", "\n" + record({"5 rx 00"}), "line 5: it does not begin");
    row("no such day", "2026-02-30 09:30:00.125 rx 00\n", "line 5: it does not begin");
    row("no such hour", "2026-02-03 24:30:00.125 rx 00\n", "line 5: it does not begin");
    row("a letter in the time", "2026-02-03 2a:30:00.125 rx 00\n", "line 5: it does not begin");
    row("other line ends", "2026-03-01 09:30:00.125 rx 00\r\n", "line 5: what was received is bytes");
    row("half a byte", record({"4 rx 0"}), "line 5: what was received is bytes");
    row("no bytes", record({"4 rx "}), "line 5: what was received is bytes");
    row("no blanks", record({"4 rx 000"}), "line 5: what was received is bytes");
    row("other letters", record({"4 rx 0g"}), "line 5: what was received is bytes");
    row("capitals", record({"4 rx 0A"}), "line 5: what was received is bytes");
    row("a request of one byte", record({"4 tx 01"}), "line 5: a request is 2 to 254 bytes");
    row("a request that is too long", record({"4 tx 01" + QString(" 00").repeated(254)}),
        "line 5: a request is 2 to 254 bytes");
}

void TestReplay::refusedRecords()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, error);
    QString told;
    QVERIFY(!RecordedSession::parse(text, &told));
    QVERIFY2(told.contains(error), qPrintable(told));
}

void TestReplay::longestLine()
{
    const QByteArray rest = record({"1 open tcp", "2 tx 01 03", "3 rx 00"});
    const int head = record({"0 record 1 "}).size() - 1;
    QString error;
    for (const int more : {0, 1}) {
        const QByteArray line = record({"0 record 1 " + QString(8192 - head + more, 'x')});
        QCOMPARE(line.size() - 1, 8192 + more);
        const bool isGood = RecordedSession::parse(line + rest, &error).has_value();
        QVERIFY2(isGood == (more == 0), qPrintable(error));
    }
    QVERIFY2(error.contains("line 1: it has more than 8192 characters"), qPrintable(error));
}

void TestReplay::mostPieces()
{
    QString error;
    for (const int more : {0, 1}) {
        const QByteArray text =
            record({"0 record 1 x", "1 open tcp", "2 tx 01 03"}) + record({"3 rx 00"}).repeated(1024 + more);
        QCOMPARE(RecordedSession::parse(text, &error).has_value(), more == 0);
    }
    QVERIFY2(error.contains("line 1028: more than 1024 pieces came for one request"), qPrintable(error));
}

void TestReplay::files()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("session.rec");
    QString error;
    QVERIFY(!RecordedSession::read(path, &error));
    QVERIFY2(error.startsWith(path + " cannot be replayed: "), qPrintable(error));
    QVERIFY(!RecordedSession::read(folder.path(), &error));
    QVERIFY2(error.contains("it is a folder"), qPrintable(error));

    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(record({"0 open tcp", "1 tx 01 03", "2 rx 00"}));
    file.flush();
    QVERIFY2(RecordedSession::read(path, &error), qPrintable(error));
    // Sparse: one byte more than is read.
    QVERIFY(file.resize(RecordedSession::c_mostBytes + 1));
    QVERIFY(!RecordedSession::read(path, &error));
    QVERIFY2(error.contains("more than the 67108864 bytes that are read"), qPrintable(error));
    QVERIFY(file.resize(RecordedSession::c_mostBytes));
    QVERIFY(!RecordedSession::read(path, &error));
    QVERIFY2(error.contains("line 4: it is cut off"), qPrintable(error));
}

void TestReplay::sessionsInARow()
{
    RecordedSession first = session({"0 open tcp", "1 tx 01 03", "2 lost x", "3 failed x"});
    QCOMPARE(first.exchanges.last().refusal.value_or(0), -1);
    QVERIFY(first.append(session({"0 open tcp", "1 tx 01 03", "2 rx 00"})));
    QCOMPARE(first.exchanges.size(), 2);
    // There was a second session: it had come back.
    QVERIFY(!first.exchanges.first().refusal);
    QVERIFY(!first.append(session({"0 open rtu", "1 tx 01 03", "2 rx 00"})));
    QCOMPARE(first.exchanges.size(), 2);
}

void TestReplay::polledValues()
{
    ReplayPlan plan(session({"0 open tcp", "1 tx 01 03", "2 rx 00 01", "3 tx 02 03", "4 rx aa", "5 tx 01 03",
                             "6 rx 00 02", "7 tx 01 03", "8 rx 00 03"}));
    QCOMPARE(plan.recordedCount(), 4);
    QCOMPARE(plan.differentCount(), 2);
    QStringList values;
    QStringList told;
    for (int i = 0; i < 6; ++i) {
        const ReplayPlan::Step step = plan.next(hex("0103"));
        QVERIFY(step.exchange != nullptr);
        QCOMPARE(step.count, 3);
        QCOMPARE(step.isRepeated, i >= 3);
        values.append(QString::fromLatin1(step.exchange->pieces.first().bytes.toHex()));
        if (step.isNews)
            told.append(QString::number(i));
    }
    // Each value once, the last one from then on; that it has come to the end is told once.
    QCOMPARE(values, (QStringList{"0001", "0002", "0003", "0003", "0003", "0003"}));
    QCOMPARE(told, QStringList{"3"});
    QCOMPARE(textOf(*plan.next(hex("0203")).exchange), QString("0203|1:aa"));
    QCOMPARE(plan.requestCount(), qint64(7));
    QCOMPARE(plan.unknownCount(), qint64(0));
}

void TestReplay::strangers()
{
    ReplayPlan plan(session({"0 open tcp", "1 tx 01 03 00 01", "2 rx 00 01"}));
    // By unit and by data, and not by the beginning.
    for (const char* const stranger : {"02030001", "01030002", "010300", "0103000100"}) {
        const ReplayPlan::Step step = plan.next(hex(stranger));
        QVERIFY2(step.exchange == nullptr && step.isNews, stranger);
        QVERIFY2(!plan.next(hex(stranger)).isNews, stranger);
    }
    QCOMPARE(plan.unknownCount(), qint64(8));
    // Nobody fills the memory with them.
    int told = 0;
    for (int i = 0; i < 3000; ++i)
        told += plan.next(hex("0103") + QByteArray::number(i)).isNews ? 1 : 0;
    QCOMPARE(told, 996);
    QCOMPARE(plan.unknownCount(), qint64(3008));
}

void TestReplay::deliveries_data()
{
    QTest::addColumn<double>("speed");
    QTest::addColumn<QString>("expected");
    QTest::newRow("as it was") << 1.0 << "100:00,51:01,1000:";
    QTest::newRow("slower") << 0.5 << "200:00,102:01,2000:";
    QTest::newRow("faster") << 10.0 << "10:00,5:01,100:";
    QTest::newRow("at once") << 0.0 << "0:00,0:01,0:";
}

void TestReplay::deliveries()
{
    QFETCH(double, speed);
    QFETCH(QString, expected);
    const RecordedSession recorded =
        session({"0 open tcp", "1 tx 01 03", "101 rx 00", "152 rx 01", "1152 lost closed"});
    const Delivery delivery = deliveryOf(recorded.exchanges.first(), std::nullopt, speed);
    QStringList pieces;
    for (const Delivery::Piece& piece : delivery.pieces)
        pieces.append(QString("%1:%2").arg(piece.delay).arg(QString::fromLatin1(piece.bytes.toHex())));
    QCOMPARE(pieces.join(','), expected);
    QVERIFY(delivery.ending == Delivery::Ending::Close);
    QCOMPARE(scaledTime(-1, speed), -1);
}

void TestReplay::transactions_data()
{
    QTest::addColumn<QString>("answer"); // of the second request of the second connection
    QTest::addColumn<QByteArray>("expected");
    const QString more("01 83 02");
    QTest::newRow("its own") << "00 06 00 00 00 03 01 83 02" << hex("010000000003018302");
    QTest::newRow("another one") << "00 09 00 00 00 03 01 83 02" << hex("010300000003018302");
    QTest::newRow("twice") << "00 06 00 00 00 03 01 83 02 00 06 00 00 00 03 01 83 02"
                           << hex("010000000003018302010000000003018302");
    QTest::newRow("another protocol") << "00 06 00 01 00 03 01 83 02 00 06" << hex("0100000100030183020006");
    QTest::newRow("a header") << "00 06 00 00 00 03 01" << hex("01000000000301");
    QTest::newRow("the beginning of one") << "00 06 00 00 00" << hex("0100000000");
    QTest::newRow("one byte") << "07" << hex("07");
}

// The number of a transaction is the client's: it gets its own back, unless it got another one.
void TestReplay::transactions()
{
    QFETCH(QString, answer);
    QFETCH(QByteArray, expected);
    const RecordedSession recorded =
        session({"0 open tcp", "1 tx 01 03", "2 rx 00 05 00 00", "3 tx 01 03", "4 rx 00 06 00 00", "5 left x",
                 "6 open tcp", "7 tx 01 03", "8 rx 00 05 00 00", "9 tx 01 03", "10 rx " + answer});
    QCOMPARE(recorded.exchanges.size(), 4);
    QByteArray bytes;
    const Delivery delivery = deliveryOf(recorded.exchanges.last(), quint16(0x0100), 1);
    for (const Delivery::Piece& piece : delivery.pieces)
        bytes += piece.bytes;
    QCOMPARE(bytes.toHex(), expected.toHex());
    // On a serial line there is none.
    QCOMPARE(deliveryOf(recorded.exchanges.last(), std::nullopt, 1).pieces.first().bytes.toHex(),
             QByteArray::fromHex(answer.toLatin1()).toHex());
}

void TestReplay::requestTexts_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<QString>("expected");
    QTest::newRow("read") << hex("010317d50006")
                          << "function 0x03, register 6101 on the wire, count 6, unit 1 (01 03 17 d5 00 06)";
    QTest::newRow("write") << hex("070617710001")
                           << "function 0x06, register 6001 on the wire, count 1, unit 7 (07 06 17 71 00 01)";
    QTest::newRow("identification") << hex("0111") << "function 0x11, unit 1 (01 11)";
    QTest::newRow("long") << hex("0141") + QByteArray(200, '\0')
                          << "function 0x41, unit 1 (01 41" + QString(" 00").repeated(30) +
                                 QString::fromUtf8(" …)");
}

void TestReplay::requestTexts()
{
    QFETCH(QByteArray, request);
    QFETCH(QString, expected);
    QCOMPARE(requestText(request), expected);
}

QTEST_GUILESS_MAIN(TestReplay)
#include "tst_replay.moc"
