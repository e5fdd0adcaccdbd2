#include "applications/bench/backup/backup_comparison.h"

#include <QMap>
#include <QStringList>

#include <algorithm>

namespace {

const QString c_noGroup = QStringLiteral("-");

void compareLine(QList<HeaderDifference>& differences, const QString& name, const QString& here,
                 const QString& there)
{
    if (here != there)
        differences.append({name, here, there});
}

// Positions of a foreign file may lie anywhere: nothing may walk the numbers between two files.
QList<int> heldRegisters(const BackupFile& here, const BackupFile& there)
{
    QList<int> numbers;
    for (const BackupFile* const file : {&here, &there}) {
        for (int i = 0; i < file->values.size(); ++i)
            numbers.append(file->firstPosition + i);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace

BackupComparison compareBackups(const BackupFile& here, const BackupFile& there, const RegisterNames& names,
                                const QList<int>* only)
{
    BackupComparison comparison;
    compareLine(comparison.header, QStringLiteral("model"), here.header.model, there.header.model);
    compareLine(comparison.header, QStringLiteral("serial"), here.header.serial, there.header.serial);
    compareLine(comparison.header, QStringLiteral("firmware"), here.header.firmwareVersion,
                there.header.firmwareVersion);
    const QList<int> numbers = only == nullptr ? heldRegisters(here, there) : *only;
    std::optional<int> previous;
    for (const int number : numbers) {
        if (number == previous)
            continue;
        previous = number;
        ++comparison.compared;
        const std::optional<int> valueHere = here.valueAt(number);
        const std::optional<int> valueThere = there.valueAt(number);
        if (valueHere != valueThere)
            comparison.registers.append({number, names.placesOf(number), valueHere, valueThere});
    }
    return comparison;
}

QString groupsText(const QList<PlaceInGroup>& places)
{
    QStringList texts;
    for (const PlaceInGroup& place : places)
        texts.append(place.group);
    return texts.isEmpty() ? c_noGroup : texts.join(QStringLiteral(", "));
}

QString positionsText(const QList<PlaceInGroup>& places)
{
    QStringList texts;
    for (const PlaceInGroup& place : places)
        texts.append(QString::number(place.position));
    return texts.isEmpty() ? c_noGroup : texts.join(QStringLiteral(", "));
}

QString differencesPerGroup(const QList<RegisterDifference>& differences)
{
    QStringList names;
    QMap<QString, int> counts;
    int withoutGroup = 0;
    for (const RegisterDifference& difference : differences) {
        if (difference.places.isEmpty())
            ++withoutGroup;
        for (const PlaceInGroup& place : difference.places) {
            if (counts[place.group]++ == 0)
                names.append(place.group);
        }
    }
    std::sort(names.begin(), names.end(), isNameBefore);
    QStringList parts;
    for (const QString& name : std::as_const(names))
        parts.append(QStringLiteral("%1: %2").arg(name).arg(counts.value(name)));
    if (withoutGroup > 0)
        parts.append(QStringLiteral("no group: %1").arg(withoutGroup));
    return parts.join(QStringLiteral(", "));
}
