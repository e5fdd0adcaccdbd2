#include "applications/bench/support/packing_list.h"

#include "applications/bench/core/output_format.h"
#include "applications/bench/support/source_text.h"

#include <lib_utilities/printable_text.h>

#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>

namespace {

// Good in any file system.
QString entryName(const QString& name)
{
    static const QRegularExpression c_special(QStringLiteral("[\\\\:*?\"<>|]"));
    return printableText(name).replace(c_special, QStringLiteral("_"));
}

QString noteOf(const PackedFile& file)
{
    return file.cut > 0 ? QStringLiteral("the end of it, without the first %1 bytes").arg(file.cut)
                        : QString();
}

} // namespace

void PackingList::add(const QString& name, const QByteArray& bytes, qint64 cut)
{
    m_files.append({freeName(entryName(name)), bytes, 0, cut, name});
}

QString PackingList::freeName(const QString& name) const
{
    const auto isTaken = [this](const QString& wanted) {
        return std::any_of(m_files.cbegin(), m_files.cend(), [&wanted](const PackedFile& file) {
            return file.name.compare(wanted, Qt::CaseInsensitive) == 0;
        });
    };
    QString free = name;
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    const int end = dot > name.lastIndexOf(QLatin1Char('/')) + 1 ? dot : name.size();
    for (int number = 2; isTaken(free); ++number)
        free = name.left(end) + QLatin1Char('-') + QString::number(number) + name.mid(end);
    return free;
}

void PackingList::anonymise(Anonymiser& anonymiser)
{
    const QString unsearched = QStringLiteral(
        "it cannot be searched to its end, so that serial numbers and addresses may be left in "
        "it; --with-identity packs it as it is");
    const QString unnamed = QStringLiteral("a file whose name cannot be searched");
    QList<bool> isLearned;
    for (const PackedFile& file : qAsConst(m_files)) {
        const std::optional<QString> text = plainText(file.bytes);
        isLearned.append(!text || anonymiser.learn(*text));
    }
    const auto searched = [&](const QString& told, const QString& otherwise) {
        const ReplacedText replaced = anonymiser.replaced(told);
        return replaced.isWhole ? replaced.text : otherwise;
    };
    const QList<PackedFile> files = std::exchange(m_files, {});
    for (int i = 0; i < files.size(); ++i) {
        const PackedFile& file = files.at(i);
        const ReplacedText given = anonymiser.replaced(file.givenName);
        const QString name = given.isWhole ? entryName(given.text) : unnamed;
        const std::optional<QString> text = plainText(file.bytes);
        if (!text) {
            leaveOut(name,
                     QStringLiteral("it is no UTF-8 text, so that nobody can tell whose serial numbers and "
                                    "addresses are in it; --with-identity packs it as it is"));
            continue;
        }
        const ReplacedText replaced = anonymiser.replaced(*text);
        if (given.isWhole && replaced.isWhole && isLearned.at(i))
            m_files.append(
                {freeName(name), replaced.text.toUtf8(), replaced.replaced, file.cut, file.givenName});
        else
            leaveOut(name, unsearched);
    }
    for (LeftOut& left : m_leftOut)
        left = {searched(left.name, unnamed), searched(left.reason, unsearched)};
}

QJsonObject PackingList::toJson() const
{
    QJsonArray files;
    for (const PackedFile& file : m_files)
        files.append(QJsonObject{{QStringLiteral("name"), file.name},
                                 {QStringLiteral("bytes"), file.bytes.size()},
                                 {QStringLiteral("replaced"), file.replaced},
                                 {QStringLiteral("cut"), file.cut}});
    QJsonArray leftOut;
    for (const LeftOut& left : m_leftOut)
        leftOut.append(
            QJsonObject{{QStringLiteral("name"), left.name}, {QStringLiteral("reason"), left.reason}});
    return {{QStringLiteral("files"), files}, {QStringLiteral("leftOut"), leftOut}};
}

QString PackingList::toText() const
{
    QList<QStringList> rows;
    for (const PackedFile& file : m_files)
        rows.append(
            {file.name, QString::number(file.bytes.size()), QString::number(file.replaced), noteOf(file)});
    for (const LeftOut& left : m_leftOut)
        rows.append({left.name, QStringLiteral("-"), QStringLiteral("-"),
                     QStringLiteral("left out: ") + left.reason});
    return formatTable(
        {QStringLiteral("FILE"), QStringLiteral("BYTES"), QStringLiteral("REPLACED"), QStringLiteral("NOTE")},
        rows);
}
