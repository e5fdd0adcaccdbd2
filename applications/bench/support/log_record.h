#pragma once

#include <QString>
#include <QtGlobal>

// While it lives, keeps what is written to Qt's log, a line each with its type, and passes it on. One at a
// time, on one thread. It stops keeping at a megabyte, and says so.
class LogRecord
{
public:
    LogRecord();
    ~LogRecord();
    Q_DISABLE_COPY_MOVE(LogRecord)

    QString text() const { return m_text; }

private:
    static void take(QtMsgType type, const QMessageLogContext& context, const QString& message);

    QString m_text;
    QtMessageHandler m_previous;
};
