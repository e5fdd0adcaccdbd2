#include "applications/simulator/recorded_session.h"
#include "applications/simulator/replay_plan.h"
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
#include <QElapsedTimer>
#include <QLocale>
#include <QTextStream>
#include <QTime>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>

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

// What is told while it runs: each client has something to be told of, as often as it likes, and must not
// fill the disk with it.
class Messages
{
public:
    Messages() { m_clock.start(); }

    void tell(const QString& text)
    {
        constexpr double c_inAMillisecond = 0.001;
        const qint64 now = m_clock.elapsed();
        m_room = std::min(m_room + static_cast<double>(now - m_last) * c_inAMillisecond, c_mostAtOnce);
        m_last = now;
        if (m_room < 1) {
            ++m_leftOut;
            return;
        }
        --m_room;
        tellLeftOut();
        print(text);
    }

    void tellLeftOut()
    {
        if (m_leftOut > 0)
            print(QStringLiteral("%1 further messages were not shown").arg(m_leftOut));
        m_leftOut = 0;
    }

private:
    static constexpr double c_mostAtOnce = 5000;

    static void print(const QString& text)
    {
        const QString time = QLocale::c().toString(QTime::currentTime(), QStringLiteral("HH:mm:ss.zzz"));
        printLine(stderr, QStringLiteral("%1 %2").arg(time, text));
    }

    QElapsedTimer m_clock;
    qint64 m_last = 0;
    double m_room = c_mostAtOnce;
    qint64 m_leftOut = 0;
};

void tellMessages(Simulator& simulator)
{
    const auto messages = std::make_shared<Messages>();
    QObject::connect(&simulator, &Simulator::message, &simulator,
                     [messages](const QString& text) { messages->tell(text); });
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, &simulator,
                     [messages] { messages->tellLeftOut(); });
}

// Until it is asked to end. `description` is of the controller, `summary` what it tells then.
int serve(Simulator& simulator, const SimulatorOptions& options, const QString& description,
          const std::function<QString()>& summary)
{
    TerminationSignal termination;
    QObject::connect(&termination, &TerminationSignal::received, qApp, &QCoreApplication::quit);

    QString error;
    const QStringList places = listen(simulator, options, &error);
    if (places.isEmpty()) {
        printLine(stderr, error);
        return c_failure;
    }
    for (const QString& place : places)
        printLine(stdout, QStringLiteral("listening on %1, %2").arg(place, description));
    const int result = QCoreApplication::exec();
    if (!options.quiet)
        printLine(stdout, summary());
    return result;
}

// All records in one, or nothing with a text.
std::optional<RecordedSession> readRecords(const SimulatorOptions& options, QString* error)
{
    std::optional<RecordedSession> all;
    for (const QString& file : options.replays) {
        const auto session = RecordedSession::read(file, error);
        if (!session)
            return std::nullopt;
        if (!all)
            all = session;
        else if (!all->append(*session)) {
            *error =
                QStringLiteral("%1 cannot be replayed with %2: one was recorded over TCP, the other on a "
                               "serial line")
                    .arg(file, options.replays.first());
            return std::nullopt;
        }
    }
    const bool isOnLine = options.pseudoTerminal || !options.serialDevice.isEmpty();
    if (all->isTcp ? isOnLine : !isOnLine || options.port.has_value()) {
        *error =
            all->isTcp
                ? QStringLiteral("%1 was recorded over TCP: it cannot be replayed with --pty or --serial")
                : QStringLiteral("%1 was recorded on a serial line: replay it with --pty or --serial DEV, "
                                 "without --port");
        *error = error->arg(options.replays.first());
        return std::nullopt;
    }
    return all;
}

int replay(const SimulatorOptions& options)
{
    QString error;
    const auto session = readRecords(options, &error);
    if (!session) {
        printLine(stderr, error);
        return c_failure;
    }
    // The configuration of a controller that is not asked for anything.
    Simulator simulator(QJsonObject(), options.profile);
    simulator.setReplay(*session, options.replaySpeed);
    for (const QString& note : session->notes)
        printLine(stderr, QStringLiteral("note: %1").arg(note));
    if (!options.quiet)
        tellMessages(simulator);
    const ReplayPlan& plan = *simulator.replay();
    const QString description =
        QStringLiteral("replay of %1: %2 requests, %3 different ones")
            .arg(options.replays.join(QStringLiteral(", ")), QString::number(plan.recordedCount()),
                 QString::number(plan.differentCount()));
    return serve(simulator, options, description, [&plan] {
        return QStringLiteral("%1 requests, %2 of them never recorded")
            .arg(plan.requestCount())
            .arg(plan.unknownCount());
    });
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
    if (!options.quiet)
        tellMessages(simulator);
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

    return serve(simulator, options,
                 QStringLiteral("%1, %2").arg(device->link.toText(), options.profile.title()),
                 [&simulator] { return summary(simulator); });
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
    if (!options)
        return exitCode;
    return options->replays.isEmpty() ? run(*options) : replay(*options);
}
