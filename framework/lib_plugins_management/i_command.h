#pragma once

#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QVariantMap>

// What every command answers to the host. The order of the declarations is the binary contract
// with plug-ins that are already built: append, never reorder.
//
// The table has no destructor: a QSharedPointer<ICommand> is always made from a pointer to the
// derived class, whose deleter it then keeps.
class ICommand
{
public:
    // A new command of the same class with the order's arguments and the same parent.
    virtual QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const = 0;
    virtual void linkWithItsOrder(QObject* order) = 0;
    virtual QString commandName() const = 0;
    // Empty for a command that ends by itself.
    virtual QString stopCommandName() const = 0;
    // 0 while the command is not linked with an order.
    virtual quint64 getOrderId() const = 0;
    // The order whose command placed this one as an instruction; 0 when there is none.
    virtual quint64 getParameterOrderId() const = 0;
    // True when the command delivers updates until it is stopped.
    virtual bool isRecurrent() const = 0;
    // False when a declaration was refused (its log line says which).
    virtual bool isValid() const = 0;
    virtual QString description() const = 0;
    // The description, the parameters and the results as a text of several lines.
    virtual QString fullDescription() const = 0;
    virtual QVariantMap commandArguments() const = 0;
    virtual bool commandExecute() = 0;
    // Hands the reply of one instruction to the handler bound to it and returns its verdict.
    virtual bool setReply(quint64 orderId, const QVariantMap& reply) = 0;
    // Ends the order with this outcome; `ok` becomes false when there was nothing left to end.
    virtual void finishTheCommand(bool& ok) = 0;
    // Signal: the order has ended.
    virtual void sigCommandFinished(bool ok) = 0;

protected:
    ~ICommand() = default;
};

Q_DECLARE_INTERFACE(ICommand, "org.mdcbench.ICommand/1.0")
