#pragma once

#include "applications/bench/results/tightening_format.h"

#include <lib_host/file_lock.h>
#include <QFile>
#include <QStringList>

#include <limits>
#include <memory>
#include <optional>

// The log of tightenings as a file that survives the program: each line is handed to the disk before
// append() returns. What the program, the machine or a full disk leaves of a last line is cut off at the
// next opening; where the log had got to is read from its newest whole line, from the end on: the memory that
// it takes does not grow with the file.
class TighteningLog
{
public:
    // `rotateSize`: bytes that a file holds at most, 0 for no bound; a line is never divided. Full files
    // become FILE.1 (the newest) … FILE.`keep`, older ones go; with c_keepAll none does.
    static constexpr int c_keepAll = std::numeric_limits<int>::max();
    TighteningLog(const QString& path, const TighteningLayout& layout, qint64 rotateSize, int keep);

    // Opens or makes the file, and takes it for this process. False with a text; a file that does not begin
    // as this log does, a symbolic link, a pipe or a device is left as it is. A CSV file with other columns
    // is rotated away.
    bool open(QString* error);
    // Where the log had got to when it was opened; nothing for a new one.
    std::optional<TighteningLedger::State> lastState() const { return m_lastState; }
    // What was found at the opening and put right.
    QStringList notes() const { return m_notes; }

    // False with a text when it cannot be written, or a file that is no log has the name of a full one; the
    // file is then as it was before this line.
    bool append(const TighteningLine& line, QString* error);

private:
    bool openFile(QString* error);
    bool repair(QString* error);
    // Of a log, or of nothing at all.
    bool isOwn(const QString& path) const;
    int keptCount() const;
    bool canRotate(int last, QString* error) const;
    bool rotate(QString* error);
    bool write(const QByteArray& bytes, QString* error);
    QString rotatedName(int number) const;
    std::optional<TighteningLedger::State> newestState(QFile& file) const;

    QString m_path;
    TighteningLayout m_layout;
    qint64 m_rotateSize;
    int m_keep;
    DFileLock m_lock;
    QFile m_file;
    std::optional<TighteningLedger::State> m_lastState;
    QStringList m_notes;
};
