#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <initializer_list>

// Blocks with which controllers identify themselves, and what is made of them.

// Words stand in the block low byte first.
inline QByteArray identificationBlock(int length, quint16 family, quint16 tool, quint16 version,
                                      const QByteArray& serial)
{
    QByteArray bytes(2, '\xEE');
    for (const quint16 word : {family, tool, version}) {
        bytes.append(static_cast<char>(word & 0xFFU));
        bytes.append(static_cast<char>(word >> 8U));
    }
    bytes.append(serial);
    return bytes.leftJustified(length, '\x55', true);
}

inline QByteArray identificationBytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (const int value : values)
        result.append(static_cast<char>(value));
    return result;
}

inline QVariantMap informationReply(const QByteArray& info)
{
    return {{"deviceInformation", QVariantMap{{"info", info}}}};
}

// The device information record as typedText() writes it.
inline QString informationRecord(const QString& controller, const QString& tool, const QString& version,
                                 const QString& serial, int generation)
{
    return QStringLiteral(
               "[{id=QString:controllerModel, name=QString:DCmdGetInfo_Controller_model, value=QString:%1}, "
               "{id=QString:screwdriverModel, name=QString:DCmdGetInfo_Screwdriver_model, value=QString:%2}, "
               "{id=QString:version, name=QString:DCmdGetInfo_Version, value=QString:%3}, "
               "{id=QString:screwdriverSN, name=QString:DCmdGetInfo_Screwdriver_S_N, value=QString:%4}, "
               "{id=QString:softwareVersion, name=QString:DCmdGetInfo_Software_version, value=int:%5}]")
        .arg(controller, tool, version, serial, QString::number(generation));
}
