#include "d_cmd_getPresetData.h"

#include "log_line.h"
#include "model/register_block.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

namespace {

// Presets, registers and the addresses of parameters are numbered from 1.
constexpr qint64 c_firstPreset = 1;
constexpr quint32 c_firstRegister = 1;
constexpr int c_firstAddress = 1;

const QString c_size = QStringLiteral("size");

} // namespace

DCmdGetPresetData::DCmdGetPresetData(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("getPresetData"), arguments, parent)
{
    setDescription(QStringLiteral("Return the mesured value on GPIO pins"));
    declareAParameter(QStringLiteral("preset"), QStringLiteral("int"),
                      QStringLiteral("Channel of the first gpio"));
    declareAResult(QStringLiteral("presetData"), QStringLiteral("varM"),
                   QStringLiteral("Return event data values"));
}

DCmdGetPresetData::DCmdGetPresetData(QObject* parent)
    : DCmdGetPresetData(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdGetPresetData::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdGetPresetData>(new DCmdGetPresetData(arguments, parent()));
}

bool DCmdGetPresetData::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "ERROR: failure to get device pointer";
        return false;
    }
    m_versionSuffix = softwareVersionSuffix(*plugin, *this);
    bool isNumber = false;
    const int presetSize = getInfoFromChannel(QStringLiteral("currentPreset") + m_versionSuffix, c_size,
                                              QMetaType::Int, QVariant())
                               .toInt(&isNumber);
    if (!isNumber) {
        logCritical(this) << "ERROR: failure to get current preset size value";
        return false;
    }
    // Wider than any preset's number: one that is too large must not turn into a small one.
    const QVariant given = getParameterValue(QStringLiteral("preset"), QVariant());
    const qint64 preset = given.toLongLong(&isNumber);
    if (!isNumber || preset < c_firstPreset) {
        logCritical(this) << "ERROR: failure to get preset value:" << given;
        return false;
    }
    const QString presets = QStringLiteral("presets") + m_versionSuffix;
    const int presetCount = getInfoFromChannel(presets, c_size, QMetaType::Int, QVariant()).toInt();
    if (preset > presetCount) {
        commandUpdateResult(QStringLiteral("presetData"), QVariantMap());
        return true;
    }
    m_presetStart = static_cast<quint16>(
        static_cast<quint32>(preset - c_firstPreset) * static_cast<quint32>(presetSize) + c_firstRegister);
    const QString registerType = registerForRead(*this, presets).type;
    addInstruction(QStringLiteral("driver"), QStringLiteral("read"),
                   {{QStringLiteral("register"), static_cast<int>(m_presetStart)},
                    {QStringLiteral("dataSize"), presetSize},
                    {QStringLiteral("registerType"), registerType}},
                   c_instructionTimeout, {this, &DCmdGetPresetData::rplGetPresetData});
    return true;
}

// Silent about a reply without values, and no failure either.
bool DCmdGetPresetData::rplGetPresetData(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const auto values = reply.constFind(QStringLiteral("values"));
    if (values == reply.cend())
        return true;
    const QString resultName = getResultVariableName().value(0);
    const std::optional<QVariantList> managed = blockWords(*values, resultName);
    if (!managed)
        logCritical(this) << "ERROR: Reply data format not managed";
    const QVariantList words = managed.value_or(QVariantList());
    const QVariantList keys =
        getParametersSection(QStringLiteral("parameters")).value(keyListName()).toList();
    const double presetSize = getInfoFromChannel(QStringLiteral("currentPreset") + m_versionSuffix, c_size,
                                                 QMetaType::Double, QVariant())
                                  .toDouble();
    QVariantMap result;
    if (static_cast<double>(words.size()) != presetSize) {
        logCritical(this) << "ERROR: Command returns unwaited number of data :" << words.size() << "expected"
                          << presetSize << ", receivedData =" << *values;
    } else if (m_versionSuffix.isEmpty()) {
        nameWords(words, result, keys);
    } else {
        decodeParameters(words, result, keys);
    }
    return result.isEmpty() || commandUpdateResult(QStringLiteral("presetData"), result);
}

QVariant DCmdGetPresetData::decodeModbusValue(const QVariantList& words, int firstIndex, int lastIndex,
                                              const QString& type) const
{
    const DecodedValue decoded = decodeBlockValue(words, firstIndex, lastIndex, type);
    // The length of a float is warned of with the message alone.
    if (decoded.fault == DecodedValue::CeFloatLengthFault)
        qWarning().noquote() << decoded.message;
    else if (decoded.fault != DecodedValue::CeNoFault)
        logCritical(this) << decoded.message;
    return decoded.value;
}

// The addresses are positions within the preset.
void DCmdGetPresetData::decodeParameters(const QVariantList& words, QVariantMap& result,
                                         const QVariantList& parameterList) const
{
    for (const QVariant& entry : parameterList) {
        const BlockParameter parameter = blockParameter(entry);
        result.insert(parameter.name,
                      decodeModbusValue(words, blockIndex(parameter.startAddress, c_firstAddress),
                                        blockIndex(parameter.endAddress, c_firstAddress), parameter.type));
    }
}

// One level deeper than decoded parameters. "preset" is always 0, whichever preset was asked for.
void DCmdGetPresetData::nameWords(const QVariantList& words, QVariantMap& result,
                                  const QVariantList& names) const
{
    if (names.size() < words.size()) {
        logCritical(this) << "ERROR: the configuration's list" << keyListName() << "holds" << names.size()
                          << "names for a preset of" << words.size() << "registers";
        return;
    }
    QVariantMap named{{QStringLiteral("preset"), 0}};
    for (int position = 0; position < words.size(); ++position)
        named.insert(names.at(position).toString(), words.at(position));
    result.insert(getResultVariableName().value(0), named);
}

QString DCmdGetPresetData::keyListName() const
{
    return QStringLiteral("presetDataKeys") + m_versionSuffix;
}
