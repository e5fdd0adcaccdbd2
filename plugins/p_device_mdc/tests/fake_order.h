#pragma once

#include "tests/support/typed_text.h"

#include <lib_plugins_management/i_order.h>

#include <QObject>
#include <QStringList>

#include <utility>

// An order without a host: it takes down what its command sends and publishes.
class FakeOrder : public QObject, public IOrder
{
    Q_OBJECT
    Q_INTERFACES(IOrder)

public:
    quint64 orderId() const override { return 1; }
    quint64 callerOrderId() const override { return 0; }
    bool isOpen() const override { return m_open; }
    QDeadlineTimer deadline() const override { return QDeadlineTimer(QDeadlineTimer::Forever); }

    quint64 addInstruction(const QString& target, const QString& instruction, const QVariantMap& arguments,
                           int timeout) override
    {
        if (!m_takesInstructions)
            return 0;
        m_sent.append(QStringLiteral("%1 %2 %3 %4")
                          .arg(target, instruction, typedText(arguments), QString::number(timeout)));
        return ++m_lastInstruction;
    }
    bool updateResults(const QVariantMap& results) override
    {
        m_published.append(QStringLiteral("results ") + typedText(results));
        return m_open;
    }
    bool setReply(const QVariantMap& reply) override
    {
        m_published.append(QStringLiteral("reply ") + typedText(reply));
        return m_open;
    }
    bool finish(bool ok, IMessenger::EnErrorCode, const QString&) override
    {
        m_published.append(ok ? QStringLiteral("ended") : QStringLiteral("failed"));
        return std::exchange(m_open, false);
    }
    bool reportFailure(IMessenger::EnErrorCode, const QString&) override { return m_open; }

    void setOpen(bool open) { m_open = open; }
    // An open order refuses instructions while it hears of a failure, or when too many are in flight.
    void setTakesInstructions(bool takes) { m_takesInstructions = takes; }
    quint64 lastInstruction() const { return m_lastInstruction; }
    // "driver write {data=int:1, …} 3000", in the order of sending.
    QStringList sent() const { return m_sent; }
    // "results {doneOk=bool:true}" or "reply {}" in the order of publishing, "ended" or "failed" last when
    // the command has ended its order.
    QStringList published() const { return m_published; }

private:
    bool m_open = true;
    bool m_takesInstructions = true;
    quint64 m_lastInstruction = 0;
    QStringList m_sent;
    QStringList m_published;
};
