#pragma once

#include "applications/bench/core/shared_options.h"
#include "applications/bench/core/subcommand.h"

// Some hundred thousand tightenings. A file of this size can still be copied and looked into.
constexpr qint64 c_usualRotateSize = 256 << 20;
constexpr int c_usualKeptFiles = 5;
constexpr int c_keepUntold = -1;

struct ResultsOptions
{
    // Name or identity; empty: the first device.
    QString object;
    // Empty: standard output.
    QString outputFile;
    // Bytes that a file holds at most, 0 for c_usualRotateSize.
    qint64 rotateSize = 0;
    // Full files that are kept; when nobody has said it, all of those that nobody has asked for.
    int keptFiles = c_keepUntold;
    // The value that tells the program.
    QString programName = QStringLiteral("program");
    ListeningBounds bounds;

    // As many as TighteningLog keeps.
    int filesToKeep() const;
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
