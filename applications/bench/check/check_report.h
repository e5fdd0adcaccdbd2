#pragma once

#include "applications/bench/check/check_page.h"
#include "applications/bench/core/bench_problem.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/device_configuration/finding.h"
#include "applications/bench/probe/probe_rows.h"

#include <QJsonArray>

#include <array>
#include <optional>

// Writes findings as they come, so that a person sees what is waited for, and remembers the worst.
class CheckReport
{
public:
    CheckReport(Console& console, OutputFormat format);

    // Findings are about this device from now on, and their subjects name it; empty: of none in particular.
    void speakOf(const QString& device) { m_device = device; }
    void add(const Finding& finding, ExitCode codeOfError = ExitCode::Configuration);
    // The problem, or that there is none.
    void add(const QString& subject, const std::optional<BenchProblem>& problem, const QString& whenOk,
             const QString& remedy);
    // What was read of a device.
    void addRows(const QList<ProbeRow>& rows);
    // What was measured of a device: a line for people, members for scripts.
    void addMeasurement(const QString& subject, const QString& text, const QJsonObject& members);
    // All of it so far; what the report does not know is left open.
    CheckPage page() const;
    // Sums up. The code of the first error; Done without one.
    ExitCode finish();

private:
    int count(FindingLevel level) const { return m_counts.at(static_cast<std::size_t>(level)); }

    Console& m_console;
    const OutputFormat m_format;
    QString subjectOf(const Finding& finding) const;
    QString verdict() const;

    ResultWriter m_writer;
    QString m_device;
    QJsonArray m_all;
    QJsonArray m_rows;
    QJsonArray m_measurements;
    CheckPage m_page; // what is on it besides the findings
    std::array<int, 3> m_counts{};
    ExitCode m_code = ExitCode::Done;
};
