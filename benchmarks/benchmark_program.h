#pragma once

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QStringList>

#include <limits>
#include <optional>

// What the programs that measure against simulated controllers have in common: the application object on
// Qt's own event dispatcher, options that are numbers, and that the same program is the other process.
class BenchmarkProgram
{
public:
    BenchmarkProgram(int& argc, char** argv, const char* description);

    void addOption(const char* name, const char* text, const char* defaultValue);
    // Parses. Where this process is to be the other one, it serves until it is told to end, and
    // the program ends with the exit code.
    std::optional<int> parse();

    QString text(const char* name) const;
    QStringList texts(const char* name) const;
    // Within its bounds.
    int number(const char* name, int least, int most = std::numeric_limits<int>::max()) const;

private:
    QCoreApplication m_application;
    QCommandLineParser m_parser;
};
