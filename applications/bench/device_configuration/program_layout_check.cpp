#include "applications/bench/device_configuration/program_layout_check.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "plugins/p_device_mdc/model/backup_range.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QSet>

#include <algorithm>

namespace {

constexpr int c_highestRegister = 65535;

// What one text says of programs, and what the channels of its generation say.
struct Layout
{
    QString key; // of the text
    QString sizeChannel;
    int size = 0; // registers of a program; 0 when that is not known
    QString countChannel;
    int count = 0; // programs; 0 when that is not known
    // Those that are a preset's, the last one of each number; and the numbers that there are.
    QList<BackupRangeItem> presets;
    QSet<int> numbers;
    QString subject;

    int first(int number) const { return (number - 1) * size + 1; }
    int last(int number) const { return number * size; }
};

int sizeOf(const QJsonObject& configuration, const QString& channel)
{
    const int size = channelEntry(configuration, channel, QStringLiteral("size")).toInt();
    return size < 1 || size > c_highestRegister ? 0 : size;
}

int numberOf(const BackupRangeItem& item)
{
    const int number = presetNumber(item.name).value_or(0);
    return number < 1 || number > c_highestRegister ? 0 : number;
}

Layout layoutOf(const QString& model, const QString& text, const QJsonObject& configuration)
{
    static const QRegularExpression c_expression(backupRangePattern());
    const int generation = generationOfModelName(model).value_or(1);
    const QString suffix = generationSuffix(generation);
    Layout layout;
    layout.key = backupRangeKey(model);
    layout.sizeChannel = QStringLiteral("currentPreset") + suffix;
    layout.size = sizeOf(configuration, layout.sizeChannel);
    layout.countChannel = QStringLiteral("presets") + suffix;
    layout.count = sizeOf(configuration, layout.countChannel);
    layout.subject = QStringLiteral("programs, generation %1").arg(generation);
    const QList<BackupRangeItem> items = backupRangeItems(c_expression, text);
    for (const BackupRangeItem& item : items) {
        const int number = numberOf(item);
        if (number == 0 || !item.isReadable)
            continue;
        layout.presets.append(item);
        layout.numbers.insert(number);
    }
    return layout;
}

QList<RegisterSpan> spansOf(const BackupRangeItem& item)
{
    QList<RegisterSpan> spans;
    for (const RegisterSpan& span : {item.span, item.secondSpan.value_or(RegisterSpan{1, 0})}) {
        if (span.first <= span.last)
            spans.append(span);
    }
    return spans;
}

bool isOutside(const BackupRangeItem& item, const Layout& layout)
{
    const int number = numberOf(item);
    const QList<RegisterSpan> spans = spansOf(item);
    return std::any_of(spans.cbegin(), spans.cend(), [&](const RegisterSpan& span) {
        return span.first < layout.first(number) || span.last > layout.last(number);
    });
}

qint64 lengthOf(const BackupRangeItem& item)
{
    qint64 length = 0;
    const QList<RegisterSpan> spans = spansOf(item);
    for (const RegisterSpan& span : spans)
        length += qint64{span.last} - span.first + 1;
    return length;
}

QString andOthers(int others)
{
    return others == 0 ? QString() : QStringLiteral(", and so it is with %1 more").arg(others);
}

QList<Finding> checkRegistersOf(const Layout& layout)
{
    // Where one program is wrong most of them are, so that one is told.
    QList<BackupRangeItem> outside;
    QList<BackupRangeItem> shorter;
    for (const BackupRangeItem& item : layout.presets) {
        if (numberOf(item) > c_highestRegister / layout.size)
            continue;
        if (isOutside(item, layout))
            outside.append(item);
        else if (const qint64 length = lengthOf(item); length > 0 && length < layout.size)
            shorter.append(item);
    }
    const QStringList channels{layout.sizeChannel};
    const QString remedy = QStringLiteral("correct the \"size\" of \"%1\", or the registers of the group")
                               .arg(layout.sizeChannel);
    QList<Finding> findings;
    if (!outside.isEmpty()) {
        const BackupRangeItem& item = outside.constFirst();
        const int number = numberOf(item);
        findings.append({FindingLevel::Error, layout.subject,
                         QStringLiteral("\"size\" of \"%1\" is %2, so that program %3 has registers %4 to "
                                        "%5, and %6 of \"%7\" others%8: a write meets another program")
                             .arg(layout.sizeChannel)
                             .arg(layout.size)
                             .arg(number)
                             .arg(layout.first(number))
                             .arg(layout.last(number))
                             .arg(item.text, layout.key, andOthers(outside.size() - 1)),
                         remedy, channels});
    }
    if (!shorter.isEmpty()) {
        const BackupRangeItem& item = shorter.constFirst();
        findings.append({FindingLevel::Warning, layout.subject,
                         QStringLiteral("%1 of \"%2\" has %3 registers, a program %4 by the \"size\" of "
                                        "\"%5\"%6: the others are not restored")
                             .arg(item.text, layout.key)
                             .arg(lengthOf(item))
                             .arg(layout.size)
                             .arg(layout.sizeChannel, andOthers(shorter.size() - 1)),
                         remedy, channels});
    }
    return findings;
}

// "preset 7" or "presets 51 to 52"; of those that are missing the first ones in a row.
QString missingPresets(const Layout& layout)
{
    int first = 1;
    while (first <= layout.count && layout.numbers.contains(first))
        ++first;
    if (first > layout.count)
        return {};
    int last = first;
    while (last < layout.count && !layout.numbers.contains(last + 1))
        ++last;
    return first == last ? QStringLiteral("preset %1").arg(first)
                         : QStringLiteral("presets %1 to %2").arg(first).arg(last);
}

} // namespace

QList<Finding> checkProgramLayout(const QJsonObject& configuration)
{
    QList<Finding> findings;
    const QJsonObject parameters = configuration.value(QLatin1String("parameters")).toObject();
    for (auto it = parameters.constBegin(); it != parameters.constEnd(); ++it) {
        const std::optional<QString> model = modelOfBackupRangeKey(it.key());
        if (!model)
            continue;
        const Layout layout = layoutOf(*model, it.value().toString(), configuration);
        // That a text has no group at all is told of the text.
        if (layout.presets.isEmpty())
            continue;
        if (layout.size > 0)
            findings += checkRegistersOf(layout);
        const QString missing = missingPresets(layout);
        if (!missing.isEmpty())
            findings.append(
                {FindingLevel::Warning,
                 layout.subject,
                 QStringLiteral("\"size\" of \"%1\" is %2 programs, and there is no group for %3 in \"%4\": "
                                "they are not restored")
                     .arg(layout.countChannel)
                     .arg(layout.count)
                     .arg(missing, layout.key),
                 QStringLiteral("add the groups, or correct the \"size\""),
                 {layout.countChannel}});
    }
    return findings;
}
