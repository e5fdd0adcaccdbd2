#pragma once

#include <QString>
#include <QVariant>

#include <optional>

// The names under which a device's configuration describes registers ("channels") and keeps lists and
// texts ("parameters"). They follow from the controller's software generation, from its firmware and, for
// backups, from its model. Firmware is told in two ways: as the number that a controller answers with
// (4012) and as the text that people read ("4.01.2").

// The generation that a property or entry "softwareVersion" tells, of which the low 16 bits count; 0 for
// what is no number.
quint16 softwareGeneration(const QVariant& softwareVersion);
// The generation of the register map that a firmware works with: 2 from 4.00.0 on, else 1.
int generationOfFirmware(quint16 number);
int generationOfFirmware(const QString& version);
// The highest that a firmware leads to: there are those from 1 to this one.
int lastGeneration();
// The firmware's first number is 1: of generation 1, the controller then has the first of two layouts of
// registers.
bool isFirstFirmware(quint16 number);
bool isFirstFirmware(const QString& version);

// What a generation adds to names: "V" and its number for one above 1, nothing for 0 and 1. The low 16
// bits of the number count.
QString generationSuffix(int generation);

// A name taken apart.
struct VersionedName
{
    QString base;
    int generation = 1; // 1 or above
};

// The inverse of `base + generationSuffix(generation)`. What is no generation's suffix ("V1", "V02",
// "Gen1V1") belongs to the base.
VersionedName versionedName(const QString& name);
// What a command that adds the suffix of `generation` is given to arrive at `name`; nothing when it
// cannot. Generation 1 adds nothing, and arrives at every name.
std::optional<QString> nameWithoutSuffix(const QString& name, int generation);

// The channel of the torque unit. Of generation 1 the first firmware has one of its own.
QString torqueUnitChannel(int generation, const QString& firmwareVersion);
// The same by the name under which the configuration keeps what holds for the controller's model.
QString torqueUnitChannel(const QString& modelName);
// The channel of the screen lock. Of generation 1 the first firmware and BM controllers of any firmware
// have one of their own; for generation 0, which is none, it is that of generation 1.
QString lockScreenChannel(int generation, quint16 firmwareNumber, bool isBm);

// The model names that stand for more than one model: that of generation 1 with the first firmware
// ("MDgen1V1"), and those of the generations from 2 on ("MDgen2").
QString modelNameOfFirstFirmware();
QString modelNameOfGeneration(int generation);
// The generation from 2 on of which `modelName` is the name; nothing for another name.
std::optional<int> generationOfModelName(const QString& modelName);
// The name is made like one of those, whether or not it is one: it is no controller's model.
bool isReservedModelName(const QString& modelName);

// The parameter that says which registers make up a backup of a model's controllers ("MDgen2_config").
QString backupRangeKey(const QString& modelName);
// The model whose parameter that is; nothing for a parameter of another kind.
std::optional<QString> modelOfBackupRangeKey(const QString& parameter);
