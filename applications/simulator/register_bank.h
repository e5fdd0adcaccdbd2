#pragma once

#include <QHash>
#include <QModbusDataUnit>
#include <QString>
#include <QtGlobal>
#include <QVector>

struct TableAddress
{
    QModbusDataUnit::RegisterType table = QModbusDataUnit::HoldingRegisters;
    quint16 address = 0;
};

bool isBitTable(QModbusDataUnit::RegisterType table);
bool isWritableTable(QModbusDataUnit::RegisterType table);

// Registers and bits, those that are defined. Knows nothing of what they mean.
class RegisterBank
{
public:
    // Modbus exception codes; 0 is none.
    static constexpr quint8 c_accepted = 0;
    static constexpr quint8 c_illegalAddress = 2;
    static constexpr quint8 c_illegalValue = 3;
    static constexpr int c_addressCount = 0x10000;
    static constexpr bool isAddress(int number) { return number >= 0 && number < c_addressCount; }

    struct Register
    {
        quint16 value = 0;
        bool writable = false;
        // Values a client may write.
        quint16 lowest = 0;
        quint16 highest = 0xFFFF;
        // The channel that has a meaning here; empty for the others.
        QString channel;
        // The channel that gets the value, or 0, when a client writes it; empty for none.
        QString changes;
        bool clears = false;
    };

    // Null when it is not defined.
    Register* find(const TableAddress& place);
    const Register* find(const TableAddress& place) const;
    // False, and nothing done, when it is defined already.
    bool define(const TableAddress& place, const Register& content);

    // All `count` registers must be defined, else c_illegalAddress: behind the last address nothing is.
    quint8 read(QModbusDataUnit::RegisterType table, quint16 address, int count,
                QVector<quint16>* values) const;
    // c_illegalAddress for undefined and read-only registers, c_illegalValue for a value that may not be
    // written. The address comes before the value, wherever in the block it is.
    quint8 checkWrite(QModbusDataUnit::RegisterType table, quint16 address,
                      const QVector<quint16>& values) const;

private:
    // Null behind the last address as well.
    const Register* findBehind(QModbusDataUnit::RegisterType table, quint16 address, int offset) const;

    QHash<int, QHash<quint16, Register>> m_tables;
};
