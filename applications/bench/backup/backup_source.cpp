#include "applications/bench/backup/backup_source.h"

#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_utilities/plain_file.h>
#include <QBuffer>

namespace {

constexpr int c_shownTextLength = 80;
const QString c_editedFile =
    QStringLiteral("take a file that \"mdc-bench backup\" wrote and nobody has edited");

BackupProblem fileProblem(const QString& path, const BackupReading& reading, const QString& wantedModel)
{
    const QString place = reading.line > 0 ? QStringLiteral("%1, line %2: ").arg(path).arg(reading.line)
                                           : path + QStringLiteral(": ");
    switch (reading.fault) {
    case BackupReading::CeNoFault:
        break;
    case BackupReading::CeModelDiffers:
        return {QT_TRID_NOOP("DCmdRestore_model_name_does_not_match"), place + reading.detail,
                QStringLiteral("take a backup file of a controller \"%1\"").arg(wantedModel)};
    case BackupReading::CeLineFault:
        return {QT_TRID_NOOP("DCmdRestore_backup_file_not_valid_error_at_line"), place + reading.detail,
                c_editedFile, reading.line};
    case BackupReading::CeInconsistent:
        return {QT_TRID_NOOP("DCmdRestore_backup_file_not_valid"), place + reading.detail, c_editedFile};
    case BackupReading::CeNoData:
        return {QT_TRID_NOOP("DCmdRestore_backup_file_not_contain_data"), place + reading.detail,
                QStringLiteral("take a file that \"mdc-bench backup\" wrote")};
    }
    return {};
}

} // namespace

QString BackupProblem::text() const
{
    QString translated = textId == nullptr ? QString() : qtTrId(textId);
    // Without a catalogue the identifier itself comes back.
    if (translated.isEmpty() || translated == QLatin1String(textId))
        return detail;
    translated.replace(QLatin1String("%1"), QString::number(line));
    return detail.isEmpty() ? translated : QStringLiteral("%1 (%2)").arg(translated, detail);
}

BackupSource readBackupFile(const QString& path, const QString* wantedModel)
{
    BackupSource source{path, {}, {}, {}};
    QString reason;
    if (!readInputFile(path, c_backupSizeLimit, &source.content, &reason)) {
        source.problem = {QT_TRID_NOOP("DCmdRestore_backup_file_not_found"),
                          QStringLiteral("%1: %2").arg(path, reason),
                          QStringLiteral("name a backup file that can be read")};
        return source;
    }
    QBuffer buffer(&source.content);
    buffer.open(QIODevice::ReadOnly);
    const BackupReading reading = readBackup(buffer, wantedModel);
    source.file = reading.file;
    source.problem = fileProblem(path, reading, wantedModel == nullptr ? QString() : *wantedModel);
    return source;
}

QString rangeText(const QJsonObject& deviceConfiguration, const QString& modelName)
{
    return deviceConfiguration.value(QLatin1String("parameters"))
        .toObject()
        .value(backupRangeKey(modelName))
        .toVariant()
        .toString();
}

BackupRegisters backupRegisters(const QString& modelName, const QString& rangeText, const BackupFile& file)
{
    const char* const textId = QT_TRID_NOOP("DCmdRestore_backup_registers_conf_cannot_load");
    const QString key = backupRangeKey(modelName);
    if (rangeText.isEmpty()) {
        return {
            {},
            {textId, QStringLiteral("the configuration has no parameter \"%1\"").arg(key),
             QStringLiteral("add the registers of this model to \"parameters\"; \"mdc-bench check\" looks "
                            "them over")}};
    }
    const RestoreGroups found =
        restoreGroups(backupRangeItems(QRegularExpression(backupRangePattern()), rangeText),
                      file.firstPosition, file.values.size());
    const QString item = found.item.left(c_shownTextLength);
    switch (found.fault) {
    case RestoreGroups::CeNoFault:
        break;
    case RestoreGroups::CeRangeDiffers:
        return {{},
                {textId,
                 QStringLiteral("the file holds registers %1 to %2, the parameter \"%3\" says %4")
                     .arg(file.firstPosition)
                     .arg(file.firstPosition + file.values.size() - 1)
                     .arg(key, item),
                 QStringLiteral("take a file that was made with this configuration")}};
    case RestoreGroups::CeTooLarge:
        return {{},
                {textId, QStringLiteral("the parameter \"%1\" lists too many registers: %2").arg(key, item),
                 QStringLiteral("correct the range; \"mdc-bench check\" looks it over")}};
    }
    return {found.groups, {}};
}

QString configurationModelName(const BackupHeader& header)
{
    return configurationModelName(DeviceInformation{header.model,
                                                    {},
                                                    header.firmwareVersion,
                                                    header.serial,
                                                    generationOfFirmware(header.firmwareVersion)})
        .value_or(QString());
}
