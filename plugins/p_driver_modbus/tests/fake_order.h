#pragma once

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/i_order.h>

#include <QElapsedTimer>
#include <QObject>
#include <QSharedPointer>

class DAbstractPlugin;

// Runs one command of an instance without a host, and keeps what the command told.
class FakeOrder : public QObject, public IOrder
{
    Q_OBJECT
    Q_INTERFACES(IOrder)

public:
    struct Failure
    {
        IMessenger::EnErrorCode code = IMessenger::CeEcNone;
        QString message;
    };

    // `timeout` in milliseconds to the reply; negative for a caller who does not say.
    FakeOrder(DAbstractPlugin* plugin, const QString& command, const QVariantMap& arguments,
              int timeout = 3000);

    bool execute();
    // Ends a running order as its stop command does.
    void stop();
    // Drops the command without an end, as when its order is destroyed.
    void dropCommand();

    bool ended() const { return endCount > 0; }

    quint64 orderId() const override { return 1; }
    quint64 callerOrderId() const override { return 0; }
    bool isOpen() const override { return endCount == 0; }
    QDeadlineTimer deadline() const override { return m_deadline; }
    quint64 addInstruction(const QString& target, const QString& instruction, const QVariantMap& arguments,
                           int timeout) override;
    bool updateResults(const QVariantMap& values) override;
    bool setReply(const QVariantMap& reply) override;
    bool finish(bool success, IMessenger::EnErrorCode errorCode, const QString& message) override;
    bool reportFailure(IMessenger::EnErrorCode errorCode, const QString& message) override;

    int endCount = 0;
    bool ok = false;
    IMessenger::EnErrorCode code = IMessenger::CeEcNone;
    QString message;
    qint64 endedAfter = 0;      // milliseconds from execute()
    QList<QVariantMap> updates; // every one, in their order
    QList<qint64> updateTimes;  // milliseconds from execute()
    QList<Failure> failures;    // told without an end
    QList<qint64> failureTimes;

    // The values of the last update.
    QVariantList values() const;

Q_SIGNALS:
    void orderEnded();

private:
    int m_timeout;
    QDeadlineTimer m_deadline;
    QElapsedTimer m_clock;
    QSharedPointer<ICommand> m_command;
};

// Whether what was told after so many milliseconds was told within those that were allowed: at most 40 ms
// later, besides what the machine had no time for this process meanwhile.
bool isInTime(qint64 after, int allowed);
