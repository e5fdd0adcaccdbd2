#include "command_rows.h"

namespace {

QList<CommandRows (*)()>& makers()
{
    static QList<CommandRows (*)()> s_makers;
    return s_makers;
}

} // namespace

KnownRows::KnownRows(CommandRows (*rows)())
{
    makers().append(rows);
}

const QMap<QString, CommandRows>& knownRows()
{
    static const QMap<QString, CommandRows> c_rows = [] {
        QMap<QString, CommandRows> all;
        for (CommandRows (*const maker)() : qAsConst(makers())) {
            const CommandRows rows = maker();
            if (all.contains(rows.command))
                qFatal("two files have rows of the command \"%s\"", qPrintable(rows.command));
            all.insert(rows.command, rows);
        }
        return all;
    }();
    return c_rows;
}

QJsonObject knownChannels()
{
    QJsonObject channels;
    for (const CommandRows& rows : knownRows()) {
        for (auto channel = rows.channels.begin(); channel != rows.channels.end(); ++channel) {
            if (channels.contains(channel.key()))
                qFatal("two files of rows have the channel \"%s\"", qPrintable(channel.key()));
            channels.insert(channel.key(), channel.value());
        }
    }
    return channels;
}

CommandRows rowsOf(const QString& command)
{
    return knownRows().value(command);
}

QString objectionTo(const CommandRows& rows, const QString& command)
{
    if (rows.command != command) {
        return QStringLiteral("the command \"%1\" has no rows: add "
                              "tests/commands/%1_rows.cpp")
            .arg(command);
    }
    const QMap<QString, int> counts{
        {QStringLiteral("className"), rows.className.isEmpty() ? 0 : 1},
        {QStringLiteral("source"), rows.source.isEmpty() ? 0 : 1},
        {QStringLiteral("description"), rows.description.isEmpty() ? 0 : 1},
        {QStringLiteral("executions"), rows.executions.size()},
        {QStringLiteral("replies"), rows.replies.size()},
        {QStringLiteral("lateReplies"), rows.lateReplies.size()},
        {QStringLiteral("runs"), rows.runs.size()},
    };
    for (auto table = counts.cbegin(); table != counts.cend(); ++table) {
        const bool isExempt = rows.exemptions.contains(table.key());
        if (table.value() == 0 && !isExempt) {
            return QStringLiteral("the command \"%1\" has no row in the table \"%2\"")
                .arg(command, table.key());
        }
        if (table.value() > 0 && isExempt) {
            return QStringLiteral("the command \"%1\" has rows in the table \"%2\" and is exempt from it")
                .arg(command, table.key());
        }
    }
    for (const RunRow& run : rows.runs) {
        if (QString::fromLatin1(run.commandLine).section(QLatin1Char(' '), 0, 0) != command)
            return QStringLiteral("a row of the command \"%1\" runs \"%2\"").arg(command, run.commandLine);
    }
    for (auto exemption = rows.exemptions.cbegin(); exemption != rows.exemptions.cend(); ++exemption) {
        if (!counts.contains(exemption.key()) || exemption.value().isEmpty()) {
            return QStringLiteral("the command \"%1\" is exempt from \"%2\" for no reason, or from no table")
                .arg(command, exemption.key());
        }
    }
    return {};
}

QStringList sentWrite(const char* data, int address, const char* type)
{
    return {QStringLiteral("driver write {data=%1, register=int:%2, registerType=QString:%3} 3000")
                .arg(data, QString::number(address), type)};
}

QStringList sentRead(int address, const char* type)
{
    return {QStringLiteral("driver read {register=int:%1, registerType=QString:%2} 3000")
                .arg(QString::number(address), type)};
}

QStringList sentBlockRead(int address, int size, const char* type)
{
    return {QStringLiteral("driver read {dataSize=int:%1, register=int:%2, registerType=QString:%3} 3000")
                .arg(QString::number(size), QString::number(address), type)};
}

QStringList sentListen(int address, int size, const char* type)
{
    return {QStringLiteral("driver listen {dataSize=int:%1, recurrentInterval=int:100, register=int:%2, "
                           "registerType=QString:%3} 3000")
                .arg(QString::number(size), QString::number(address), type)};
}

QVariantMap noValues()
{
    return {};
}

QVariantMap numberForList()
{
    return {{QStringLiteral("values"), 5}};
}

QVariantMap textForList()
{
    return {{QStringLiteral("values"), QStringLiteral("1")}};
}

QVariantMap nullForList()
{
    return {{QStringLiteral("values"), QVariant()}};
}

QVariantMap mapForList()
{
    return {{QStringLiteral("values"), values({1})}};
}

QVariantMap timedOut()
{
    return {{QStringLiteral("errorCode"), 1}, {QStringLiteral("errorMessage"), QStringLiteral("no answer")}};
}

QVariantMap refused()
{
    return {{QStringLiteral("errorCode"), 5},
            {QStringLiteral("errorMessage"), QStringLiteral("refused")},
            {QStringLiteral("values"), QVariantList{0}}};
}

QString unwaitedNumber(int count, int size, const char* received)
{
    return QStringLiteral("ERROR: Command returns unwaited number of data : %1 expected %2 , "
                          "receivedData = %3")
        .arg(QString::number(count), QString::number(size), received);
}
