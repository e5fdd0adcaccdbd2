#pragma once

#include "model/backup_range.h"
#include "model/device_information.h"

#include <lib_plugins_management/d_abstract_command.h>

#include <QRegularExpression>

// "backup": reads the block of registers that the configuration calls the backup of this model of
// controllers, and writes them to a file named after the model, "backupName" and today in "folderPath".
// Results: "doneOk" true and "filePath", or "doneOk" false and a translated "errorMessage"; the order
// then ends as failed. No file is written before the last register has been read, and a failed write
// leaves an older file of that name as it was.
class DCmdBackup : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdBackup(const QVariantMap& arguments, QObject* parent);
    explicit DCmdBackup(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplDeviceInformation(quint64 instructionId, const QVariantMap& reply);
    bool rplReadRegisters(quint64 instructionId, const QVariantMap& reply);

private:
    bool loadBackupRange();
    bool readNextBlock();
    bool saveFile();
    // Ends the order as failed with the text of `errorMessageId`. False, as the handlers answer then.
    bool finishWithError(const char* errorMessageId);

    static const QRegularExpression c_rangeExpression;

    QString model;
    QString firmwareVersion;
    QString serial;
    quint16 softwareVersion = 0;
    QString modelName; // of the configuration: not the controller's model
    int firstRegister = 0;
    int registerCount = 0;
    int remaining = 0;     // registers still to read
    int readIndex = 0;     // of the block in hand, from 0
    QString registerLines; // of the file, for the registers that were read
    QString filePath;
};
