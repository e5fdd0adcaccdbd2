#pragma once

#include "model/backup_file.h"
#include "model/backup_range.h"
#include "model/device_information.h"

#include <lib_plugins_management/d_abstract_command.h>

#include <QRegularExpression>
#include <QSet>

// "restoreBackup": writes chosen registers of a backup file back into the controller, one at a time in
// ascending order: those of the presets from "startPreset" to "endPreset", and with
// "loadControllerParams" those of the controller's own parameters. Before the first write the whole file
// has been checked, and that it is of this model, of this range and of the controller's torque unit.
//
// Result "statusData", updated as it goes: {"progress": percent, "doneOk": 1}, at the end {100, 2}; or
// {"doneOk": 3, "message": translated text}, after which the order ends as failed. A write that failed
// ends the order as failed without a status. What has been written stays written.
class DCmdRestore : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdRestore(const QVariantMap& arguments, QObject* parent);
    explicit DCmdRestore(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplDeviceInformation(quint64 instructionId, const QVariantMap& reply);
    bool rplTorqueUnit(quint64 instructionId, const QVariantMap& reply);
    bool rplWriteRegister(quint64 instructionId, const QVariantMap& reply);

private:
    bool readFile();
    bool loadRegisterGroups();
    bool buildWriteList();
    bool checkTorqueUnit();
    bool writeRegister(int registerNumber);
    // Reports the text of `messageId` as the failure and ends the order as failed. False, as the steps
    // answer then.
    bool fail(const char* messageId);
    bool failWithMessage(const QString& message);
    void finishAsFailed();

    static const QRegularExpression c_rangeExpression;

    DeviceInformation information;
    QString modelName; // of the configuration: not the controller's model
    BackupFile backup;
    RegisterGroups groups;
    QList<int> writeList; // ascending
    int total = 0;        // length of the list
    quint16 torqueUnitRegister = 0;
    int controllerTorqueUnit = -1; // not read yet
    QSet<quint64> receivedReplies; // identifiers of the writes that were acknowledged
    bool loadControllerParams = false;
    bool finished = false; // further replies are void
};
