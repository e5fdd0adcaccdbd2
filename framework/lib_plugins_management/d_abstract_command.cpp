#include <lib_plugins_management/d_abstract_command.h>

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/i_order.h>
#include <lib_plugins_management/variant_conversion.h>
#include <QDebug>

#include <algorithm>

namespace {

// Most are one literal, which a clone's constructor names as its prototype's did.
bool isSameText(const QString& left, const QString& right)
{
    return (left.constData() == right.constData() && left.size() == right.size()) || left == right;
}

// To the letter: 1 and 1.0 are equal to QVariant, not to a reader.
bool isSameDeclaration(const DCommandValue& left, const DCommandValue& right)
{
    return isSameText(left.id, right.id) && isSameText(left.type, right.type) &&
           isSameText(left.description, right.description) &&
           left.defaultValue.userType() == right.defaultValue.userType() &&
           (!left.defaultValue.isValid() || left.defaultValue == right.defaultValue);
}

} // namespace

DAbstractCommand::DAbstractCommand(const QString& name, const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(name, QString(), arguments, parent)
{}

DAbstractCommand::DAbstractCommand(const QString& name, const QString& stopName, const QVariantMap& arguments,
                                   QObject* parent)
    : QObject(parent)
    , m_name(name)
    , m_stopName(stopName)
    , m_arguments(arguments)
    , m_valid(!name.isEmpty())
{
    const DAbstractPlugin* const owner = plugin();
    const DAbstractCommand* const prototype = owner == nullptr ? nullptr : owner->commandPrototype(name);
    if (prototype == nullptr)
        return;
    m_parameters.values = prototype->m_parameters.values;
    m_results.values = prototype->m_results.values;
}

DAbstractCommand::~DAbstractCommand() = default;

void DAbstractCommand::linkWithItsOrder(QObject* order)
{
    m_order = qobject_cast<IOrder*>(order);
    m_orderObject = m_order == nullptr ? nullptr : order;
    m_ended = false;
}

QString DAbstractCommand::commandName() const
{
    return m_name;
}

QString DAbstractCommand::stopCommandName() const
{
    return m_stopName;
}

quint64 DAbstractCommand::getOrderId() const
{
    return m_orderObject.isNull() ? 0 : m_order->orderId();
}

quint64 DAbstractCommand::getParameterOrderId() const
{
    return m_orderObject.isNull() ? 0 : m_order->callerOrderId();
}

bool DAbstractCommand::isRecurrent() const
{
    return !m_stopName.isEmpty();
}

bool DAbstractCommand::isValid() const
{
    return m_valid;
}

QString DAbstractCommand::description() const
{
    return m_description;
}

QString DAbstractCommand::fullDescription() const
{
    return m_description + describe(QStringLiteral("Parameters:"), m_parameters) +
           describe(QStringLiteral("Results:"), m_results);
}

QVariantMap DAbstractCommand::commandArguments() const
{
    return m_arguments;
}

bool DAbstractCommand::commandExecute()
{
    return m_valid && isOpen();
}

bool DAbstractCommand::setReply(quint64 orderId, const QVariantMap& reply)
{
    const auto it = std::find_if(m_replyHandlers.cbegin(), m_replyHandlers.cend(),
                                 [orderId](const ReplyHandler& h) { return h.instructionId == orderId; });
    if (it == m_replyHandlers.cend())
        return false;
    // Copied: the handler may end this instruction or place others, which moves the table.
    const ReplyDelegate handler = it->onReply;
    return handler.empty() || handler(orderId, reply);
}

void DAbstractCommand::finishTheCommand(bool& ok)
{
    if (!isOpen()) {
        ok = false;
        return;
    }
    if (m_orderObject.isNull()) {
        orderEnded(ok);
        return;
    }
    const bool ended =
        m_order->finish(ok, ok ? IMessenger::CeEcNone : IMessenger::CeEcInternal,
                        ok ? QString() : QStringLiteral("the command \"%1\" ended as failed").arg(m_name));
    ok = ok && ended;
}

quint64 DAbstractCommand::addInstruction(const QString& target, const QString& instruction,
                                         const QVariantMap& arguments, int timeout, ReplyDelegate onReply)
{
    if (m_orderObject.isNull())
        return 0;
    const quint64 id = m_order->addInstruction(target, instruction, arguments, timeout);
    if (id != 0)
        m_replyHandlers.append({id, onReply});
    return id;
}

void DAbstractCommand::setDescription(const QString& description)
{
    m_description = description;
}

void DAbstractCommand::declareAParameter(const QString& id, const QString& type, const QString& description,
                                         const QVariant& defaultValue)
{
    declare(m_parameters, "parameter", {id, type, description, defaultValue});
}

void DAbstractCommand::declareAResult(const QString& id, const QString& type, const QString& description,
                                      const QVariant& defaultValue)
{
    declare(m_results, "result", {id, type, description, defaultValue});
}

QList<DCommandValue> DAbstractCommand::parameters() const
{
    return {m_parameters.begin(), m_parameters.end()};
}

QList<DCommandValue> DAbstractCommand::results() const
{
    return {m_results.begin(), m_results.end()};
}

QVariant DAbstractCommand::getParameterValue(const QString& id, const QVariant& defaultValue) const
{
    const auto argument = m_arguments.constFind(id);
    if (argument != m_arguments.cend())
        return argument.value();
    for (const DCommandValue& parameter : m_parameters) {
        if (parameter.id == id && parameter.defaultValue.isValid())
            return parameter.defaultValue;
    }
    return defaultValue;
}

QVariant DAbstractCommand::getParameterById(const QString& id, QMetaType::Type type,
                                            const QVariant& defaultValue) const
{
    return convertVariant(getParametersSection(QStringLiteral("parameters")).value(id), type, defaultValue);
}

QVariantMap DAbstractCommand::getParametersSection(const QString& section) const
{
    const DAbstractPlugin* const owner = plugin();
    return owner == nullptr ? QVariantMap() : owner->configSection(section);
}

QStringList DAbstractCommand::getResultVariableName() const
{
    QStringList names;
    for (const DCommandValue& result : m_results)
        names.append(result.id);
    return names;
}

QVariant DAbstractCommand::getInfoFromChannel(const QString& channel, const QString& info,
                                              QMetaType::Type type, const QVariant& defaultValue) const
{
    const DAbstractPlugin* const owner = plugin();
    return owner == nullptr ? defaultValue
                            : convertVariant(owner->channelInfo(channel, info), type, defaultValue);
}

bool DAbstractCommand::commandUpdateResult(const QString& name, const QVariant& value)
{
    return commandUpdateResults({{name, value}});
}

bool DAbstractCommand::commandUpdateResults(const QVariantMap& results)
{
    for (auto it = results.cbegin(); it != results.cend(); ++it) {
        if (!contains(m_results, it.key())) {
            qCritical().noquote() << "command" << m_name << ": result" << it.key() << "is not declared";
            return false;
        }
    }
    return isOpen() && (m_orderObject.isNull() || m_order->updateResults(results));
}

bool DAbstractCommand::commandSetReply(const QVariantMap& reply)
{
    return isOpen() && (m_orderObject.isNull() || m_order->setReply(reply));
}

void DAbstractCommand::setEndsByItself(bool endsByItself)
{
    m_endsByItself = endsByItself;
}

bool DAbstractCommand::endsByItself() const
{
    return m_endsByItself;
}

bool DAbstractCommand::failTheCommand(IMessenger::EnErrorCode code, const QString& message)
{
    if (!isOpen())
        return false;
    if (m_orderObject.isNull()) {
        orderEnded(false);
        return true;
    }
    return m_order->finish(false, code, message);
}

bool DAbstractCommand::reportFailure(IMessenger::EnErrorCode code, const QString& message)
{
    return isOpen() && (m_orderObject.isNull() || m_order->reportFailure(code, message));
}

QDeadlineTimer DAbstractCommand::deadline() const
{
    return m_orderObject.isNull() ? QDeadlineTimer(QDeadlineTimer::Forever) : m_order->deadline();
}

void DAbstractCommand::forgetInstruction(quint64 instructionId)
{
    m_replyHandlers.erase(
        std::remove_if(m_replyHandlers.begin(), m_replyHandlers.end(),
                       [instructionId](const ReplyHandler& h) { return h.instructionId == instructionId; }),
        m_replyHandlers.end());
}

void DAbstractCommand::orderEnded(bool ok)
{
    if (m_ended)
        return;
    m_ended = true;
    m_replyHandlers.clear();
    Q_EMIT sigCommandFinished(ok);
}

void DAbstractCommand::leaveItsOrder()
{
    m_orderObject.clear();
}

void DAbstractCommand::declare(Declarations& declared, const char* kind, const DCommandValue& value)
{
    if (declared.count < declared.values.size()) {
        if (isSameDeclaration(declared.values.at(declared.count), value)) {
            ++declared.count;
            return;
        }
        declared.values.resize(declared.count);
    }
    if (value.id.isEmpty() || contains(declared, value.id) || !isTypeCode(value.type)) {
        qCritical().noquote() << "command" << m_name << ":" << kind
                              << "\"" + value.id + "\" of type \"" + value.type +
                                     "\" is refused: the id is empty or repeated, or the type unknown";
        m_valid = false;
        return;
    }
    declared.values.append(value);
    ++declared.count;
}

bool DAbstractCommand::contains(const Declarations& declared, const QString& id)
{
    return std::any_of(declared.begin(), declared.end(),
                       [&id](const DCommandValue& v) { return v.id == id; });
}

QString DAbstractCommand::describe(const QString& title, const Declarations& declared)
{
    if (declared.count == 0)
        return {};
    QString text = QLatin1Char('\n') + title;
    for (const DCommandValue& value : declared) {
        text += QStringLiteral("\n  %1 (%2): %3").arg(value.id, value.type, value.description);
        if (value.defaultValue.isValid())
            text += QStringLiteral(" [default: \"%1\"]").arg(value.defaultValue.toString());
    }
    return text;
}

bool DAbstractCommand::isOpen() const
{
    if (m_ended)
        return false;
    if (m_order == nullptr)
        return true;
    return !m_orderObject.isNull() && m_order->isOpen();
}

const DAbstractPlugin* DAbstractCommand::plugin() const
{
    return qobject_cast<const DAbstractPlugin*>(parent());
}
