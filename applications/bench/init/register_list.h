#pragma once

#include <QByteArray>
#include <QChar>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// A register list as manuals and spreadsheets have it: a text with a heading and a row for each register.

enum class RegisterTable { NotTold, Holding, Input, Coil, Discrete };
enum class RegisterAccess { NotTold, Read, Write, ReadWrite };
enum class RegisterData { Number, Float, List };

struct ListedRegister
{
    int line = 0; // of the file, from 1
    QString name;
    // It stands under a heading "channel": the name is one, and no words about it.
    bool isChannel = false;
    QString description;
    QString block; // the group that the list puts it into; empty for none
    // As the list counts, without the digit of its table.
    int number = 0;
    int count = 1; // registers
    RegisterTable table = RegisterTable::NotTold;
    RegisterAccess access = RegisterAccess::NotTold;
    // It is written with the function for several registers, and no other is told.
    bool isWrittenAsSeveral = false;
    RegisterData data = RegisterData::Number;
    bool hasSwappedWords = false;
    // A value from this column counts as it stands: registers of a program, number of programs.
    std::optional<int> size = std::nullopt;
    // For people: what a raw value is multiplied by, and what stands behind it.
    double scale = 1;
    QString unit;
};

// What was not taken, and why.
struct LeftOutRow
{
    int line = 0;
    QString text;
    QString why;
};

struct RegisterList
{
    // Why nothing could be read; empty otherwise.
    QString error;
    QString separator; // in words
    QString notation;  // how addresses are written, in words
    // The number of the first register; nothing when neither told nor found.
    std::optional<int> base;
    QList<ListedRegister> registers;
    QList<LeftOutRow> leftOut;
};

RegisterList readRegisterList(const QByteArray& bytes);
