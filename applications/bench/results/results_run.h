#pragma once

#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/outage.h"
#include "applications/bench/device_configuration/event_source.h"
#include "applications/bench/results/event_counts.h"
#include "applications/bench/results/tightening_ledger.h"

#include <QEventLoop>
#include <QObject>

#include <functional>
#include <optional>
#include <utility>

// Follows the tightenings of one device that has been identified, until it is told to end.
//
// A listening order brings the events, "getRegister" the counter behind them (see EventCounts), and
// "getInfo" after each lost link whether the controller is still the same one. Events that come
// meanwhile wait.
class ResultsRun : public QObject
{
    Q_OBJECT

public:
    // Takes one line; false when it cannot, which ends the run.
    using Sink = std::function<bool(const TighteningLine& line)>;

    // `information`: the results of the device's "getInfo". Everything outlives the run.
    ResultsRun(BenchSession& session, DAbstractPlugin& device, const EventSource& source,
               const QVariantMap& information, Console& console, Interrupt& interrupt);

    // Until Ctrl-C, `count` events or `duration` ms, 0 for no such bound: Done. Else why it ended, which
    // has been told.
    ExitCode run(const std::optional<TighteningLedger::State>& last, const Sink& sink, int count,
                 int duration);

private:
    void begin();
    void listen(const DOrderOutcome& outcome);
    void handleUpdate(const QVariantMap& results);
    void loseSight();
    void identify();
    void handleIdentity(const DOrderOutcome& outcome);
    void take(const EventUpdate& update);
    void readCounter();
    void log(const QList<CountedUpdate>& updates);
    void stop();
    void end(ExitCode code);
    std::optional<quint16> counterOf(const DOrderOutcome& outcome) const;

    BenchSession& m_session;
    DAbstractPlugin& m_device;
    const EventSource m_source;
    const QString m_reference;
    QString m_serial;
    int m_generation;
    Console& m_console;
    Interrupt& m_interrupt;
    Sink m_sink;
    int m_wantedEvents = 0;
    int m_events = 0;

    TighteningLedger m_ledger;
    EventCounts m_counts;
    Outage m_outage;
    quint64 m_listening = 0; // order; 0 while none runs
    // What happened since the last update is not known.
    bool m_outOfSight = true;
    // By the link that it listens on: that of the question before may be lost by now.
    bool m_isIdentified = false;
    bool m_isIdentifying = false;
    bool m_isReading = false;
    // Counts losses of sight: what was asked before one is no answer after it.
    int m_sight = 0;
    QList<EventUpdate> m_waiting;

    QEventLoop m_loop;
    bool m_isStopping = false;
    std::optional<ExitCode> m_end;
};

// "screwdriverSN" and "softwareVersion" of what "getInfo" gives.
QString serialOf(const QVariantMap& information);
int generationOf(const QVariantMap& information);
