#include "applications/bench/watch/watched_rows.h"

#include "applications/bench/core/suggestion.h"

#include <algorithm>

namespace {

using Kind = ProbedRange::Kind;

ProbeResult resultOf(const QList<ProbedRange>& ranges, const RegisterImage& image)
{
    ProbeResult result;
    for (const ProbedRange& range : ranges) {
        ProbedValue value;
        value.range = range;
        value.values = image.values(range);
        result.values.append(value);
    }
    return result;
}

// Of a block its values, without the block.
QStringList namesOf(const ProbedRange& range, const QJsonObject& configuration)
{
    // Of registers that have not been read there are the names all the same.
    RegisterImage zeros;
    QList<int> nothing;
    for (int i = 0; i < range.count; ++i)
        nothing.append(0);
    zeros.take({range.address, range.count, range.type}, nothing);
    QStringList names;
    const QList<ProbeRow> rows = probeRows(resultOf({range}, zeros), configuration, {});
    for (const ProbeRow& row : rows)
        names.append(row.channel);
    return names.size() > 1 ? names.mid(1) : names;
}

void add(WatchSelection& selection, const ProbedRange& range, const QStringList& names)
{
    const bool isThere =
        std::any_of(selection.ranges.cbegin(), selection.ranges.cend(),
                    [&range](const ProbedRange& other) { return other.channel == range.channel; });
    if (!isThere)
        selection.ranges.append(range);
    selection.shown += names;
    selection.shown.removeDuplicates();
}

} // namespace

WatchSelection watchSelection(const QStringList& words, const QList<ProbedRange>& all,
                              const QJsonObject& configuration, const QString& suffix)
{
    WatchSelection selection;
    QStringList known;
    for (const ProbedRange& range : all) {
        if (range.kind == Kind::Program)
            continue;
        known.append(range.channel.chopped(suffix.size()));
        if (words.isEmpty())
            add(selection, range, namesOf(range, configuration));
    }
    for (const QString& word : words) {
        const QString channel = word.section(QLatin1Char('.'), 0, 0);
        const QString value = word.section(QLatin1Char('.'), 1);
        const auto range = std::find_if(all.cbegin(), all.cend(), [&](const ProbedRange& candidate) {
            return candidate.kind != Kind::Program &&
                   (candidate.channel == channel + suffix || candidate.channel == channel);
        });
        if (range == all.cend()) {
            selection.error = QStringLiteral("there is no channel \"%1\" that could be read%2")
                                  .arg(channel, didYouMean(channel, known));
            return selection;
        }
        QStringList names = namesOf(*range, configuration);
        if (!value.isEmpty()) {
            const QString name = range->channel + QLatin1Char('.') + value;
            if (!names.contains(name)) {
                names.replaceInStrings(range->channel + QLatin1Char('.'), QString());
                selection.error = QStringLiteral("\"%1\" has no value \"%2\"%3")
                                      .arg(channel, value, didYouMean(value, names));
                return selection;
            }
            names = QStringList{name};
        }
        add(selection, *range, names);
    }
    return selection;
}

QList<ProbeRow> watchedRows(const WatchSelection& selection, const RegisterImage& image,
                            const QJsonObject& configuration, const AddressOffset& offset)
{
    QList<ProbeRow> rows;
    const QList<ProbeRow> all = probeRows(resultOf(selection.ranges, image), configuration, offset);
    for (const ProbeRow& row : all) {
        if (selection.shown.contains(row.channel) && !row.registers.isEmpty())
            rows.append(row);
    }
    return rows;
}
