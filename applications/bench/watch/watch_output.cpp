#include "applications/bench/watch/watch_output.h"

#include "applications/bench/core/csv_line.h"
#include "applications/bench/core/platform.h"
#include "applications/bench/watch/value_plot.h"
#include "applications/bench/watch/watch_screen.h"

#include <QLocale>

namespace {

constexpr int c_plotColumns = 30; // of 2 s each
constexpr int c_commonColumns = 80;
constexpr int c_commonRows = 24;

} // namespace

QByteArray watchCsvHeader(const QStringList& names)
{
    return csvLine(QStringList{QStringLiteral("time")} + names);
}

QByteArray watchCsvLine(const WatchReading& reading)
{
    QStringList fields{isoTime(reading.time)};
    for (const QString& name : reading.names)
        fields.append(reading.read.contains(name) ? reading.histories.value(name).text() : QString());
    return csvLine(fields);
}

WatchOutput::WatchOutput(Console& console, OutputFormat format, bool isTerminal)
    : m_console(console)
    , m_format(format)
    , m_isTerminal(isTerminal)
{}

void WatchOutput::show(const WatchReading& reading)
{
    if (m_format == OutputFormat::Csv) {
        if (!m_hasHeader)
            m_console.out(watchCsvHeader(reading.names));
        m_hasHeader = true;
        m_console.out(watchCsvLine(reading));
    } else if (showsTrouble()) {
        showScreen(reading);
    } else {
        showChanges(reading);
    }
}

void WatchOutput::showScreen(const WatchReading& reading)
{
    WatchScreen screen{reading.title, reading.trouble, {}};
    for (const QString& name : reading.names) {
        const ValueHistory history = reading.histories.value(name);
        screen.lines.append({name, history.isKnown() ? history.text() : QStringLiteral("-"),
                             reading.meanings.value(name), history.age(reading.clock),
                             history.isMarked(reading.clock),
                             valuePlot(history.parts(reading.clock, c_plotColumns))});
    }
    QStringList lines = screenLines(screen, terminalColumns(stdout).value_or(c_commonColumns),
                                    terminalRows(stdout).value_or(c_commonRows));
    const int count = lines.size();
    for (QString& line : lines) {
        if (line.startsWith(QLatin1Char('*')))
            line = m_console.tinted(line, Console::Tint::Good);
        else if (!reading.trouble.isEmpty() && line.startsWith(reading.trouble.left(count)))
            line = m_console.tinted(line, Console::Tint::Bad);
    }
    m_console.out(redrawn(lines, m_lines));
    m_lines = count;
}

void WatchOutput::showChanges(const WatchReading& reading)
{
    QList<QStringList> rows;
    for (const QString& name : reading.changed) {
        const QString value = reading.histories.value(name).text();
        bool isNumber = false;
        const double number = value.toDouble(&isNumber);
        if (m_format == OutputFormat::JsonLines)
            m_console.out(
                jsonLine(m_console.nextSequence(), reading.time,
                         {name, QVariantMap{{QStringLiteral("value"),
                                             isNumber ? QVariant(number) : QVariant(value)},
                                            {QStringLiteral("meaning"), reading.meanings.value(name)}}}) +
                '\n');
        rows.append({QLocale::c().toString(reading.time.time(), QStringLiteral("HH:mm:ss.zzz")), name, value,
                     reading.meanings.value(name)});
    }
    if (m_format == OutputFormat::Table)
        m_console.out(formatTable({}, rows));
}
