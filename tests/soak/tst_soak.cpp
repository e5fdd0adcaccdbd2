#include "applications/simulator/simulated_controller.h"
#include "plugins/p_device_mdc/model/command_needs.h"
#include "tests/soak/line_fit.h"
#include "tests/soak/soak_run.h"
#include "tests/support/simulator_names.h"
#include "tests/support/table_gaps.h"

#include <QMessageLogContext>
#include <QPair>
#include <QTest>
#include <QVector>

// A short soak, and that its watch is no watch that cannot bark.
class tst_Soak : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slope_data();
    void slope();
    void everyFaultIsMet();
    void everythingHolds();
    void lieIsFound();
};

namespace {

SoakOptions shortRun(qint64 transactions)
{
    SoakOptions options;
    options.transactions = transactions;
    options.plugins = QStringLiteral(MDC_BINARY_DIRECTORY "/plugins");
    options.configuration = QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
    return options;
}

void ignoreMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    if (type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(text));
}

} // namespace

void tst_Soak::slope_data()
{
    using Points = QVector<QPair<double, double>>;
    QTest::addColumn<Points>("points");
    QTest::addColumn<double>("slope");
    QTest::newRow("none") << Points{} << 0.0;
    QTest::newRow("one") << Points{{1, 5}} << 0.0;
    QTest::newRow("above one another") << Points{{1, 5}, {1, 9}} << 0.0;
    QTest::newRow("level") << Points{{1, 5}, {2, 5}, {9, 5}} << 0.0;
    QTest::newRow("a line") << Points{{0, 1}, {1, 3}, {2, 5}, {10, 21}} << 2.0;
    QTest::newRow("falling, with noise") << Points{{0, 10}, {1, 8}, {2, 8}, {3, 6}} << -1.2;
    QTest::newRow("far from zero") << Points{{1e6, 5e8}, {1e6 + 1, 5e8 + 3}} << 3.0;
}

void tst_Soak::slope()
{
    using Points = QVector<QPair<double, double>>;
    QFETCH(Points, points);
    QFETCH(double, slope);
    QCOMPARE(slopeOf(points) + 10, slope + 10);
}

void tst_Soak::everyFaultIsMet()
{
    QStringList met;
    const QList<FaultSource::Choice> choices = FaultSource::choices();
    for (const FaultSource::Choice& choice : choices) {
        for (const QString& fault : choice.faults) {
            QVERIFY2(Fault::parse(fault).has_value(), qPrintable(fault));
            met.append(faultName(fault));
        }
        // Besides the fault that ends the connection: nobody could be refused otherwise.
        if (choice.refuses)
            met.append(QStringLiteral("refuse"));
    }
    const QString gaps = tableGaps(QStringLiteral("the soak's faults"), faultNames(), met);
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

void tst_Soak::everythingHolds()
{
    const QtMessageHandler handler = qInstallMessageHandler(ignoreMessage);
    SoakRun soak(shortRun(4000));
    QString error;
    const bool prepared = soak.prepare(&error);
    const SoakResult result = prepared ? soak.run() : SoakResult();
    qInstallMessageHandler(handler);
    QVERIFY2(prepared, qPrintable(error));
    QVERIFY2(result.broken.isEmpty(), qPrintable(result.broken.join('\n')));
    QVERIFY(result.transactions >= 4000);
    for (const CommandNeeds& needs : commandNeeds())
        QVERIFY2(result.commandsRun.contains(needs.command), qPrintable(needs.command + " was never run"));
    QVERIFY(result.counts.faults > 0);
    QCOMPARE(result.counts.survived, result.counts.faults);
    QVERIFY(result.counts.backups > 0 && result.counts.readings > 0 && result.counts.updates > 0);
}

// A controller that acknowledges a change of direction and goes back to what it was.
void tst_Soak::lieIsFound()
{
    const QtMessageHandler handler = qInstallMessageHandler(ignoreMessage);
    SoakRun soak(shortRun(100000));
    QString error;
    const bool prepared = soak.prepare(&error);
    SoakResult result;
    if (prepared) {
        SimulatedController& controller = soak.lane(0).simulator().controller();
        connect(&controller, &SimulatedController::writeNoted, &controller,
                [&controller] { controller.setValue("direction", 7); });
        result = soak.run();
    }
    qInstallMessageHandler(handler);
    QVERIFY2(prepared, qPrintable(error));
    QVERIFY2(!result.broken.isEmpty() && result.broken.first().contains("\"setDirection\""),
             qPrintable(result.broken.join('\n')));
}

QTEST_GUILESS_MAIN(tst_Soak)
#include "tst_soak.moc"
