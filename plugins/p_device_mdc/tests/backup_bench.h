#pragma once

#include "command_bench.h"

#include "model/backup_file.h"
#include "model/device_information.h"

#include <QFile>
#include <QTemporaryDir>

// What the tests of backup and restore have in common: controllers, a range of registers, files, and the
// two commands at work with them.

inline const DeviceInformation c_generation2{"MDC-32", "MD3202", "4.00.5", "1907150042", 2};
inline const DeviceInformation c_firstLayout{"MDC-26", "MD2601", "1.50.0", "07.03.0125", 1};
inline const DeviceInformation c_secondLayout{"MDC-22", "MD2201", "3.10.5", "1907150043", 1};

// 30 registers, three presets of 5, and the torque unit in register 20.
inline const char* const c_ranges = R"("backup_range": [1-30]; "preset1": [1-5]; "preset2": [6-10]; )"
                                    R"("preset10": [11-15]; "extraA": [20-21]; "other": [29-30];)";

inline QVariantMap information(const DeviceInformation& device)
{
    return {{"deviceInformation", deviceInformationRecord(device)}};
}

inline QVariantList words(int first, int count)
{
    QVariantList list;
    for (int i = 0; i < count; ++i)
        list.append(first + i);
    return list;
}

// Of a block of `size` registers, as backups read.
inline QString sentBackupRead(int address, int size)
{
    return QStringLiteral("driver read {dataSize=int:%1, register=int:%2, "
                          "registerType=QString:holdingRegisters} 3000")
        .arg(size)
        .arg(address);
}

inline QString sentTorqueRead(int address, const char* type = "holdingRegisters")
{
    return QStringLiteral("driver read {register=int:%1, registerType=QString:%2} 3000")
        .arg(QString::number(address), type);
}

inline QString sentRestoreWrite(int address, int value)
{
    return QStringLiteral("driver write {data=int:%1, register=int:%2, "
                          "registerType=QString:singleRegister} 3000")
        .arg(value)
        .arg(address);
}

inline QStringList backupFailure(const char* id)
{
    return {QStringLiteral("results {doneOk=bool:false, errorMessage=QString:%1}").arg(id), "failed"};
}

inline QStringList restoreFailure(const QString& id)
{
    return {QStringLiteral("results {statusData={doneOk=int:3, message=QString:%1}}").arg(id), "failed"};
}

inline QString progress(int percent, int state)
{
    return QStringLiteral("results {statusData={doneOk=int:%1, progress=int:%2}}").arg(state).arg(percent);
}

inline QByteArray contents(const QString& path, QIODevice::OpenMode asText = QIODevice::Text)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly | asText) ? file.readAll() : QByteArray("(no file)");
}

inline void setParameters(DAbstractPlugin& plugin, const QJsonObject& parameters)
{
    plugin.setInPluginConfig(QStringLiteral("parameters"), parameters);
}

// A folder of a test's own, and the backup files in it.
class BackupFolder
{
public:
    bool isValid() const { return m_folder.isValid(); }
    QString path() const { return m_folder.path(); }
    QString filePath(const QString& name) const { return m_folder.filePath(name); }
    QString writeFile(const QByteArray& bytes, const QString& name = QStringLiteral("backup.csv")) const
    {
        QFile file(filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("the test's own file cannot be written");
        return file.fileName();
    }
    // A backup of 30 registers of the model, register r holding 1000 + r, and `unit` in 18 to 20.
    QString writeBackupFile(const QString& model, int unit = 2, int count = 30) const
    {
        QVariantList values = words(1001, count);
        for (int at = 18; at <= 20; ++at)
            values[at - 1] = unit;
        return writeFile(backupText({model, "1", "1.2.3"}, QDate(2024, 3, 5), values).toUtf8());
    }

private:
    QTemporaryDir m_folder;
};

inline QVariantMap restoreArguments(const QString& path, int start = 1, int end = 2, bool extras = false)
{
    return {{"filePath", path}, {"startPreset", start}, {"endPreset", end}, {"loadControllerParams", extras}};
}

class BackupBench : public Bench
{
public:
    explicit BackupBench(const QString& folder, const QVariant& name = "N")
        : Bench("backup", {{"backupName", name}, {"folderPath", folder}})
    {
        setRanges(c_ranges);
        if (!command().commandExecute())
            qFatal("the command did not start");
    }
    void setRanges(const QJsonValue& text) { setParameters(device(), {{"MDgen2_config", text}}); }
};

class RestoreBench : public Bench
{
public:
    explicit RestoreBench(const QVariantMap& arguments)
        : Bench("restoreBackup", arguments)
    {
        setRanges(c_ranges);
        setChannels(
            device(),
            {{"torqueUnit", QJsonObject{{"register", 18}, {"readRegisterType", "inputRegisters"}}},
             {"torqueUnitGen1V1", QJsonObject{{"register", 19}, {"readRegisterType", "coils"}}},
             {"torqueUnitV2", QJsonObject{{"register", 20}, {"readRegisterType", "holdingRegisters"}}},
             {"torqueUnitV3", QJsonObject{{"register", 65556}, {"readRegisterType", "holdingRegisters"}}}});
        if (!command().commandExecute())
            qFatal("the command did not start");
    }
    void setRanges(const QJsonValue& text)
    {
        setParameters(device(), {{"MDgen2_config", text},
                                 {"MDgen3_config", text},
                                 {"MDgen1V1_config", text},
                                 {"MDC-22_config", text}});
    }
    // What has been sent and published since the last call.
    QStringList newlySent()
    {
        const QStringList all = order().sent();
        const QStringList fresh = all.mid(m_sentSeen);
        m_sentSeen = all.size();
        return fresh;
    }
    QStringList newlyPublished()
    {
        const QStringList all = order().published();
        const QStringList fresh = all.mid(m_publishedSeen);
        m_publishedSeen = all.size();
        return fresh;
    }

private:
    int m_sentSeen = 1; // the question for the device information
    int m_publishedSeen = 0;
};
