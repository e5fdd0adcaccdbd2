#include "benchmarks/bare_clients.h"
#include "benchmarks/benchmark_program.h"
#include "benchmarks/measured_device.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QVector>

#include <cstdio>
#include <map>
#include <memory>
#include <optional>

// A backup and a restore through device plug-in and driver against the same traffic sent by a bare
// QModbusTcpClient and by libmodbus. All in one run, in turn, to a controller in another process, first a
// simulated one, then a peer that costs nothing; the file is part of the backup's time.

namespace {

constexpr double c_nanosecondsPerMillisecond = 1e6;
constexpr double c_wantedBackup = 1.15;
constexpr double c_wantedRestore = 1.1;

struct Size
{
    int registers = 0; // of a backup
    int writes = 0;    // of a restore
};

// Milliseconds that `work` takes; nothing when it failed.
template <class Work>
std::optional<double> timed(Work work)
{
    QElapsedTimer clock;
    clock.start();
    if (!work())
        return std::nullopt;
    return static_cast<double>(clock.nsecsElapsed()) / c_nanosecondsPerMillisecond;
}

class Plugins
{
public:
    // `folder` is a template of the folder's name; empty for the system's.
    Plugins(int port, const Size& size, const QString& folder)
        : m_device(port,
                   [size](const QJsonObject& configuration) {
                       return withBackupRange(configuration, size.registers, size.writes);
                   })
        , m_folder(folder.isEmpty() ? new QTemporaryDir : new QTemporaryDir(folder))
    {}

    bool backUp()
    {
        const std::optional<QVariantMap> results = m_device.run(
            QStringLiteral("backup"), {{QStringLiteral("folderPath"), m_folder->path()},
                                       {QStringLiteral("backupName"), QStringLiteral("benchmark")}});
        if (!results)
            return false;
        m_file = results->value(QStringLiteral("filePath")).toString();
        return results->value(QStringLiteral("doneOk")).toBool();
    }
    bool restore()
    {
        const std::optional<QVariantMap> results =
            m_device.run(QStringLiteral("restoreBackup"), {{QStringLiteral("filePath"), m_file},
                                                           {QStringLiteral("startPreset"), 1},
                                                           {QStringLiteral("endPreset"), 1}});
        return results && results->value(QStringLiteral("statusData"))
                                  .toMap()
                                  .value(QStringLiteral("progress"))
                                  .toInt() == 100;
    }

private:
    MeasuredDevice m_device;
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_file;
};

// One kind of traffic: the plug-ins' time of each round beside those of the two others.
class Comparison
{
public:
    Comparison(const QByteArray& what, double wantedToBare)
        : m_what(what)
        , m_wantedToBare(wantedToBare)
    {}

    // False when one of the three failed.
    template <class Whole, class Bare, class Library>
    bool round(Whole whole, Bare bare, Library library)
    {
        const std::optional<double> bareTime = timed(bare);
        const std::optional<double> time = timed(whole);
        const std::optional<double> libraryTime = timed(library);
        if (!time || !bareTime || !libraryTime)
            return false;
        m_times.append(*time);
        m_bare.append(*bareTime);
        m_library.append(*libraryTime);
        return true;
    }
    void print(Peer peer) const
    {
        const char* const what = m_what.constData();
        printRatio({what, "ms", nameOf(peer), "QModbusTcpClient", m_wantedToBare}, m_times, m_bare);
        printRatio({what, "ms", nameOf(peer), "libmodbus", 0}, m_times, m_library);
    }

private:
    QByteArray m_what;
    double m_wantedToBare;
    QVector<double> m_times;
    QVector<double> m_bare;
    QVector<double> m_library;
};

// What is done over and over, with its figures.
struct Comparisons
{
    explicit Comparisons(const Size& size)
        : backup("backup of " + QByteArray::number(size.registers) + " registers, file flushed to the disk",
                 c_wantedBackup)
        , inMemory("backup of " + QByteArray::number(size.registers) + " registers, file in memory",
                   c_wantedBackup)
        , restore("restore of " + QByteArray::number(size.writes) + " registers", c_wantedRestore)
    {}

    Comparison backup;
    Comparison inMemory;
    Comparison restore;
};

bool measure(Peer peer, const Size& size, int rounds, Comparisons& comparisons)
{
    const ServedControllers controllers(1, peer);
    bindToProcessor(0);
    if (controllers.ports().isEmpty())
        return false;
    const int port = controllers.ports().first();
    Plugins plugins(port, size, {});
    // Where a file that has been flushed costs nothing.
    Plugins inMemory(port, size, QStringLiteral("/dev/shm/backup_benchmark_XXXXXX"));
    BareClient bare(port);
    LibModbus library(port);
    // The first round warms up; it also fills the registers with one value, so that the restore, the
    // torque unit among it, changes nothing.
    constexpr quint16 c_value = 1;
    if (!bare.write(size.writes, c_value) || !plugins.backUp() || !inMemory.backUp() ||
        !library.read(size.registers)) {
        std::fprintf(stderr, "the %s does not answer\n", nameOf(peer));
        return false;
    }
    for (int i = 0; i < rounds; ++i) {
        const auto bareRead = [&] { return bare.read(size.registers); };
        const auto libraryRead = [&] { return library.read(size.registers); };
        const bool isGood =
            comparisons.backup.round([&] { return plugins.backUp(); }, bareRead, libraryRead) &&
            comparisons.inMemory.round([&] { return inMemory.backUp(); }, bareRead, libraryRead) &&
            comparisons.restore.round([&] { return plugins.restore(); },
                                      [&] { return bare.write(size.writes, c_value); },
                                      [&] { return library.write(size.writes, c_value); });
        if (!isGood) {
            std::fprintf(stderr, "%s: round %d failed\n", nameOf(peer), i + 1);
            return false;
        }
    }
    return true;
}

int run(const Size& size, int rounds)
{
    std::map<Peer, Comparisons> found;
    for (const Peer peer : c_peers) {
        if (!measure(peer, size, rounds, found.emplace(peer, size).first->second))
            return 1;
    }
    for (const auto kind : {&Comparisons::backup, &Comparisons::inMemory, &Comparisons::restore}) {
        for (const auto& [peer, comparisons] : found)
            (comparisons.*kind).print(peer);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(
        argc, argv,
        "Backup and restore against the same requests of a bare QModbusTcpClient and of libmodbus.");
    program.addOption("registers", "Of a backup, up to 2000", "1500");
    program.addOption("writes", "Of a restore", "300");
    program.addOption("rounds", "Of all measurements", "11");
    if (const std::optional<int> code = program.parse())
        return *code;
    const int registers = program.number("registers", 2, 2000);
    return run({registers, program.number("writes", 1, registers)}, program.number("rounds", 1));
}
