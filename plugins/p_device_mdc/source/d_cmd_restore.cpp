#include "d_cmd_restore.h"

#include "log_line.h"
#include "model/channel_names.h"
#include "register_map.h"
#include "reply_values.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

using namespace mdc;

namespace {

// States of a status report.
enum EnRestoreState { CeRestoreRunning = 1, CeRestoreDone = 2, CeRestoreFailed = 3 };

// Texts of this command; the first one is shared with "backup".
constexpr const char* c_softwareVersionIncorrect =
    QT_TRID_NOOP("DCmdBackup_deviceMdc_tool_software_version_err");
constexpr const char* c_torqueUnitIncorrect = QT_TRID_NOOP("DCmdRestore_torque_unit_incorrect");

} // namespace

const QRegularExpression DCmdRestore::c_rangeExpression(backupRangePattern());

DCmdRestore::DCmdRestore(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("restoreBackup"), QStringLiteral("stopListening"), arguments, parent)
{
    setDescription(QStringLiteral("Restore mdc registers"));
    declareAParameter(QStringLiteral("filePath"), QStringLiteral("strg"), QStringLiteral("Backup file path"),
                      QLatin1String(""));
    declareAParameter(QStringLiteral("startPreset"), QStringLiteral("int"), QStringLiteral("Start preset"),
                      0);
    declareAParameter(QStringLiteral("endPreset"), QStringLiteral("int"), QStringLiteral("End preset"), 0);
    declareAParameter(QStringLiteral("loadControllerParams"), QStringLiteral("bool"),
                      QStringLiteral("Load controller parameters"));
    declareAResult(QStringLiteral("statusData"), QStringLiteral("vart"),
                   QStringLiteral("Restoring progress/status"));
}

DCmdRestore::DCmdRestore(QObject* parent)
    : DCmdRestore(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdRestore::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdRestore>(new DCmdRestore(arguments, parent()));
}

// The parent is not looked at: without the right one the device information does not come.
bool DCmdRestore::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    loadControllerParams = getParameterValue(QStringLiteral("loadControllerParams"), QVariant()).toBool();
    addInstruction(QStringLiteral("myself"), QStringLiteral("getInfo"), QVariantMap(), c_instructionTimeout,
                   {this, &DCmdRestore::rplDeviceInformation});
    return true;
}

bool DCmdRestore::rplDeviceInformation(quint64 /*instructionId*/, const QVariantMap& reply)
{
    if (finished)
        return true;
    const std::optional<DeviceInformation> found =
        deviceInformation(reply.value(QStringLiteral("deviceInformation")));
    if (!found) {
        logCritical(this) << "ERROR: device information is empty";
        logFailureNotice(this, reply);
        return fail(QT_TRID_NOOP("DCmdRestore_device_info_empty"));
    }
    information = *found;
    const std::optional<QString> name = configurationModelName(information);
    if (!name) {
        logCritical(this) << "ERROR: tool software version is incorrect";
        return fail(c_softwareVersionIncorrect);
    }
    modelName = *name;
    return readFile() && loadRegisterGroups() && buildWriteList() && checkTorqueUnit();
}

bool DCmdRestore::readFile()
{
    const QString path = getParameterValue(QStringLiteral("filePath"), QVariant()).toString();
    QFile file(path);
    // The other end of a pipe may never come.
    const bool isFile = !QFileInfo::exists(path) || QFileInfo(path).isFile();
    if (!isFile || !file.open(QIODevice::ReadOnly)) {
        logCritical(this) << "ERROR: Cannot open backup file = " + path;
        logCritical(this) << (isFile ? file.errorString() : QStringLiteral("it is no file"));
        return fail(QT_TRID_NOOP("DCmdRestore_backup_file_not_found"));
    }
    const BackupReading reading = readBackup(file, &information.controllerModel);
    backup = reading.file;
    switch (reading.fault) {
    case BackupReading::CeNoFault:
        break;
    case BackupReading::CeModelDiffers:
        logCritical(this) << "ERROR: Backup failed, tool model name mismatch, current = " +
                                 information.controllerModel +
                                 ", model name of the backup = " + backup.header.model;
        return fail(QT_TRID_NOOP("DCmdRestore_model_name_does_not_match"));
    case BackupReading::CeLineFault: {
        logCritical(this) << "ERROR: Backup file is not valid, error at line: " +
                                 QString::number(reading.line);
        logCritical(this) << reading.detail;
        QString message = qtTrId("DCmdRestore_backup_file_not_valid_error_at_line");
        return failWithMessage(message.replace(QLatin1String("%1"), QString::number(reading.line)));
    }
    case BackupReading::CeNoData:
        logCritical(this) << "ERROR: Backup file does not contain data";
        return fail(QT_TRID_NOOP("DCmdRestore_backup_file_not_contain_data"));
    case BackupReading::CeInconsistent:
        logCritical(this) << "ERROR: Backup file is not valid";
        logCritical(this) << "line" << reading.line << ":" << reading.detail;
        return fail(QT_TRID_NOOP("DCmdRestore_backup_file_not_valid"));
    }
    return true;
}

bool DCmdRestore::loadRegisterGroups()
{
    const char* const messageId = QT_TRID_NOOP("DCmdRestore_backup_registers_conf_cannot_load");
    const QString text =
        getParameterById(backupRangeKey(modelName), QMetaType::QString, QVariant()).toString();
    if (text.isEmpty()) {
        logCritical(this) << "ERROR: expression is empty";
        return fail(messageId);
    }
    const RestoreGroups found =
        restoreGroups(backupRangeItems(c_rangeExpression, text), backup.firstPosition, backup.values.size());
    switch (found.fault) {
    case RestoreGroups::CeNoFault:
        break;
    case RestoreGroups::CeRangeDiffers:
        logCritical(this) << "ERROR: Starting register or number of registers for the backup file are "
                             "different from device configuration";
        logCritical(this) << "the file has" << backup.values.size() << "registers from"
                          << backup.firstPosition << "on, the configuration" << found.item;
        return fail(messageId);
    case RestoreGroups::CeTooLarge:
        logCritical(this) << "ERROR: a register number is too large, or there are too many, in the device "
                             "configuration:"
                          << found.item;
        return fail(messageId);
    }
    groups = found.groups;
    return true;
}

bool DCmdRestore::buildWriteList()
{
    const int startPreset = getParameterValue(QStringLiteral("startPreset"), QVariant()).toInt();
    const int endPreset = getParameterValue(QStringLiteral("endPreset"), QVariant()).toInt();
    if (startPreset < 1 || endPreset <= 0 || startPreset > endPreset) {
        logCritical(this) << "ERROR: start or end preset is incorrect, start =" << startPreset
                          << ", end =" << endPreset;
        return fail(QT_TRID_NOOP("DCmdRestore_start_end_preset_incorrect"));
    }
    const std::optional<QList<int>> registers =
        registersToRestore(groups, startPreset, endPreset, loadControllerParams);
    if (!registers) {
        logCritical(this) << "ERROR: the groups of presets" << startPreset << "to" << endPreset
                          << "have more than" << c_restoreRegistersLimit << "registers";
        return fail(QT_TRID_NOOP("DCmdRestore_cannot_process_data_vector"));
    }
    writeList = *registers;
    total = writeList.size();
    return true;
}

bool DCmdRestore::checkTorqueUnit()
{
    if (information.softwareVersion == 0)
        logCritical(this) << "ERROR: software Version number is not found. using version 1";
    const QString channel = torqueUnitChannel(information.softwareVersion, information.version);
    const RegisterEntry entry = registerForRead(*this, channel);
    torqueUnitRegister = static_cast<quint16>(entry.address);
    if (torqueUnitRegister == 0) {
        logCritical(this) << "ERROR: torque unit register is not configured, channel =" << channel;
        return fail(c_torqueUnitIncorrect);
    }
    addInstruction(QStringLiteral("driver"), QStringLiteral("read"), readArguments(entry),
                   c_instructionTimeout, {this, &DCmdRestore::rplTorqueUnit});
    return true;
}

// True in every case: a failure has been reported, and has ended the order.
bool DCmdRestore::rplTorqueUnit(quint64 /*instructionId*/, const QVariantMap& reply)
{
    if (finished || controllerTorqueUnit >= 0)
        return true;
    if (torqueUnitRegister < 1) {
        fail(c_torqueUnitIncorrect);
        return true;
    }
    const ReplyValues values(reply);
    bool isNumber = false;
    const int torqueUnit = values.list().size() == 1 ? values.first().toInt(&isNumber) : -1;
    if (!isNumber || torqueUnit < 0 || isFailureNotice(reply)) {
        logCritical(this) << "ERROR: torque unit read failed, values format is incorrect";
        logFailureNotice(this, reply);
        fail(c_torqueUnitIncorrect);
        return true;
    }
    controllerTorqueUnit = torqueUnit;
    const std::optional<int> unitOfFile = backup.valueAt(torqueUnitRegister);
    if (!unitOfFile) {
        logCritical(this) << "ERROR: the backup file has no torque unit, register =" << torqueUnitRegister;
        fail(c_torqueUnitIncorrect);
    } else if (*unitOfFile != controllerTorqueUnit) {
        logCritical(this) << "ERROR: torque units differ, current =" << controllerTorqueUnit
                          << ", torque unit of the backup =" << *unitOfFile;
        fail(QT_TRID_NOOP("DCmdRestore_torque_unit_not_matching"));
    } else if (total > 0) {
        writeRegister(writeList.first());
    } else {
        finished = true;
    }
    return true;
}

// A register that the file does not have ends the order without a status.
bool DCmdRestore::writeRegister(int registerNumber)
{
    const std::optional<int> value = backup.valueAt(registerNumber);
    if (registerNumber < 1 || registerNumber > backup.values.size() || !value) {
        logCritical(this) << "ERROR: out of range index";
        logCritical(this) << "register" << registerNumber << "is not in the backup file;"
                          << receivedReplies.size() << "of" << total << "registers are written";
        finishAsFailed();
        return false;
    }
    addInstruction(QStringLiteral("driver"), QStringLiteral("write"),
                   {{QStringLiteral("register"), registerNumber},
                    {QStringLiteral("data"), *value},
                    {QStringLiteral("registerType"), QStringLiteral("singleRegister")}},
                   c_instructionTimeout, {this, &DCmdRestore::rplWriteRegister});
    return true;
}

// What an answered write holds is not looked at. A failure notice is no answer: the register may have
// been written or not, and nothing is written after it.
bool DCmdRestore::rplWriteRegister(quint64 instructionId, const QVariantMap& reply)
{
    if (finished || receivedReplies.contains(instructionId))
        return true;
    if (isFailureNotice(reply)) {
        finished = true;
        logCritical(this) << "ERROR: restore stopped: the write of register"
                          << writeList.value(receivedReplies.size()) << "failed with error"
                          << failureCode(reply) << failureText(reply) << ";" << receivedReplies.size() << "of"
                          << total << "registers are written";
        return false;
    }
    receivedReplies.insert(instructionId);
    const int done = receivedReplies.size();
    finished = done == total;
    if (!finished && !writeRegister(writeList.at(done)))
        return false;
    const int progress = static_cast<int>(qint64{done} * 100 / total);
    if (progress % 2 != 0)
        return true;
    return commandUpdateResult(
        QStringLiteral("statusData"),
        QVariantMap{{QStringLiteral("progress"), progress},
                    {QStringLiteral("doneOk"), done == total ? CeRestoreDone : CeRestoreRunning}});
}

bool DCmdRestore::fail(const char* messageId)
{
    return failWithMessage(qtTrId(messageId));
}

bool DCmdRestore::failWithMessage(const QString& message)
{
    commandUpdateResult(QStringLiteral("statusData"), QVariantMap{{QStringLiteral("doneOk"), CeRestoreFailed},
                                                                  {QStringLiteral("message"), message}});
    finishAsFailed();
    return false;
}

void DCmdRestore::finishAsFailed()
{
    finished = true;
    bool ok = false;
    finishTheCommand(ok);
}
