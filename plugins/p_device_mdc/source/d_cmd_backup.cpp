#include "d_cmd_backup.h"

#include "log_line.h"
#include "model/backup_file.h"
#include "model/channel_names.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

#include <QCoreApplication>
#include <QDate>

using namespace mdc;

namespace {

// Registers that one read asks for.
constexpr int c_blockSize = 60;

QString backupRangeTexts(const QList<BackupRangeItem>& items)
{
    QStringList texts;
    for (const BackupRangeItem& item : items) {
        if (isBackupRange(item))
            texts.append(item.text);
    }
    return texts.isEmpty() ? QStringLiteral("none") : texts.join(QLatin1String(", "));
}

} // namespace

const QRegularExpression DCmdBackup::c_rangeExpression(backupRangePattern());

DCmdBackup::DCmdBackup(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("backup"), arguments, parent)
{
    setDescription(QStringLiteral("Backup all mdc registers"));
    declareAParameter(QStringLiteral("backupName"), QStringLiteral("strg"), QStringLiteral("Backup name"));
    declareAParameter(QStringLiteral("folderPath"), QStringLiteral("strg"), QStringLiteral("Folder path"));
    declareAResult(QStringLiteral("filePath"), QStringLiteral("strg"),
                   QStringLiteral("full path of the written file"));
    declareAResult(QStringLiteral("doneOk"), QStringLiteral("bool"), QStringLiteral("backup status"));
    declareAResult(QStringLiteral("errorMessage"), QStringLiteral("strg"),
                   QStringLiteral("translated failure text"));
}

DCmdBackup::DCmdBackup(QObject* parent)
    : DCmdBackup(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdBackup::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdBackup>(new DCmdBackup(arguments, parent()));
}

bool DCmdBackup::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    if (qobject_cast<const PDeviceMdc*>(parent()) == nullptr) {
        logCritical(this) << "ERROR: DCmdBackup: parent is not PDeviceMdc";
        return false;
    }
    addInstruction(QStringLiteral("myself"), QStringLiteral("getInfo"), QVariantMap(), c_instructionTimeout,
                   {this, &DCmdBackup::rplDeviceInformation});
    return true;
}

bool DCmdBackup::rplDeviceInformation(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const std::optional<DeviceInformation> information =
        deviceInformation(reply.value(QStringLiteral("deviceInformation")));
    if (!information) {
        logCritical(this) << "ERROR: device information is incorrect";
        logFailureNotice(this, reply);
        return finishWithError(QT_TRID_NOOP("DCmdBackup_deviceMdc_dev_info_data_incorrect_error"));
    }
    model = information->controllerModel;
    firmwareVersion = information->version;
    serial = information->screwdriverSN;
    softwareVersion = static_cast<quint16>(information->softwareVersion);
    const std::optional<QString> name = configurationModelName(*information);
    if (!name) {
        logCritical(this) << "ERROR: tool software version is incorrect";
        return finishWithError(QT_TRID_NOOP("DCmdBackup_deviceMdc_tool_software_version_err"));
    }
    modelName = *name;
    if (!loadBackupRange())
        return false;
    registerLines.clear();
    readIndex = 0;
    return readNextBlock();
}

bool DCmdBackup::loadBackupRange()
{
    if (modelName.isEmpty()) {
        logCritical(this) << "ERROR: device model name is empty";
        return finishWithError(QT_TRID_NOOP("DCmdBackup_deviceMdc_model_name_is_empty_error"));
    }
    const QString text =
        getParameterById(backupRangeKey(modelName), QMetaType::QString, QVariant()).toString();
    if (text.isEmpty()) {
        logCritical(this) << "ERROR: registers configuration cannot be found";
        return finishWithError(QT_TRID_NOOP("DCmdBackup_deviceMdc_config_cannot_be_found_error"));
    }
    const QList<BackupRangeItem> items = backupRangeItems(c_rangeExpression, text);
    const std::optional<BackupRange> range = backupRange(items);
    if (!range) {
        logCritical(this) << "ERROR: backup registers configuration cannot be loaded";
        logCritical(this) << backupRangeKey(modelName) << "has no backup_range of 2 to"
                          << c_backupRegistersLimit
                          << "registers from register 1 or above on; it has:" << backupRangeTexts(items);
        return finishWithError(QT_TRID_NOOP("DCmdBackup_deviceMdc_config_cannot_be_loadded_error"));
    }
    firstRegister = range->first;
    registerCount = range->count;
    remaining = range->count;
    return true;
}

// Addresses are counted from register 1, whatever the first register of the range is: the range only
// says how many registers are read.
bool DCmdBackup::readNextBlock()
{
    addInstruction(QStringLiteral("driver"), QStringLiteral("read"),
                   {{QStringLiteral("register"), registerCount - remaining + 1},
                    {QStringLiteral("dataSize"), qMin(remaining, c_blockSize)},
                    {QStringLiteral("registerType"), QStringLiteral("holdingRegisters")}},
                   c_instructionTimeout, {this, &DCmdBackup::rplReadRegisters});
    return true;
}

bool DCmdBackup::rplReadRegisters(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const ReplyValues block(reply);
    // A block of no values would be asked for again without end.
    if (isFailureNotice(reply) || block.isEmpty()) {
        logCritical(this) << "ERROR: read preset data failed at index = " + QString::number(readIndex) +
                                 " error number = " + QString::number(failureCode(reply));
        logFailureNotice(this, reply);
        return finishWithError(QT_TRID_NOOP("DCmdBackup_deviceMdc_dev_info_reading_registers_failed_error"));
    }
    appendRegisterLines(registerLines, registerCount - remaining + 1, block.list());
    remaining -= block.list().size();
    ++readIndex;
    return remaining > 0 ? readNextBlock() : saveFile();
}

bool DCmdBackup::saveFile()
{
    // Taken once: the name and the header must agree when it is midnight.
    const QDate today = QDate::currentDate();
    filePath = backupFilePath(getParameterValue(QStringLiteral("folderPath"), QVariant()).toString(), model,
                              getParameterValue(QStringLiteral("backupName"), QVariant()).toString(), today);
    const BackupHeader header{model, serial, firmwareVersion};
    QString error;
    if (!saveBackup(filePath, backupHeaderText(header, today) + registerLines, &error)) {
        logCritical(this) << "ERROR: Cannot save backup data to file";
        logCritical(this) << error;
        return finishWithError(QT_TRID_NOOP("DCmdBackup_deviceMdc_no_file_error"));
    }
    if (!readsTheSameEverywhere(header)) {
        logCritical(this) << "WARNING: " + filePath + ": the controller's model \"" + model +
                                 "\", serial \"" + serial + "\" or firmware \"" + firmwareVersion +
                                 "\" has letters beyond ASCII, which another system reads otherwise: restore "
                                 "this file on a system of the same language";
    }
    return commandUpdateResults({{QStringLiteral("doneOk"), true}, {QStringLiteral("filePath"), filePath}});
}

bool DCmdBackup::finishWithError(const char* errorMessageId)
{
    commandUpdateResults(
        {{QStringLiteral("doneOk"), false}, {QStringLiteral("errorMessage"), qtTrId(errorMessageId)}});
    bool ok = false;
    finishTheCommand(ok);
    return false;
}
