#pragma once

#include "plugins/p_device_mdc/model/backup_file.h"
#include "plugins/p_device_mdc/model/backup_range.h"
#include "plugins/p_device_mdc/model/device_information.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

// Why something cannot be done, as a person reads it.
struct BackupProblem
{
    // Of a text in the catalogue of the plug-in, which says the same; null when it has none.
    const char* textId = nullptr;
    QString detail; // what exactly, and where
    QString remedy; // may be empty
    int line = 0;   // that the catalogue's text names

    bool isSet() const { return textId != nullptr || !detail.isEmpty(); }
    // The catalogue's text, when it is loaded, and the detail.
    QString text() const;
};

// A backup file that has been read.
struct BackupSource
{
    QString path;
    // As it was read: whoever goes on with it is safe from what becomes of the file.
    QByteArray content;
    BackupFile file;
    BackupProblem problem;
};

// The most bytes that a backup file has: ten times those of the longest one that "backup" writes.
constexpr qint64 c_backupSizeLimit = 16 << 20;

// `wantedModel` as in readBackup().
BackupSource readBackupFile(const QString& path, const QString* wantedModel);

// What a device's configuration says about the backups of one model.
struct BackupRegisters
{
    RegisterGroups groups;
    BackupProblem problem;
};

// The configuration's text for a model; empty when there is none.
QString rangeText(const QJsonObject& deviceConfiguration, const QString& modelName);
// The groups of the text, which must be of the same range as the file.
BackupRegisters backupRegisters(const QString& modelName, const QString& rangeText, const BackupFile& file);

// The name under which the configuration keeps what holds for the controller of a file. The file does not
// tell the generation of the register map; firmware 4.00.0 brought the second one.
QString configurationModelName(const BackupHeader& header);
