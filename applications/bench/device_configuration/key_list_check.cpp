#include "applications/bench/device_configuration/key_list_check.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/device_configuration/event_source.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QVector>

#include <cmath>

namespace {

// What one Modbus request reads.
constexpr int c_mostRegisters = 125;
constexpr int c_lastRegister = 65535;
constexpr int c_floatRegisters = 2;
constexpr int c_triggerProgram = 15;
constexpr int c_triggerRegisters = 6;

const QString c_float = QStringLiteral("float");
const QString c_int = QStringLiteral("int");
const QString c_list = QStringLiteral("list");

Finding error(const KeyedBlock& block, const QString& message, const QString& remedy)
{
    return {FindingLevel::Error, block.subject, QStringLiteral("\"%1\": %2").arg(block.list, message),
            remedy};
}

Finding warning(const KeyedBlock& block, const QString& message, const QString& remedy)
{
    return {FindingLevel::Warning, block.subject, QStringLiteral("\"%1\": %2").arg(block.list, message),
            remedy};
}

std::optional<int> wholeNumber(const QJsonValue& value)
{
    const double number = value.toDouble(-1);
    if (!value.isDouble() || number != std::trunc(number) || std::abs(number) > c_lastRegister)
        return std::nullopt;
    return static_cast<int>(number);
}

QString range(int first, int last)
{
    return first == last ? QStringLiteral("register %1").arg(first)
                         : QStringLiteral("registers %1 to %2").arg(first).arg(last);
}

struct Descriptor
{
    QString name;
    int first = 0;
    int last = 0;
    QString type;
};

// The descriptor, or nothing with the finding that says why.
std::optional<Descriptor> readDescriptor(const QJsonValue& element, int position, const KeyedBlock& block,
                                         QList<Finding>& findings)
{
    const QJsonObject object = element.toObject();
    const QString name = object.value(QLatin1String("parameter_name")).toString();
    if (name.isEmpty()) {
        findings.append(error(block, QStringLiteral("entry %1 has no \"parameter_name\"").arg(position + 1),
                              QStringLiteral("give it a name")));
        return std::nullopt;
    }
    const std::optional<int> first = wholeNumber(object.value(QLatin1String("start_address")));
    const std::optional<int> last = wholeNumber(object.value(QLatin1String("end_address")));
    if (!first || !last) {
        findings.append(
            error(block,
                  QStringLiteral("\"%1\" has no \"%2\" that is a whole number")
                      .arg(name, first ? QStringLiteral("end_address") : QStringLiteral("start_address")),
                  QStringLiteral("give the addresses of its first and last register")));
        return std::nullopt;
    }
    return Descriptor{name, *first, *last, object.value(QLatin1String("type")).toString()};
}

// What keeps this descriptor from giving its value.
QList<Finding> checkDescriptor(const Descriptor& descriptor, const KeyedBlock& block)
{
    QList<Finding> findings;
    const int count = descriptor.last - descriptor.first + 1;
    if (descriptor.type != c_int && descriptor.type != c_list && descriptor.type != c_float)
        findings.append(error(
            block, QStringLiteral("\"%1\" has the unknown type \"%2\"").arg(descriptor.name, descriptor.type),
            QStringLiteral("give one of \"int\", \"list\", \"float\"")));
    if (descriptor.first > descriptor.last)
        findings.append(error(block,
                              QStringLiteral("\"%1\" ends at %2, before its start at %3")
                                  .arg(descriptor.name)
                                  .arg(descriptor.last)
                                  .arg(descriptor.first),
                              QStringLiteral("exchange the two addresses")));
    else if (descriptor.type == c_float && count != c_floatRegisters)
        findings.append(
            error(block, QStringLiteral("\"%1\" is a float of %2 registers").arg(descriptor.name).arg(count),
                  QStringLiteral("give it exactly two")));
    else if (descriptor.type == c_int && count > 1)
        findings.append(warning(block,
                                QStringLiteral("\"%1\" is an int of %2 registers, only the first is read")
                                    .arg(descriptor.name)
                                    .arg(count),
                                QStringLiteral("end it where it starts, or make it a list")));
    const int blockEnd = block.base + block.size - 1;
    for (const int address : {descriptor.first, descriptor.last}) {
        if (address >= block.base && address <= blockEnd)
            continue;
        findings.append(error(block,
                              QStringLiteral("\"%1\" reaches to %2, outside of the block's %3")
                                  .arg(descriptor.name)
                                  .arg(address)
                                  .arg(range(block.base, blockEnd)),
                              QStringLiteral("correct its addresses, or the block's \"register\" or "
                                             "\"size\"")));
        break;
    }
    return findings;
}

QList<Finding> checkNameOnce(const QStringList& names, const KeyedBlock& block)
{
    QList<Finding> findings;
    QStringList told;
    for (int i = 0; i < names.size(); ++i) {
        const QString& name = names.at(i);
        if (names.indexOf(name) == i || told.contains(name))
            continue;
        told.append(name);
        findings.append(warning(
            block,
            QStringLiteral("\"%1\" is named %2 times, the last one counts").arg(name).arg(names.count(name)),
            QStringLiteral("give each value a name of its own")));
    }
    return findings;
}

// Overlaps and registers that nothing names.
QList<Finding> checkCoverage(const QList<Descriptor>& descriptors, const KeyedBlock& block)
{
    QList<Finding> findings;
    for (int i = 0; i < descriptors.size(); ++i) {
        for (int j = i + 1; j < descriptors.size(); ++j) {
            const int first = std::max(descriptors.at(i).first, descriptors.at(j).first);
            const int last = std::min(descriptors.at(i).last, descriptors.at(j).last);
            if (first <= last)
                findings.append(
                    warning(block,
                            QStringLiteral("\"%1\" and \"%2\" overlap in %3")
                                .arg(descriptors.at(i).name, descriptors.at(j).name, range(first, last)),
                            QStringLiteral("correct the addresses of one of them")));
        }
    }
    QVector<bool> named(block.size, false);
    for (const Descriptor& descriptor : descriptors) {
        for (int address = std::max(descriptor.first, block.base);
             address <= std::min(descriptor.last, block.base + block.size - 1); ++address)
            named[address - block.base] = true;
    }
    for (int first = 0; first < block.size; ++first) {
        if (named.at(first))
            continue;
        int last = first;
        while (last + 1 < block.size && !named.at(last + 1))
            ++last;
        findings.append(warning(
            block,
            QStringLiteral("nothing names %1 of the block").arg(range(block.base + first, block.base + last)),
            QStringLiteral("name what stands there, if anything does")));
        first = last;
    }
    return findings;
}

// One command's block in one generation.
struct BlockOfCommand
{
    QString command;
    QString channel; // whose "size" is the block's
    QString list;
    bool atRegister; // addresses are the block's registers; else positions from 1
};

const QList<BlockOfCommand>& blocksOfCommands()
{
    static const QList<BlockOfCommand> c_blocks{
        {QStringLiteral("listenEventsData"), QStringLiteral("eventData"), QStringLiteral("eventDataKeys"),
         true},
        {QStringLiteral("getPresetData"), QStringLiteral("currentPreset"), QStringLiteral("presetDataKeys"),
         false},
    };
    return c_blocks;
}

QString subjectOf(const QString& command, int generation)
{
    return QStringLiteral("%1, generation %2").arg(command).arg(generation);
}

// What an error means for a generation that is not the one at hand.
QList<Finding> atMost(FindingLevel level, QList<Finding> findings)
{
    for (Finding& finding : findings) {
        if (finding.level == FindingLevel::Error)
            finding.level = level;
    }
    return findings;
}

QList<Finding> checkBlock(const BlockOfCommand& row, const QJsonObject& configuration, int generation)
{
    const QString suffix = generationSuffix(generation);
    const QString channel = row.channel + suffix;
    const QString list = row.list + suffix;
    const QString subject = subjectOf(row.command, generation);
    const std::optional<int> size = wholeNumber(channelEntry(configuration, channel, QStringLiteral("size")));
    // A missing one is told by who asks for it.
    if (!size || *size < 1)
        return {};
    QList<Finding> findings;
    if (*size > c_mostRegisters)
        findings.append({FindingLevel::Error, subject,
                         QStringLiteral("\"%1\" has %2 registers, one read takes %3")
                             .arg(channel)
                             .arg(*size)
                             .arg(c_mostRegisters),
                         QStringLiteral("correct its \"size\"")});
    const std::optional<int> address =
        row.atRegister ? wholeNumber(channelEntry(configuration, channel, QStringLiteral("register")))
                       : std::optional<int>(1);
    const QJsonValue keys = configuration.value(QLatin1String("parameters")).toObject().value(list);
    if (!address || keys.isUndefined())
        return findings;
    const KeyedBlock block{subject, list, *address, *size};
    if (!keys.isArray())
        findings.append(error(block, QStringLiteral("it is no list"), QStringLiteral("give a list")));
    else
        findings +=
            suffix.isEmpty() ? checkNames(keys.toArray(), block) : checkDescriptors(keys.toArray(), block);
    if (findings.isEmpty())
        findings.append(
            {FindingLevel::Ok,
             subject,
             QStringLiteral("\"%1\" fits the %2 registers of \"%3\"").arg(list).arg(*size).arg(channel),
             {}});
    return findings;
}

// The trigger program is program 15.
QList<Finding> checkTriggerProgram(const QJsonObject& configuration, int generation)
{
    const QString suffix = generationSuffix(generation);
    const QString subject = subjectOf(QStringLiteral("SetTriggerProgram"), generation);
    const QString sizeChannel = QStringLiteral("currentPreset") + suffix;
    const std::optional<int> size =
        wholeNumber(channelEntry(configuration, sizeChannel, QStringLiteral("size")));
    // A missing one is told by who asks for it.
    if (!size || *size < 1)
        return {};
    QList<Finding> findings;
    if (*size < c_triggerRegisters)
        findings.append({FindingLevel::Error, subject,
                         QStringLiteral("it writes %1 registers of a program, \"%2\" gives a program %3")
                             .arg(c_triggerRegisters)
                             .arg(sizeChannel)
                             .arg(*size),
                         QStringLiteral("correct the \"size\"")});
    const std::optional<int> count =
        wholeNumber(channelEntry(configuration, QStringLiteral("presets") + suffix, QStringLiteral("size")));
    if (count && *count < c_triggerProgram)
        findings.append({FindingLevel::Error, subject,
                         QStringLiteral("it replaces program %1, \"presets%2\" has %3 programs")
                             .arg(c_triggerProgram)
                             .arg(suffix)
                             .arg(*count),
                         QStringLiteral("do not use it with this controller, or correct the \"size\"")});
    const int last = (c_triggerProgram - 1) * *size + c_triggerRegisters;
    if (last > c_lastRegister)
        findings.append({FindingLevel::Error, subject,
                         QStringLiteral("program %1 would lie beyond register %2")
                             .arg(c_triggerProgram)
                             .arg(c_lastRegister),
                         QStringLiteral("correct the \"size\" of \"%1\"").arg(sizeChannel)});
    return findings;
}

// What the bench's log of tightenings needs besides the command.
QList<Finding> checkEventSource(const QJsonObject& configuration, int generation)
{
    const QString list = QStringLiteral("eventDataKeys") + generationSuffix(generation);
    // Missing, it is told as a need of the command.
    if (!configuration.value(QLatin1String("parameters")).toObject().contains(list))
        return {};
    QList<Finding> findings;
    const QStringList errors = eventSource(configuration, generation).errors;
    for (const QString& text : errors)
        findings.append({FindingLevel::Warning, QStringLiteral("results, generation %1").arg(generation),
                         text.section(QStringLiteral(": "), 0, -2), text.section(QStringLiteral(": "), -1)});
    return findings;
}

} // namespace

QList<Finding> checkNames(const QJsonArray& names, const KeyedBlock& block)
{
    QList<Finding> findings;
    if (names.size() != block.size)
        findings.append(error(
            block,
            QStringLiteral("it holds %1 names for a block of %2 registers").arg(names.size()).arg(block.size),
            QStringLiteral("give one name for each register, or correct the \"size\"")));
    QStringList texts;
    for (int i = 0; i < names.size(); ++i) {
        if (names.at(i).toString().isEmpty())
            findings.append(error(block, QStringLiteral("entry %1 is no name").arg(i + 1),
                                  QStringLiteral("give a text")));
        else
            texts.append(names.at(i).toString());
    }
    return findings + checkNameOnce(texts, block);
}

QList<Finding> checkDescriptors(const QJsonArray& descriptors, const KeyedBlock& block)
{
    QList<Finding> findings;
    QList<Descriptor> known;
    QStringList names;
    for (int i = 0; i < descriptors.size(); ++i) {
        const std::optional<Descriptor> descriptor = readDescriptor(descriptors.at(i), i, block, findings);
        if (!descriptor)
            continue;
        findings += checkDescriptor(*descriptor, block);
        known.append(*descriptor);
        names.append(descriptor->name);
    }
    return findings + checkNameOnce(names, block) + checkCoverage(known, block);
}

QList<Finding> checkBlocks(const QStringList& commands, const QJsonObject& configuration,
                           const QList<int>& generations, std::optional<int> connected)
{
    QList<Finding> findings;
    for (const int generation : generations) {
        const FindingLevel level = generation == connected ? FindingLevel::Error : FindingLevel::Warning;
        for (const BlockOfCommand& row : blocksOfCommands()) {
            if (commands.contains(row.command))
                findings += atMost(level, checkBlock(row, configuration, generation));
        }
        if (commands.contains(QStringLiteral("SetTriggerProgram")))
            findings += atMost(level, checkTriggerProgram(configuration, generation));
        if (commands.contains(QStringLiteral("listenEventsData")))
            findings += checkEventSource(configuration, generation);
    }
    return findings;
}
