#pragma once

#include <QJsonValue>
#include <QString>
#include <QVector>

#include <optional>

// One named value in a block of registers.
struct RegisterField
{
    enum class Type {
        Int,   // the first register; others in its range stay 0
        List,  // one number in each register
        Float, // IEEE-754 single precision in two registers, most significant word first
    };

    QString name;
    // Positions in the block, from 0, both included.
    int first = 0;
    int last = 0;
    Type type = Type::Int;
};

// What the registers of a block mean, from a key list of the configuration's "parameters".
using RegisterLayout = QVector<RegisterField>;

// A list of names, one for each of the block's `size` registers in order. Nothing, with a text that
// names the entry, when it is not exactly that.
std::optional<RegisterLayout> layoutOfNames(const QJsonValue& keys, int size, QString* error);

// A list of {"parameter_name", "start_address", "end_address", "type"}; `base` is the address that the
// list gives to the block's first register. Registers without an entry are allowed. Nothing, with a
// text that names the entry, when one is malformed, is not inside the block or overlaps another.
std::optional<RegisterLayout> layoutOfDescriptors(const QJsonValue& keys, int base, int size, QString* error);

// Puts numbers into the registers of a field: a Float takes the first of them as it is, Int and List
// take number × scale, rounded and limited to 0…65535. What the field has beyond the numbers becomes
// 0. The block must hold the field's positions.
void putField(QVector<quint16>& block, const RegisterField& field, const QVector<double>& numbers,
              double scale);
