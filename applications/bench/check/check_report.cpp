#include "applications/bench/check/check_report.h"

#include <lib_utilities/printable_text.h>

namespace {

constexpr int c_levelWidth = 9;

QString levelText(FindingLevel level)
{
    switch (level) {
    case FindingLevel::Ok:
        return QStringLiteral("ok");
    case FindingLevel::Warning:
        return QStringLiteral("warning");
    case FindingLevel::Error:
        return QStringLiteral("error");
    }
    return {};
}

Console::Tint tintOf(FindingLevel level)
{
    switch (level) {
    case FindingLevel::Ok:
        return Console::Tint::Good;
    case FindingLevel::Warning:
        return Console::Tint::Doubtful;
    case FindingLevel::Error:
        return Console::Tint::Bad;
    }
    return Console::Tint::None;
}

} // namespace

CheckReport::CheckReport(Console& console, OutputFormat format)
    : m_console(console)
    , m_format(format)
    , m_writer(console, format)
{}

QString CheckReport::subjectOf(const Finding& finding) const
{
    const QString device = QStringLiteral("device \"%1\"").arg(m_device);
    return m_device.isEmpty() || finding.subject == device
               ? finding.subject
               : QStringLiteral("%1, %2").arg(device, finding.subject);
}

void CheckReport::add(const Finding& finding, ExitCode codeOfError)
{
    ++m_counts.at(static_cast<std::size_t>(finding.level));
    if (finding.level == FindingLevel::Error && m_code == ExitCode::Done)
        m_code = codeOfError;
    const QString subject = subjectOf(finding);
    const QJsonObject object{{QStringLiteral("level"), levelText(finding.level)},
                             {QStringLiteral("subject"), subject},
                             {QStringLiteral("message"), finding.message},
                             {QStringLiteral("remedy"), finding.remedy}};
    m_all.append(object);
    m_writer.record(subject, object);
    if (m_format != OutputFormat::Table)
        return;
    // Padded before it is coloured: escape sequences have a length but no width.
    const QString level = levelText(finding.level).leftJustified(c_levelWidth);
    m_console.out(QStringLiteral("%1%2: %3\n")
                      .arg(m_console.tinted(level, tintOf(finding.level)), printableText(subject),
                           printableText(finding.message)));
    if (!finding.remedy.isEmpty())
        m_console.out(QString(c_levelWidth, QLatin1Char(' ')) +
                      QStringLiteral("  → %1\n").arg(printableText(finding.remedy)));
}

void CheckReport::add(const QString& subject, const std::optional<BenchProblem>& problem,
                      const QString& whenOk, const QString& remedy)
{
    if (!problem) {
        add({FindingLevel::Ok, subject, whenOk, {}});
        return;
    }
    for (const QString& message : problem->messages)
        add({FindingLevel::Error, subject, message,
             message == problem->messages.constLast() ? remedy : QString()},
            problem->code);
}

void CheckReport::addRows(const QList<ProbeRow>& rows)
{
    QList<QStringList> lines;
    for (const ProbeRow& row : rows) {
        QJsonObject object = toJson(row);
        if (!m_device.isEmpty())
            object.insert(QStringLiteral("device"), m_device);
        m_rows.append(object);
        m_writer.record(row.channel, object);
        lines.append(probeCells(row));
    }
    m_page.values += lines;
    if (m_format == OutputFormat::Table && !lines.isEmpty())
        m_console.out(QLatin1Char('\n') + formatTable(probeHeader(), lines) + QLatin1Char('\n'));
}

void CheckReport::addMeasurement(const QString& subject, const QString& text, const QJsonObject& members)
{
    QJsonObject object = members;
    if (!m_device.isEmpty())
        object.insert(QStringLiteral("device"), m_device);
    m_measurements.append(object);
    m_page.measurements.append(
        {m_device.isEmpty() ? subject : m_device + QStringLiteral(", ") + subject, text});
    m_writer.record(subject, object);
    if (m_format == OutputFormat::Table)
        m_console.out(
            QStringLiteral("%1%2: %3\n").arg(QString(c_levelWidth, QLatin1Char(' ')), subject, text));
}

QString CheckReport::verdict() const
{
    return QStringLiteral("%1 ok, warnings: %2, errors: %3")
        .arg(count(FindingLevel::Ok))
        .arg(count(FindingLevel::Warning))
        .arg(count(FindingLevel::Error));
}

CheckPage CheckReport::page() const
{
    CheckPage page = m_page;
    page.verdict = verdict();
    page.findings = m_all;
    page.valueHeader = probeHeader();
    return page;
}

ExitCode CheckReport::finish()
{
    if (m_format == OutputFormat::Table)
        m_console.out(QStringLiteral("\n%1\n").arg(verdict()));
    QJsonObject document{{QStringLiteral("findings"), m_all},
                         {QStringLiteral("errors"), count(FindingLevel::Error)},
                         {QStringLiteral("warnings"), count(FindingLevel::Warning)},
                         {QStringLiteral("exitCode"), static_cast<int>(m_code)}};
    if (!m_rows.isEmpty())
        document.insert(QStringLiteral("values"), m_rows);
    if (!m_measurements.isEmpty())
        document.insert(QStringLiteral("measurements"), m_measurements);
    m_writer.document(document);
    return m_code;
}
