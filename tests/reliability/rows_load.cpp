#include "tests/reliability/event_wait.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/reliability/simulated_bench.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QTcpSocket>

#include <algorithm>
#include <vector>

#include <sys/resource.h>

namespace {

const QString c_group = QStringLiteral("Load");
constexpr int c_orderTime = 10000;

// Reads take longer than the interval at which they are due.
void runSlowPeer(RowReport& report)
{
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    constexpr int c_answerTime = 350;
    constexpr int c_watched = 2000;
    bench.simulator().faults().add(QStringLiteral("late=%1/0x03").arg(c_answerTime));
    const qint64 before = bench.simulator().faults().requestCount();
    const quint64 id = bench.place(QStringLiteral("listenMotorRunState"), {});
    watchFor(c_watched);
    const int reads = static_cast<int>(bench.simulator().faults().requestCount() - before);
    const int skipped = bench.driver()
                            ->getProperty(QStringLiteral("statistics"), QVariant())
                            .toMap()
                            .value(QStringLiteral("skippedPolls"))
                            .toInt();
    const int possible = c_watched / c_answerTime + 1;
    report.check('E', reads >= 2 && reads <= possible,
                 QStringLiteral("%1 reads within the time of %2").arg(reads).arg(possible));
    report.check('X', skipped >= reads, QStringLiteral("%1 skipped polls are counted").arg(skipped));
    bench.run(QStringLiteral("stopListening"), {}, c_orderTime);
    bench.await(id);
    bench.simulator().faults().clear();
    bench.recover();
    report.seen(QStringLiteral("%1 reads of %2 ms in %3 ms, %4 polls skipped and counted")
                    .arg(reads)
                    .arg(c_answerTime)
                    .arg(c_watched)
                    .arg(skipped));
    bench.finish();
}

void runStalledClients(RowReport& report)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    SimulatedBench bench(report);
    if (!bench.start())
        return;
    // Two descriptors each, and some for the rest.
    constexpr rlim_t c_wanted = 1000;
    const auto count = static_cast<int>(std::min<rlim_t>(c_wanted, (limit.rlim_cur - 64) / 2));
    constexpr int c_burst = 25;
    std::vector<std::unique_ptr<QTcpSocket>> clients;
    while (static_cast<int>(clients.size()) < count && report.isGood()) {
        for (int i = 0; i < c_burst && static_cast<int>(clients.size()) < count; ++i) {
            clients.push_back(std::make_unique<QTcpSocket>());
            clients.back()->connectToHost(QStringLiteral("127.0.0.1"), bench.simulator().tcpPort());
        }
        report.check('D',
                     waitUntil([&] { return clients.back()->state() == QAbstractSocket::ConnectedState; },
                               c_orderTime),
                     QStringLiteral("client %1 is not connected").arg(clients.size()));
        // The first half of a request, and nothing more.
        if (clients.size() % 2 == 0)
            clients.back()->write(QByteArray("\0\1\0\0\0\6", 6));
    }
    int done = 0;
    constexpr int c_orders = 200;
    for (int i = 0; i < c_orders && report.isGood(); ++i) {
        const OrderEnd end = bench.run(QStringLiteral("getInfo"), {{"reference", "MDC"}}, 1000);
        report.check('D', end.outcome.ok, end.outcome.errorMessage);
        done += end.outcome.ok ? 1 : 0;
    }
    const std::size_t held = clients.size();
    clients.clear();
    bench.recover();
    report.seen(QStringLiteral("%1 clients held, %2 of %3 orders done beside them")
                    .arg(held)
                    .arg(done)
                    .arg(c_orders));
    bench.finish();
}

} // namespace

void addLoadRows(RowTable& table)
{
    table.add({"load.slow-peer", c_group, "The peer is slower than the interval", "a listening",
               "polls are skipped and counted, never queued", runSlowPeer});
    table.add({"load.stalled-clients", c_group, "1,000 clients that stall, some within a request",
               "the simulator", "the bench works on; all of it is given back", runStalledClients});
}
