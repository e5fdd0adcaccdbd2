#include "applications/bench/backup/register_names.h"

#include <QStringList>

#include <algorithm>
#include <utility>

namespace {

// Without the digits at its end.
QString withoutNumber(const QString& name)
{
    int length = name.size();
    while (length > 0 && name.at(length - 1) >= QLatin1Char('0') && name.at(length - 1) <= QLatin1Char('9'))
        --length;
    return name.left(length);
}

} // namespace

RegisterNames::RegisterNames(const RegisterGroups& groups, const QStringList* wanted)
{
    QStringList names = wanted == nullptr ? QStringList(groups.keys()) : *wanted;
    std::sort(names.begin(), names.end(), isNameBefore);
    for (const QString& name : std::as_const(names)) {
        int position = 0;
        const QList<int> registers = groups.value(name);
        for (const int number : registers)
            m_places[number].append({name, ++position});
    }
}

bool isNameBefore(const QString& left, const QString& right)
{
    const QString leftWord = withoutNumber(left);
    const QString rightWord = withoutNumber(right);
    if (leftWord != rightWord)
        return leftWord < rightWord;
    // Of two numbers the longer one is the greater one; zeros in front are no numbers of groups.
    return left.size() != right.size() ? left.size() < right.size() : left < right;
}

QString rangesText(const QList<int>& ascending)
{
    QStringList parts;
    for (int i = 0; i < ascending.size();) {
        const int first = ascending.at(i);
        int last = first;
        while (++i < ascending.size() && (ascending.at(i) == last || ascending.at(i) == last + 1))
            last = ascending.at(i);
        parts.append(first == last ? QString::number(first) : QStringLiteral("%1-%2").arg(first).arg(last));
    }
    return parts.join(QStringLiteral(", "));
}
