#include "benchmarks/benchmark_program.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"
#include "plugins/p_driver_modbus/source/wire_time.h"

#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QVector>

#include <cstdio>
#include <memory>
#include <optional>

// A backup over a serial line against the time that its frames take on the wire by themselves: their
// characters of eleven bits, and before each frame the silence that the standard demands. The line is that of
// the simulated controller, which takes this time (mdc-simulator --pty --pace). Which frames they are says
// the driver's frame trace of a backup that is not measured.

namespace {

constexpr double c_wanted = 1.05;
constexpr double c_microsecondsPerMillisecond = 1e3;
constexpr double c_nanosecondsPerMillisecond = 1e6;
constexpr int c_checksumSize = 2;

// The simulated controller on a line of its own, in a process of its own.
class PacedController
{
public:
    explicit PacedController(int baudRate)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/mdc-simulator"),
                        {QStringLiteral("--quiet"), QStringLiteral("--pty"), QStringLiteral("--pace"),
                         QString::number(baudRate)});
        while (!m_process.canReadLine() && m_process.waitForReadyRead()) {
        }
        // "listening on /dev/pts/3, unit 1, …"
        m_device = QString::fromLocal8Bit(m_process.readLine())
                       .section(QLatin1Char(','), 0, 0)
                       .section(QLatin1Char(' '), 2);
    }
    ~PacedController()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }
    Q_DISABLE_COPY(PacedController)

    // Empty when it did not come up.
    const QString& device() const { return m_device; }

private:
    QProcess m_process;
    QString m_device;
};

class Plugins
{
public:
    // `trace` is the file for the frames; empty for none.
    Plugins(const ModbusConfiguration& line, int registers, const QString& trace)
    {
        m_host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
        QJsonObject bench = sampleBench();
        QJsonArray objects = bench.value(QLatin1String("objects")).toArray();
        QJsonObject driver = objects.at(0).toObject();
        QJsonObject link{{QStringLiteral("transport"), QStringLiteral("rtu")},
                         {QStringLiteral("serialPort"), line.serialPort},
                         {QStringLiteral("baudRate"), line.baudRate}};
        if (!trace.isEmpty())
            link.insert(QStringLiteral("frameTrace"), trace);
        driver.insert(QStringLiteral("configuration"), link);
        objects.replace(0, driver);
        QJsonObject device = objects.at(1).toObject();
        QJsonObject configuration = device.value(QLatin1String("configuration")).toObject();
        QJsonObject parameters = configuration.value(QLatin1String("parameters")).toObject();
        parameters.insert(QStringLiteral("MDgen2_config"),
                          QStringLiteral("\"backup_range\": [1-%1]").arg(registers));
        configuration.insert(QStringLiteral("parameters"), parameters);
        device.insert(QStringLiteral("configuration"), configuration);
        objects.replace(1, device);
        bench.insert(QStringLiteral("objects"), objects);
        const QStringList errors = m_host.configure(bench);
        for (const QString& error : errors)
            std::fprintf(stderr, "%s\n", qPrintable(error));
        m_driver = QUuid(driver.value(QLatin1String("id")).toString());
        m_device = QUuid(device.value(QLatin1String("id")).toString());
    }

    bool backUp(const QTemporaryDir& folder)
    {
        QEventLoop loop;
        QVariantMap results;
        m_host.runCommand(m_device, QStringLiteral("backup"),
                          {{QStringLiteral("folderPath"), folder.path()},
                           {QStringLiteral("backupName"), QStringLiteral("benchmark")}},
                          0, &loop, [&](quint64, const DOrderOutcome& outcome) {
                              if (!outcome.ok)
                                  std::fprintf(stderr, "%s\n", qPrintable(outcome.errorMessage));
                              results = outcome.results;
                              loop.quit();
                          });
        loop.exec();
        return results.value(QStringLiteral("doneOk")).toBool();
    }
    int sent() const
    {
        return m_host.findInstance(m_driver)
            ->getProperty(QStringLiteral("statistics"), nullptr)
            .toMap()
            .value(QStringLiteral("sent"))
            .toInt();
    }

private:
    DHost m_host;
    QUuid m_driver;
    QUuid m_device;
};

// What of a backup goes over the line.
struct Traffic
{
    int requests = 0;
    double wireTime = 0; // ms
};

// A frame's line of the trace is "date time tx|rx hex": unit and protocol data unit of a request, or a piece
// of an answer, checksum included.
Traffic trafficOf(const QString& trace, const ModbusConfiguration& line)
{
    Traffic traffic;
    QFile file(trace);
    if (!file.open(QIODevice::ReadOnly))
        return traffic;
    qint64 microseconds = 0;
    int characters = 0;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& entry : lines) {
        const QList<QByteArray> words = entry.simplified().split(' ');
        if (words.size() < 4)
            continue;
        const int size = QByteArray::fromHex(words.mid(3).join()).size();
        if (words.at(2) == "tx") {
            ++traffic.requests;
            // Before the request, and before its answer.
            microseconds += 2 * frameSilence(line);
            characters += size + c_checksumSize;
        } else if (words.at(2) == "rx") {
            characters += size;
        }
    }
    // A frame of so many characters has a protocol data unit of three less.
    microseconds += frameTime(line, characters - 1 - c_checksumSize);
    traffic.wireTime = static_cast<double>(microseconds) / c_microsecondsPerMillisecond;
    return traffic;
}

// Milliseconds; nothing when it failed, or when it was not the same traffic.
std::optional<double> timedBackup(Plugins& plugins, const QTemporaryDir& folder, const Traffic& traffic)
{
    const int sentBefore = plugins.sent();
    QElapsedTimer clock;
    clock.start();
    if (!plugins.backUp(folder))
        return std::nullopt;
    const double time = static_cast<double>(clock.nsecsElapsed()) / c_nanosecondsPerMillisecond;
    const int sent = plugins.sent() - sentBefore;
    if (sent == traffic.requests)
        return time;
    std::fprintf(stderr, "%d requests, and %d in the trace\n", sent, traffic.requests);
    return std::nullopt;
}

bool measure(int baudRate, int registers, int rounds)
{
    bindToProcessor(1);
    const PacedController controller(baudRate);
    bindToProcessor(0);
    if (controller.device().isEmpty()) {
        std::fprintf(stderr, "the simulated controller did not start\n");
        return false;
    }
    ModbusConfiguration line;
    line.transport = ModbusConfiguration::Transport::Rtu;
    line.serialPort = controller.device();
    line.baudRate = baudRate;

    const QTemporaryDir folder;
    const QString trace = folder.filePath(QStringLiteral("trace"));
    if (!Plugins(line, registers, trace).backUp(folder))
        return false;
    const Traffic traffic = trafficOf(trace, line);
    if (traffic.requests == 0) {
        std::fprintf(stderr, "there is no frame in the trace\n");
        return false;
    }

    Plugins plugins(line, registers, {});
    if (!plugins.backUp(folder))
        return false;
    // Where a file that has been flushed costs nothing.
    const QTemporaryDir memory(QStringLiteral("/dev/shm/rtu_backup_benchmark_XXXXXX"));
    QVector<double> times;
    QVector<double> inMemory;
    for (int i = 0; i < rounds; ++i) {
        const std::optional<double> time = timedBackup(plugins, folder, traffic);
        const std::optional<double> timeInMemory = timedBackup(plugins, memory, traffic);
        if (!time || !timeInMemory)
            return false;
        times.append(*time);
        inMemory.append(*timeInMemory);
    }
    const QByteArray what = "backup of " + QByteArray::number(registers) + " registers over RTU at " +
                            QByteArray::number(baudRate) + " baud, file ";
    const QVector<double> wireTimes(rounds, traffic.wireTime);
    const QByteArray flushed = what + "flushed to the disk";
    const QByteArray kept = what + "in memory";
    constexpr char c_baseline[] = "the wire's own time";
    const char* const peer = nameOf(Peer::Simulator);
    printRatio({flushed.constData(), "ms", peer, c_baseline, c_wanted}, times, wireTimes);
    printRatio({kept.constData(), "ms", peer, c_baseline, c_wanted}, inMemory, wireTimes);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(argc, argv,
                             "Backup over a serial line against the time that its frames take on the wire.");
    program.addOption("registers", "Of a backup, up to 2000", "1500");
    program.addOption("rounds", "At each baud rate", "5");
    program.addOption("baud", "Baud rate; may be given several times", "");
    if (const std::optional<int> code = program.parse())
        return *code;
    QStringList rates = program.texts("baud");
    if (rates.isEmpty())
        rates = QStringList{QStringLiteral("115200"), QStringLiteral("19200")};
    bool isGood = true;
    for (const QString& rate : qAsConst(rates)) {
        isGood = measure(qBound(300, rate.toInt(), 4000000), program.number("registers", 2, 2000),
                         program.number("rounds", 1)) &&
                 isGood;
    }
    return isGood ? 0 : 1;
}
