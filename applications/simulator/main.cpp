#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulated_device.h"
#include "applications/simulator/simulator.h"
#include "applications/simulator/simulator_options.h"
#include "applications/simulator/termination_signal.h"
#include "applications/simulator/tightening_cycles.h"

#include <lib_host/event_dispatcher.h>
#include <lib_utilities/platform.h>
#include <lib_utilities/printable_text.h>

#include <QCoreApplication>
#include <QLocale>
#include <QTextStream>
#include <QTime>

#include <cstdio>

namespace {

constexpr int c_failure = 1;

void printLine(FILE* file, const QString& text)
{
    QTextStream stream(file);
    // As the bench does, whatever the locale is.
    stream.setCodec("UTF-8");
    // Names and references come from a configuration, whoever wrote it.
    stream << printableText(text) << '\n';
    stream.flush();
}

// Where it was listened on, one text per transport; empty with a message when one cannot be had.
QStringList listen(Simulator& simulator, const SimulatorOptions& options, QString* error)
{
    QStringList places;
    if (options.port) {
        if (!simulator.listenTcp(*options.port, error))
            return {};
        places.append(QStringLiteral("127.0.0.1:%1").arg(simulator.tcpPort()));
    }
    if (!options.serialDevice.isEmpty()) {
        if (!simulator.listenSerial(options.serialDevice, options.baudRate, options.parity, error))
            return {};
        places.append(options.serialDevice);
    }
    if (options.pseudoTerminal) {
        const QString name = simulator.openPseudoTerminal(error);
        if (name.isEmpty())
            return {};
        places.append(name);
    }
    return places;
}

QString summary(Simulator& simulator)
{
    return QStringLiteral("%1 requests, %2 of them hit by faults, %3 writes accepted, %4 refused")
        .arg(simulator.faults().requestCount())
        .arg(simulator.faults().hitCount())
        .arg(simulator.controller().acceptedWriteCount())
        .arg(simulator.controller().refusedWriteCount());
}

void printNotes(const SimulatedDevice& device, Simulator& simulator, const SimulatorOptions& options)
{
    for (const QString& note : device.notes)
        printLine(stderr, QStringLiteral("note: %1").arg(note));
    if (!options.quiet && !device.reference.contains(options.profile.reference)) {
        printLine(stderr, QStringLiteral("note: the device's reference is \"%1\"; the tool of profile %2 is "
                                         "only recognised with \"%3\" in it")
                              .arg(device.reference, options.profile.name, options.profile.reference));
    }
    for (const QString& problem : simulator.controller().problems())
        printLine(stderr, QStringLiteral("note: %1; what depends on it is not simulated").arg(problem));
}

int run(const SimulatorOptions& options)
{
    QStringList errors;
    const auto device = SimulatedDevice::read(options, &errors);
    for (const QString& error : errors)
        printLine(stderr, error);
    if (!device)
        return c_failure;

    Simulator simulator(device->configuration, options.profile);
    printNotes(*device, simulator, options);
    if (!options.quiet) {
        QObject::connect(&simulator, &Simulator::message, &simulator, [](const QString& text) {
            const QString time = QLocale::c().toString(QTime::currentTime(), QStringLiteral("HH:mm:ss.zzz"));
            printLine(stderr, QStringLiteral("%1 %2").arg(time, text));
        });
    }
    simulator.setUnitId(device->link.unitId);
    simulator.setAddressOffset(device->link.addressOffset);
    simulator.setPace(options.pace);
    simulator.controller().setMotorRunning(options.motorRunning);
    simulator.controller().raiseAlarm(options.alarm);
    simulator.controller().setTorqueUnit(options.torqueUnit);
    simulator.controller().setEventCount(options.eventCount);
    if (options.tighteningInterval > 0)
        simulator.tightening().start(options.tighteningInterval);
    for (const Fault& fault : options.faults)
        simulator.faults().add(fault);

    TerminationSignal termination;
    QObject::connect(&termination, &TerminationSignal::received, qApp, &QCoreApplication::quit);

    QString error;
    const QStringList places = listen(simulator, options, &error);
    if (places.isEmpty()) {
        printLine(stderr, error);
        return c_failure;
    }
    for (const QString& place : places) {
        printLine(stdout, QStringLiteral("listening on %1, %2, %3")
                              .arg(place, device->link.toText(), options.profile.title()));
    }
    const int result = QCoreApplication::exec();
    if (!options.quiet)
        printLine(stdout, summary(simulator));
    return result;
}

} // namespace

int main(int argc, char* argv[])
{
    const StandardStreams streams;
    preferQtEventDispatcher();
    const QStringList arguments = programArguments(argc, argv);
    const QCoreApplication application(argc, argv);
    int exitCode = 0;
    const auto options = parseCommandLine(arguments, &exitCode);
    return options ? run(*options) : exitCode;
}
