#include "applications/bench/core/option_binding.h"

#include <CLI/CLI.hpp>

#include <vector>

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

CLI::Option* addText(CLI::App& app, const std::string& name, QString& value, const std::string& description)
{
    return addConverted(app, name, description, [&value](const QString& text) { value = text; });
}

CLI::Option* addConverted(CLI::App& app, const std::string& name, const std::string& description,
                          const std::function<void(const QString& text)>& take)
{
    return app.add_option_function<std::string>(
        name, [take](const std::string& text) { take(withoutMark(text)); }, description);
}

CLI::Option* addRepeatedText(CLI::App& app, const std::string& name, QStringList& values,
                             const std::string& description)
{
    return addWords(app, name, values, description)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

CLI::Option* addWords(CLI::App& app, const std::string& name, QStringList& values,
                      const std::string& description)
{
    return app.add_option_function<std::vector<std::string>>(
        name,
        [&values](const std::vector<std::string>& words) {
            for (const std::string& word : words)
                values.append(withoutMark(word));
        },
        description);
}
