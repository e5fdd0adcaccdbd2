#include "model/backup_range.h"

#include <QStringList>

#include <algorithm>

namespace {

const QString c_backupRange = QStringLiteral("backup_range");
const QString c_preset = QStringLiteral("preset");
constexpr int c_nameCapture = 1;
constexpr int c_firstCapture = 2;
constexpr int c_secondCapture = 4;

RegisterSpan spanAt(const QRegularExpressionMatch& match, int capture, bool& isReadable)
{
    bool firstFits = false;
    bool lastFits = false;
    const RegisterSpan span{match.captured(capture).toInt(&firstFits),
                            match.captured(capture + 1).toInt(&lastFits)};
    isReadable = isReadable && firstFits && lastFits;
    return span;
}

// How many registers the span lists; the ends are not negative.
int lengthOf(const RegisterSpan& span)
{
    if (span.first > span.last)
        return 0;
    const qint64 length = static_cast<qint64>(span.last) - span.first + 1;
    return static_cast<int>(std::min<qint64>(length, c_groupRangeLimit + 1));
}

constexpr RegisterSpan c_noSpan{1, 0};

bool fits(const BackupRangeItem& item)
{
    return item.isReadable && lengthOf(item.span) <= c_groupRangeLimit &&
           lengthOf(item.secondSpan.value_or(c_noSpan)) <= c_groupRangeLimit;
}

void appendRegisters(QList<int>& registers, const RegisterSpan& span)
{
    const int length = lengthOf(span);
    for (int i = 0; i < length; ++i)
        registers.append(span.first + i);
}

} // namespace

QString backupRangePattern()
{
    return QStringLiteral(R"re("([^"]+)": \[(\d+)-(\d+)\](?:, \[(\d+)-(\d+)\])?;?)re");
}

QList<BackupRangeItem> backupRangeItems(const QRegularExpression& expression, const QString& text)
{
    QList<BackupRangeItem> items;
    QRegularExpressionMatchIterator matches = expression.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        BackupRangeItem item;
        item.name = match.captured(c_nameCapture);
        item.span = spanAt(match, c_firstCapture, item.isReadable);
        if (match.lastCapturedIndex() >= c_secondCapture)
            item.secondSpan = spanAt(match, c_secondCapture, item.isReadable);
        item.text = match.captured();
        if (item.text.endsWith(QLatin1Char(';')))
            item.text.chop(1);
        items.append(item);
    }
    return items;
}

bool isBackupRange(const BackupRangeItem& item)
{
    return item.name == c_backupRange;
}

std::optional<BackupRange> backupRangeOf(const BackupRangeItem& item)
{
    const auto [first, last] = item.span;
    if (first < 1 || first >= last || last - first >= c_backupRegistersLimit)
        return std::nullopt;
    return BackupRange{first, last - first + 1};
}

std::optional<BackupRange> backupRange(const QList<BackupRangeItem>& items)
{
    std::optional<BackupRange> found;
    for (const BackupRangeItem& item : items) {
        if (!isBackupRange(item))
            continue;
        if (const std::optional<BackupRange> range = backupRangeOf(item))
            found = range;
    }
    return found;
}

bool isListable(const BackupRangeItem& group)
{
    // Of a group that no restore writes nobody needs the list.
    return fits(group) || (!presetNumber(group.name) && !isExtraGroup(group.name));
}

RestoreGroups restoreGroups(const QList<BackupRangeItem>& items, int firstRegister, int count)
{
    RestoreGroups result;
    int listed = 0;
    for (const BackupRangeItem& item : items) {
        if (isBackupRange(item)) {
            const auto [first, last] = item.span;
            const bool isValid = first >= 1 && first < last;
            // Subtracted on both sides: a range of the whole of int has more registers than int holds.
            if (isValid && (first != firstRegister || count - 1 != last - first))
                return {RestoreGroups::CeRangeDiffers, item.text, {}};
            continue;
        }
        QList<int> registers;
        if (fits(item)) {
            appendRegisters(registers, item.span);
            appendRegisters(registers, item.secondSpan.value_or(c_noSpan));
        }
        // One that is replaced by a later one of its name has been listed too.
        listed += registers.size();
        if (!isListable(item) || listed > c_groupRegistersLimit)
            return {RestoreGroups::CeTooLarge, item.text, {}};
        result.groups.insert(item.name, registers);
    }
    return result;
}

std::optional<QList<int>> registersToRestore(const RegisterGroups& groups, int startPreset, int endPreset,
                                             bool withExtras)
{
    QList<int> registers;
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        const std::optional<int> preset = presetNumber(it.key());
        if (preset && startPreset <= *preset && *preset <= endPreset)
            registers.append(it.value());
        else if (withExtras && isExtraGroup(it.key()))
            registers.append(it.value());
    }
    if (registers.size() > c_restoreRegistersLimit)
        return std::nullopt;
    std::sort(registers.begin(), registers.end());
    return registers;
}

std::optional<int> presetNumber(const QString& groupName)
{
    if (!groupName.startsWith(c_preset))
        return std::nullopt;
    const QStringList parts = groupName.split(c_preset);
    if (parts.size() != 2)
        return std::nullopt;
    return parts.at(1).toInt();
}

bool isExtraGroup(const QString& groupName)
{
    return groupName.startsWith(QLatin1String("extra"));
}
