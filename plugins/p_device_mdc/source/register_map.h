#pragma once

#include "source_place.h"

#include <QHash>
#include <QJsonObject>
#include <QPair>
#include <QString>
#include <QVariant>
#include <QVariantMap>

class DAbstractCommand;
class PDeviceMdc;

namespace mdc {

// Milliseconds that an instruction may take until its reply.
constexpr int c_instructionTimeout = 3000;
// Milliseconds from one reading of a listening instruction to the next.
constexpr int c_listenInterval = 100;

// What a register description of the configuration says about one kind of access. A missing entry
// reads as address 0 and as an empty type. Without a type the driver refuses the instruction; without an
// address, beside a good type, it reads or writes register 0. Whoever starts an order looks for that
// first, as "mdc-bench check" does.
struct RegisterEntry
{
    int address = 0; // 0…65535; a larger configured number is taken modulo 65536
    QString type;    // passed to the driver as it stands
};

// The ending of a register description's name for the connected controller's generation, from the plug-in's
// property "softwareVersion". As long as the controller has not been identified, this logs so in the name of
// `command` and answers as for generation 1.
QString softwareVersionSuffix(const PDeviceMdc& plugin, const DAbstractCommand& command,
                              const SourcePlace& place = SourcePlace::current());

// The register description `channel`, with the register type that it names for reading or writing.
RegisterEntry registerForRead(const DAbstractCommand& command, const QString& channel);
RegisterEntry registerForWrite(const DAbstractCommand& command, const QString& channel);

// The argument maps of the driver's instructions "read", "listen" and "write". Listening reads
// `dataSize` registers from the entry's address on, every c_listenInterval.
QVariantMap readArguments(const RegisterEntry& entry);
QVariantMap listenArguments(const RegisterEntry& entry, int dataSize);
QVariantMap writeArguments(const RegisterEntry& entry, const QVariant& data);

// The argument maps of "read" that orders have asked for, each made once for as long as the device's
// configuration stays as it is: to make one takes longer than to place the instruction.
class MadeReadArguments
{
public:
    // Of the register description whose name is `channel` and `suffix` together.
    QVariantMap of(const DAbstractCommand& command, const QJsonObject& configuration, const QString& channel,
                   const QString& suffix);

private:
    QJsonObject m_configuration; // that they were made from
    QHash<QPair<QString, QString>, QVariantMap> m_made;
};

} // namespace mdc
