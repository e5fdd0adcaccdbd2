#include "applications/bench/core/exit_code.h"

#include <QTest>

class TstExitCode : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exitCodeOfErrorCode_data()
    {
        QTest::addColumn<int>("errorCode");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("none") << int(IMessenger::CeEcNone) << 0;
        QTest::newRow("timeout") << int(IMessenger::CeEcTimeout) << 6;
        QTest::newRow("unknown target") << int(IMessenger::CeEcUnknownTarget) << 3;
        QTest::newRow("unknown command") << int(IMessenger::CeEcUnknownCommand) << 3;
        QTest::newRow("not connected") << int(IMessenger::CeEcNotConnected) << 5;
        QTest::newRow("refused") << int(IMessenger::CeEcRefused) << 7;
        QTest::newRow("uncertain") << int(IMessenger::CeEcUncertain) << 9;
        QTest::newRow("invalid arguments") << int(IMessenger::CeEcInvalidArguments) << 1;
        QTest::newRow("stopped") << int(IMessenger::CeEcStopped) << 1;
        QTest::newRow("queue full") << int(IMessenger::CeEcQueueFull) << 1;
        QTest::newRow("internal") << int(IMessenger::CeEcInternal) << 1;
        QTest::newRow("a code of tomorrow") << 99 << 1;
    }

    void exitCodeOfErrorCode()
    {
        QFETCH(int, errorCode);
        QTEST(static_cast<int>(exitCodeFor(static_cast<IMessenger::EnErrorCode>(errorCode))), "exitCode");
    }

    void exitCodeOfOutcome_data()
    {
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("errorCode");
        QTest::addColumn<QVariantMap>("results");
        QTest::addColumn<int>("exitCode");
        const QString doneOk = QStringLiteral("doneOk");
        QTest::newRow("ok") << true << 0 << QVariantMap{} << 0;
        QTest::newRow("done") << true << 0 << QVariantMap{{doneOk, true}} << 0;
        QTest::newRow("says it is not done") << true << 0 << QVariantMap{{doneOk, false}} << 1;
        QTest::newRow("says nothing") << true << 0 << QVariantMap{{doneOk, QVariant()}} << 0;
        QTest::newRow("failed without a code") << false << 0 << QVariantMap{} << 1;
        QTest::newRow("refused, and says so") << false << 5 << QVariantMap{{doneOk, false}} << 7;
    }

    void exitCodeOfOutcome()
    {
        QFETCH(bool, ok);
        QFETCH(int, errorCode);
        QFETCH(QVariantMap, results);
        QTEST(static_cast<int>(
                  exitCodeFor({ok, static_cast<IMessenger::EnErrorCode>(errorCode), QString(), results})),
              "exitCode");
    }

    // Scripts depend on the numbers.
    void exitCodes()
    {
        int previous = -1;
        for (const ExitCodeDescription& description : exitCodeDescriptions()) {
            QVERIFY(static_cast<int>(description.code) > previous);
            previous = static_cast<int>(description.code);
        }
        QCOMPARE(exitCodeDescriptions().size(), 11);
        QCOMPARE(static_cast<int>(ExitCode::Different), 8);
    }
};

QTEST_GUILESS_MAIN(TstExitCode)
#include "tst_exit_code.moc"
