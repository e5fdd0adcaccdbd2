#include "applications/bench/core/log_line.h"
#include "applications/bench/core/message_fold.h"

#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <functional>

namespace {

constexpr qint64 c_hour = 3'600'000; // ms

QStringList textsOf(const QList<MessageFold::Message>& messages)
{
    QStringList texts;
    for (const MessageFold::Message& one : messages)
        texts.append(one.label + one.text);
    return texts;
}

// A step "ms text" is a message, "ms" a look at what is due, and "ms end" the end.
QStringList folded(const QStringList& steps)
{
    MessageFold fold;
    QStringList shown;
    for (const QString& step : steps) {
        const qint64 now = step.section(' ', 0, 0).toLongLong();
        const QString text = step.section(' ', 1);
        shown += textsOf(text.isEmpty()  ? fold.due(now)
                         : text == "end" ? fold.rest(now)
                                         : fold.take(now, {{}, text}));
    }
    return shown;
}

// What an hour of `text(n)`, one every `interval` ms, shows of them.
struct Hour
{
    qint64 bytes = 0;
    int told = 0; // shown or counted
    QStringList shown;
};

Hour hourOf(int interval, const std::function<QString(int)>& text)
{
    static const QRegularExpression c_number(
        "\\((?:repeated|the newest of) (\\d+)|\\((once) more|^(\\d+) further messages");
    MessageFold fold;
    Hour hour;
    const auto show = [&hour](const QList<MessageFold::Message>& messages) {
        for (const MessageFold::Message& one : messages) {
            hour.bytes += QString("mdc-bench: %1%2\n").arg(one.label, one.text).toUtf8().size();
            const QRegularExpressionMatch match = c_number.match(one.text);
            hour.told +=
                match.hasMatch() ? std::max(1, match.captured(1).toInt() + match.captured(3).toInt()) : 1;
            hour.shown.append(one.text);
        }
    };
    for (int i = 0; i < c_hour / interval; ++i)
        show(fold.take(qint64(i) * interval, {"log: ", text(i)}));
    show(fold.rest(c_hour));
    return hour;
}

// Without a number.
QString wordOf(int number)
{
    QString word;
    for (const char digit : QByteArray::number(number))
        word += QChar('a' + (digit - '0'));
    return word;
}

} // namespace

class TstLogLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void logLine()
    {
        const QString line = QStringLiteral(
            "\n 2026-03-01 09:30:00.125 ;\t Thread = QThread(0x55) ;\t This = 0x66 ;\t "
            "plugins/p_device_mdc/source/d_cmd_setDirection ;\t 42 ;\t ERROR: Direction not applied");
        QCOMPARE(readableLogLine(line, false),
                 QStringLiteral("ERROR: Direction not applied (d_cmd_setDirection:42)"));
        QCOMPARE(readableLogLine(line, true),
                 QStringLiteral("2026-03-01 09:30:00.125 ; Thread = QThread(0x55) ; This = 0x66 ; "
                                "plugins/p_device_mdc/source/d_cmd_setDirection ; 42 ; "
                                "ERROR: Direction not applied"));
        QCOMPARE(readableLogLine("plain\n  text", false), QStringLiteral("plain text"));
    }

    void shownLogLines_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("plain");
        QTest::addColumn<bool>("verbose");
        QTest::addColumn<bool>("quiet");
        QTest::newRow("debug") << int(QtDebugMsg) << false << true << false;
        QTest::newRow("info") << int(QtInfoMsg) << false << true << false;
        QTest::newRow("warning") << int(QtWarningMsg) << true << true << false;
        QTest::newRow("critical") << int(QtCriticalMsg) << true << true << false;
        QTest::newRow("fatal") << int(QtFatalMsg) << true << true << true;
    }

    void shownLogLines()
    {
        QFETCH(int, type);
        const auto messageType = static_cast<QtMsgType>(type);
        QTEST(showsLogLine(messageType, false, false), "plain");
        QTEST(showsLogLine(messageType, true, false), "verbose");
        QTEST(showsLogLine(messageType, false, true), "quiet");
    }

    void repeatedMessages_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("shown");
        QTest::newRow("once") << QStringList{"0 lost", "600000", "700000 end"} << QStringList{"lost"};
        QTest::newRow("repeated, and told in time")
            << QStringList{"0 lost", "100 lost", "9999 lost", "10000"}
            << QStringList{"lost", "lost (repeated 2 times in the last 10 seconds)"};
        QTest::newRow("repeated, and told at the end")
            << QStringList{"0 lost", "100 lost", "600 end"}
            << QStringList{"lost", "lost (once more in the last second)"};
        QTest::newRow("told once") << QStringList{"0 lost", "100 lost", "600 end", "700 end", "20000"}
                                   << QStringList{"lost", "lost (once more in the last second)"};
        QTest::newRow("another one between them, at once")
            << QStringList{"0 lost", "1 lost", "2 refused", "3 lost"} << QStringList{"lost", "refused"};
        QTest::newRow("how it stands is told last")
            << QStringList{"0 lost", "1 back", "2 lost", "3 back", "4 lost", "2000 end"}
            << QStringList{"lost", "back", "back (once more in the last 2 seconds)",
                           "lost (repeated 2 times in the last 2 seconds)"};
        QTest::newRow("nothing but numbers differ")
            << QStringList{"0 event 1", "1 event 2", "2 event 3",    "3 event 4",
                           "4 event 5", "5 event 1", "6 event 0x1F", "30000"}
            << QStringList{"event 1", "event 2", "event 3", "event 4",
                           "event 0x1F (the newest of 3 like it in the last 30 seconds)"};
        QTest::newRow("growing intervals")
            << QStringList{"0 lost", "1 lost", "10000", "10001 lost", "20001", "20002 lost", "59999", "60001"}
            << QStringList{"lost", "lost (once more in the last 10 seconds)",
                           "lost (once more in the last 10 seconds)",
                           "lost (once more in the last 40 seconds)"};
        QTest::newRow("a pause of ten minutes")
            << QStringList{"0 lost", "600000 lost", "600001", "1200001 lost", "1200002 lost", "1200003 end"}
            << QStringList{"lost", "lost (once more in the last 10 minutes)", "lost",
                           "lost (once more in the last second)"};
    }

    void repeatedMessages() // docs/security.md
    {
        QFETCH(QStringList, steps);
        QTEST(folded(steps), "shown");
    }

    void floodOfMessages_data()
    {
        QTest::addColumn<int>("interval");
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("period"); // after so many the words come again
        QTest::newRow("the same") << 100 << 200 << 1;
        QTest::newRow("a few") << 100 << 200 << 10;
        QTest::newRow("as many as are kept") << 100 << 200 << MessageFold::c_mostKinds;
        QTest::newRow("one more") << 100 << 200 << MessageFold::c_mostKinds + 1;
        QTest::newRow("all different") << 100 << 200 << 1'000'000;
        QTest::newRow("all different, many") << 10 << 60 << 1'000'000;
        QTest::newRow("all different, long") << 1000 << 10'000 << 1'000'000;
        QTest::newRow("one a minute") << 61'000 << 200 << 1;
    }

    // Whoever sends them: each is shown or counted, and an hour of them is read in minutes.
    void floodOfMessages() // docs/security.md
    {
        QFETCH(int, interval);
        QFETCH(int, length);
        QFETCH(int, period);
        const Hour hour = hourOf(interval, [length, period](int number) {
            return wordOf(number % period) + ' ' + QString(length, 'x');
        });
        QVERIFY2(hour.bytes < 100'000, qPrintable(QString::number(hour.bytes)));
        QCOMPARE(hour.told, int(c_hour / interval));
        QVERIFY(hour.shown.constFirst().startsWith("a "));
    }

    // A timer asks when it is told that there is something.
    void timeOfCounts()
    {
        MessageFold fold;
        QVERIFY(!fold.nextDue());
        fold.take(0, {{}, "lost"});
        QVERIFY(!fold.nextDue());
        fold.take(1, {{}, "lost"});
        for (int i = 0; i < 20; ++i) {
            const std::optional<qint64> next = fold.nextDue();
            QVERIFY(next);
            QVERIFY(fold.due(*next - 1).isEmpty());
            QCOMPARE(fold.due(*next).size(), 1);
            QVERIFY(!fold.nextDue());
            fold.take(*next + 1, {{}, "lost"});
        }
    }

    // Also where nothing may be shown for a while.
    void timeOfCountsInAFlood()
    {
        MessageFold fold;
        for (int i = 0; i < 2000; ++i)
            fold.take(i, {{}, wordOf(i) + QString(100, 'x')});
        const std::optional<qint64> next = fold.nextDue();
        QVERIFY(next);
        const QStringList shown = textsOf(fold.due(*next));
        QVERIFY2(!shown.isEmpty() && shown.constLast().contains("further messages were not shown"),
                 qPrintable(shown.join('\n')));
    }
};

QTEST_GUILESS_MAIN(TstLogLine)
#include "tst_log_line.moc"
