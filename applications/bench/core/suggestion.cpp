#include "applications/bench/core/suggestion.h"

#include <QVector>

#include <algorithm>
#include <utility>

namespace {

constexpr int c_maximumNames = 3;
// A shorter beginning fits too many names to be a hint.
constexpr int c_minimumPrefix = 3;

// One slip in a short name, up to three in a long one.
int allowedDistance(const QString& text)
{
    return std::clamp(static_cast<int>(text.size()) / 3, 1, 3);
}

} // namespace

int editDistance(const QString& a, const QString& b)
{
    const QString from = a.toLower();
    const QString to = b.toLower();
    const auto width = static_cast<int>(to.size()) + 1;
    QVector<int> beforePrevious(width);
    QVector<int> previous(width);
    QVector<int> current(width);
    for (int column = 0; column < width; ++column)
        previous[column] = column;
    for (int row = 1; row <= from.size(); ++row) {
        current[0] = row;
        for (int column = 1; column < width; ++column) {
            const bool same = from.at(row - 1) == to.at(column - 1);
            int best = std::min(
                {previous[column] + 1, current[column - 1] + 1, previous[column - 1] + (same ? 0 : 1)});
            if (row > 1 && column > 1 && from.at(row - 1) == to.at(column - 2) &&
                from.at(row - 2) == to.at(column - 1))
                best = std::min(best, beforePrevious[column - 2] + 1);
            current[column] = best;
        }
        std::swap(beforePrevious, previous);
        std::swap(previous, current);
    }
    return previous[width - 1];
}

QStringList namesNear(const QString& text, const QStringList& names)
{
    QList<std::pair<int, QString>> found;
    for (const QString& name : names) {
        const int distance = editDistance(text, name);
        if (distance <= allowedDistance(text))
            found.append({distance, name});
        else if (text.size() >= c_minimumPrefix && name.startsWith(text, Qt::CaseInsensitive))
            found.append({c_maximumNames + 1, name});
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    QStringList result;
    for (const auto& [distance, name] : std::as_const(found)) {
        if (result.size() < c_maximumNames && !result.contains(name))
            result.append(name);
    }
    return result;
}

QString didYouMean(const QString& text, const QStringList& names)
{
    const QStringList near = namesNear(text, names);
    if (near.isEmpty())
        return {};
    return QStringLiteral("; did you mean \"%1\"?").arg(near.join(QStringLiteral("\" or \"")));
}
