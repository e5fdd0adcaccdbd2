#pragma once

#include <QDate>
#include <QList>
#include <QString>
#include <QVariantList>
#include <QVector>

#include <optional>

class QIODevice;

// A backup of a controller's registers as a text: five lines of header, then one line for each
// register, each ended by a line feed (in a file opened as text the platform's line end):
//
//     Driver Parameter data file,
//     Driver model,MDC-32
//     Driver serial,123456
//     Firmware version,1.2.3
//     Date,3/5/2024
//     A0001,250
//
// Nothing is quoted or escaped.

// The lines that tell the controller; on reading, what stands between the first and the second comma.
struct BackupHeader
{
    QString model;
    QString serial;
    QString firmwareVersion;
};

// The whole text. Register lines are numbered from 1 in the order of `values`.
QString backupText(const BackupHeader& header, const QDate& date, const QVariantList& values);
// The same in two parts, for who puts the lines together as the values come.
QString backupHeaderText(const BackupHeader& header, const QDate& date);
void appendRegisterLines(QString& lines, int firstPosition, const QVariantList& values);
// False where a letter of the header is beyond ASCII: every platform has other bytes for it, so that the file
// reads otherwise on another one, and not every letter has bytes.
bool readsTheSameEverywhere(const BackupHeader& header);
// Writes the text in the encoding of the platform, at once. False when the device did not take all.
bool writeBackup(QIODevice& device, const QString& text);

// "F/M_N_05032024.csv" for the folder F, the model M and the name N, which may be empty.
QString backupFilePath(const QString& folderPath, const QString& model, const QString& backupName,
                       const QDate& date);
// Puts the text in the place of the file: either the whole of it stands there afterwards, or the file
// that stood there before, untouched; only a disk that lies about what it has taken is found out too
// late. An empty path is "backup.csv" in the current folder. False with the reason in `error`.
bool saveBackup(const QString& filePath, const QString& text, QString* error);

// The most register lines that are read: more than the addresses that a controller can have, so that
// no file, however large, holds up the caller or fills the memory.
constexpr int c_backupLinesLimit = 131072;
// The longest line, in characters.
constexpr int c_backupLineLength = 4096;

// What a backup file holds. The lines' positions are register numbers, without a gap.
struct BackupFile
{
    BackupHeader header;
    int firstPosition = 0;   // of the first register line; 1 or above
    QVector<quint16> values; // of the register lines in their order

    // Of the line with this position; nothing when there is no such line.
    std::optional<int> valueAt(int position) const;
};

// How reading a backup file ended.
struct BackupReading
{
    enum Fault {
        CeNoFault,
        CeModelDiffers, // the file's model is another than the wanted one
        CeLineFault,    // a line is no register line
        CeNoData,       // there is no register line
        CeInconsistent  // anything else: `detail` says what
    };

    Fault fault = CeNoFault;
    int line = 0;   // at fault, counted from the first line of the file; 0 when it is no line's fault
    QString detail; // what is wrong, for a log; empty without a fault
    // What was read until the fault; complete without one.
    BackupFile file;
};

// Reads a text from a device that is open for reading, to its end or the first fault. Takes line feeds
// and carriage returns with line feeds, and a last line without an end. Not from one opened as text: that
// drops a carriage return in the middle of a line too, and makes one number of the digits around it.
// `wantedModel` is held against the header's model after the fifth line; null takes any model.
BackupReading readBackup(QIODevice& device, const QString* wantedModel);
