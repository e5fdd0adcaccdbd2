#include "applications/bench/backup/restore_report.h"

#include "applications/bench/core/output_format.h"

#include <QLocale>
#include <QRegularExpression>

#include <algorithm>

namespace {

QJsonArray numbersJson(const QList<int>& numbers)
{
    QJsonArray list;
    for (const int number : numbers)
        list.append(number);
    return list;
}

QString notWrittenText(const GroupRecord& group)
{
    QStringList parts;
    if (!group.uncertain.isEmpty())
        parts.append(rangesText(group.uncertain) + QStringLiteral(" (uncertain)"));
    if (!group.untouched.isEmpty())
        parts.append(rangesText(group.untouched));
    return parts.join(QStringLiteral(", "));
}

} // namespace

QString shellWord(const QString& text)
{
    static const QRegularExpression c_plain(QStringLiteral("^[A-Za-z0-9_./:+=@%,-]+\\z"));
    if (c_plain.match(text).hasMatch())
        return text;
    QString quoted = text;
    return QStringLiteral("'%1'").arg(quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''")));
}

QString writeText(const PlannedWrite& write)
{
    if (write.place.group.isEmpty())
        return QStringLiteral("register %1").arg(write.number);
    return QStringLiteral("register %1 (%2, position %3)")
        .arg(write.number)
        .arg(write.place.group)
        .arg(write.place.position);
}

QString recordTable(const RestoreRecord& record)
{
    QList<QStringList> rows;
    const QList<GroupRecord> groups = record.groups();
    for (const GroupRecord& group : groups) {
        const int all = group.written.size() + group.uncertain.size() + group.untouched.size();
        rows.append({group.group, QStringLiteral("%1 of %2").arg(group.written.size()).arg(all),
                     rangesText(group.written), notWrittenText(group)});
    }
    return formatTable({QStringLiteral("group"), QStringLiteral("written"), QStringLiteral("registers"),
                        QStringLiteral("not written")},
                       rows);
}

QJsonObject toJson(const GroupRecord& group)
{
    return {{QStringLiteral("group"), group.group},
            {QStringLiteral("written"), numbersJson(group.written)},
            {QStringLiteral("uncertain"), numbersJson(group.uncertain)},
            {QStringLiteral("notWritten"), numbersJson(group.untouched)}};
}

QString previewTable(const QList<PlannedWrite>& writes, const BackupFile& controller)
{
    QList<QStringList> rows;
    for (const PlannedWrite& write : writes) {
        const std::optional<int> now = controller.valueAt(write.number);
        rows.append({QString::number(write.number), write.place.group, QString::number(write.place.position),
                     now ? QString::number(*now) : QStringLiteral("-"), QString::number(write.value),
                     now == write.value ? QString() : QStringLiteral("changes")});
    }
    return formatTable({QStringLiteral("register"), QStringLiteral("group"), QStringLiteral("position"),
                        QStringLiteral("controller"), QStringLiteral("file"), QString()},
                       rows);
}

int changeCount(const QList<PlannedWrite>& writes, const BackupFile& controller)
{
    return static_cast<int>(std::count_if(writes.cbegin(), writes.cend(), [&controller](const auto& write) {
        return controller.valueAt(write.number) != write.value;
    }));
}

QJsonObject toJson(const PlannedWrite& write, const BackupFile& controller)
{
    const std::optional<int> now = controller.valueAt(write.number);
    return {{QStringLiteral("register"), write.number},
            {QStringLiteral("group"), write.place.group},
            {QStringLiteral("position"), write.place.position},
            {QStringLiteral("controller"), now ? QJsonValue(*now) : QJsonValue(QJsonValue::Null)},
            {QStringLiteral("file"), write.value}};
}

QString restoreCommandText(const QString& file, const RestoreChoice& choice, const QString& configFile,
                           const QString& object)
{
    QStringList words{QStringLiteral("mdc-bench")};
    if (!configFile.isEmpty())
        words << QStringLiteral("--config") << shellWord(configFile);
    words << QStringLiteral("restore") << shellWord(file);
    if (!choice.presets.isEmpty())
        words << QStringLiteral("--presets") << presetsText(choice.presets);
    if (choice.withExtras)
        words << QStringLiteral("--extras");
    if (!object.isEmpty())
        words << QStringLiteral("--object") << shellWord(object);
    return words.join(QLatin1Char(' '));
}

QString snapshotName(const QTime& time, int attempt)
{
    const QString name =
        QStringLiteral("before-restore-") + QLocale::c().toString(time, QStringLiteral("HHmmss"));
    return attempt > 1 ? QStringLiteral("%1-%2").arg(name).arg(attempt) : name;
}
