#pragma once

#include "tests/reliability/chain.h"
#include "tests/support/bench_fixture.h"

#include <lib_host/d_host.h>

#include <QHash>
#include <QJsonObject>
#include <QStringList>
#include <QVector>

#include <functional>

class RowReport;

// Where the registers of a controller with few of them lie: programs from register 1 on, parameters
// behind them, the first of which is the unit of torque.
struct SmallLayout
{
    int programs = 0; // 0: the sample's own layout
    int programSize = 0;
    int parameters = 0;

    int count() const { return programs * programSize + parameters; }
};

// The whole chain in one process, on a simulated controller over TCP, with generation 2's register map of
// the sample configuration. For orders of any length and any number of instructions, backup and restore
// included; what has been written to the controller tells the simulator.
class SimulatedBench : public QObject
{
    Q_OBJECT

public:
    // The sample's register count and what a block reads of it.
    static constexpr int c_registers = 2040;
    static constexpr int c_blockSize = 60;

    explicit SimulatedBench(RowReport& report, SmallLayout layout = {});
    ~SimulatedBench() override;

    // `link` adds to the driver's "configuration".
    bool start(const QJsonObject& link = {});

    // `timeout` in milliseconds bounds the whole order; 0 for none.
    quint64 place(const QString& command, const QVariantMap& arguments, int timeout = 0);
    // One that does not end breaks A; its outcome is CeEcInternal.
    MeasuredEnd await(quint64 id);
    MeasuredEnd run(const QString& command, const QVariantMap& arguments = {}, int timeout = c_deadline);
    bool hasEnded(quint64 id) const { return m_records.value(id).ends > 0; }

    // Promise D, once the fault is over. Returns the milliseconds that took.
    double recover();
    void takeBaseline();
    // What holds when the row is done. Called once, at the end.
    void finish();

    bool isConnected() const { return m_bench.isConnected(); }
    Simulator& simulator() { return m_bench.simulator(); }
    DHost& host() { return m_bench.host(); }
    const QJsonObject& configuration() const { return m_bench.configuration(); }
    DAbstractPlugin* device() const { return m_bench.device(); }
    DAbstractPlugin* driver() const { return m_bench.driver(); }

    // The values of the registers from 1 on.
    QVector<quint16> registers(int count) const;
    // "117=5" per write that the controller has received since clearWrites(), in order; a refused one as
    // the simulator tells it.
    QStringList writes() const;
    void clearWrites();

    // Called at the end of each instruction that an order placed, before the order's handler hears of it.
    // Set after start().
    void watchInstructions(const std::function<void(const QString& instruction)>& watcher);
    // Called for each update of a listening order.
    std::function<void(quint64 id, const QVariantMap& results)> onUpdate;
    // Called for the end of each order that was not placed with place(); without it such an end breaks A.
    std::function<void(quint64 id, const DOrderOutcome& outcome)> onForeignEnd;

private:
    struct Record
    {
        QString command;
        int timeout = 0;
        QElapsedTimer clock;
        double disturbedAtStart = 0; // before its deadline was counted from
        double after = 0;
        double disturbed = 0;
        double disturbedAtEnd = 0; // since the deadline, and at the start
        int ends = 0;
        DOrderOutcome outcome;
    };

    QJsonObject deviceConfiguration(QJsonObject configuration) const;
    void onFinished(quint64 id, const DOrderOutcome& outcome);

    RowReport& m_report;
    const SmallLayout m_layout;
    BenchFixture m_bench;
    QHash<quint64, Record> m_records;
    QMetaObject::Connection m_watching;
    int m_objects = -1;
    int m_descriptors = -1;
};
