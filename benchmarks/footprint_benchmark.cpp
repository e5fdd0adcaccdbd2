#include "benchmarks/bare_clients.h"
#include "benchmarks/benchmark_program.h"
#include "benchmarks/rounds.h"
#include "benchmarks/served_controllers.h"

#include <lib_host/d_host.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>
#include <malloc.h>
#include <memory>
#include <vector>

// How much memory each further device takes, with its driver and its connection, beside a connected bare
// QModbusTcpClient.

namespace {

constexpr int c_instances = 100;

double allocatedBytes()
{
    return static_cast<double>(mallinfo2().uordblks);
}

int run(int rounds)
{
    const ServedControllers controllers(1);
    if (controllers.ports().isEmpty())
        return 1;
    const int port = controllers.ports().first();
    QVector<double> devices;
    QVector<double> clients;
    for (int round = -1; round < rounds; ++round) {
        double perClient = 0;
        {
            const double before = allocatedBytes();
            std::vector<std::unique_ptr<BareClient>> bare;
            for (int i = 0; i < c_instances; ++i) {
                bare.push_back(std::make_unique<BareClient>(port));
                if (!bare.back()->readBlock(1, 1)) {
                    std::fprintf(stderr, "a client did not connect\n");
                    return 1;
                }
            }
            perClient = (allocatedBytes() - before) / c_instances;
        }
        // The first instance brings what all of them share.
        const auto bytesOf = [port](int count) {
            DHost host;
            host.loadPlugins(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins"));
            QList<int> ports;
            for (int i = 0; i < count; ++i)
                ports.append(port);
            QJsonObject bench = benchFor(ports);
            QJsonArray objects = bench.value(QLatin1String("objects")).toArray();
            for (int i = 0; i < objects.size(); ++i) {
                QJsonObject object = objects.at(i).toObject();
                object.insert(QStringLiteral("name"), QStringLiteral("object %1").arg(i));
                objects.replace(i, object);
            }
            bench.insert(QStringLiteral("objects"), objects);
            const QStringList errors = host.configure(bench);
            for (const QString& error : errors)
                std::fprintf(stderr, "%s\n", qPrintable(error));
            const QList<QUuid> uuids = host.objectUuids();
            const auto areConnected = [&] {
                for (const QUuid& uuid : uuids) {
                    const DAbstractPlugin* const plugin = host.findInstance(uuid);
                    if (plugin->pluginType() == IPlugin::CeTypeDriver &&
                        !plugin->getProperty(QStringLiteral("connected"), QVariant(false)).toBool())
                        return false;
                }
                return true;
            };
            while (!areConnected())
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            return allocatedBytes();
        };
        const double one = bytesOf(1);
        const double many = bytesOf(1 + c_instances);
        if (round < 0)
            continue;
        devices.append((many - one) / c_instances / 1024);
        clients.append(perClient / 1024);
    }
    printRatio({"memory of a further device, driver and connection included", "KiB", nameOf(Peer::Simulator),
                "QModbusTcpClient", 3},
               devices, clients);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    BenchmarkProgram program(argc, argv, "Memory of a further device beside a bare client's.");
    program.addOption("rounds", "Of all measurements", "5");
    if (const std::optional<int> code = program.parse())
        return *code;
    return run(program.number("rounds", 1));
}
