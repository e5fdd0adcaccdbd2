#include "d_cmd_listenEvents.h"

#include "log_line.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

#include <algorithm>
#include <utility>

using namespace mdc;

namespace {

constexpr qint32 c_unchanged = -1;
const QString c_eventCount = QStringLiteral("eventCountNo");

} // namespace

DCmdListenEvents::DCmdListenEvents(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("listenEventsData"), QStringLiteral("stopListening"), arguments, parent)
{
    setDescription(QStringLiteral("Return the mesured value on the GPIO pin"));
    declareAResult(QStringLiteral("values"), QStringLiteral("vart"),
                   QStringLiteral("Recieving events of the connected device and send a notification when the "
                                  "value changed"));
}

DCmdListenEvents::DCmdListenEvents(QObject* parent)
    : DCmdListenEvents(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdListenEvents::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdListenEvents>(new DCmdListenEvents(arguments, parent()));
}

bool DCmdListenEvents::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "ERROR: DCmdListenEvents: parent is not PDeviceMdc";
        return false;
    }
    m_lastBlock = {};
    m_versionSuffix = softwareVersionSuffix(*plugin, *this);
    m_registerKey = QStringLiteral("eventData") + m_versionSuffix;
    const RegisterEntry entry = registerForRead(*this, m_registerKey);
    m_blockBase = static_cast<quint16>(entry.address);
    const auto size = static_cast<quint16>(
        getInfoFromChannel(m_registerKey, QStringLiteral("size"), QMetaType::UInt, QVariant()).toUInt());
    addInstruction(QStringLiteral("driver"), QStringLiteral("listen"), listenArguments(entry, size),
                   c_instructionTimeout, {this, &DCmdListenEvents::rplListenEvents});
    return true;
}

bool DCmdListenEvents::rplListenEvents(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const auto values = reply.constFind(QStringLiteral("values"));
    if (values == reply.cend()) {
        logCritical(this) << "ERROR: Reply does not contain values key";
        return false;
    }
    const std::optional<QVariantList> managed = blockWords(*values, getResultVariableName().value(0));
    if (!managed)
        logCritical(this) << "ERROR: Reply data format not managed";
    const QVariantList words = managed.value_or(QVariantList());
    const QVariantList keys =
        getParametersSection(QStringLiteral("parameters")).value(keyListName()).toList();
    const double size =
        getInfoFromChannel(m_registerKey, QStringLiteral("size"), QMetaType::Double, QVariant()).toDouble();
    QVariantMap result;
    const bool isWhole = static_cast<double>(words.size()) == size;
    // A driver that reads the same words again may answer with the same list.
    if (isWhole && m_lastBlock.isOf(words, keys))
        return commandUpdateResults({{QStringLiteral("values"), m_lastBlock.result}});
    if (!isWhole) {
        logCritical(this) << "ERROR: Command returns unwaited number of data :" << words.size() << "expected"
                          << size << ", receivedData =" << *values;
    } else if (m_versionSuffix.isEmpty()) {
        nameWords(words, result, keys);
    } else {
        decodeParameters(words, result, keys);
    }
    const QVariant published = result.isEmpty() ? QVariant() : QVariant(result);
    // What cannot be decoded is logged with every reply.
    const bool isDecoded = isWhole && std::all_of(result.cbegin(), result.cend(),
                                                  [](const QVariant& value) { return value.isValid(); });
    m_lastBlock = isDecoded ? LastBlock{words, keys, published} : LastBlock();
    return commandUpdateResult(QStringLiteral("values"), published);
}

QVariant DCmdListenEvents::decodeModbusValue(const QVariantList& words, int firstIndex, int lastIndex,
                                             const QString& type) const
{
    const DecodedValue decoded = decodeBlockValue(words, firstIndex, lastIndex, type);
    if (decoded.fault != DecodedValue::CeNoFault)
        logCritical(this) << decoded.message;
    return decoded.value;
}

// The addresses are those of the registers.
void DCmdListenEvents::decodeParameters(const QVariantList& words, QVariantMap& result,
                                        const QVariantList& parameterList)
{
    // Comes with every reply, and is another list only when the configuration has changed.
    if (!parameterList.isSharedWith(m_parameterList)) {
        m_parameterList = parameterList;
        m_parameters.clear();
        for (const QVariant& entry : parameterList)
            m_parameters.append(blockParameter(entry));
    }
    for (const BlockParameter& parameter : std::as_const(m_parameters)) {
        const QVariant value =
            decodeModbusValue(words, blockIndex(parameter.startAddress, m_blockBase),
                              blockIndex(parameter.endAddress, m_blockBase), parameter.type);
        // A count that moved keeps its decoded value.
        const bool isUnchangedCount =
            parameter.name == c_eventCount && value.isValid() && !countMoved(value.toInt());
        result.insert(parameter.name, isUnchangedCount ? c_unchanged : value);
    }
}

void DCmdListenEvents::nameWords(const QVariantList& words, QVariantMap& result, const QVariantList& names)
{
    if (names.size() < words.size()) {
        logCritical(this) << "ERROR: the configuration's list" << keyListName() << "holds" << names.size()
                          << "names for a block of" << words.size() << "registers";
        return;
    }
    for (int position = 0; position < words.size(); ++position) {
        const QString name = names.at(position).toString();
        const QVariant& word = words.at(position);
        if (name == c_eventCount && word.isValid()) {
            const qint32 count = word.toInt();
            result.insert(name, countMoved(count) ? QVariant(count) : c_unchanged);
        } else {
            result.insert(name, word);
        }
    }
}

// One-sided on purpose: a count that has moved is reported with every reply until the remembered one
// comes again, so that a listener that missed a reply still learns of the change.
bool DCmdListenEvents::countMoved(qint32 count)
{
    if (m_lastEventCount != -1 && m_lastEventCount != count)
        return true;
    m_lastEventCount = count;
    return false;
}

QString DCmdListenEvents::keyListName() const
{
    return QStringLiteral("eventDataKeys") + m_versionSuffix;
}
