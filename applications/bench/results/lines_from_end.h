#pragma once

#include <QByteArray>
#include <QtGlobal>

#include <optional>

class QIODevice;

// The bytes of a file up to its last line feed, with it; 0 when it has none. Reads from the end on.
qint64 endOfLastLine(QIODevice& file);

// The lines of a file from the last one to the first, without their line feeds; empty ones are left out.
// Holds one line at most, whatever the file's size is; one that is longer than the longest is left out too.
// The file must not change meanwhile.
class LinesFromEnd
{
public:
    LinesFromEnd(QIODevice& file, qint64 longestLine);

    // Nothing when there is none any more.
    std::optional<QByteArray> next();

private:
    // Of the line feed before this place; -1 when there is none.
    qint64 lineFeedBefore(qint64 place);

    QIODevice& m_file;
    const qint64 m_longestLine;
    qint64 m_end; // of what has not been told
    // What was read last, and where it begins.
    QByteArray m_piece;
    qint64 m_pieceStart = 0;
};
