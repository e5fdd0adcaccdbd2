#pragma once

#include "applications/bench/core/bench_session.h"
#include "applications/bench/core/link_witness.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/run/described_results.h"
#include "applications/bench/run/missing_configuration.h"
#include "applications/bench/run/run_options.h"
#include "applications/bench/run/saved_registers.h"
#include "plugins/p_device_mdc/model/command_needs.h"
#include "plugins/p_device_mdc/model/device_information.h"

#include <QVariantMap>

class DAbstractCommand;

// One command of one object, from what a person typed to what came of it. Each step tells what went wrong in
// it.
class CommandRun
{
public:
    // Everything outlives the run.
    CommandRun(const GeneralOptions& general, const RunOptions& options, Console& console,
               Interrupt& interrupt);

    // Once.
    ExitCode run();

private:
    // Steps before the order, each Done when the next one may be taken.
    ExitCode chooseObject();
    ExitCode findCommand();
    ExitCode checkUnit();
    ExitCode convertArguments();
    ExitCode findSaved();
    ExitCode identify();
    ExitCode judgeIdentification();
    ExitCode compareOrigin();
    ExitCode checkNeeds();
    // The link that it was identified by may be another one by now, and so may the controller.
    ExitCode confirmIdentity();

    ExitCode refuseReset(const ResetObjection& objection);
    // Of the command's last run.
    SavedRegisters saved() const;
    // Of a device's command.
    OrderedCommand orderedCommand() const;
    OrderEnd runOrder();
    // Who answers is asked once more where the link was lost in the middle of an order that was done.
    void judgeLink(OrderEnd& end);
    void forgetOrigin();
    bool takeUpdate(const QVariantMap& results);
    void judgeUpdates(OrderEnd& end) const;
    // Declared results first, in their order.
    DescribedOrder describedOrder(const QVariantMap& results) const;
    QList<int> wholeRegisters(const DescribedOrder& order);
    // With "described" beside the results, where that is wanted.
    QVariantMap withDescription(const QVariantMap& results);
    QList<NamedValue> ordered(const QVariantMap& results) const;

    // An order that went well may still not have done what it was given for.
    void judgeResults(OrderEnd& end) const;
    // What the configuration calls a register, and the one that the failed instruction was about; empty for
    // none.
    QString channelOf(int registerNumber, ChannelEntry type) const;
    QString failedChannel(const OrderEnd& end) const;
    QString failureText(const OrderEnd& end) const;
    void tellResults(const OrderEnd& end);
    void tellFailure(const OrderEnd& end);

    const GeneralOptions& m_general;
    const RunOptions& m_options;
    Console& m_console;
    BenchSession m_session;
    ResultWriter m_writer;

    DAbstractPlugin* m_plugin = nullptr;
    // Null for a stop command, which has no declaration of its own.
    const DAbstractCommand* m_prototype = nullptr;
    bool m_isListening = false;
    QVariantMap m_arguments;
    DeviceInformation m_identity;
    // By which the controller was identified; nothing when nobody was.
    std::optional<LinkWitness> m_link;
    bool m_hasReadFromAnother = false; // or may have
    QString m_serial;                  // of the connected controller, empty when it is not known
    int m_updates = 0;                 // printed
    QVariantMap m_lastUpdate;
    bool m_isOverfull = false; // an update came for which the document has no room
};
