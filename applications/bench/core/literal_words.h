#pragma once

#include <QString>
#include <QStringList>

#include <string>

// Words behind "--" are no options, whatever they begin with. CLI11 hands them to the parent of a subcommand
// whose remaining positionals are optional, so it never sees the "--": each of those words begins with a
// mark instead.
QStringList withMarkedLiterals(const QStringList& arguments);
// What a word was before it was marked.
QString withoutMark(const std::string& word);
