#include "applications/bench/core/literal_words.h"

namespace {

constexpr QChar c_literalMark(u'\x1');

} // namespace

QStringList withMarkedLiterals(const QStringList& arguments)
{
    QStringList words;
    bool literal = false;
    for (const QString& argument : arguments) {
        if (literal)
            words.append(c_literalMark + argument);
        else if (argument == QLatin1String("--"))
            literal = true;
        else
            words.append(argument);
    }
    return words;
}

QString withoutMark(const std::string& word)
{
    const QString text = QString::fromStdString(word);
    return text.startsWith(c_literalMark) ? text.mid(1) : text;
}
