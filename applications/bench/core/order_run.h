#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/interrupt.h"
#include "applications/bench/core/outage.h"
#include "applications/bench/core/write_record.h"

#include <lib_plugins_management/i_host.h>
#include <QEventLoop>
#include <QUuid>
#include <QVariantMap>

#include <functional>

class DAbstractPlugin;
class DHost;

// How an order is run, besides what it is.
struct OrderTerms
{
    // Of a listening order. False when it has seen enough: the stop command is sent and no further
    // update handed on.
    using UpdateHandler = std::function<bool(const QVariantMap& results)>;
    // Each instruction of the order that has ended.
    using InstructionHandler = std::function<void(const QString& instruction, const QVariantMap& arguments,
                                                  const DOrderOutcome& outcome)>;
    // Why the order must not go on after an instruction that has ended; empty when it may.
    using Objection = std::function<QString(const QString& instruction, const QVariantMap& arguments,
                                            const DOrderOutcome& outcome)>;

    int timeout = 0; // ms of the whole order, 0 for no bound
    UpdateHandler onUpdate = {};
    int duration = 0; // ms after which a listening order is stopped, 0 for no bound
    InstructionHandler onInstruction = {};
    // On Ctrl-C the instruction under way comes to its end before the order is stopped.
    bool stopsBetweenInstructions = false;
    // Asked after `onInstruction`. With the first text the order is stopped, and has failed with it.
    Objection objection = {};
    // The same, asked when the command has heard of an instruction that went well: one that has come to its
    // end by then has not failed.
    std::function<QString()> halt = {};
    // Ctrl-C neither stops the order nor keeps it from being started: it puts back what another one changed.
    bool isUninterrupted = false;
};

// How an order ended at the bench.
struct OrderEnd
{
    DOrderOutcome outcome;
    ExitCode code = ExitCode::CommandFailed;
    // It was the bound of the whole order that cut it off; ms, 0 when it was not.
    int exceededBound = 0;
    // The arguments of the instruction that failed, if one did.
    QVariantMap failedArguments;
    // What it did to registers, whether it failed or not.
    WriteRecord writes;
};

// "; the 300 ms of the whole order (--timeout) were up", empty when they were not.
QString boundText(const OrderEnd& end);

// One order from its start to its end.
//
// Ctrl-C sends the stop command to a listening order, which then ends as it does otherwise; any other order
// is stopped and its code is Interrupted. That the controller does not answer a listening order is told once,
// and that it answers again.
class OrderRun
{
public:
    // Everything outlives the run.
    OrderRun(DHost& host, const DAbstractPlugin& plugin, const OrderTerms& terms, Console& console,
             Interrupt& interrupt);

    // Once. Runs an event loop.
    OrderEnd run(const QString& command, const QVariantMap& arguments);

private:
    void failWithoutUpdates();
    void failWithObjection();
    void followOrder();
    void followInstructions();
    void followInterrupt();
    void handleUpdate(const QVariantMap& results);
    void handleInstruction(const QString& instruction, const QVariantMap& arguments,
                           const DOrderOutcome& outcome);
    void handleInterrupt();
    void considerHalt();
    void stop();
    void warn(const QString& news);

    DHost& m_host;
    const DAbstractPlugin& m_plugin;
    const QUuid m_uuid;
    const OrderTerms& m_terms;
    Console& m_console;
    Interrupt& m_interrupt;

    QEventLoop m_loop;
    quint64 m_order = 0;
    QString m_stopName; // empty for an order that does not listen
    bool m_isInterrupted = false;
    bool m_isStopped = false;
    Outage m_outage;
    qint64 m_updates = 0;
    struct Missed
    {
        int code = 0;
        QString message; // empty while no reply was missed
    };
    Missed m_missed; // the last one
    QString m_objection;
    QString m_halt;
    OrderEnd m_end;
};
