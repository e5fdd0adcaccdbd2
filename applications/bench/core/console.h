#pragma once

#include "applications/bench/core/message_fold.h"
#include "applications/bench/core/output_format.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

// Where the program speaks: results to standard output, messages to standard error, each written at
// once. While it lives, Qt's log goes to standard error too, one readable line per message; what comes again
// and again is counted (MessageFold), but when verbose.
// Colour only on a terminal and not with the environment variable NO_COLOR (set and not empty).
class Console
{
public:
    enum class Tint { None, Good, Doubtful, Bad };

    Console(bool verbose, bool quiet);
    ~Console();
    Q_DISABLE_COPY(Console)

    // Nothing more is written, and `onOutputLost` called once, when standard output cannot be written (a full
    // disk, a reader that has gone).
    void out(const QString& text);
    void out(const QByteArray& utf8);
    // The reader of standard output has gone.
    void loseReader();
    void setOutputLostHandler(std::function<void()> onOutputLost);
    // What was wrong with standard output, in the system's words; empty for a reader that has gone, and
    // nothing while all is well.
    std::optional<QString> outputLoss() const { return m_outputLoss; }
    // Has standard output taken anything?
    bool hasWritten() const { return m_hasWritten; }

    // The document of results, written at the end of the program with what is known then.
    void keepDocument(const QJsonObject& document) { m_document = document; }
    const std::optional<QJsonObject>& document() const { return m_document; }
    // Number of the next line of results, from 1.
    quint64 nextSequence() { return ++m_sequence; }
    // The text coloured for standard output.
    QString tinted(const QString& text, Tint tint) const;
    // Each one line "mdc-bench: …" to standard error.
    void error(const QString& text);
    void warning(const QString& text); // not when quiet
    // A warning of what may happen again and again; not when quiet.
    void recurringWarning(const QString& text);
    void hint(const QString& text); // what to do about an error; not when quiet
    void note(const QString& text); // verbose only

    // What error() was told, in order.
    const QStringList& errors() const { return m_errors; }

    bool verbose() const { return m_verbose; }

    // From now on Qt's log is kept back, until it is released: all but what `isTold` says is told in another
    // way. Not when verbose.
    void holdLog();
    void releaseLog(const std::function<bool(const QString& line)>& isTold = {});

    // Progress goes to standard error: on a terminal it stays on one line, which the next text of any
    // kind wipes out; else it is a line like the others. Not when quiet.
    void progress(const QString& text);
    void clearProgress();
    bool isErrorTerminal() const { return m_errorTerminal; }
    // Of the terminal; a common number when it does not tell.
    static int errorColumns();

private:
    static void handleLogMessage(QtMsgType type, const QMessageLogContext& context, const QString& message);
    void message(const QString& label, Tint tint, const QString& text);
    void foldedMessage(const QString& label, Tint tint, const QString& text);
    void tell(const QList<MessageFold::Message>& messages);
    void tellRest();
    void tellInTime();

    bool m_verbose;
    bool m_quiet;
    bool m_errorTerminal;
    int m_progressLength = 0; // characters of progress that stand on the terminal
    bool m_outColour;
    bool m_errorColour;
    void loseOutput(const QString& reason);
    void logLine(Tint tint, const QString& line);

    std::function<void()> m_onOutputLost;
    std::optional<QString> m_outputLoss;
    bool m_hasWritten = false;
    std::optional<QJsonObject> m_document;
    quint64 m_sequence = 0;
    QStringList m_errors;
    struct HeldLine
    {
        Tint tint;
        QString line;
    };
    std::optional<QList<HeldLine>> m_heldLog;
    MessageFold m_fold;
    QElapsedTimer m_clock;
    std::unique_ptr<QTimer> m_countTimer;
    QtMessageHandler m_previousHandler;
};
