#include "applications/bench/device_configuration/range_check.h"

#include "applications/bench/core/suggestion.h"
#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/backup_range.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/identification_block.h"

#include <QMap>
#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace {

// Of a text that is shown in a message.
constexpr int c_shownLength = 60;
const QString c_form =
    QStringLiteral("write an item as \"preset1\": [1-20]; with one blank behind the colon");

const QRegularExpression& itemExpression()
{
    static const QRegularExpression c_expression(backupRangePattern());
    return c_expression;
}

QString registers(int first, int last)
{
    return first == last ? QStringLiteral("register %1").arg(first)
                         : QStringLiteral("registers %1 to %2").arg(first).arg(last);
}

// What is said of one text.
class TextReport
{
public:
    explicit TextReport(const QString& model)
        : m_subject(QStringLiteral("backup of %1").arg(model))
        , m_key(backupRangeKey(model))
    {}

    void error(const QString& message, const QString& remedy) { add(FindingLevel::Error, message, remedy); }
    void warning(const QString& message, const QString& remedy)
    {
        add(FindingLevel::Warning, message, remedy);
    }
    void add(FindingLevel level, const QString& message, const QString& remedy)
    {
        m_findings.append({level, m_subject, QStringLiteral("\"%1\": %2").arg(m_key, message), remedy});
    }
    QList<Finding> findings() const { return m_findings; }

private:
    QString m_subject;
    QString m_key;
    QList<Finding> m_findings;
};

// The pieces of a text that belong to no item, without the blanks and separators around them.
QStringList passedOver(const QString& text)
{
    static const QRegularExpression c_around(QStringLiteral("^[\\s,;]+|[\\s,;]+$"));
    QStringList pieces;
    int end = 0;
    const auto take = [&pieces, &text](int from, int to) {
        const QString piece = text.mid(from, to - from).remove(c_around).simplified();
        if (!piece.isEmpty())
            pieces.append(piece.size() > c_shownLength ? piece.left(c_shownLength) + QStringLiteral("…")
                                                       : piece);
    };
    QRegularExpressionMatchIterator matches = itemExpression().globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        take(end, match.capturedStart());
        end = match.capturedEnd();
    }
    take(end, text.size());
    return pieces;
}

// Why a "backup_range" is not valid.
QString fault(const BackupRangeItem& item)
{
    const auto [first, last] = item.span;
    if (!item.isReadable && (first == 0 || last == 0))
        return QStringLiteral("a number in it is too large");
    if (first < 1)
        return QStringLiteral("it begins below register 1");
    if (first == last)
        return QStringLiteral("it has a single register");
    if (first > last)
        return QStringLiteral("it runs backwards");
    return QStringLiteral("it has more than %1 registers").arg(c_backupRegistersLimit);
}

// All items that are or would be the backup's range.
void checkBackupRange(const QList<BackupRangeItem>& items, TextReport& report)
{
    const std::optional<BackupRange> range = backupRange(items);
    const QString remedy = QStringLiteral("give one \"backup_range\": [1-N]");
    QList<BackupRangeItem> valid;
    bool isGiven = false;
    for (const BackupRangeItem& item : items) {
        if (!isBackupRange(item))
            continue;
        isGiven = true;
        if (item.secondSpan)
            report.warning(
                QStringLiteral("the second range of %1 is ignored, a backup is one block").arg(item.text),
                QStringLiteral("let one range reach over all registers"));
        if (backupRangeOf(item)) {
            valid.append(item);
            continue;
        }
        // A restore compares what is valid but for its length.
        const bool isCompared = item.span.first >= 1 && item.span.first < item.span.last;
        if (range && !isCompared)
            report.warning(QStringLiteral("%1 is not valid and ignored: %2").arg(item.text, fault(item)),
                           QStringLiteral("remove it"));
        else
            report.error(QStringLiteral("%1 is not valid: %2").arg(item.text, fault(item)), remedy);
    }
    if (!isGiven)
        report.error(QStringLiteral("it has no \"backup_range\", no backup is made"), remedy);
    if (!range)
        return;
    for (int i = 0; i + 1 < valid.size(); ++i) {
        const BackupRange other = *backupRangeOf(valid.at(i));
        if (other.first == range->first && other.count == range->count)
            report.warning(QStringLiteral("%1 is given twice").arg(valid.at(i).text),
                           QStringLiteral("remove one of them"));
        else
            report.error(QStringLiteral("%1 is replaced by %2, and a restore, which compares a file with "
                                        "both, refuses every file")
                             .arg(valid.at(i).text, valid.constLast().text),
                         QStringLiteral("remove one of them"));
    }
    if (range->first != 1)
        report.error(QStringLiteral("%1 does not begin at 1: its backup reads from register 1 and numbers "
                                    "its lines from A0001, and a restore refuses the file")
                         .arg(valid.constLast().text),
                     QStringLiteral("let it begin at 1, and end at the last register of the backup"));
}

// Whether a restore may ever write the group.
bool isRestored(const QString& name)
{
    const std::optional<int> preset = presetNumber(name);
    return (preset && *preset > 0) || isExtraGroup(name);
}

void checkName(const BackupRangeItem& item, TextReport& report)
{
    if (isRestored(item.name))
        return;
    if (!item.name.startsWith(QLatin1String("preset")))
        report.warning(QStringLiteral("\"%1\" is neither a preset nor an extra group: a restore never "
                                      "writes it")
                           .arg(item.name),
                       QStringLiteral("let its name begin with \"preset\" and a number, or with \"extra\""));
    else
        report.warning(
            QStringLiteral("\"%1\" has no number from 1 on: it is in no range of presets").arg(item.name),
            QStringLiteral("give it the number of its preset, as \"preset7\""));
}

QList<RegisterSpan> spansOf(const BackupRangeItem& item)
{
    return item.secondSpan ? QList<RegisterSpan>{item.span, *item.secondSpan}
                           : QList<RegisterSpan>{item.span};
}

void checkSpans(const BackupRangeItem& item, const std::optional<BackupRange>& range, TextReport& report)
{
    bool isOutside = false;
    const QList<RegisterSpan> spans = spansOf(item);
    for (const RegisterSpan& span : spans) {
        if (span.first > span.last)
            report.warning(QStringLiteral("[%1-%2] of \"%3\" runs backwards and lists no register")
                               .arg(span.first)
                               .arg(span.last)
                               .arg(item.name),
                           QStringLiteral("exchange its numbers"));
        else if (range && (span.first < range->first || span.last > range->first + range->count - 1))
            isOutside = true;
    }
    if (isOutside)
        report.add(isRestored(item.name) ? FindingLevel::Error : FindingLevel::Warning,
                   QStringLiteral("%1 reaches outside of the backup's %2: a file has no value for it")
                       .arg(item.text, registers(range->first, range->first + range->count - 1)),
                   QStringLiteral("correct the group, or the \"backup_range\""));
}

// Of each span that shares registers with others, one of them is named.
void checkOverlaps(const QList<BackupRangeItem>& groups, TextReport& report)
{
    struct Piece
    {
        RegisterSpan span;
        QString name;
    };
    QList<Piece> pieces;
    for (const BackupRangeItem& item : groups) {
        const QList<RegisterSpan> spans = spansOf(item);
        for (const RegisterSpan& span : spans) {
            if (span.first <= span.last)
                pieces.append({span, item.name});
        }
    }
    std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& left, const Piece& right) {
        return left.span.first < right.span.first;
    });
    for (int i = 1, widest = 0; i < pieces.size(); ++i) {
        const Piece& reaching = pieces.at(widest);
        const Piece& piece = pieces.at(i);
        const int last = std::min(piece.span.last, reaching.span.last);
        if (piece.span.first <= last) {
            const QString shared = registers(piece.span.first, last);
            report.warning(
                piece.name == reaching.name
                    ? QStringLiteral("\"%1\" lists %2 twice").arg(piece.name, shared)
                    : QStringLiteral("\"%1\" and \"%2\" share %3").arg(reaching.name, piece.name, shared),
                QStringLiteral("correct the numbers of one of them"));
        }
        if (piece.span.last > reaching.span.last)
            widest = i;
    }
}

void checkGroups(const QList<BackupRangeItem>& items, TextReport& report)
{
    const std::optional<BackupRange> range = backupRange(items);
    QMap<QString, int> counts;
    QList<BackupRangeItem> all;
    for (const BackupRangeItem& item : items) {
        if (isBackupRange(item))
            continue;
        if (!isListable(item)) {
            report.error(QStringLiteral("%1 has too large a number, or lists more than %2 registers: no "
                                        "restore is possible")
                             .arg(item.text)
                             .arg(c_groupRangeLimit),
                         QStringLiteral("correct its numbers, the last register is 65535"));
            continue;
        }
        ++counts[item.name];
        all.append(item);
    }
    const RestoreGroups listed = restoreGroups(all, 1, 1);
    if (listed.fault == RestoreGroups::CeTooLarge)
        report.error(QStringLiteral("its groups list more than %1 registers together: no restore is possible")
                         .arg(c_groupRegistersLimit),
                     QStringLiteral("correct the numbers of the largest ones"));
    else if (!registersToRestore(listed.groups, 1, std::numeric_limits<int>::max(), true))
        report.error(
            QStringLiteral("a restore of all groups would write more than %1 registers and is refused")
                .arg(c_restoreRegistersLimit),
            QStringLiteral("let each register stand in one group"));
    for (auto it = counts.cbegin(); it != counts.cend(); ++it) {
        if (it.value() > 1)
            report.warning(
                QStringLiteral("\"%1\" is given %2 times, the last one counts").arg(it.key()).arg(it.value()),
                QStringLiteral("give each group a name of its own, or one item with two ranges"));
    }
    // Those of one name that count.
    QList<BackupRangeItem> groups;
    for (const BackupRangeItem& item : qAsConst(all)) {
        if (--counts[item.name] > 0)
            continue;
        checkName(item, report);
        // A group that no restore writes may have numbers of any size.
        if (!item.isReadable)
            continue;
        checkSpans(item, range, report);
        groups.append(item);
    }
    checkOverlaps(groups, report);
    if (std::none_of(groups.cbegin(), groups.cend(),
                     [](const BackupRangeItem& item) { return isRestored(item.name); }))
        report.warning(QStringLiteral("no group is ever restored"),
                       QStringLiteral("name the registers of the presets, as \"preset1\": [1-20];"));
}

bool isOfNoController(const QString& model)
{
    const std::optional<int> generation = generationOfModelName(model);
    return isReservedModelName(model) && model != modelNameOfFirstFirmware() &&
           (!generation || *generation > lastGeneration());
}

void checkTorqueUnit(const QString& model, const std::optional<BackupRange>& range,
                     const QJsonObject& configuration, TextReport& report)
{
    const QString channel = torqueUnitChannel(model);
    const QString remedy =
        QStringLiteral("describe the register of the unit in \"channels\", with \"register\" and "
                       "\"readRegisterType\"");
    const QJsonValue address = channelEntry(configuration, channel, QStringLiteral("register"));
    if (address.isUndefined()) {
        report.error(QStringLiteral("the channel \"%1\" is missing or has no \"register\": a restore cannot "
                                    "compare the unit of torque")
                         .arg(channel),
                     remedy);
        return;
    }
    const int place = address.toInt();
    if (place < 1)
        report.error(
            QStringLiteral("the channel \"%1\" has register 0: a restore needs one from 1 on").arg(channel),
            remedy);
    else if (range && place > range->count)
        report.error(QStringLiteral("the register %1 of the channel \"%2\" is not in the backup: a restore "
                                    "cannot compare the unit of torque")
                         .arg(place)
                         .arg(channel),
                     QStringLiteral("let the \"backup_range\" reach over it"));
    if (channelEntry(configuration, channel, QStringLiteral("readRegisterType")).toString().isEmpty())
        report.error(QStringLiteral("the channel \"%1\" has no \"readRegisterType\": a restore cannot read "
                                    "the unit of torque")
                         .arg(channel),
                     remedy);
}

} // namespace

QList<Finding> checkRangeText(const QString& model, const QString& text, const QJsonObject& configuration)
{
    TextReport report(model);
    const QList<BackupRangeItem> items = backupRangeItems(itemExpression(), text);
    if (items.isEmpty()) {
        report.error(QStringLiteral("there is no item in it"),
                     QStringLiteral("write it as \"backup_range\": [1-1500]; \"preset1\": [1-20];"));
        return report.findings();
    }
    const QStringList pieces = passedOver(text);
    for (const QString& piece : pieces)
        report.warning(QStringLiteral("no item, passed over: %1").arg(piece), c_form);
    checkBackupRange(items, report);
    checkGroups(items, report);
    const std::optional<BackupRange> range = backupRange(items);
    if (isOfNoController(model))
        report.warning(
            QStringLiteral("it is of no controller, and never read"),
            QStringLiteral("name it \"%1\" for generation 1 with firmware 1, \"MDgen2_config\" for "
                           "generation 2, else by the controller's model")
                .arg(backupRangeKey(modelNameOfFirstFirmware())));
    else
        checkTorqueUnit(model, range, configuration, report);
    if (report.findings().isEmpty())
        report.add(FindingLevel::Ok,
                   QStringLiteral("%1, %2 groups").arg(registers(1, range->count)).arg(items.size() - 1), {});
    return report.findings();
}

QList<Finding> checkRanges(const QStringList& commands, const QJsonObject& configuration,
                           const std::optional<QString>& connected)
{
    const QStringList models = controllerModels();
    const QJsonObject parameters = configuration.value(QLatin1String("parameters")).toObject();
    QList<Finding> findings;
    for (auto it = parameters.constBegin(); it != parameters.constEnd(); ++it) {
        const std::optional<QString> modelOfKey = modelOfBackupRangeKey(it.key());
        if (!modelOfKey)
            continue;
        const QString& model = *modelOfKey;
        QList<Finding> ofModel = checkRangeText(model, it.value().toString(), configuration);
        if (!isReservedModelName(model) && !models.contains(model)) {
            // The one finding that all is well is not true then.
            if (ofModel.constFirst().level == FindingLevel::Ok)
                ofModel.clear();
            ofModel.append({FindingLevel::Warning, QStringLiteral("backup of %1").arg(model),
                            QStringLiteral("\"%1\": no controller tells the model \"%2\"%3")
                                .arg(it.key(), model, didYouMean(model, models)),
                            QStringLiteral("name it by the controller's model, as \"MDC-26_config\"")});
        }
        findings += ofModel;
    }
    if (!connected ||
        (!commands.contains(QStringLiteral("backup")) && !commands.contains(QStringLiteral("restoreBackup"))))
        return findings;
    if (connected->isEmpty())
        findings.append(
            {FindingLevel::Error, QStringLiteral("backup"),
             QStringLiteral("the connected controller tells no model to look its registers up by"),
             QStringLiteral("it can be neither backed up nor restored")});
    else if (!parameters.contains(backupRangeKey(*connected)))
        findings.append({FindingLevel::Error, QStringLiteral("backup of %1").arg(*connected),
                         QStringLiteral("the parameter \"%1\" is missing: the connected controller can be "
                                        "neither backed up nor restored")
                             .arg(backupRangeKey(*connected)),
                         QStringLiteral("add it to \"parameters\"")});
    return findings;
}
