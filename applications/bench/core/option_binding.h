#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

// The command line is read by CLI11, which knows std::string; these bind options and positional words to
// values of ours. A value keeps what it is unless its option is given.

// Words behind "--" are no options, whatever they begin with. CLI11 hands them to the parent of a subcommand
// whose remaining positionals are optional, so it never sees the "--": each of those words begins with a
// mark instead.
QStringList withMarkedLiterals(const QStringList& arguments);
// What a word was before it was marked.
QString withoutMark(const std::string& word);

CLI::Option* addText(CLI::App& app, const std::string& name, QString& value, const std::string& description);
// The text goes through `take`.
CLI::Option* addConverted(CLI::App& app, const std::string& name, const std::string& description,
                          const std::function<void(const QString& text)>& take);
// One text each time that it is given.
CLI::Option* addRepeatedText(CLI::App& app, const std::string& name, QStringList& values,
                             const std::string& description);
// Positional words, as many as expected() says.
CLI::Option* addWords(CLI::App& app, const std::string& name, QStringList& values,
                      const std::string& description);
