#include "tests/reliability/kept_orders.h"

#include "tests/reliability/event_wait.h"

#include <lib_host/d_host.h>

#include <QUuid>

void keepMostOrders(DHost& host)
{
    constexpr int c_moreThanAreKept = 64;
    constexpr int c_longest = 1000; // ms
    int ends = 0;
    QObject context;
    // For nobody: nothing is sent, and nobody else hears of them.
    for (int i = 0; i < c_moreThanAreKept; ++i)
        host.runCommand(QUuid::createUuid(), QStringLiteral("none"), {}, 0, &context,
                        [&ends](quint64 /*order*/, const DOrderOutcome& /*outcome*/) { ++ends; });
    waitUntil([&ends] { return ends == c_moreThanAreKept; }, c_longest);
    // What has ended is asked to go.
    watchFor(1);
}
