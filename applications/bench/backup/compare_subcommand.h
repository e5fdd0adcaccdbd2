#pragma once

#include "applications/bench/backup/backup_options.h"
#include "applications/bench/core/subcommand.h"

#include <QStringList>

struct CompareOptions
{
    BackupDeviceOptions device;
    QStringList files; // one, or two
};

// "compare": what differs between two backups, or a backup and the controller.
class CompareSubcommand : public Subcommand
{
public:
    CompareSubcommand();

    const CompareOptions& options() const { return m_options; }
    void addTo(OptionSet& options) override;
    QString contradiction(const GeneralOptions& general) const override;
    ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) override;

private:
    bool needsController() const { return m_options.files.size() < 2; }

    CompareOptions m_options;
};
