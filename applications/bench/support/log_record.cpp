#include "applications/bench/support/log_record.h"

#include "applications/bench/core/log_line.h"

namespace {

LogRecord* s_record = nullptr;

constexpr int c_limit = 1 << 20; // characters

QString typeName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QStringLiteral("debug");
    case QtInfoMsg:
        return QStringLiteral("info");
    case QtWarningMsg:
        return QStringLiteral("warning");
    case QtCriticalMsg:
        return QStringLiteral("critical");
    case QtFatalMsg:
        return QStringLiteral("fatal");
    }
    return {};
}

} // namespace

LogRecord::LogRecord()
    : m_previous(nullptr)
{
    s_record = this;
    m_previous = qInstallMessageHandler(&LogRecord::take);
}

LogRecord::~LogRecord()
{
    qInstallMessageHandler(m_previous);
    s_record = nullptr;
}

void LogRecord::take(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    QString& text = s_record->m_text;
    if (text.size() < c_limit) {
        text += typeName(type) + QStringLiteral(": ") + readableLogLine(message, true) + QLatin1Char('\n');
        if (text.size() >= c_limit)
            text += QStringLiteral("the log is longer; the rest was not kept\n");
    }
    if (s_record->m_previous != nullptr)
        s_record->m_previous(type, context, message);
}
