#pragma once

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <QThread>

// Takes the log's lines while it lives. One at a time.
class LogCapture
{
public:
    struct Line
    {
        QtMsgType type = QtDebugMsg;
        QString category;
        QString text;
    };

    LogCapture()
    {
        lines().clear();
        m_previous = qInstallMessageHandler(take);
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    static const QList<Line>& taken() { return lines(); }

    // The texts of the lines since the last call, which forgets them.
    static QStringList takeTexts()
    {
        QStringList texts;
        for (const Line& line : qAsConst(lines()))
            texts.append(line.text);
        lines().clear();
        return texts;
    }

    // The messages of the lines taken, each of which must be a whole critical line of `object` written
    // from `source` (a path from the checkout root without extension); a line that is not says why. A
    // plain warning is "warning: " and its whole text.
    static QStringList messages(const QString& source, const void* object)
    {
        QStringList found;
        for (const Line& line : lines())
            found.append(message(line, source, object));
        return found;
    }

private:
    static QString message(const Line& line, const QString& source, const void* object)
    {
        static const QRegularExpression c_form(
            QStringLiteral("\\A\n (?<date>[0-9-]{10} [0-9:.]{12}) ;\t Thread = (?<thread>\\S.*?) ;\t "
                           "This = (?<object>0x[0-9a-f]+) ;\t (?<source>\\S+) ;\t (?<line>[0-9]+) ;\t "
                           "(?<message>\\S.*)\\z"),
            QRegularExpression::DotMatchesEverythingOption);
        if (line.type == QtWarningMsg && line.category == QLatin1String("default"))
            return QStringLiteral("warning: ") + line.text;
        if (line.type != QtCriticalMsg || line.category != QLatin1String("default"))
            return QStringLiteral("not critical or not in the default category: ") + line.text;
        const QRegularExpressionMatch match = c_form.match(line.text);
        if (!match.hasMatch())
            return QStringLiteral("not of the form: ") + line.text;
        if (!match.captured(QStringLiteral("thread")).contains(hexadecimal(QThread::currentThread())))
            return QStringLiteral("another thread: ") + line.text;
        if (match.captured(QStringLiteral("object")) != hexadecimal(object))
            return QStringLiteral("another object: ") + line.text;
        if (match.captured(QStringLiteral("source")) != source)
            return QStringLiteral("another source: ") + line.text;
        // The line must be one that logs: of a helper's own line the reader learns nothing.
        QFile file(QStringLiteral(MDC_SOURCE_DIRECTORY "/") + source + QStringLiteral(".cpp"));
        if (!file.open(QIODevice::ReadOnly))
            return QStringLiteral("no such source: ") + line.text;
        const QList<QByteArray> sourceLines = file.readAll().split('\n');
        const QByteArray there = sourceLines.value(match.captured(QStringLiteral("line")).toInt() - 1);
        if (!there.contains("logCritical(") && !there.contains("softwareVersionSuffix(") &&
            !there.contains("logFailureNotice("))
            return QStringLiteral("another line: ") + line.text;
        return match.captured(QStringLiteral("message"));
    }

    static QString hexadecimal(const void* address)
    {
        return QStringLiteral("0x") + QString::number(reinterpret_cast<quintptr>(address), 16);
    }

    static QList<Line>& lines()
    {
        static QList<Line> s_lines;
        return s_lines;
    }
    static void take(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        lines().append({type, QString::fromLatin1(context.category), text});
    }

    QtMessageHandler m_previous = nullptr;
};
