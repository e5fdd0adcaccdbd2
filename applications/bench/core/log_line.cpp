#include "applications/bench/core/log_line.h"

#include <QStringList>

namespace {

// date; thread; object; file; line; message
constexpr int c_itemCount = 6;
constexpr int c_fileItem = 3;
constexpr int c_lineItem = 4;
constexpr int c_messageItem = 5;

} // namespace

QString readableLogLine(const QString& message, bool complete)
{
    const QStringList items = message.split(QStringLiteral(";\t"));
    if (complete || items.size() < c_itemCount)
        return message.simplified();
    const QString text = QStringList(items.mid(c_messageItem)).join(QStringLiteral("; ")).simplified();
    const QString file = items.at(c_fileItem).simplified().section(QLatin1Char('/'), -1);
    return QStringLiteral("%1 (%2:%3)").arg(text, file, items.at(c_lineItem).simplified());
}

bool showsLogLine(QtMsgType type, bool verbose, bool quiet)
{
    switch (type) {
    case QtFatalMsg:
        return true;
    case QtWarningMsg:
    case QtCriticalMsg:
        return !quiet;
    case QtDebugMsg:
    case QtInfoMsg:
        return verbose && !quiet;
    }
    return true;
}
