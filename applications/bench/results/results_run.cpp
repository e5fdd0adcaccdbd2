#include "applications/bench/results/results_run.h"

#include "applications/bench/core/device_choice.h"

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>

#include <QTimer>

#include <algorithm>
#include <limits>

namespace {

// Updates that wait for the identity of the controller; a minute's worth. The oldest ones give way, and
// the log shows the gap.
constexpr int c_mostWaiting = 600;

QVariant recordValue(const QVariantMap& information, const QString& id)
{
    const QVariantList record = information.value(QStringLiteral("deviceInformation")).toList();
    for (const QVariant& entry : record) {
        if (entry.toMap().value(QStringLiteral("id")).toString() == id)
            return entry.toMap().value(QStringLiteral("value"));
    }
    return {};
}

} // namespace

QString serialOf(const QVariantMap& information)
{
    return recordValue(information, QStringLiteral("screwdriverSN")).toString();
}

int generationOf(const QVariantMap& information)
{
    return std::max(recordValue(information, QStringLiteral("softwareVersion")).toInt(), 1);
}

ResultsRun::ResultsRun(BenchSession& session, DAbstractPlugin& device, const EventSource& source,
                       const QVariantMap& information, Console& console, Interrupt& interrupt)
    : m_session(session)
    , m_device(device)
    , m_source(source)
    , m_reference(session.describe(device).reference)
    , m_serial(serialOf(information))
    , m_generation(generationOf(information))
    , m_console(console)
    , m_interrupt(interrupt)
{
    DHost& host = session.host();
    connect(&host, &DHost::orderUpdated, this, [this](quint64 order, const QVariantMap& results) {
        if (order == m_listening && !m_isStopping)
            handleUpdate(results);
    });
    connect(&host, &DHost::orderFailureReported, this, [this](quint64 order, int, const QString& message) {
        if (order != m_listening)
            return;
        const QString news = m_outage.missed(message);
        if (!news.isEmpty())
            m_console.recurringWarning(news);
        loseSight();
    });
    connect(&host, &DHost::orderFinished, this, [this](quint64 order, const DOrderOutcome& outcome) {
        if (order != m_listening)
            return;
        m_listening = 0;
        if (!m_isStopping && !outcome.ok) {
            m_console.error(outcome.errorMessage);
            end(exitCodeFor(outcome));
        } else {
            // Stopped by this run, or by somebody else's stop command.
            end(ExitCode::Done);
        }
    });
    DAbstractPlugin* const driver = session.driverOf(device);
    if (driver != nullptr)
        connect(driver, &DAbstractPlugin::sigPropertyChanged, this,
                [this](const QString& name, const QVariant& value) {
                    if (name == driver_contract::c_connected && !value.toBool())
                        loseSight();
                });
    connect(&interrupt, &Interrupt::interrupted, this, &ResultsRun::stop);
}

ExitCode ResultsRun::run(const std::optional<TighteningLedger::State>& last, const Sink& sink, int count,
                         int duration)
{
    m_ledger = TighteningLedger(last);
    m_sink = sink;
    m_wantedEvents = count;
    if (m_interrupt.requested())
        return ExitCode::Done;
    if (duration > 0)
        QTimer::singleShot(duration, Qt::PreciseTimer, this, &ResultsRun::stop);
    begin();
    if (!m_end)
        m_loop.exec();
    return m_end.value_or(ExitCode::Done);
}

void ResultsRun::begin()
{
    m_session.host().runCommand(m_device.objectUuid(), QStringLiteral("getRegister"),
                                {{QStringLiteral("channel"), m_source.counterChannel}}, 0, this,
                                [this](quint64, const DOrderOutcome& outcome) { listen(outcome); });
}

void ResultsRun::listen(const DOrderOutcome& outcome)
{
    if (m_isStopping)
        return;
    const std::optional<quint16> count = counterOf(outcome);
    if (!count) {
        m_console.error(
            QStringLiteral("the event counter cannot be read: %1")
                .arg(outcome.ok ? QStringLiteral("its register holds no count") : outcome.errorMessage));
        end(outcome.ok ? ExitCode::CommandFailed : exitCodeFor(outcome));
        return;
    }
    m_counts.restart(*count);
    m_listening = m_session.host().startOrder(m_device.objectUuid(), QStringLiteral("listenEventsData"), {});
}

void ResultsRun::handleUpdate(const QVariantMap& results)
{
    const EventUpdate update{results.value(QStringLiteral("values")).toMap(), QDateTime::currentDateTime(),
                             m_outOfSight};
    if (!reportedCount(update)) {
        const QString news = m_outage.missed(QStringLiteral("a reply holds no event with a count"));
        if (!news.isEmpty())
            m_console.recurringWarning(news);
        loseSight();
        return;
    }
    const QString news = m_outage.answered();
    if (!news.isEmpty())
        m_console.recurringWarning(news);
    m_outOfSight = false;
    if (m_isIdentified) {
        take(update);
        return;
    }
    m_waiting.append(update);
    if (m_waiting.size() > c_mostWaiting)
        m_waiting.removeFirst();
    identify();
}

void ResultsRun::loseSight()
{
    m_outOfSight = true;
    m_isIdentified = false;
    ++m_sight;
    m_counts.interrupted();
}

// The link that is back may lead to another controller.
void ResultsRun::identify()
{
    if (m_isIdentifying)
        return;
    m_isIdentifying = true;
    const int sight = m_sight;
    m_session.host().runCommand(m_device.objectUuid(), QStringLiteral("getInfo"),
                                {{QStringLiteral("reference"), m_reference}}, 0, this,
                                [this, sight](quint64, const DOrderOutcome& outcome) {
                                    m_isIdentifying = false;
                                    // Asked again with the next update.
                                    if (outcome.ok && sight == m_sight && !m_isStopping)
                                        handleIdentity(outcome);
                                });
}

void ResultsRun::handleIdentity(const DOrderOutcome& outcome)
{
    // The plug-in takes a controller whose answer it cannot read for generation 1. Asked again with the next
    // update, as when nobody answers.
    if (identityOf(outcome).version.isEmpty()) {
        m_console.recurringWarning(QStringLiteral(
            "it is not known which controller answers: what it tells of itself cannot be read; "
            "nothing is logged until it can"));
        return;
    }
    const QString serial = serialOf(outcome.results);
    const int generation = generationOf(outcome.results);
    const QList<EventUpdate> waiting = std::exchange(m_waiting, {});
    if (generation != m_generation) {
        m_console.error(QStringLiteral("a controller of generation %1 answers now instead of one of "
                                       "generation %2: its events have other values")
                            .arg(generation)
                            .arg(m_generation));
        m_console.hint(QStringLiteral("start this program again"));
        end(ExitCode::CommandFailed);
        return;
    }
    m_isIdentified = true;
    if (serial != m_serial) {
        m_console.recurringWarning(
            QStringLiteral("another controller answers: serial %1 instead of %2").arg(serial, m_serial));
        m_serial = serial;
        m_outOfSight = true;
        // A new order: what this one takes for unchanged is a count of the other controller.
        const quint64 order = std::exchange(m_listening, 0);
        m_session.host().stopOrder(order);
        begin();
        return;
    }
    for (const EventUpdate& update : waiting)
        take(update);
}

void ResultsRun::take(const EventUpdate& update)
{
    log(m_counts.update(update));
    readCounter();
}

void ResultsRun::readCounter()
{
    if (!m_counts.wantsReading() || m_isReading || m_isStopping)
        return;
    m_isReading = true;
    const int sight = m_sight;
    m_session.host().runCommand(m_device.objectUuid(), QStringLiteral("getRegister"),
                                {{QStringLiteral("channel"), m_source.counterChannel}}, 0, this,
                                [this, sight](quint64, const DOrderOutcome& outcome) {
                                    m_isReading = false;
                                    const std::optional<quint16> count = counterOf(outcome);
                                    if (count && sight == m_sight && !m_isStopping)
                                        log(m_counts.counterRead(*count));
                                });
}

void ResultsRun::log(const QList<CountedUpdate>& updates)
{
    using Kind = TighteningLine::Kind;
    for (const CountedUpdate& update : updates) {
        const QList<TighteningLine> lines = m_ledger.observe(m_serial, update);
        for (const TighteningLine& line : lines) {
            if (m_isStopping)
                return;
            if (line.kind == Kind::Gap)
                m_console.recurringWarning(QStringLiteral("events %1 to %2 were not seen (%3)")
                                               .arg(line.from)
                                               .arg(line.to)
                                               .arg(missedCount(line)));
            if (line.kind == Kind::Reset)
                m_console.recurringWarning(
                    QStringLiteral("the event counter went back from %1 to %2").arg(line.from).arg(line.to));
            if (!m_sink(line)) {
                m_end = ExitCode::CommandFailed;
                stop();
                return;
            }
            m_events += line.kind == Kind::Event ? 1 : 0;
            if (m_wantedEvents > 0 && m_events == m_wantedEvents)
                stop();
        }
    }
}

void ResultsRun::stop()
{
    if (m_isStopping)
        return;
    m_isStopping = true;
    if (m_listening == 0)
        end(ExitCode::Done);
    else
        m_session.host().startOrder(
            m_device.objectUuid(),
            m_device.commandPrototype(QStringLiteral("listenEventsData"))->stopCommandName(), {});
}

void ResultsRun::end(ExitCode code)
{
    m_isStopping = true;
    m_end = m_end.value_or(code);
    m_loop.quit();
}

std::optional<quint16> ResultsRun::counterOf(const DOrderOutcome& outcome) const
{
    const QVariantList values = outcome.results.value(QStringLiteral("values")).toList();
    bool isNumber = false;
    const uint count = values.value(0).toUInt(&isNumber);
    if (!outcome.ok || values.size() != 1 || !isNumber || count > std::numeric_limits<quint16>::max())
        return std::nullopt;
    return static_cast<quint16>(count);
}
