#include "applications/bench/check/unread_names.h"

#include "applications/bench/core/suggestion.h"
#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QRegularExpression>

#include <cstdlib>
#include <optional>

namespace {

// The commands' own, those of the maintenance page, and those by which the bench describes a value.
const QStringList& readEntries()
{
    static const QStringList c_names{QStringLiteral("register"),
                                     QStringLiteral("size"),
                                     QStringLiteral("readRegisterType"),
                                     QStringLiteral("writeRegisterType"),
                                     QStringLiteral("type"),
                                     QStringLiteral("display"),
                                     QStringLiteral("scale"),
                                     QStringLiteral("unit"),
                                     QStringLiteral("signed"),
                                     QStringLiteral("encoding"),
                                     QStringLiteral("wordOrder"),
                                     QStringLiteral("bits"),
                                     QStringLiteral("enum"),
                                     QStringLiteral("values")};
    return c_names;
}

QStringList readParameters()
{
    QStringList names;
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& channel : needs.channels)
            names.append(channel.keyList);
        for (const NeededParameter& parameter : needs.parameters) {
            if (parameter.chosenBy != ChosenBy::Model)
                names.append(parameter.name);
        }
    }
    names.removeDuplicates();
    names.removeAll(QString());
    return names;
}

bool isRead(const QString& parameter, const QStringList& names)
{
    return modelOfBackupRangeKey(parameter) || names.contains(parameter) ||
           names.contains(versionedName(parameter).base);
}

QString subjectOf(const QString& channel)
{
    return QStringLiteral("channel %1").arg(channel);
}

QList<Finding> checkEntryNames(const DescribedChannel& channel)
{
    QList<Finding> findings;
    QStringList names = channel.entries.keys();
    names.sort();
    for (const QString& name : qAsConst(names)) {
        if (readEntries().contains(name))
            continue;
        for (const QString& other : readEntries()) {
            if (std::abs(name.size() - other.size()) > 1 || editDistance(name, other) > 1)
                continue;
            findings.append(
                {FindingLevel::Warning, subjectOf(channel.id),
                 QStringLiteral("nobody reads the entry \"%1\"; did you mean \"%2\"?").arg(name, other),
                 QStringLiteral("correct its name, or give it one of its own")});
        }
    }
    return findings;
}

// The channels that have a name of their own in the plug-in, without a generation's suffix.
QStringList knownChannels()
{
    QStringList names;
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& channel : needs.channels)
            names.append(channel.name);
    }
    names += statusChannels();
    names.removeDuplicates();
    names.removeAll(QString());
    return names;
}

// Names of the entries that are read of the channel with this name.
QStringList readEntriesOf(const QString& base)
{
    QList<ChannelEntry> entries;
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& channel : needs.channels) {
            if (channel.name == base)
                entries += channel.entries;
        }
    }
    // "getRegister" reads the register of whichever channel an order names. One of which commands look up
    // something else instead of the register has none to be named for.
    if (entries.isEmpty() || entries.contains(ChannelEntry::Register) || statusChannels().contains(base))
        entries += {ChannelEntry::Register, ChannelEntry::ReadType};
    QStringList names;
    for (const ChannelEntry entry : qAsConst(entries))
        names.append(entryName(entry));
    names.removeDuplicates();
    return names;
}

QString shown(const QJsonValue& value)
{
    return value.isString() ? QLatin1Char('"') + value.toString() + QLatin1Char('"')
                            : value.toVariant().toString();
}

QList<Finding> checkUnreadEntries(const DescribedChannel& channel)
{
    QList<Finding> findings;
    const QStringList read = readEntriesOf(versionedName(channel.id).base);
    for (const ChannelEntry entry :
         {ChannelEntry::Register, ChannelEntry::Size, ChannelEntry::ReadType, ChannelEntry::WriteType}) {
        const QString name = entryName(entry);
        if (channel.entries.contains(name) && !read.contains(name))
            findings.append(
                {FindingLevel::Warning, subjectOf(channel.id),
                 QStringLiteral("\"%1\" is %2, and nobody reads it of this channel")
                     .arg(name, shown(channel.entries.value(name))),
                 QStringLiteral("remove it; read are \"%1\"").arg(read.join(QStringLiteral("\", \"")))});
    }
    return findings;
}

// How a name is written in each generation, as "\"lockChange\" or \"lockChangeV2\"".
QString inAllGenerations(const QString& base)
{
    QStringList names;
    for (int generation = 1; generation <= lastGeneration(); ++generation)
        names.append(QLatin1Char('"') + base + generationSuffix(generation) + QLatin1Char('"'));
    return names.join(QStringLiteral(" or "));
}

struct SuffixedName
{
    QString base;
    QString suffix; // "V3", "V1", "V02"
};

// A name that is one of `names` and the suffix of a generation that there is not, or that is not written so.
std::optional<SuffixedName> ofNoGeneration(const QString& name, const QStringList& names)
{
    static const QRegularExpression c_suffix(QStringLiteral("^(.+)(V[0-9]+)$"));
    const QRegularExpressionMatch match = c_suffix.match(name);
    if (!match.hasMatch() || !names.contains(match.captured(1)) || names.contains(name))
        return std::nullopt;
    const int generation = versionedName(name).generation;
    if (generation > 1 && generation <= lastGeneration())
        return std::nullopt;
    return SuffixedName{match.captured(1), match.captured(2)};
}

std::optional<Finding> checkGeneration(const QString& subject, const QString& name, const QStringList& names)
{
    const std::optional<SuffixedName> suffixed = ofNoGeneration(name, names);
    if (!suffixed)
        return std::nullopt;
    const QString digits = suffixed->suffix.mid(1);
    QString why = QStringLiteral("there is no generation %1").arg(digits);
    if (digits.startsWith(QLatin1Char('0')))
        why = QStringLiteral("no generation is written so");
    else if (digits == QLatin1String("1"))
        why = QStringLiteral("the names of generation 1 have no suffix");
    return Finding{FindingLevel::Warning, subject, QStringLiteral("nobody reads \"%1\": %2").arg(name, why),
                   QStringLiteral("name it %1, or remove it").arg(inAllGenerations(suffixed->base))};
}

bool isSlipOf(const QString& name, const QString& meant)
{
    // "alarm2" beside "alarm" is somebody's own.
    static const QRegularExpression c_number(QStringLiteral("^[0-9]+$"));
    if (name.startsWith(meant) && c_number.match(name.mid(meant.size())).hasMatch())
        return false;
    constexpr int c_longName = 8;
    const int most = meant.size() < c_longName ? 1 : 2;
    // Most names are told apart by their lengths.
    return name != meant && std::abs(name.size() - meant.size()) <= most && editDistance(name, meant) <= most;
}

// `bases`: all that are read, without suffixes.
std::optional<Finding> checkSlip(const DescribedChannel& channel, const QStringList& bases)
{
    if (bases.contains(versionedName(channel.id).base))
        return std::nullopt;
    for (const QString& base : bases) {
        for (int generation = lastGeneration(); generation >= 1; --generation) {
            const QString meant = base + generationSuffix(generation);
            if (isSlipOf(channel.id, meant))
                return Finding{FindingLevel::Warning, subjectOf(channel.id),
                               QStringLiteral("nobody reads a channel \"%1\"; did you mean \"%2\"?")
                                   .arg(channel.id, meant),
                               QStringLiteral("correct its name, or give it one that is less like it")};
        }
    }
    return std::nullopt;
}

QList<Finding> checkChannels(const QJsonObject& configuration)
{
    QList<Finding> findings;
    const QStringList bases = knownChannels();
    const QList<DescribedChannel> channels = channelsOf(configuration);
    for (const DescribedChannel& channel : channels) {
        findings += checkEntryNames(channel);
        if (const auto generation = checkGeneration(subjectOf(channel.id), channel.id, bases))
            findings.append(*generation);
        else if (const auto slip = checkSlip(channel, bases))
            findings.append(*slip);
        else
            findings += checkUnreadEntries(channel);
    }
    return findings;
}

} // namespace

QList<Finding> checkUnreadNames(const QJsonObject& configuration)
{
    QList<Finding> findings = checkChannels(configuration);
    const QStringList names = readParameters();
    const QString subject = QStringLiteral("parameters");
    const QStringList parameters = configuration.value(QLatin1String("parameters")).toObject().keys();
    for (const QString& parameter : parameters) {
        if (const auto generation = checkGeneration(subject, parameter, names))
            findings.append(*generation);
        else if (!isRead(parameter, names))
            findings.append(
                {FindingLevel::Warning, subject,
                 QStringLiteral("no command reads \"%1\"%2").arg(parameter, didYouMean(parameter, names)),
                 QStringLiteral("correct its name, or remove it")});
    }
    return findings;
}
