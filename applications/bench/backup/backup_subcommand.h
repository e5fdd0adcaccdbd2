#pragma once

#include "applications/bench/backup/backup_options.h"
#include "applications/bench/core/subcommand.h"

struct BackupOptions
{
    BackupDeviceOptions device;
    QString name; // text in the file's name, may be empty
    QString folder = QStringLiteral(".");
    bool overwrite = false; // a file of that name
};

// "backup": the registers of a controller, saved to a file.
class BackupSubcommand : public Subcommand
{
public:
    BackupSubcommand();

    const BackupOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    BackupOptions m_options;
};
