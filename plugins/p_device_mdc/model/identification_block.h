#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

// Names of tool models by the controller's tool code.
using ToolModels = QMap<quint16, QString>;

// The three families of tools number their models independently of each other. The codes are the
// controller's: their order is not the order of the model numbers.
const ToolModels& mdcToolTable();
const ToolModels& mdtcToolTable();
const ToolModels& bmToolTable();

// What an identification block tells; as constructed when it tells nothing.
struct Identification
{
    QString controllerModel = QStringLiteral("????");
    QString toolModel = QStringLiteral("????");
    QString version = QLatin1String(""); // "4.01.2"
    QString serial = QLatin1String("");
    quint16 versionNumber = 0; // 4012
    int generation = 1;        // of the register map: 1 or 2
};

// Every controller model that a block can tell, "????" of an unknown one included.
QStringList controllerModels();

// Decodes the block of 12, 13 or 17 bytes with which a controller identifies itself; a block of any
// other length is not read. `toolModels` is the table of the connected family of tools; without one
// (null) the tool model is the text of the controller model.
Identification decodeIdentification(const QByteArray& block, const ToolModels* toolModels);
