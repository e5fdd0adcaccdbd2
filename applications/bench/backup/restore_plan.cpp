#include "applications/bench/backup/restore_plan.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <utility>

namespace {

bool isChosen(const QString& group, const RestoreChoice& choice)
{
    const std::optional<int> preset = presetNumber(group);
    return (preset && choice.firstPreset <= *preset && *preset <= choice.lastPreset) ||
           (choice.withExtras && isExtraGroup(group));
}

QList<int> missingPresets(const RegisterGroups& groups, const RestoreChoice& choice)
{
    QSet<int> present;
    for (auto it = groups.cbegin(); it != groups.cend(); ++it)
        present.insert(presetNumber(it.key()).value_or(0));
    QList<int> missing;
    for (qint64 preset = choice.firstPreset;
         preset <= choice.lastPreset && missing.size() < c_missingPresetsLimit; ++preset) {
        if (!present.contains(static_cast<int>(preset)))
            missing.append(static_cast<int>(preset));
    }
    return missing;
}

// "preset1 to preset50", of what the groups have.
QString presetsText(const RegisterGroups& groups)
{
    QList<int> numbers;
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        const int number = presetNumber(it.key()).value_or(0);
        if (number > 0)
            numbers.append(number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers.isEmpty() ? QStringLiteral("no presets")
                             : QStringLiteral("presets ") + rangesText(numbers);
}

} // namespace

std::optional<RestoreChoice> presetsFromText(const QString& text)
{
    static const QRegularExpression c_form(QStringLiteral("^([0-9]{1,9})(?:-([0-9]{1,9}))?\\z"));
    const QRegularExpressionMatch match = c_form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    RestoreChoice choice;
    choice.firstPreset = match.captured(1).toInt();
    choice.lastPreset = match.captured(2).isEmpty() ? choice.firstPreset : match.captured(2).toInt();
    if (choice.firstPreset < 1 || choice.firstPreset > choice.lastPreset)
        return std::nullopt;
    return choice;
}

QString choiceText(const RestoreChoice& choice)
{
    const QString presets =
        choice.firstPreset == choice.lastPreset
            ? QStringLiteral("preset %1").arg(choice.firstPreset)
            : QStringLiteral("presets %1 to %2").arg(choice.firstPreset).arg(choice.lastPreset);
    return choice.withExtras ? presets + QStringLiteral(" and extras") : presets;
}

RestorePlan planRestore(const BackupFile& file, const RegisterGroups& groups, const RestoreChoice& choice)
{
    RestorePlan plan;
    const std::optional<QList<int>> registers =
        registersToRestore(groups, choice.firstPreset, choice.lastPreset, choice.withExtras);
    if (!registers) {
        plan.problem = {QT_TRID_NOOP("DCmdRestore_cannot_process_data_vector"),
                        QStringLiteral("%1 have more than %2 registers")
                            .arg(choiceText(choice))
                            .arg(c_restoreRegistersLimit),
                        QStringLiteral("restore fewer presets at once")};
        return plan;
    }
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        if (isChosen(it.key(), choice) && !it.value().isEmpty())
            plan.groups.append(it.key());
    }
    std::sort(plan.groups.begin(), plan.groups.end(), isNameBefore);
    plan.missingPresets = missingPresets(groups, choice);
    if (registers->isEmpty()) {
        plan.problem = {nullptr,
                        QStringLiteral("the configuration has no registers of %1; it has %2")
                            .arg(choiceText(choice), presetsText(groups)),
                        QStringLiteral("choose others with --presets")};
        return plan;
    }
    const RegisterNames names(groups, &plan.groups);
    QHash<int, int> timesSeen;
    for (const int number : *registers) {
        const PlaceInGroup place = names.placesOf(number).value(timesSeen[number]++);
        const std::optional<int> value = file.valueAt(number);
        if (number < 1 || number > file.values.size() || !value) {
            plan.problem = {
                nullptr,
                QStringLiteral("register %1 (%2, position %3) is not in the file")
                    .arg(number)
                    .arg(place.group)
                    .arg(place.position),
                QStringLiteral("correct the group's range in the configuration; \"mdc-bench check\" "
                               "looks it over")};
            return plan;
        }
        plan.writes.append({number, place, *value});
    }
    return plan;
}
