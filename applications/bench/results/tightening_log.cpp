#include "applications/bench/results/tightening_log.h"

#include "applications/bench/results/lines_from_end.h"

#include <lib_utilities/plain_file.h>
#include <lib_utilities/platform.h>
#include <QFileInfo>

#include <algorithm>

namespace {

QString failure(const QString& path, const QString& what, const QString& reason)
{
    return QStringLiteral("%1 cannot be %2: %3").arg(path, what, reason);
}

QString foreignFile(const QString& path)
{
    return QStringLiteral("%1 holds something else than this log: name another file").arg(path);
}

// More than any line of a log has.
constexpr qint64 c_longestLine = 1 << 20;

} // namespace

TighteningLog::TighteningLog(const QString& path, const TighteningLayout& layout, qint64 rotateSize, int keep)
    : m_path(path)
    , m_layout(layout)
    , m_rotateSize(rotateSize)
    , m_keep(keep)
    , m_lock(path)
{}

QString TighteningLog::rotatedName(int number) const
{
    return QStringLiteral("%1.%2").arg(m_path).arg(number);
}

bool TighteningLog::open(QString* error)
{
    DFileFailure failure;
    bool isTaken = false;
    if (!m_lock.lock(0, &failure, &isTaken)) {
        *error = isTaken ? QStringLiteral("%1 is written by another program (%1.lock)").arg(m_path)
                         : QStringLiteral("%1.lock cannot be made in %2: %3; %4")
                               .arg(m_path, QFileInfo(m_path).absolutePath(), failure.cause, failure.remedy);
        return false;
    }
    return openFile(error) && repair(error);
}

bool TighteningLog::openFile(QString* error)
{
    // Unbuffered: what could not be written must not come out of a buffer later, behind the next line.
    QString reason;
    if (openPlainFile(m_file, m_path, &reason))
        return true;
    *error = failure(m_path, QStringLiteral("opened"), reason);
    return false;
}

std::optional<TighteningLedger::State> TighteningLog::newestState(QFile& file) const
{
    LinesFromEnd lines(file, c_longestLine);
    while (const std::optional<QByteArray> line = lines.next()) {
        std::optional<TighteningLedger::State> state = tighteningState(*line, m_layout.format);
        if (state)
            return state;
    }
    return std::nullopt;
}

bool TighteningLog::repair(QString* error)
{
    m_file.seek(0);
    const QByteArray start = m_file.read(c_longestLine);
    // First of all: nothing is cut off a file of somebody else's.
    if (!start.isEmpty() && !beginsTighteningLog(start, m_layout)) {
        *error = foreignFile(m_path);
        return false;
    }
    const qint64 whole = endOfLastLine(m_file);
    if (whole != m_file.size()) {
        m_notes.append(QStringLiteral("%1: a torn last line of %2 bytes was cut off")
                           .arg(m_path)
                           .arg(m_file.size() - whole));
        if (!m_file.resize(whole) || !synchronise(m_file)) {
            *error = failure(m_path, QStringLiteral("repaired"), m_file.errorString());
            return false;
        }
    }
    m_lastState = newestState(m_file);
    // The program may have ended between making room and the first line.
    const int kept = keptCount();
    for (int number = 1; !m_lastState && number <= kept; ++number) {
        QFile rotated;
        QString reason;
        if (openInputFile(rotated, rotatedName(number), &reason))
            m_lastState = newestState(rotated);
    }
    const QByteArray header = tighteningHeader(m_layout);
    if (whole > 0 && !start.startsWith(header)) {
        m_notes.append(QStringLiteral("%1 has other columns: a new file is begun").arg(m_path));
        return rotate(error);
    }
    return whole > 0 || header.isEmpty() || write(header, error);
}

bool TighteningLog::append(const TighteningLine& line, QString* error)
{
    const QByteArray text = tighteningText(line, m_layout);
    const auto headerSize = tighteningHeader(m_layout).size();
    const bool isFull =
        m_rotateSize > 0 && m_file.size() > headerSize && m_file.size() + text.size() > m_rotateSize;
    if (isFull && !rotate(error))
        return false;
    return write(text, error);
}

bool TighteningLog::isOwn(const QString& path) const
{
    const QFileInfo info(path);
    if (!info.exists() && !info.isSymLink())
        return true;
    QFile file;
    QString reason;
    if (info.isSymLink() || !openInputFile(file, path, &reason))
        return false;
    const QByteArray start = file.read(c_longestLine);
    return start.isEmpty() || beginsTighteningLog(start, m_layout);
}

// Without a gap from FILE.1 on.
int TighteningLog::keptCount() const
{
    const auto isThere = [this](int number) {
        const QFileInfo info(rotatedName(number));
        return info.exists() || info.isSymLink();
    };
    int count = 0;
    while (count < m_keep && isThere(count + 1))
        ++count;
    return count;
}

bool TighteningLog::canRotate(int last, QString* error) const
{
    for (int number = 1; number <= last; ++number) {
        if (!isOwn(rotatedName(number))) {
            *error = foreignFile(rotatedName(number));
            return false;
        }
    }
    return true;
}

bool TighteningLog::rotate(QString* error)
{
    const int kept = keptCount();
    // Those too that a later file takes the place of.
    if (!canRotate(m_keep == c_keepAll ? kept : m_keep, error))
        return false;
    m_file.close();
    if (kept == m_keep && kept > 0)
        QFile::remove(rotatedName(m_keep));
    for (int number = std::min(kept, m_keep - 1); number > 0; --number)
        QFile::rename(rotatedName(number), rotatedName(number + 1));
    const bool moved = m_keep > 0 ? QFile::rename(m_path, rotatedName(1)) : QFile::remove(m_path);
    if (!moved) {
        *error = QStringLiteral("%1 cannot be renamed to %2: end the program that holds one of them open, or "
                                "give this user the right to write to their folder")
                     .arg(m_path, rotatedName(1));
        return false;
    }
    const QByteArray header = tighteningHeader(m_layout);
    return openFile(error) && (header.isEmpty() || write(header, error));
}

bool TighteningLog::write(const QByteArray& bytes, QString* error)
{
    const qint64 size = m_file.size();
    const bool isWritten = m_file.write(bytes) == bytes.size() && synchronise(m_file);
    if (isWritten)
        return true;
    *error = failure(m_path, QStringLiteral("written"), m_file.errorString());
    // Half a line must not stand before the next one. When this fails too, the next opening repairs it.
    m_file.resize(size);
    return false;
}
