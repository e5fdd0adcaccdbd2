#include "applications/bench/results/lines_from_end.h"

#include <QIODevice>

#include <algorithm>

namespace {

constexpr qint64 c_piece = 1 << 16;

} // namespace

qint64 endOfLastLine(QIODevice& file)
{
    qint64 end = file.size();
    while (end > 0) {
        const qint64 start = std::max<qint64>(0, end - c_piece);
        file.seek(start);
        const QByteArray piece = file.read(end - start);
        const auto found = piece.lastIndexOf('\n');
        if (found >= 0)
            return start + found + 1;
        end = start;
    }
    return 0;
}

LinesFromEnd::LinesFromEnd(QIODevice& file, qint64 longestLine)
    : m_file(file)
    , m_longestLine(longestLine)
    , m_end(file.size())
{}

std::optional<QByteArray> LinesFromEnd::next()
{
    while (m_end > 0) {
        const qint64 start = lineFeedBefore(m_end) + 1;
        const qint64 length = m_end - start;
        m_end = start - 1;
        if (length == 0 || length > m_longestLine)
            continue;
        const qint64 at = start - m_pieceStart;
        // Most lines are within what was read last.
        if (at >= 0 && at + length <= m_piece.size())
            return m_piece.mid(static_cast<int>(at), static_cast<int>(length));
        m_file.seek(start);
        return m_file.read(length);
    }
    return std::nullopt;
}

qint64 LinesFromEnd::lineFeedBefore(qint64 place)
{
    while (place > 0) {
        const qint64 pieceEnd = m_pieceStart + m_piece.size();
        if (place <= m_pieceStart || place > pieceEnd) {
            m_pieceStart = std::max<qint64>(0, place - c_piece);
            m_file.seek(m_pieceStart);
            m_piece = m_file.read(place - m_pieceStart);
            if (m_piece.isEmpty())
                return -1;
        }
        const auto found = m_piece.lastIndexOf('\n', static_cast<int>(place - m_pieceStart) - 1);
        if (found >= 0)
            return m_pieceStart + found;
        place = m_pieceStart;
    }
    return -1;
}
