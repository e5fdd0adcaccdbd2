#include "applications/bench/core/console.h"

#include "applications/bench/core/log_line.h"
#include "applications/bench/core/platform.h"

#include <lib_utilities/printable_text.h>
#include <QCoreApplication>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

Console* s_console = nullptr;

bool wantsColour(FILE* stream)
{
    return isTerminal(stream) && qEnvironmentVariableIsEmpty("NO_COLOR");
}

QString withColour(const QString& text, Console::Tint tint)
{
    switch (tint) {
    case Console::Tint::Good:
        return QStringLiteral("\x1b[32m%1\x1b[0m").arg(text);
    case Console::Tint::Doubtful:
        return QStringLiteral("\x1b[33m%1\x1b[0m").arg(text);
    case Console::Tint::Bad:
        return QStringLiteral("\x1b[31m%1\x1b[0m").arg(text);
    case Console::Tint::None:
        break;
    }
    return text;
}

// No part of it looks like a message of its own.
QString messageText(const QString& text)
{
    return printableLines(text).replace(QLatin1Char('\n'), QStringLiteral("\n  "));
}

// 0, or what the system says is wrong.
int write(FILE* stream, const QByteArray& bytes)
{
    errno = 0;
    const auto size = static_cast<size_t>(bytes.size());
    const bool isWritten =
        std::fwrite(bytes.constData(), 1, size, stream) == size && std::fflush(stream) == 0;
    if (isWritten)
        return 0;
    const int error = errno;
    std::clearerr(stream);
    return error == 0 ? EIO : error;
}

} // namespace

Console::Console(bool verbose, bool quiet)
    : m_verbose(verbose)
    , m_quiet(quiet)
    , m_errorTerminal(isTerminal(stderr))
    , m_outColour(wantsColour(stdout))
    , m_errorColour(wantsColour(stderr))
    , m_previousHandler(qInstallMessageHandler(&Console::handleLogMessage))
{
    m_clock.start();
    s_console = this;
}

Console::~Console()
{
    releaseLog();
    clearProgress();
    tellRest();
    qInstallMessageHandler(m_previousHandler);
    s_console = nullptr;
}

void Console::out(const QString& text)
{
    out(text.toUtf8());
}

void Console::out(const QByteArray& utf8)
{
    clearProgress();
    if (m_outputLoss || utf8.isEmpty())
        return;
    const int error = write(stdout, utf8);
    m_hasWritten = true;
    if (error == EPIPE)
        loseReader();
    else if (error != 0)
        loseOutput(QString::fromLocal8Bit(std::strerror(error)));
}

void Console::loseReader()
{
    loseOutput(QString());
}

void Console::loseOutput(const QString& reason)
{
    if (m_outputLoss)
        return;
    m_outputLoss = reason;
    if (m_onOutputLost)
        m_onOutputLost();
}

void Console::setOutputLostHandler(std::function<void()> onOutputLost)
{
    m_onOutputLost = std::move(onOutputLost);
}

QString Console::tinted(const QString& text, Tint tint) const
{
    return m_outColour ? withColour(text, tint) : text;
}

void Console::error(const QString& text)
{
    m_errors.append(text);
    tellRest();
    message(QStringLiteral("error: "), Tint::Bad, text);
}

void Console::warning(const QString& text)
{
    if (!m_quiet)
        message(QStringLiteral("warning: "), Tint::Doubtful, text);
}

void Console::recurringWarning(const QString& text)
{
    if (!m_quiet)
        foldedMessage(QStringLiteral("warning: "), Tint::Doubtful, text);
}

void Console::hint(const QString& text)
{
    if (!m_quiet)
        message(QStringLiteral("hint: "), Tint::None, text);
}

void Console::note(const QString& text)
{
    if (m_verbose)
        message({}, Tint::None, text);
}

void Console::progress(const QString& text)
{
    if (m_quiet)
        return;
    if (!m_errorTerminal) {
        message({}, Tint::None, text);
        return;
    }
    // Blanks and no control sequence: every terminal knows them.
    write(stderr, QStringLiteral("\r%1").arg(text.leftJustified(m_progressLength)).toUtf8());
    m_progressLength = text.size();
}

void Console::clearProgress()
{
    const int length = std::exchange(m_progressLength, 0);
    if (length > 0)
        write(stderr, QByteArray("\r") + QByteArray(length, ' ') + "\r");
}

int Console::errorColumns()
{
    constexpr int c_commonColumns = 80;
    return terminalColumns(stderr).value_or(c_commonColumns);
}

void Console::handleLogMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    Q_UNUSED(context)
    if (s_console == nullptr || !showsLogLine(type, s_console->m_verbose, s_console->m_quiet))
        return;
    const Tint tint = type == QtCriticalMsg || type == QtFatalMsg ? Tint::Bad
                      : type == QtWarningMsg                      ? Tint::Doubtful
                                                                  : Tint::None;
    const QString line = readableLogLine(message, s_console->m_verbose);
    if (s_console->m_heldLog)
        s_console->m_heldLog->append({tint, line});
    else
        s_console->logLine(tint, line);
}

void Console::logLine(Tint tint, const QString& line)
{
    foldedMessage(QStringLiteral("log: "), tint, line);
}

void Console::foldedMessage(const QString& label, Tint tint, const QString& text)
{
    if (m_verbose) {
        message(label, tint, text);
        return;
    }
    tell(m_fold.take(m_clock.elapsed(), {label, text, static_cast<int>(tint)}));
    tellInTime();
}

void Console::tell(const QList<MessageFold::Message>& messages)
{
    for (const MessageFold::Message& one : messages)
        message(one.label, static_cast<Tint>(one.tint), one.text);
}

void Console::tellRest()
{
    tell(m_fold.rest(m_clock.elapsed()));
}

// While nothing else comes.
void Console::tellInTime()
{
    const std::optional<qint64> next = m_fold.nextDue();
    if (!next || QCoreApplication::instance() == nullptr)
        return;
    if (!m_countTimer) {
        m_countTimer = std::make_unique<QTimer>();
        m_countTimer->setSingleShot(true);
        QObject::connect(m_countTimer.get(), &QTimer::timeout, [this] {
            tell(m_fold.due(m_clock.elapsed()));
            tellInTime();
        });
    }
    m_countTimer->start(static_cast<int>(std::max<qint64>(*next - m_clock.elapsed(), 0) + 1));
}

void Console::holdLog()
{
    if (!m_verbose)
        m_heldLog.emplace();
}

void Console::releaseLog(const std::function<bool(const QString&)>& isTold)
{
    const std::optional<QList<HeldLine>> held = std::exchange(m_heldLog, std::nullopt);
    if (!held)
        return;
    for (const HeldLine& line : *held) {
        if (!isTold || !isTold(line.line))
            logLine(line.tint, line.line);
    }
}

void Console::message(const QString& label, Tint tint, const QString& text)
{
    // The reader has gone and wants nothing more.
    if (m_outputLoss && m_outputLoss->isEmpty())
        return;
    clearProgress();
    write(stderr, QStringLiteral("mdc-bench: %1%2\n")
                      .arg(m_errorColour ? withColour(label, tint) : label, messageText(text))
                      .toUtf8());
}
