#include "applications/bench/probe/probe_rows.h"

#include "applications/bench/core/output_format.h"
#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/device_configuration/known_channels.h"
#include "applications/bench/device_configuration/value_description.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/register_block.h"

#include <algorithm>

namespace {

using Kind = ProbedRange::Kind;

// Values of a block that are shown in one cell.
constexpr int c_mostShown = 8;

QString registersText(const QList<int>& registers)
{
    QStringList texts;
    for (int i = 0; i < registers.size() && i < c_mostShown; ++i)
        texts.append(QString::number(registers.at(i)));
    return texts.join(QLatin1Char(' ')) + (registers.size() > c_mostShown ? QStringLiteral(" …") : QString());
}

QString meaningOf(const ProbedValue& value, const ChannelEntries& entries)
{
    if (value.range.kind != Kind::Value || !value.isRead())
        return {};
    return channelMeaning(value.range.channel, entries, value.values);
}

// A descriptor of each value: its name, and the positions of its first and last register.
QList<BlockParameter> parametersOf(const ProbedValue& value, const QJsonObject& configuration)
{
    const bool isEvent = value.range.kind == Kind::EventBlock;
    const int generation = versionedName(value.range.channel).generation;
    const QString list = (isEvent ? QStringLiteral("eventDataKeys") : QStringLiteral("presetDataKeys")) +
                         generationSuffix(generation);
    const QVariantList keys =
        configuration.value(QLatin1String("parameters")).toObject().value(list).toArray().toVariantList();
    QList<BlockParameter> parameters;
    for (int i = 0; i < keys.size(); ++i) {
        BlockParameter parameter{keys.at(i).toString(), i, i, QStringLiteral("int")};
        if (generation > 1) {
            parameter = blockParameter(keys.at(i));
            const int base = isEvent ? value.range.address : 1;
            parameter.startAddress = blockIndex(parameter.startAddress, base);
            parameter.endAddress = blockIndex(parameter.endAddress, base);
        }
        const bool isInside = parameter.startAddress >= 0 && parameter.endAddress < value.values.size();
        if (isInside && parameter.endAddress >= parameter.startAddress)
            parameters.append(parameter);
    }
    return parameters;
}

QList<ProbeRow> rowsOfBlock(const ProbedValue& value, const QJsonObject& configuration, int offset)
{
    QVariantList words;
    for (const int word : value.values)
        words.append(word);
    const QHash<QString, ValueDescription> descriptions =
        blockDescriptions(entriesOf(configuration, value.range.channel));
    QList<ProbeRow> rows;
    const QList<BlockParameter> parameters = parametersOf(value, configuration);
    for (const BlockParameter& parameter : parameters) {
        ProbeRow row;
        row.channel = value.range.channel + QLatin1Char('.') + parameter.name;
        row.address = value.range.address + parameter.startAddress;
        row.wire = row.address + offset;
        row.count = parameter.endAddress - parameter.startAddress + 1;
        row.type = parameter.type;
        row.registers = value.values.mid(parameter.startAddress, row.count);
        const DecodedValue decoded =
            decodeBlockValue(words, parameter.startAddress, parameter.endAddress, parameter.type);
        row.value =
            parameter.type == QLatin1String("list") ? registersText(row.registers) : valueText(decoded.value);
        row.error = decoded.message;
        bool isNumber = false;
        const double number = row.value.toDouble(&isNumber);
        if (isNumber)
            row.number = number;
        if (descriptions.contains(parameter.name))
            row.meaning = describedValue(descriptions.value(parameter.name), decoded.value);
        rows.append(row);
    }
    return rows;
}

QString spanText(int first, int count)
{
    return count == 1 ? QString::number(first) : QStringLiteral("%1-%2").arg(first).arg(first + count - 1);
}

} // namespace

QList<ProbeRow> probeRows(const ProbeResult& result, const QJsonObject& configuration,
                          const AddressOffset& offset)
{
    QList<ProbeRow> rows;
    for (const ProbedValue& value : result.values) {
        ProbeRow row;
        row.channel = value.range.title();
        row.address = value.range.address;
        row.wire = value.range.address + offset.value;
        row.count = value.range.count;
        row.type = value.range.type;
        row.registers = value.values;
        row.value = registersText(value.values);
        const ChannelEntries entries = entriesOf(configuration, value.range.channel);
        if (value.range.kind == Kind::Value)
            row.number = scaledValue(valueDescription(entries), value.values);
        row.meaning = meaningOf(value, entries);
        row.error = value.message;
        rows.append(row);
        if (value.isRead() && (value.range.kind == Kind::EventBlock || value.range.program == 1))
            rows += rowsOfBlock(value, configuration, offset.value);
    }
    return rows;
}

QStringList probeHeader()
{
    return {QStringLiteral("CHANNEL"), QStringLiteral("REGISTER"), QStringLiteral("WIRE"),
            QStringLiteral("TYPE"),    QStringLiteral("VALUE"),    QStringLiteral("MEANING")};
}

QStringList probeCells(const ProbeRow& row)
{
    return {row.channel,
            spanText(row.address, row.count),
            spanText(row.wire, row.count),
            row.type,
            row.value.isEmpty() ? QStringLiteral("-") : row.value,
            row.error.isEmpty() ? row.meaning : row.error};
}

QJsonObject toJson(const ProbeRow& row)
{
    QJsonArray registers;
    for (const int word : row.registers)
        registers.append(word);
    return {{QStringLiteral("channel"), row.channel}, {QStringLiteral("register"), row.address},
            {QStringLiteral("wire"), row.wire},       {QStringLiteral("count"), row.count},
            {QStringLiteral("type"), row.type},       {QStringLiteral("registers"), registers},
            {QStringLiteral("value"), row.value},     {QStringLiteral("meaning"), row.meaning},
            {QStringLiteral("error"), row.error}};
}
