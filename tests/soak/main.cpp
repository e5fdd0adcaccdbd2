#include "tests/soak/soak_run.h"

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>

// soak [TRANSACTIONS [SEED]]: 0 when everything held, 1 when something did not, 2 for wrong arguments.

namespace {

qint64 s_messages = 0;

// The device's and the driver's log tells every fault in some lines: hundreds of thousands of them.
void countMessage(QtMsgType /*type*/, const QMessageLogContext& /*context*/, const QString& /*text*/)
{
    ++s_messages;
}

void print(FILE* stream, const SoakResult& result)
{
    const SoakCounts& counts = result.counts;
    std::fprintf(stream,
                 "%lld transactions in %.0f s; %lld orders (%lld failed), %lld page readings, %lld updates, "
                 "%lld backups, %lld restores; faults: %lld met, %lld survived; memory: %.1f MB, "
                 "%+.3f bytes for each transaction\n",
                 result.transactions, static_cast<double>(result.milliseconds) / 1000, counts.orders,
                 counts.failed, counts.readings, counts.updates, counts.backups, counts.restores,
                 counts.faults, counts.survived, static_cast<double>(result.memory) / (1 << 20),
                 result.memorySlope);
    std::fflush(stream);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    SoakOptions options;
    bool isCount = true;
    bool isSeed = true;
    if (arguments.size() > 1)
        options.transactions = arguments.at(1).toLongLong(&isCount);
    if (arguments.size() > 2)
        options.seed = arguments.at(2).toUInt(&isSeed);
    if (!isCount || !isSeed || options.transactions < 1 || arguments.size() > 3) {
        std::fputs("usage: soak [TRANSACTIONS [SEED]]\n", stderr);
        return 2;
    }
    options.plugins = QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins");
    options.configuration = QStringLiteral(":/configurations/bench.json");
    qInstallMessageHandler(countMessage);

    SoakRun soak(options);
    QString error;
    if (!soak.prepare(&error)) {
        std::fprintf(stderr, "soak: %s\n", qPrintable(error));
        return 1;
    }
    const SoakResult result = soak.run([](const SoakResult& soFar) { print(stderr, soFar); });
    print(stdout, result);
    std::printf("seed %u; descriptors: %d at the start, %d at the end; threads: %d; log lines: %lld\n",
                options.seed, result.descriptorsAtStart, result.descriptorsAtEnd, result.threads, s_messages);
    for (const QString& broken : result.broken)
        std::printf("does not hold: %s\n", qPrintable(broken));
    return result.broken.isEmpty() ? 0 : 1;
}
