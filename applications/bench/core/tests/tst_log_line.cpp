#include "applications/bench/core/log_line.h"

#include <QTest>

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
};

QTEST_GUILESS_MAIN(TstLogLine)
#include "tst_log_line.moc"
