#include "applications/bench/backup/restore_plan.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <utility>

namespace {

bool isChosen(const QString& group, const RestoreStep& step)
{
    const std::optional<int> preset = presetNumber(group);
    return (preset && step.presets.first <= *preset && *preset <= step.presets.last) ||
           (step.withExtras && isExtraGroup(group));
}

QSet<int> presetNumbers(const RegisterGroups& groups)
{
    QSet<int> numbers;
    for (auto it = groups.cbegin(); it != groups.cend(); ++it)
        numbers.insert(presetNumber(it.key()).value_or(0));
    return numbers;
}

// Extras come with the last presets.
QList<RestoreStep> stepsOf(const RegisterGroups& groups, const RestoreChoice& choice)
{
    QList<RestoreStep> steps;
    for (const PresetRange& presets : choice.presets)
        steps.append(RestoreStep{presets});
    if (steps.isEmpty() && choice.withExtras) {
        const QSet<int> taken = presetNumbers(groups);
        int free = 1;
        while (taken.contains(free))
            ++free;
        steps.append(RestoreStep{{free, free}});
    }
    if (!steps.isEmpty())
        steps.last().withExtras = choice.withExtras;
    return steps;
}

QList<int> missingPresets(const RegisterGroups& groups, const RestoreChoice& choice)
{
    const QSet<int> present = presetNumbers(groups);
    QList<int> missing;
    for (const PresetRange& range : choice.presets) {
        for (qint64 preset = range.first; preset <= range.last && missing.size() < c_missingPresetsLimit;
             ++preset) {
            if (!present.contains(static_cast<int>(preset)))
                missing.append(static_cast<int>(preset));
        }
    }
    return missing;
}

// "preset1 to preset50", of what the groups have.
QString presentPresetsText(const RegisterGroups& groups)
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

// "3", "3-7"; `joint` stands between the two.
QString textOf(const PresetRange& range, const QString& joint)
{
    return range.first == range.last ? QString::number(range.first)
                                     : QString::number(range.first) + joint + QString::number(range.last);
}

QString textOf(const QList<PresetRange>& ranges, const QString& joint, const QString& separator)
{
    QStringList texts;
    for (const PresetRange& range : ranges)
        texts.append(textOf(range, joint));
    return texts.join(separator);
}

std::optional<PresetRange> rangeFromText(const QString& text)
{
    static const QRegularExpression c_form(QStringLiteral("^([0-9]{1,9})(?:-([0-9]{1,9}))?\\z"));
    const QRegularExpressionMatch match = c_form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    PresetRange range;
    range.first = match.captured(1).toInt();
    range.last = match.captured(2).isEmpty() ? range.first : match.captured(2).toInt();
    if (range.first < 1 || range.first > range.last)
        return std::nullopt;
    return range;
}

// What a step writes is added to the plan; false when there is a problem.
bool addStep(RestorePlan& plan, const BackupFile& file, const RegisterGroups& groups, RestoreStep step)
{
    const std::optional<QList<int>> registers =
        registersToRestore(groups, step.presets.first, step.presets.last, step.withExtras);
    if (!registers) {
        plan.problem = {QT_TRID_NOOP("DCmdRestore_cannot_process_data_vector"),
                        QStringLiteral("%1 have more than %2 registers")
                            .arg(choiceText({{step.presets}, step.withExtras}))
                            .arg(c_restoreRegistersLimit),
                        QStringLiteral("restore fewer presets at once")};
        return false;
    }
    QStringList written;
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        if (isChosen(it.key(), step) && !it.value().isEmpty())
            written.append(it.key());
    }
    plan.groups += written;
    const RegisterNames names(groups, &written);
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
            return false;
        }
        plan.writes.append({number, place, *value});
        ++step.writes;
    }
    if (step.writes > 0)
        plan.steps.append(step);
    return true;
}

} // namespace

std::optional<QList<PresetRange>> presetsFromText(const QString& text)
{
    QList<PresetRange> ranges;
    const QStringList items = text.split(QLatin1Char(','));
    for (const QString& item : items) {
        const std::optional<PresetRange> range = rangeFromText(item);
        if (!range)
            return std::nullopt;
        ranges.append(*range);
    }
    std::sort(ranges.begin(), ranges.end(),
              [](const PresetRange& left, const PresetRange& right) { return left.first < right.first; });
    // Each number once, and one range for all that follow one another.
    QList<PresetRange> joined;
    for (const PresetRange& range : std::as_const(ranges)) {
        if (!joined.isEmpty() && range.first <= joined.constLast().last + 1)
            joined.last().last = std::max(joined.constLast().last, range.last);
        else
            joined.append(range);
    }
    return joined;
}

RestoreChoice widened(const RestoreChoice& choice, const RegisterGroups& groups, int registerNumber)
{
    RestoreChoice wider = choice;
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        if (!it->contains(registerNumber))
            continue;
        const std::optional<int> preset = presetNumber(it.key());
        if (preset && *preset > 0)
            wider.presets.append({*preset, *preset});
        wider.withExtras = wider.withExtras || isExtraGroup(it.key());
    }
    wider.presets = presetsFromText(presetsText(wider.presets)).value_or(choice.presets);
    return wider;
}

QString presetsText(const QList<PresetRange>& presets)
{
    return textOf(presets, QStringLiteral("-"), QStringLiteral(","));
}

QString choiceText(const RestoreChoice& choice)
{
    if (choice.presets.isEmpty())
        return QStringLiteral("extras");
    const bool isOne =
        choice.presets.size() == 1 && choice.presets.constFirst().first == choice.presets.constFirst().last;
    const QString presets = (isOne ? QStringLiteral("preset ") : QStringLiteral("presets ")) +
                            textOf(choice.presets, QStringLiteral(" to "), QStringLiteral(", "));
    return choice.withExtras ? presets + QStringLiteral(" and extras") : presets;
}

RestorePlan planRestore(const BackupFile& file, const RegisterGroups& groups, const RestoreChoice& choice)
{
    RestorePlan plan;
    plan.missingPresets = missingPresets(groups, choice);
    const QList<RestoreStep> steps = stepsOf(groups, choice);
    const bool isGood = std::all_of(steps.cbegin(), steps.cend(), [&](const RestoreStep& step) {
        return addStep(plan, file, groups, step);
    });
    std::sort(plan.groups.begin(), plan.groups.end(), isNameBefore);
    if (isGood && plan.writes.isEmpty()) {
        plan.problem = {nullptr,
                        QStringLiteral("the configuration has no registers of %1; it has %2")
                            .arg(choiceText(choice), presentPresetsText(groups)),
                        choice.presets.isEmpty()
                            ? QStringLiteral("add groups \"extra…\" to the configuration")
                            : QStringLiteral("choose others with --presets")};
    }
    return plan;
}
