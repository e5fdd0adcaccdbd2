#pragma once

#include "applications/bench/device_configuration/value_description.h"
#include "applications/bench/results/tightening_ledger.h"

#include <QByteArray>
#include <QHash>
#include <QStringList>

#include <optional>

enum class TighteningFormat {
    JsonLines, // one object per line
    Csv,       // RFC 4180 with a header, lines ending with a line feed
};

// What lines are made of besides the event.
struct TighteningLayout
{
    TighteningFormat format = TighteningFormat::JsonLines;
    // Name of the value that tells the program; lines have no program when no value has it.
    QString programName;
    // Names of the values in the order of the key list, without "eventCountNo".
    QStringList valueNames;
    // Of those that the configuration describes: told beside the raw values.
    QHash<QString, ValueDescription> descriptions = {};
};

// First line of a CSV file with its line feed; empty for JSON lines.
QByteArray tighteningHeader(const TighteningLayout& layout);
// The line with its line feed.
QByteArray tighteningText(const TighteningLine& line, const TighteningLayout& layout);
// Serial and count of a whole line (without its line feed); nothing when it is none.
std::optional<TighteningLedger::State> tighteningState(const QByteArray& line, TighteningFormat format);
// Does a file that holds this begin as a log in the layout's form does, whatever its values? True for what is
// left of a torn first line too, as far as it can be told from something else.
bool beginsTighteningLog(const QByteArray& content, const TighteningLayout& layout);
