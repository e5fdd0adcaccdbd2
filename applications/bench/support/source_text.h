#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// What is packed of one file.
struct SourceBytes
{
    QByteArray bytes;
    qint64 cut = 0; // bytes that are left out at the beginning
    QString reason; // why there is nothing; empty when all is well
};

// So much of each file is packed.
constexpr qint64 c_packedFileLimit = 8 << 20;
// More than a line of a trace.
constexpr int c_packedLineLimit = 4096;

// A file, or a resource (":/…"), which must be no pipe or device. Of one that is longer than `limit` the end,
// from the beginning of a line.
SourceBytes endOfFile(const QString& path, qint64 limit = c_packedFileLimit);

// The bytes as text; nothing when they are no UTF-8 or hold what no text holds, so that nobody could tell
// what is in them.
std::optional<QString> plainText(const QByteArray& bytes);

// Names of the files that the text of a configuration's main file names, as they stand there. Of a text that
// is no JSON whatever is in quotes and looks like one.
QStringList namedConfigurationFiles(const QByteArray& mainFile);
