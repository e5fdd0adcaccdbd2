#include "benchmarks/allocation_counter.h"
#include "benchmarks/bare_clients.h"
#include "benchmarks/benchmark_program.h"
#include "benchmarks/measured_device.h"
#include "benchmarks/served_controllers.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QVariantMap>

#include <cstdio>
#include <functional>
#include <memory>
#include <unistd.h>

// What orders cost in things that a busy machine does not change: calls that ask for memory, which the
// program counts itself, and what whoever runs it counts of its sections: instructions, system calls.
// scripts/order_counts.py does so and compares them with what they were.

// All that is counted happens inside of it, a call for each section: callgrind collects while it runs, and
// writes down what it has when it returns.
extern "C" [[gnu::noinline]] bool countedSection(const std::function<bool()>& work)
{
    return work();
}

namespace {

constexpr int c_backupBlocks = 25;
constexpr int c_directionRegister = 6101;

// A system call that nobody else makes: what strace tells between two of them is the section's.
void mark(const char* section, const char* end)
{
    const QByteArray name = QByteArray("/order_counts/") + section + '/' + end;
    [[maybe_unused]] const int found = access(name.constData(), F_OK);
}

class Sections
{
public:
    // `units` are what the counts are divided by. False when the work failed.
    bool count(const char* name, int units, const std::function<bool()>& work)
    {
        const quint64 before = allocationsSoFar().total();
        mark(name, "begin");
        const bool isGood = countedSection(work);
        mark(name, "end");
        // The markers' own names are in it, which is less than anything that is compared.
        const auto allocations = static_cast<double>(allocationsSoFar().total() - before);
        m_order.append(QLatin1String(name));
        m_units.insert(QLatin1String(name), units);
        m_allocations.insert(QLatin1String(name), allocations / units);
        if (!isGood)
            std::fprintf(stderr, "%s: failed\n", name);
        return isGood;
    }
    void print() const
    {
        const QJsonObject found{{QStringLiteral("qt"), QLatin1String(qVersion())},
                                {QStringLiteral("sections"), QJsonArray::fromStringList(m_order)},
                                {QStringLiteral("units"), m_units},
                                {QStringLiteral("allocations"), m_allocations}};
        std::printf("%s", QJsonDocument(found).toJson().constData());
    }

private:
    QStringList m_order;
    QJsonObject m_units;
    QJsonObject m_allocations;
};

bool repeated(int times, const std::function<bool()>& work)
{
    for (int i = 0; i < times; ++i) {
        if (!work())
            return false;
    }
    return true;
}

int run(int orders, int updates, int waste)
{
    const ServedControllers controllers(1);
    if (controllers.ports().isEmpty())
        return 1;
    const int port = controllers.ports().first();
    MeasuredDevice device(port, [](const QJsonObject& configuration) {
        return withListenedBlock(withBackupRange(configuration, c_backupBlocks * c_blockSize, 1),
                                 c_blockSize);
    });
    BareSocket socket(port);
    LibModbus library(port);
    BareClient bare(port);
    const QTemporaryDir folder;
    const QVariantMap channel{{QStringLiteral("channel"), QStringLiteral("direction")}};
    const QVariantMap direction{{QStringLiteral("register"), c_directionRegister},
                                {QStringLiteral("registerType"), QStringLiteral("holdingRegisters")}};
    const QVariantMap file{{QStringLiteral("folderPath"), folder.path()},
                           {QStringLiteral("backupName"), QStringLiteral("counts")}};
    const auto socketRead = [&] { return socket.readBlock(c_directionRegister, 1); };
    const auto libraryRead = [&] { return library.readBlock(c_directionRegister, 1); };
    const auto bareRead = [&] { return bare.readBlock(c_directionRegister, 1); };
    const auto driverRead = [&] { return device.runOnDriver(QStringLiteral("read"), direction).has_value(); };
    const auto order = [&] {
        for (int i = 0; i < waste; ++i)
            [[maybe_unused]] const auto wasted = std::make_unique<QByteArray>();
        return device.run(QStringLiteral("getRegister"), channel).has_value();
    };
    const auto backup = [&] { return device.run(QStringLiteral("backup"), file).has_value(); };
    // What is made at the first time is not counted.
    constexpr int c_warmUps = 20;
    const bool isReady = device.identify() && repeated(c_warmUps, bareRead) &&
                         repeated(c_warmUps, driverRead) && repeated(c_warmUps, order) && backup();
    if (!isReady) {
        std::fprintf(stderr, "the controller does not answer\n");
        return 1;
    }
    Sections sections;
    const bool isGood =
        sections.count("bare socket's read", orders, [&] { return repeated(orders, socketRead); }) &&
        sections.count("libmodbus' read", orders, [&] { return repeated(orders, libraryRead); }) &&
        sections.count("bare client's read", orders, [&] { return repeated(orders, bareRead); }) &&
        sections.count("order at the driver", orders, [&] { return repeated(orders, driverRead); }) &&
        sections.count("order", orders, [&] { return repeated(orders, order); }) &&
        sections.count("block of a backup", c_backupBlocks, backup);
    device.listen();
    device.awaitUpdates(2);
    const bool isAllGood = isGood && sections.count("update of a listening", updates, [&] {
        device.awaitUpdates(updates);
        return true;
    });
    sections.print();
    return isAllGood ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(argc, argv, "Counts what orders cost; scripts/order_counts.py runs it.");
    program.addOption("orders", "Of each kind", "200");
    program.addOption("updates", "Of a listening, ten a second", "15");
    program.addOption("waste", "Allocations that each order makes for nothing", "0");
    if (const std::optional<int> code = program.parse())
        return *code;
    return run(program.number("orders", 1), program.number("updates", 1), program.number("waste", 0));
}
