#include "model/identification_block.h"

#include "model/channel_names.h"

#include <lib_utilities/conversions.h>

#include <initializer_list>

namespace {

// Lengths tell the layouts apart.
constexpr int c_shortBlock = 12;
constexpr int c_mediumBlock = 13;
constexpr int c_longBlock = 17;

constexpr int c_familyOffset = 2;
constexpr int c_toolOffset = 4;
constexpr int c_versionOffset = 6;
constexpr int c_serialOffset = 8;

const QString c_unknown = QStringLiteral("????");

ToolModels numberedFromOne(std::initializer_list<const char*> names)
{
    ToolModels models;
    quint16 code = 0;
    for (const char* const name : names)
        models.insert(++code, QString::fromLatin1(name));
    return models;
}

quint8 serialByte(const QByteArray& block, int number)
{
    return convByteArrayToUInt08(block, c_serialOffset + number);
}

QString familyOfShortBlock(quint16 family)
{
    switch (family) {
    case 1:
        return QStringLiteral("MDC-26");
    case 2:
        return QStringLiteral("MDC-32");
    default:
        return c_unknown;
    }
}

QString familyOfMediumBlock(quint16 family)
{
    switch (family) {
    case 1:
        return QStringLiteral("MDC-26");
    case 2:
        return QStringLiteral("MDC-32");
    case 3:
        return QStringLiteral("MDC-22");
    default:
        return c_unknown;
    }
}

QString familyOfLongBlock(quint16 family, quint8 familyByte)
{
    if (family != 1)
        return c_unknown;
    switch (familyByte) {
    case 1:
        return QStringLiteral("MD");
    case 2:
        return QStringLiteral("AD");
    case 10:
        return QStringLiteral("BM");
    case 15:
        return QStringLiteral("MDT");
    case 19:
        return QStringLiteral("BMT");
    default:
        // Known to be nothing: a null text would read as a property that was never set.
        return QLatin1String("");
    }
}

QString controllerModel(const QByteArray& block)
{
    const quint16 family = convByteArrayToUInt16(block, c_familyOffset);
    switch (block.size()) {
    case c_shortBlock:
        return familyOfShortBlock(family);
    case c_mediumBlock:
        return familyOfMediumBlock(family);
    default:
        // One byte serves twice: it tells the family and stands in the serial number.
        return familyOfLongBlock(family, serialByte(block, 2));
    }
}

QString versionText(quint16 version)
{
    return QStringLiteral("%1.%2.%3")
        .arg(version / 1000)
        .arg((version % 1000) / 10, 2, 10, QLatin1Char('0'))
        .arg(version % 10);
}

QString twoDigits(quint8 byte)
{
    return QStringLiteral("%1").arg(byte, 2, 10, QLatin1Char('0'));
}

QString serialText(const QByteArray& block)
{
    if (block.size() == c_shortBlock) {
        const int lastGroup = serialByte(block, 1) * 256 + serialByte(block, 0);
        return QStringLiteral("%1.%2.%3")
            .arg(twoDigits(serialByte(block, 3)), twoDigits(serialByte(block, 2)),
                 QStringLiteral("%1").arg(lastGroup, 4, 10, QLatin1Char('0')));
    }
    QString text;
    for (int number = 4; number >= 0; --number)
        text += twoDigits(serialByte(block, number));
    return text;
}

} // namespace

const ToolModels& mdcToolTable()
{
    static const ToolModels c_models = numberedFromOne(
        {"MD2601", "MD2602", "MD2604", "MD2611", "MD2616", "MD3201", "MD3202", "MD3204", "MD3211", "MD3216",
         "MD3236", "MD3264", "MD2201", "MD3208", "MD3210", "MD2203", "MD2202", "MD3203"});
    return c_models;
}

const ToolModels& mdtcToolTable()
{
    static const ToolModels c_models =
        numberedFromOne({"T2604",  "T2611",  "T2616",  "T3204",  "T3211",  "T3216",  "T3228",
                         "T3258",  "TP3204", "TP3206", "TP3211", "TP3216", "TP3220", "TP3224",
                         "TP3236", "TP3245", "TP3264", "T3208",  "T3243",  "T2628",  "TP3280"});
    return c_models;
}

const ToolModels& bmToolTable()
{
    static const ToolModels c_models =
        numberedFromOne({"3201", "3202", "3204", "3206", "3211", "3216", "3224", "3236", "3245", "3264"});
    return c_models;
}

QStringList controllerModels()
{
    constexpr int c_codes = 256;
    QStringList models;
    for (int code = 0; code < c_codes; ++code) {
        const auto family = static_cast<quint16>(code);
        models.append({familyOfShortBlock(family), familyOfMediumBlock(family),
                       familyOfLongBlock(1, static_cast<quint8>(code))});
    }
    models.removeDuplicates();
    models.removeAll(QString());
    return models;
}

Identification decodeIdentification(const QByteArray& block, const ToolModels* toolModels)
{
    Identification identification;
    if (block.size() != c_shortBlock && block.size() != c_mediumBlock && block.size() != c_longBlock)
        return identification;
    identification.controllerModel = controllerModel(block);
    identification.toolModel = toolModels == nullptr
                                   ? identification.controllerModel
                                   : toolModels->value(convByteArrayToUInt16(block, c_toolOffset), c_unknown);
    identification.versionNumber = convByteArrayToUInt16(block, c_versionOffset);
    identification.version = versionText(identification.versionNumber);
    identification.serial = serialText(block);
    identification.generation = generationOfFirmware(identification.versionNumber);
    return identification;
}
