#pragma once

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/i_order.h>

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

class DAbstractPlugin;

// An order without a host: it takes down what its command sends and publishes, and when. Nothing is
// answered; replies are what the test hands to the command.
class FakeOrder : public QObject, public IOrder
{
    Q_OBJECT
    Q_INTERFACES(IOrder)

public:
    struct Instruction
    {
        QString target;
        QString name;
        QVariantMap arguments;
        int timeout = 0;
    };
    struct Failure
    {
        IMessenger::EnErrorCode code = IMessenger::CeEcNone;
        QString message;
    };

    // For a command that the test makes and links itself; nobody waits for its reply.
    FakeOrder() = default;
    // Makes a command of the instance. `timeout` in milliseconds to the reply; negative for a caller who
    // does not say.
    FakeOrder(const DAbstractPlugin* plugin, const QString& command, const QVariantMap& arguments,
              int timeout = 3000);

    // Runs the command that was made.
    bool execute();
    // Ends a running order as its stop command does.
    void stop();
    // Drops the command without an end, as when its order is destroyed.
    void dropCommand();

    // An order that is closed from the start, or by somebody else, and tells its command nothing of it.
    void setOpen(bool open) { m_open = open; }
    // An open order refuses instructions while it hears of a failure, or when too many are in flight.
    void setTakesInstructions(bool takes) { m_takesInstructions = takes; }

    quint64 orderId() const override { return 7; }
    quint64 callerOrderId() const override { return 3; }
    bool isOpen() const override { return m_open; }
    QDeadlineTimer deadline() const override { return m_deadline; }
    quint64 addInstruction(const QString& target, const QString& instruction, const QVariantMap& arguments,
                           int timeout) override;
    bool updateResults(const QVariantMap& results) override;
    bool setReply(const QVariantMap& reply) override;
    bool finish(bool success, IMessenger::EnErrorCode errorCode, const QString& text) override;
    bool reportFailure(IMessenger::EnErrorCode errorCode, const QString& text) override;

    // Everything in the order in which it came, also what came after the end. Times are milliseconds from
    // execute(), 0 without it.
    QList<Instruction> instructions;
    QList<QVariantMap> updates;
    QList<qint64> updateTimes;
    QList<QVariantMap> replies;
    QList<Failure> failures; // told without an end
    QList<qint64> failureTimes;

    int endCount = 0;
    // Of the first end.
    bool ok = false;
    IMessenger::EnErrorCode code = IMessenger::CeEcNone;
    QString message;
    qint64 endedAfter = 0;

    bool ended() const { return endCount > 0; }
    // The values of the last update.
    QVariantList values() const;
    // 0 when there is none.
    quint64 lastInstruction() const;
    // The instructions as text: "driver write {data=int:1, …} 3000".
    QStringList sent() const;
    // "results {doneOk=bool:true}" or "reply {}" in the order of publishing, "ended" or "failed" where the
    // command has ended its order.
    QStringList published() const { return m_published; }

Q_SIGNALS:
    void orderEnded();

private:
    int m_timeout = -1;
    QDeadlineTimer m_deadline{QDeadlineTimer::Forever};
    QElapsedTimer m_clock;
    QSharedPointer<ICommand> m_command;
    bool m_open = true;
    bool m_takesInstructions = true;
    QStringList m_published;
};
