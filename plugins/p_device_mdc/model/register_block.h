#pragma once

#include <QString>
#include <QVariant>
#include <QVariantList>

// A block of registers is the list of the words that a driver has read, the first register at position
// 0. The configuration says what a block holds as a list of parameters, each a range of registers with
// a type.

// One parameter. What its entry in the configuration lacks is 0 or empty, which names no value of any
// block: an entry that is no map is found out when it is decoded.
struct BlockParameter
{
    QString name;
    int startAddress = 0; // of the first word, as the configuration counts registers
    int endAddress = 0;   // of the last word
    QString type;         // "int", "list" or "float"
};

// Reads the keys "parameter_name", "start_address", "end_address" and "type" of a configuration entry.
BlockParameter blockParameter(const QVariant& entry);

// The position in a block of the register `address`, where `base` is the address of position 0. Wraps
// around in 32 bits; what has wrapped is outside of every block.
int blockIndex(int address, int base);

// One value of a block; when it cannot be decoded, an invalid value and the reason.
struct DecodedValue
{
    enum Fault { CeNoFault, CeIndexFault, CeFloatLengthFault, CeTypeFault };

    QVariant value;
    Fault fault = CeNoFault;
    QString message; // for the log; empty without a fault
};

// What decodeBlockValue() does with all that is no word as it stands.
DecodedValue decodeOtherThanWord(const QVariantList& words, int firstIndex, int lastIndex,
                                 const QString& type);

// The value that stands from `firstIndex` to `lastIndex` in `words`, both of which must be positions of
// the block.
//  "int"    the word at `firstIndex` as the driver delivered it
//  "list"   the words of the range as the driver delivered them; an empty list when it runs backwards
//  "float"  two words, the upper half first, of an IEEE-754 single: its hundredths, truncated, as int;
//           -2147483648 for what is no number or does not fit
// A word that is no number counts as 0 in a float, as Qt converts it.
inline DecodedValue decodeBlockValue(const QVariantList& words, int firstIndex, int lastIndex,
                                     const QString& type)
{
    // Most values are words. They are taken in place: a call, and Qt's comparison of texts, take as long as
    // all else.
    const int count = words.size();
    const bool isInside = firstIndex >= 0 && firstIndex < count && lastIndex >= 0 && lastIndex < count;
    const bool isWord = type.size() == 3 && type.at(0) == QLatin1Char('i') &&
                        type.at(1) == QLatin1Char('n') && type.at(2) == QLatin1Char('t');
    if (isInside && isWord)
        return {words.at(firstIndex), DecodedValue::CeNoFault, QString()};
    return decodeOtherThanWord(words, firstIndex, lastIndex, type);
}
