#pragma once

#include "tests/support/bench_fixture.h"

#include <lib_host/d_host.h>

#include <QElapsedTimer>
#include <QHash>
#include <QJsonObject>
#include <QObject>
#include <QVariantMap>

#include <functional>

class RowReport;

// Milliseconds that an order has in a row, unless the row is about another time. It bounds the
// instruction that the order places as well.
constexpr int c_deadline = 300;

struct Order
{
    QString command;
    QVariantMap arguments;
    int timeout = c_deadline;
    // Somebody listens to the ends of its instructions. The host takes a shorter way when nobody does,
    // so that rows have orders of both kinds.
    bool watched = true;
};

struct MeasuredEnd
{
    DOrderOutcome outcome;
    double after = 0;     // milliseconds
    double disturbed = 0; // milliseconds thereof that the machine had no time for this process
};

const char* codeName(IMessenger::EnErrorCode code);

// What the controller at the other end really holds.
struct Truth
{
    std::function<int(int address)> registerValue;
    std::function<QByteArray()> identification;
    // Write requests that it has received.
    std::function<int()> writes;
};

// The whole chain in one process: a host with the built plug-in files, on whatever `link` leads to.
// Every order that runs through it is held against the promises of RowReport.
class Chain : public QObject
{
    Q_OBJECT

public:
    Chain(RowReport& report, Truth truth);
    ~Chain() override;

    // Loads the plug-ins and opens the link: the driver's "configuration".
    bool start(const QJsonObject& link);

    // Runs an order to its end. One that does not end breaks A; its outcome is CeEcInternal.
    MeasuredEnd run(const Order& order);
    // The two halves of run().
    quint64 place(const Order& order);
    MeasuredEnd await(quint64 id);

    // Promise D, once the fault is over: a good command works, on a link that says it is up or comes back
    // by itself. Returns the milliseconds that took.
    double recover();
    // What objects and descriptors may not grow beyond from now on.
    void takeBaseline();
    // What holds when the row is done. Called once, at the end.
    void finish();

    bool isConnected() const { return m_bench.isConnected(); }
    DHost& host() { return m_bench.host(); }
    DAbstractPlugin* device() const { return m_bench.device(); }
    DAbstractPlugin* driver() const { return m_bench.driver(); }

    // Whether what the controller answers now is an answer: otherwise no order may be reported as done.
    bool answersAreGood = true;
    Truth truth;

private:
    struct Record
    {
        Order order;
        QElapsedTimer clock;
        double processorAtStart = 0;
        double disturbedAtStart = 0; // before its deadline was counted from
        qint64 pagesAtStart = 0;
        double after = 0;
        double processor = 0;
        double disturbed = 0;
        double disturbedAtEnd = 0; // since the deadline, and at the start
        bool ended = false;
        DOrderOutcome outcome;
        int instructionEnds = 0;
    };

    void onFinished(quint64 id, const DOrderOutcome& outcome);
    void onInstructionFinished(quint64 id, const QString& instruction, const QVariantMap& arguments,
                               const DOrderOutcome& outcome);
    void judge(const Record& record);
    void judgeResults(const Record& record);
    QVariantList trueValues(int address, int count) const;

    RowReport& m_report;
    BenchFixture m_bench;
    QHash<quint64, Record> m_records; // of orders that are running
    QMetaObject::Connection m_watching;
    int m_writeOrders = 0;
    int m_objects = -1;
    int m_descriptors = -1;
};
