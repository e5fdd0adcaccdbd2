#include "applications/bench/init/plain_words.h"

#include <QRegularExpression>

#include <algorithm>

QStringList plainWords(const QString& name)
{
    static const QRegularExpression c_marks(QStringLiteral("\\p{M}"));
    static const QRegularExpression c_hump(QStringLiteral("([a-z])([A-Z])"));
    static const QRegularExpression c_number(QStringLiteral("([A-Za-z])([0-9])"));
    static const QRegularExpression c_between(QStringLiteral("[^A-Za-z0-9]+"));
    QString text = name.normalized(QString::NormalizationForm_D).remove(c_marks);
    text.replace(c_hump, QStringLiteral("\\1 \\2")).replace(c_number, QStringLiteral("\\1 \\2"));
    return text.toLower().split(c_between, Qt::SkipEmptyParts);
}

bool hasWord(const QStringList& words, const QStringList& wanted)
{
    return std::any_of(words.cbegin(), words.cend(),
                       [&wanted](const QString& word) { return wanted.contains(word); });
}

QString nameOfWords(const QStringList& words)
{
    QString name;
    for (const QString& word : words)
        name += name.isEmpty() ? word : word.left(1).toUpper() + word.mid(1);
    return std::any_of(name.cbegin(), name.cend(), [](QChar character) { return character.isLetter(); })
               ? name
               : QString();
}
