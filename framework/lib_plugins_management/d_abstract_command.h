#pragma once

#include <lib_plugins_management/fast_delegate.h>
#include <lib_plugins_management/i_command.h>
#include <lib_plugins_management/i_messenger.h>
#include <lib_plugins_management/lib_plugins_management_global.h>

#include <QDeadlineTimer>
#include <QList>
#include <QMetaType>
#include <QPointer>
#include <QStringList>
#include <QVariant>
#include <QVarLengthArray>
#include <QVector>

class DAbstractPlugin;
class IOrder;

// One declared parameter or result.
struct DCommandValue
{
    QString id;
    QString type; // one of "ui16", "int", "strg", "bool", "vart", "varL", "varM"
    QString description;
    QVariant defaultValue; // invalid when there is none
};

// Base of every command. A prototype belongs to its plug-in object and only declares; the clone
// that createCommand makes for an order runs, belongs to the order (a shared pointer) and has the
// same parent. All calls come from the host's thread.
//
// A command without an order (a tool, a test) accepts its execution and publishes to nobody; its
// instructions are refused.
class LIB_PLUGINS_MANAGEMENT_EXPORT DAbstractCommand : public QObject, public ICommand
{
    Q_OBJECT
    Q_INTERFACES(ICommand)

public:
    using ReplyDelegate = FastDelegate2<quint64, const QVariantMap&, bool>;

    DAbstractCommand(const QString& name, const QVariantMap& arguments, QObject* parent);
    // With a stop name the command delivers every update and ends by itself or when it is stopped.
    DAbstractCommand(const QString& name, const QString& stopName, const QVariantMap& arguments,
                     QObject* parent);
    ~DAbstractCommand() override;

    // The order of these declarations is the binary contract: see the test of the virtual slots.

    // `order` must implement IOrder; it is not owned.
    void linkWithItsOrder(QObject* order) override;
    QString commandName() const override;
    QString stopCommandName() const override;
    quint64 getOrderId() const override;
    quint64 getParameterOrderId() const override;
    bool isRecurrent() const override;
    bool isValid() const override;
    QString description() const override;
    QString fullDescription() const override;
    QVariantMap commandArguments() const override;
    // False when the command is not valid or its order has ended. Overrides call it first.
    bool commandExecute() override;
    // False as well when `orderId` is no instruction in flight.
    bool setReply(quint64 orderId, const QVariantMap& reply) override;
    void finishTheCommand(bool& ok) override;

Q_SIGNALS:
    void sigCommandFinished(bool ok) override;

public:
    // Places an instruction on `target` ("driver" or "myself"). `timeout` is in milliseconds to the
    // reply, or to each reply of a listening instruction. `onReply` is called from the event loop,
    // never from inside this call. Returns the instruction's identifier, 0 when it was refused.
    virtual quint64 addInstruction(const QString& target, const QString& instruction,
                                   const QVariantMap& arguments, int timeout, ReplyDelegate onReply);
    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override = 0;

    void setDescription(const QString& description);
    // A repeated id or an unknown type code makes the command invalid.
    void declareAParameter(const QString& id, const QString& type, const QString& description,
                           const QVariant& defaultValue = QVariant());
    void declareAResult(const QString& id, const QString& type, const QString& description,
                        const QVariant& defaultValue = QVariant());
    QList<DCommandValue> parameters() const;
    QList<DCommandValue> results() const;

    // The order's argument, else the declared default when there is a valid one, else `defaultValue`.
    QVariant getParameterValue(const QString& id, const QVariant& defaultValue) const;
    // The entry `id` of the configuration's map "parameters", converted without loss.
    QVariant getParameterById(const QString& id, QMetaType::Type type, const QVariant& defaultValue) const;
    // A whole map of the plug-in configuration; empty when there is none.
    QVariantMap getParametersSection(const QString& section) const;
    // Names of the declared results, in their order.
    QStringList getResultVariableName() const;
    // An entry of a channel of the plug-in configuration, converted without loss.
    QVariant getInfoFromChannel(const QString& channel, const QString& info, QMetaType::Type type,
                                const QVariant& defaultValue) const;

    // Publish declared results. False when a name is not declared (nothing is published then, a log
    // line says which) or the order has ended.
    bool commandUpdateResult(const QString& name, const QVariant& value);
    bool commandUpdateResults(const QVariantMap& results);
    // Publishes a reply that is no declared result. False when the order has ended.
    bool commandSetReply(const QVariantMap& reply);

    // For commands that do their work themselves instead of placing instructions (a driver's):
    // the order stays open after commandExecute() until finishTheCommand or failTheCommand.
    void setEndsByItself(bool endsByItself);
    bool endsByItself() const;
    // Ends the order as failed with a code and a text for the caller. False when it had ended.
    bool failTheCommand(IMessenger::EnErrorCode code, const QString& message);
    // Tells the caller of a failure and goes on (a listening command's missed poll).
    bool reportFailure(IMessenger::EnErrorCode code, const QString& message);
    // When the caller gives up waiting for the (next) reply.
    QDeadlineTimer deadline() const;

    // For the order: an instruction has ended and its handler is dropped; the order has ended.
    void forgetInstruction(quint64 instructionId);
    void orderEnded(bool ok);
    // The order has gone: its object may be another order's from now on.
    void leaveItsOrder();

private:
    // A command is cloned for every order, and declares anew what its prototype has declared: it shares the
    // prototype's list for as long as it does.
    struct Declarations
    {
        QVector<DCommandValue> values;
        int count = 0; // declared so far: what stands behind them only the prototype has

        auto begin() const { return values.cbegin(); }
        auto end() const { return values.cbegin() + count; }
    };
    static bool contains(const Declarations& declared, const QString& id);
    static QString describe(const QString& title, const Declarations& declared);
    void declare(Declarations& declared, const char* kind, const DCommandValue& value);
    bool isOpen() const;
    const DAbstractPlugin* plugin() const;

    QString m_name;
    QString m_stopName;
    QString m_description;
    QVariantMap m_arguments;
    Declarations m_parameters;
    Declarations m_results;
    struct ReplyHandler
    {
        quint64 instructionId = 0;
        ReplyDelegate onReply;
    };
    QVarLengthArray<ReplyHandler, 1> m_replyHandlers;
    QPointer<QObject> m_orderObject;
    IOrder* m_order = nullptr; // valid while m_orderObject is
    bool m_valid = true;
    bool m_ended = false;
    bool m_endsByItself = false;
};
