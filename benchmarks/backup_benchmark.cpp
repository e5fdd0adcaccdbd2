#include "benchmarks/bare_clients.h"
#include "benchmarks/benchmark_program.h"
#include "benchmarks/measured_device.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QVector>

#include <cstdio>
#include <memory>
#include <optional>

// A backup and a restore through device plug-in and driver against the same traffic sent by a bare
// QModbusTcpClient and by libmodbus. All in one run, in turn, to a simulated controller in another
// process; the file is part of the backup's time.

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
    Comparison(const char* what, double wantedToBare)
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
    void print() const
    {
        printRatio(m_what, "ms", m_times, "QModbusTcpClient", m_bare, m_wantedToBare);
        printRatio(m_what, "ms", m_times, "libmodbus", m_library, 0);
    }

private:
    const char* m_what;
    double m_wantedToBare;
    QVector<double> m_times;
    QVector<double> m_bare;
    QVector<double> m_library;
};

int run(const Size& size, int rounds)
{
    const ServedControllers controllers(1);
    bindToProcessor(0);
    if (controllers.ports().isEmpty())
        return 1;
    const int port = controllers.ports().first();
    Plugins plugins(port, size, {});
    // Where a file that has been flushed costs nothing.
    Plugins inMemory(port, size, QStringLiteral("/dev/shm/backup_benchmark_XXXXXX"));
    BareClient bare(port);
    LibModbus library(port);
    const QByteArray registers = QByteArray::number(size.registers);
    const QByteArray backupText = "backup of " + registers + " registers, file flushed to the disk";
    const QByteArray memoryText = "backup of " + registers + " registers, file in memory";
    const QByteArray restoreText = "restore of " + QByteArray::number(size.writes) + " registers";
    Comparison backup(backupText, c_wantedBackup);
    Comparison backupInMemory(memoryText, c_wantedBackup);
    Comparison restore(restoreText, c_wantedRestore);
    // The first round warms up; it also fills the registers with one value, so that the restore, the
    // torque unit among it, changes nothing.
    constexpr quint16 c_value = 1;
    if (!plugins.backUp() || !inMemory.backUp() || !bare.write(size.writes, c_value) ||
        !library.read(size.registers)) {
        std::fprintf(stderr, "the controller does not answer\n");
        return 1;
    }
    for (int i = 0; i < rounds; ++i) {
        const auto bareRead = [&] { return bare.read(size.registers); };
        const auto libraryRead = [&] { return library.read(size.registers); };
        const bool isGood =
            backup.round([&] { return plugins.backUp(); }, bareRead, libraryRead) &&
            backupInMemory.round([&] { return inMemory.backUp(); }, bareRead, libraryRead) &&
            restore.round([&] { return plugins.restore(); }, [&] { return bare.write(size.writes, c_value); },
                          [&] { return library.write(size.writes, c_value); });
        if (!isGood) {
            std::fprintf(stderr, "round %d failed\n", i + 1);
            return 1;
        }
    }
    backup.print();
    backupInMemory.print();
    restore.print();
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
