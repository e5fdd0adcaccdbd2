#pragma once

#include "applications/bench/device_configuration/channel_entry.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <QVariant>

#include <optional>

// What a raw value means to a person, as the configuration says of its channel. Commands and host know
// nothing of it: they give raw values.
struct ValueDescription
{
    enum class WordOrder { HighFirst, LowFirst };

    double scale = 1;
    QString unit;
    bool isSigned = false;
    bool isFloat = false;
    // Of a value of two registers.
    std::optional<WordOrder> wordOrder = std::nullopt;
    QMap<int, QString> bits;     // by number, 0 the lowest
    QMap<qint64, QString> names; // by value

    bool isEmpty() const;
    // That one value takes: 1 or 2.
    int registers() const { return isFloat || wordOrder ? 2 : 1; }
};

// From the entries "scale", "unit", "signed", "encoding", "wordOrder", "bits" and "enum" of a channel.
ValueDescription valueDescription(const ChannelEntries& entries);
// The same from an object with these members.
ValueDescription valueDescription(const QJsonObject& members);
// Of the values of a block, by their names: the entry "values" of its channel.
QHash<QString, ValueDescription> blockDescriptions(const ChannelEntries& entries);

// "12.53 Nm", "loosening", "motor on, bit 5"; of registers that are not as many as the description says an
// empty text.
QString describedValue(const ValueDescription& description, const QList<int>& registers);
// The same of what a command gives as one number. Empty for what is none.
QString describedValue(const ValueDescription& description, const QVariant& value);
// The number that the registers hold, scaled; nothing where they hold none.
std::optional<double> scaledValue(const ValueDescription& description, const QList<int>& registers);
// Two registers as an IEEE-754 single.
double floatOf(int first, int second, ValueDescription::WordOrder order);
