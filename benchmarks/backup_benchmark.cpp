#include "benchmarks/served_controllers.h"

#include <lib_host/d_host.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>
#include <QModbusReply>
#include <QModbusTcpClient>
#include <QTemporaryDir>
#include <QVector>

#include <algorithm>
#include <cstdio>
#include <modbus.h>
#include <optional>

// A backup and a restore through device plug-in and driver against the same traffic sent by a bare
// QModbusTcpClient and by libmodbus. All in one run, in turn, to a simulated controller in another
// process; the file is part of the backup's time.

namespace {

constexpr double c_nanosecondsPerMillisecond = 1e6;
constexpr int c_blockSize = 60;
constexpr int c_torqueUnitRegister = 1;
constexpr int c_bareTimeout = 3000;

struct Size
{
    int registers = 0; // of a backup
    int writes = 0;    // of a restore
};

// The whole range is a backup, and its first registers are the one preset.
QJsonObject withRange(const QJsonObject& configuration, const Size& size)
{
    QJsonObject result = configuration;
    QJsonObject parameters = result.value(QLatin1String("parameters")).toObject();
    parameters.insert(
        QStringLiteral("MDgen2_config"),
        QStringLiteral("\"backup_range\": [1-%1]; \"preset1\": [1-%2]").arg(size.registers).arg(size.writes));
    result.insert(QStringLiteral("parameters"), parameters);
    QJsonArray channels = result.value(QLatin1String("channels")).toArray();
    for (int i = channels.size() - 1; i >= 0; --i) {
        if (channels.at(i).toObject().value(QLatin1String("id")) == QLatin1String("torqueUnitV2"))
            channels.removeAt(i);
    }
    const auto entry = [](const char* id, const QJsonValue& value) {
        return QJsonObject{{QStringLiteral("id"), QLatin1String(id)}, {QStringLiteral("value"), value}};
    };
    channels.append(QJsonObject{{QStringLiteral("id"), QStringLiteral("torqueUnitV2")},
                                {QStringLiteral("value"),
                                 QJsonArray{entry("register", c_torqueUnitRegister),
                                            entry("readRegisterType", QStringLiteral("holdingRegisters"))}}});
    result.insert(QStringLiteral("channels"), channels);
    return result;
}

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
    Plugins(int port, const Size& size)
    {
        m_host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
        const QJsonObject bench = benchFor(
            {port}, [size](const QJsonObject& configuration) { return withRange(configuration, size); });
        const QStringList errors = m_host.configure(bench);
        for (const QString& error : errors)
            std::fprintf(stderr, "%s\n", qPrintable(error));
        m_device = QUuid(bench.value(QLatin1String("objects"))
                             .toArray()
                             .at(1)
                             .toObject()
                             .value(QLatin1String("id"))
                             .toString());
    }

    bool backUp()
    {
        const QVariantMap results =
            run(QStringLiteral("backup"), {{QStringLiteral("folderPath"), m_folder.path()},
                                           {QStringLiteral("backupName"), QStringLiteral("benchmark")}});
        m_file = results.value(QStringLiteral("filePath")).toString();
        return results.value(QStringLiteral("doneOk")).toBool();
    }
    bool restore()
    {
        const QVariantMap status = run(QStringLiteral("restoreBackup"), {{QStringLiteral("filePath"), m_file},
                                                                         {QStringLiteral("startPreset"), 1},
                                                                         {QStringLiteral("endPreset"), 1}})
                                       .value(QStringLiteral("statusData"))
                                       .toMap();
        return status.value(QStringLiteral("progress")).toInt() == 100;
    }

private:
    QVariantMap run(const QString& command, const QVariantMap& arguments)
    {
        QEventLoop loop;
        QVariantMap results;
        m_host.runCommand(m_device, command, arguments, 0, &loop, [&](quint64, const DOrderOutcome& outcome) {
            if (!outcome.ok)
                std::fprintf(stderr, "%s\n", qPrintable(outcome.errorMessage));
            results = outcome.results;
            loop.quit();
        });
        loop.exec();
        return results;
    }

    DHost m_host;
    QUuid m_device;
    QTemporaryDir m_folder;
    QString m_file;
};

// The requests of a backup and of a restore, one in flight, each sent when the one before is answered.
class BareClient
{
public:
    explicit BareClient(int port)
    {
        m_client.setConnectionParameter(QModbusDevice::NetworkAddressParameter, QStringLiteral("127.0.0.1"));
        m_client.setConnectionParameter(QModbusDevice::NetworkPortParameter, port);
        m_client.setTimeout(c_bareTimeout);
        m_client.setNumberOfRetries(0);
        QEventLoop loop;
        QObject::connect(&m_client, &QModbusDevice::stateChanged, &loop, [&](QModbusDevice::State state) {
            if (state == QModbusDevice::ConnectedState || state == QModbusDevice::UnconnectedState)
                loop.quit();
        });
        if (m_client.connectDevice())
            loop.exec();
    }

    bool read(int registers)
    {
        return inTurn((registers + c_blockSize - 1) / c_blockSize, [this, registers](int i) {
            const int first = i * c_blockSize;
            return m_client.sendReadRequest(
                QModbusDataUnit(QModbusDataUnit::HoldingRegisters, first + 1,
                                static_cast<quint16>(std::min(c_blockSize, registers - first))),
                1);
        });
    }
    bool write(int registers, quint16 value)
    {
        return inTurn(registers, [this, value](int i) {
            return m_client.sendWriteRequest(
                QModbusDataUnit(QModbusDataUnit::HoldingRegisters, i + 1, QVector<quint16>{value}), 1);
        });
    }

private:
    template <class Send>
    bool inTurn(int count, Send send)
    {
        QEventLoop loop;
        bool isGood = true;
        int next = 0;
        std::function<void()> sendNext = [&] {
            if (!isGood || next == count) {
                loop.quit();
                return;
            }
            QModbusReply* const reply = send(next++);
            if (reply == nullptr) {
                isGood = false;
                QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
                return;
            }
            QObject::connect(reply, &QModbusReply::finished, &loop, [&, reply] {
                isGood = reply->error() == QModbusDevice::NoError;
                reply->deleteLater();
                sendNext();
            });
        };
        sendNext();
        loop.exec();
        return isGood;
    }

    QModbusTcpClient m_client;
};

class LibModbus
{
public:
    explicit LibModbus(int port)
        : m_context(modbus_new_tcp("127.0.0.1", port))
    {
        modbus_set_slave(m_context, 1);
        m_isConnected = modbus_connect(m_context) == 0;
    }
    ~LibModbus()
    {
        modbus_close(m_context);
        modbus_free(m_context);
    }
    Q_DISABLE_COPY(LibModbus)

    bool read(int registers)
    {
        quint16 words[c_blockSize];
        for (int first = 0; m_isConnected && first < registers; first += c_blockSize) {
            const int count = std::min(c_blockSize, registers - first);
            if (modbus_read_registers(m_context, first + 1, count, words) != count)
                return false;
        }
        return m_isConnected;
    }
    bool write(int registers, quint16 value)
    {
        for (int i = 0; m_isConnected && i < registers; ++i) {
            if (modbus_write_register(m_context, i + 1, value) != 1)
                return false;
        }
        return m_isConnected;
    }

private:
    modbus_t* m_context;
    bool m_isConnected = false;
};

double median(QVector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

// One kind of traffic: the plug-ins' time of each round beside those of the two others.
class Comparison
{
public:
    Comparison(const char* what, int registers)
        : m_what(what)
        , m_registers(registers)
    {}

    // False when one of the three failed.
    template <class Whole, class Bare, class Library>
    bool round(Whole whole, Bare bare, Library library)
    {
        const std::optional<double> bareTime = timed(bare);
        const std::optional<double> libraryTime = timed(library);
        const std::optional<double> time = timed(whole);
        if (!time || !bareTime || !libraryTime)
            return false;
        m_times.append(*time);
        m_toBare.append(*time / *bareTime);
        m_toLibrary.append(*time / *libraryTime);
        return true;
    }
    void print() const
    {
        const auto ratio = [](const char* to, const QVector<double>& ratios) {
            std::printf("  to %-18s median %.2f, worst %.2f\n", to, median(ratios),
                        *std::max_element(ratios.cbegin(), ratios.cend()));
        };
        std::printf("%s of %d registers: median %.1f ms, %d rounds\n", m_what, m_registers, median(m_times),
                    static_cast<int>(m_times.size()));
        ratio("QModbusTcpClient", m_toBare);
        ratio("libmodbus", m_toLibrary);
    }

private:
    const char* m_what;
    int m_registers;
    QVector<double> m_times;
    QVector<double> m_toBare;
    QVector<double> m_toLibrary;
};

int run(const Size& size, int rounds)
{
    const ServedControllers controllers(1);
    if (controllers.ports().isEmpty())
        return 1;
    const int port = controllers.ports().first();
    Plugins plugins(port, size);
    BareClient bare(port);
    LibModbus library(port);
    Comparison backup("backup", size.registers);
    Comparison restore("restore", size.writes);
    // The first round warms up; it also fills the registers with one value, so that the restore, the
    // torque unit among it, changes nothing.
    constexpr quint16 c_value = 1;
    if (!plugins.backUp() || !bare.write(size.writes, c_value) || !library.read(size.registers)) {
        std::fprintf(stderr, "the controller does not answer\n");
        return 1;
    }
    for (int i = 0; i < rounds; ++i) {
        const bool isGood =
            backup.round([&] { return plugins.backUp(); }, [&] { return bare.read(size.registers); },
                         [&] { return library.read(size.registers); }) &&
            restore.round([&] { return plugins.restore(); }, [&] { return bare.write(size.writes, c_value); },
                          [&] { return library.write(size.writes, c_value); });
        if (!isGood) {
            std::fprintf(stderr, "round %d failed\n", i + 1);
            return 1;
        }
    }
    backup.print();
    restore.print();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Backup and restore against the same requests of a bare QModbusTcpClient and of libmodbus."));
    parser.addHelpOption();
    const QCommandLineOption registers(QStringLiteral("registers"), QStringLiteral("Of a backup, up to 2000"),
                                       QStringLiteral("N"), QStringLiteral("1500"));
    const QCommandLineOption writes(QStringLiteral("writes"), QStringLiteral("Of a restore"),
                                    QStringLiteral("N"), QStringLiteral("300"));
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("Of all measurements"),
                                    QStringLiteral("N"), QStringLiteral("11"));
    QCommandLineOption served(QStringLiteral("serve"), QStringLiteral("Be the other process"),
                              QStringLiteral("N"));
    served.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({registers, writes, rounds, served});
    parser.process(application);
    quietLog();
    if (parser.isSet(served))
        return serveControllers(parser.value(served).toInt(), [](Simulator&) {});
    const Size size{qBound(2, parser.value(registers).toInt(), 2000), parser.value(writes).toInt()};
    return run({size.registers, qBound(1, size.writes, size.registers)},
               qMax(1, parser.value(rounds).toInt()));
}
