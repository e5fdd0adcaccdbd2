#pragma once

#include <cstdio>
#include <optional>
#include <string>

// What the program needs of its terminal and its surroundings, and what each operating system does in its own
// way.

bool isTerminal(FILE* stream);
// Nothing when the terminal does not tell.
std::optional<int> terminalColumns(FILE* stream);
std::optional<int> terminalRows(FILE* stream);

// Of whoever runs the program, when the environment does not say it; empty where only that does.
std::string accountName();

// A new folder for this user alone, whose rights are never set by a name that somebody may have exchanged
// meanwhile. `pattern` ends with XXXXXX; empty when there can be none.
std::string makePrivateFolder(const std::string& pattern);

// The process ends with this exit code when it has not ended so long from now.
void limitEnd(int exitCode, int seconds);

// A file that may not grow is told as a disk that is full is, and does not end the program.
void ignoreFileSizeSignal();
