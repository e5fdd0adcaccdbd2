#include "model/channel_names.h"

#include <QStringList>

#include <limits>

namespace {

constexpr int c_firstFirmware = 1;
// Firmware 4.00.0 brought the second generation of the register map.
constexpr int c_firstFirmwareOfGeneration2 = 4;
// Of the number 4012 in front of "01.2".
constexpr int c_numbersPerFirmware = 1000;

constexpr QChar c_suffixMark = QLatin1Char('V');
const QString c_torqueUnit = QStringLiteral("torqueUnit");
const QString c_lockScreen = QStringLiteral("lockScreen");
const QString c_firstLayout = QStringLiteral("Gen1V1");
const QString c_reservedModel = QStringLiteral("MDgen");
const QString c_backupRangeEnding = QStringLiteral("_config");

int firstNumber(const QString& version)
{
    return version.split(QLatin1Char('.')).at(0).toInt();
}

int generationWith(int firmware)
{
    return firmware >= c_firstFirmwareOfGeneration2 ? 2 : 1;
}

// The generation above 1 that is written so; nothing for a number written otherwise ("02").
std::optional<int> generationOfDigits(const QString& digits)
{
    const int generation = digits.toInt();
    const bool isOne = generation > 1 && generation <= std::numeric_limits<quint16>::max() &&
                       QString::number(generation) == digits;
    return isOne ? std::optional<int>(generation) : std::nullopt;
}

} // namespace

quint16 softwareGeneration(const QVariant& softwareVersion)
{
    return static_cast<quint16>(softwareVersion.toUInt());
}

int generationOfFirmware(quint16 number)
{
    return generationWith(number / c_numbersPerFirmware);
}

int generationOfFirmware(const QString& version)
{
    return generationWith(firstNumber(version));
}

int lastGeneration()
{
    return generationWith(std::numeric_limits<int>::max());
}

bool isFirstFirmware(quint16 number)
{
    return number / c_numbersPerFirmware == c_firstFirmware;
}

bool isFirstFirmware(const QString& version)
{
    return firstNumber(version) == c_firstFirmware;
}

QString generationSuffix(int generation)
{
    // Every order asks for it: the generations that there are have theirs made.
    static const QStringList c_known = [] {
        QStringList suffixes;
        for (int known = 0; known <= lastGeneration(); ++known)
            suffixes.append(known > 1 ? c_suffixMark + QString::number(known) : QString());
        return suffixes;
    }();
    const auto number = static_cast<quint16>(generation);
    return number < c_known.size() ? c_known.at(number) : c_suffixMark + QString::number(number);
}

VersionedName versionedName(const QString& name)
{
    const int mark = name.lastIndexOf(c_suffixMark);
    const std::optional<int> generation = mark < 0 ? std::nullopt : generationOfDigits(name.mid(mark + 1));
    return generation ? VersionedName{name.left(mark), *generation} : VersionedName{name, 1};
}

std::optional<QString> nameWithoutSuffix(const QString& name, int generation)
{
    const QString suffix = generationSuffix(generation);
    return name.endsWith(suffix) ? std::optional<QString>(name.chopped(suffix.size())) : std::nullopt;
}

QString torqueUnitChannel(int generation, const QString& firmwareVersion)
{
    if (generation == 1 && isFirstFirmware(firmwareVersion))
        return c_torqueUnit + c_firstLayout;
    return c_torqueUnit + generationSuffix(generation);
}

QString torqueUnitChannel(const QString& modelName)
{
    if (modelName == modelNameOfFirstFirmware())
        return c_torqueUnit + c_firstLayout;
    return c_torqueUnit + generationSuffix(generationOfModelName(modelName).value_or(1));
}

QString lockScreenChannel(int generation, quint16 firmwareNumber, bool isBm)
{
    if (generation == 1 && (isBm || isFirstFirmware(firmwareNumber)))
        return c_lockScreen + c_firstLayout;
    return c_lockScreen + generationSuffix(generation);
}

QString modelNameOfFirstFirmware()
{
    return QStringLiteral("MDgen1V1");
}

QString modelNameOfGeneration(int generation)
{
    return c_reservedModel + QString::number(generation);
}

std::optional<int> generationOfModelName(const QString& modelName)
{
    return isReservedModelName(modelName) ? generationOfDigits(modelName.mid(c_reservedModel.size()))
                                          : std::nullopt;
}

bool isReservedModelName(const QString& modelName)
{
    return modelName.startsWith(c_reservedModel);
}

QString backupRangeKey(const QString& modelName)
{
    return modelName + c_backupRangeEnding;
}

std::optional<QString> modelOfBackupRangeKey(const QString& parameter)
{
    if (!parameter.endsWith(c_backupRangeEnding))
        return std::nullopt;
    return parameter.chopped(c_backupRangeEnding.size());
}
