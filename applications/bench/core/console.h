#pragma once

#include "applications/bench/core/output_format.h"

#include <QString>

// Where the program speaks: results to standard output, messages to standard error, each written at
// once. While it lives, Qt's log goes to standard error too, one readable line per message; a message
// that repeats the one before is counted, and the count told when another line comes.
// Colour only on a terminal and not with the environment variable NO_COLOR (set and not empty).
class Console
{
public:
    enum class Tint { None, Good, Doubtful, Bad };

    Console(bool verbose, bool quiet);
    ~Console();
    Q_DISABLE_COPY(Console)

    void out(const QString& text);
    void out(const QByteArray& utf8);
    // The text coloured for standard output.
    QString tinted(const QString& text, Tint tint) const;
    // Each one line "mdc-bench: …" to standard error.
    void error(const QString& text);
    void warning(const QString& text); // not when quiet
    void hint(const QString& text);    // what to do about an error; not when quiet
    void note(const QString& text);    // verbose only

    bool verbose() const { return m_verbose; }

    // Progress goes to standard error: on a terminal it stays on one line, which the next text of any
    // kind wipes out; else it is a line like the others. Not when quiet.
    void progress(const QString& text);
    void clearProgress();
    bool isErrorTerminal() const { return m_errorTerminal; }
    // Of the terminal; a common number when it does not tell.
    static int errorColumns();

private:
    static void handleLogMessage(QtMsgType type, const QMessageLogContext& context, const QString& message);
    void message(const QString& kind, Tint tint, const QString& text);

    void tellRepeats();

    bool m_verbose;
    bool m_quiet;
    bool m_errorTerminal;
    int m_progressLength = 0; // characters of progress that stand on the terminal
    bool m_outColour;
    bool m_errorColour;
    QString m_lastLogLine;
    int m_repeats = 0;
    QtMessageHandler m_previousHandler;
};
