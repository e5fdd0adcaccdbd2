#include "applications/simulator/register_bank.h"

bool isBitTable(QModbusDataUnit::RegisterType table)
{
    return table == QModbusDataUnit::Coils || table == QModbusDataUnit::DiscreteInputs;
}

bool isWritableTable(QModbusDataUnit::RegisterType table)
{
    return table == QModbusDataUnit::HoldingRegisters || table == QModbusDataUnit::Coils;
}

RegisterBank::Register* RegisterBank::find(const TableAddress& place)
{
    QHash<quint16, Register>& table = m_tables[place.table];
    const auto found = table.find(place.address);
    return found == table.end() ? nullptr : &*found;
}

const RegisterBank::Register* RegisterBank::find(const TableAddress& place) const
{
    return findBehind(place.table, place.address, 0);
}

bool RegisterBank::define(const TableAddress& place, const Register& content)
{
    if (find(place) != nullptr)
        return false;
    m_tables[place.table].insert(place.address, content);
    return true;
}

quint8 RegisterBank::read(QModbusDataUnit::RegisterType table, quint16 address, int count,
                          QVector<quint16>* values) const
{
    QVector<quint16> result;
    result.reserve(count);
    for (int i = 0; i < count; ++i) {
        const Register* const found = findBehind(table, address, i);
        if (found == nullptr)
            return c_illegalAddress;
        result.append(found->value);
    }
    if (count < 1)
        return c_illegalAddress;
    *values = result;
    return c_accepted;
}

quint8 RegisterBank::checkWrite(QModbusDataUnit::RegisterType table, quint16 address,
                                const QVector<quint16>& values) const
{
    quint8 result = values.isEmpty() ? c_illegalValue : c_accepted;
    for (int i = 0; i < values.size(); ++i) {
        const Register* const found = findBehind(table, address, i);
        if (found == nullptr || !found->writable)
            return c_illegalAddress;
        if (values.at(i) < found->lowest || values.at(i) > found->highest)
            result = c_illegalValue;
    }
    return result;
}

const RegisterBank::Register* RegisterBank::findBehind(QModbusDataUnit::RegisterType table, quint16 address,
                                                       int offset) const
{
    if (address + offset >= c_addressCount)
        return nullptr;
    const auto registers = m_tables.constFind(table);
    if (registers == m_tables.cend())
        return nullptr;
    const auto found = registers->constFind(static_cast<quint16>(address + offset));
    return found == registers->cend() ? nullptr : &*found;
}
