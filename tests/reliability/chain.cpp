#include "tests/reliability/chain.h"

#include "tests/reliability/event_wait.h"
#include "tests/reliability/kept_orders.h"
#include "tests/reliability/row_report.h"
#include "tests/support/process_watch.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <algorithm>

namespace {

constexpr double c_grace = 1.05; // of a deadline
// An order that has not ended by then never will.
constexpr int c_longestPatience = 2000;
// The longest pause between two attempts to connect is 5 s.
constexpr int c_recoveryTime = 6500;
constexpr int c_goodDeadline = 1000;
// A wait that is long enough to tell a sleeping process from a busy one, and what it may use.
constexpr double c_shortestMeasuredWait = 150;
constexpr double c_processorShare = 0.4;
constexpr double c_processorOfAnOrder = 40;

const QString c_values = QStringLiteral("values");

} // namespace

const char* codeName(IMessenger::EnErrorCode code)
{
    switch (code) {
    case IMessenger::CeEcNone:
        return "done";
    case IMessenger::CeEcTimeout:
        return "time-out";
    case IMessenger::CeEcUnknownTarget:
        return "unknown target";
    case IMessenger::CeEcUnknownCommand:
        return "unknown command";
    case IMessenger::CeEcNotConnected:
        return "not connected";
    case IMessenger::CeEcRefused:
        return "refused";
    case IMessenger::CeEcUncertain:
        return "uncertain";
    case IMessenger::CeEcInvalidArguments:
        return "invalid arguments";
    case IMessenger::CeEcStopped:
        return "stopped";
    case IMessenger::CeEcQueueFull:
        return "queue full";
    case IMessenger::CeEcInternal:
        break;
    }
    return "internal";
}

Chain::Chain(RowReport& report, Truth controller)
    : truth(std::move(controller))
    , m_report(report)
{}

Chain::~Chain() = default;

bool Chain::start(const QJsonObject& link)
{
    ChainOptions options;
    // The naive driver has the real one's identity.
    if (m_report.options().driver == TestedDriver::Naive)
        options.otherPlugins = QStringLiteral(MDC_NAIVE_DRIVER_DIRECTORY);
    const bool started = m_bench.startWithout(link, options);
    connect(&host(), &DHost::orderFinished, this, &Chain::onFinished);
    return m_report.check('X', started, m_bench.error());
}

MeasuredEnd Chain::run(const Order& order)
{
    return await(place(order));
}

quint64 Chain::place(const Order& order)
{
    disconnect(m_watching);
    if (order.watched)
        m_watching = connect(&host(), &DHost::instructionFinished, this, &Chain::onInstructionFinished);
    Record record;
    record.order = order;
    record.processorAtStart = processorTime();
    const double waitedBefore = waitedForProcessor();
    record.pagesAtStart = pagesWaitedFor();
    record.clock.start();
    m_writeOrders += order.command.startsWith(QLatin1String("set")) ? 1 : 0;
    const quint64 id =
        host().startOrder(device()->objectUuid(), order.command, order.arguments, order.timeout);
    record.disturbedAtStart = waitedForProcessor() - waitedBefore;
    m_records.insert(id, record);
    return id;
}

MeasuredEnd Chain::await(quint64 id)
{
    const int patience = std::max(3 * m_records.value(id).order.timeout, c_longestPatience);
    const bool ended = waitUntil([this, id] { return m_records[id].ended; }, patience);
    // What is told of it from now on is told twice.
    const Record record = m_records.take(id);
    const QString& command = record.order.command;
    if (!ended) {
        m_report.broken('A', QStringLiteral("%1 had not ended after %2 ms").arg(command).arg(patience));
        return {{false, IMessenger::CeEcInternal, QStringLiteral("no end"), {}},
                static_cast<double>(patience),
                0};
    }
    // The commands used here place one instruction each.
    if (record.order.watched)
        m_report.check(
            'A', record.instructionEnds == 1,
            QStringLiteral("the instruction of %1 ended %2 times").arg(command).arg(record.instructionEnds));
    judge(record);
    return {record.outcome, record.after, record.disturbed};
}

double Chain::recover()
{
    answersAreGood = true;
    QElapsedTimer clock;
    clock.start();
    if (!waitUntil([this] { return isConnected(); }, c_recoveryTime)) {
        m_report.broken(
            'D', QStringLiteral("the link did not come back by itself within %1 ms").arg(c_recoveryTime));
        return c_recoveryTime;
    }
    const MeasuredEnd end =
        run({QStringLiteral("getRegister"), {{"channel", "alarm"}}, c_goodDeadline, false});
    m_report.check('D', end.outcome.ok,
                   QStringLiteral("the next good command failed: %1 (%2)")
                       .arg(QLatin1String(codeName(end.outcome.errorCode)), end.outcome.errorMessage));
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

void Chain::takeBaseline()
{
    keepMostOrders(host());
    // What has been asked to go is gone by then.
    watchFor(1);
    m_objects = liveQtObjects();
    m_descriptors = openDescriptors();
}

void Chain::finish()
{
    constexpr int c_settlingTime = 1500;
    waitUntil([this] { return host().runningOrderCount() == 0; }, c_settlingTime);
    m_report.check(
        'A', host().runningOrderCount() == 0,
        QStringLiteral("%1 orders or instructions have not ended").arg(host().runningOrderCount()));
    if (m_objects >= 0) {
        waitUntil([this] { return liveQtObjects() <= m_objects && openDescriptors() <= m_descriptors; },
                  c_settlingTime);
        m_report.check('E', liveQtObjects() <= m_objects,
                       QStringLiteral("%1 objects where %2 were before").arg(liveQtObjects()).arg(m_objects));
        m_report.check('E', openDescriptors() <= m_descriptors,
                       QStringLiteral("%1 open descriptors where %2 were before")
                           .arg(openDescriptors())
                           .arg(m_descriptors));
    }
    if (truth.writes)
        m_report.check('C', truth.writes() <= m_writeOrders,
                       QStringLiteral("%1 write requests were sent for %2 orders")
                           .arg(truth.writes())
                           .arg(m_writeOrders));
}

void Chain::onFinished(quint64 id, const DOrderOutcome& outcome)
{
    const auto record = m_records.find(id);
    if (!m_report.check('A', record != m_records.end() && !record->ended,
                        QStringLiteral("an order ended twice, or after it was given up")))
        return;
    record->after = static_cast<double>(record->clock.nsecsElapsed()) / 1e6;
    record->processor = processorTime() - record->processorAtStart;
    const double late = std::max(0.0, record->after - record->order.timeout);
    record->disturbed = stallWitness().disturbance(record->after);
    record->disturbedAtEnd = record->disturbedAtStart + stallWitness().disturbance(late);
    record->outcome = outcome;
    record->ended = true;
}

void Chain::onInstructionFinished(quint64 id, const QString& instruction, const QVariantMap& arguments,
                                  const DOrderOutcome& outcome)
{
    const auto record = m_records.find(id);
    if (!m_report.check('A', record != m_records.end(),
                        QStringLiteral("\"%1\" ended after its order").arg(instruction)))
        return;
    ++record->instructionEnds;
    if (!outcome.ok)
        return;
    m_report.check('C', answersAreGood,
                   QStringLiteral("\"%1\" is reported as done without an answer to it").arg(instruction));
    if (instruction == QLatin1String("read")) {
        const QVariantList values = outcome.results.value(c_values).toList();
        const QVariantList wanted = trueValues(arguments.value(QStringLiteral("register")).toInt(),
                                               arguments.value(QStringLiteral("dataSize"), 1).toInt());
        m_report.check('C', values == wanted,
                       QStringLiteral("wrong values are reported as good by \"read\""));
    } else if (instruction == QLatin1String("deviceInformation")) {
        const QByteArray info =
            outcome.results.value(instruction).toMap().value(QStringLiteral("info")).toByteArray();
        m_report.check('C', info == truth.identification(),
                       QStringLiteral("the identification is reported as \"%1\"")
                           .arg(QString::fromLatin1(info.toHex())));
    }
}

void Chain::judge(const Record& record)
{
    const QString& command = record.order.command;
    // What the machine was busy with elsewhere, once the deadline had come, is nobody's fault here.
    const double allowed = record.order.timeout * c_grace + record.disturbedAtEnd;
    m_report.check(
        'B', record.after <= allowed,
        QStringLiteral("%1 ended after %2 ms of %3 ms; the machine was late by %4 ms, %5 pages were "
                       "waited for")
            .arg(command)
            .arg(record.after, 0, 'f', 1)
            .arg(record.order.timeout)
            .arg(record.disturbedAtEnd, 0, 'f', 1)
            .arg(pagesWaitedFor() - record.pagesAtStart));
    if (record.after >= c_shortestMeasuredWait) {
        const double share = record.processor / record.after;
        m_report.check('E', record.processor <= c_processorShare * record.after + c_processorOfAnOrder,
                       QStringLiteral("the processor was busy for %1 % of the wait in %2")
                           .arg(100 * share, 0, 'f', 0)
                           .arg(command));
    }
    const DOrderOutcome& outcome = record.outcome;
    m_report.check('A', outcome.ok == (outcome.errorCode == IMessenger::CeEcNone),
                   QStringLiteral("the outcome of %1 contradicts itself").arg(command));
    if (outcome.ok)
        judgeResults(record);
}

// What an order reports, whatever its instructions said.
void Chain::judgeResults(const Record& record)
{
    const QString& command = record.order.command;
    const QVariantMap& results = record.outcome.results;
    m_report.check('C', answersAreGood,
                   QStringLiteral("%1 is reported as done without an answer").arg(command));
    if (command == QLatin1String("getRegister")) {
        const uint generation = device()->getProperty(QStringLiteral("softwareVersion"), nullptr).toUInt();
        QString channel = record.order.arguments.value(QStringLiteral("channel")).toString();
        if (generation > 1)
            channel += QStringLiteral("V%1").arg(generation);
        const int address = device()->channelInfo(channel, QStringLiteral("register")).toInt();
        m_report.check('C', results.value(c_values).toList() == trueValues(address, 1),
                       QStringLiteral("%1 is reported as good by getRegister of %2, which is %3")
                           .arg(results.value(c_values).toList().value(0).toInt())
                           .arg(channel)
                           .arg(address));
    } else if (command.startsWith(QLatin1String("set"))) {
        m_report.check('C', results.value(QStringLiteral("doneOk")).toBool(),
                       QStringLiteral("%1 is good and not done").arg(command));
    }
}

QVariantList Chain::trueValues(int address, int count) const
{
    QVariantList values;
    for (int i = 0; i < count; ++i)
        values.append(truth.registerValue(address + i));
    return values;
}
