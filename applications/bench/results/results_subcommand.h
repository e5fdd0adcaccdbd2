#pragma once

#include "applications/bench/core/shared_options.h"
#include "applications/bench/core/subcommand.h"

// Some hundred thousand tightenings. A log that nobody looks after must not fill the disk.
constexpr qint64 c_usualRotateSize = 256 << 20;

struct ResultsOptions
{
    // Name or identity; empty: the first device.
    QString object;
    // Empty: standard output.
    QString outputFile;
    // Bytes that a file holds at most, 0 for c_usualRotateSize; full files that are kept.
    qint64 rotateSize = 0;
    int keptFiles = 5;
    // The value that tells the program.
    QString programName = QStringLiteral("program");
    ListeningBounds bounds;
};

// "results": the log of a device's tightenings as they happen.
class ResultsSubcommand : public Subcommand
{
public:
    ResultsSubcommand();

    const ResultsOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    ResultsOptions m_options;
};
