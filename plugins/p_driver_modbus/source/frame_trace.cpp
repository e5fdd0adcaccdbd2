#include "plugins/p_driver_modbus/source/frame_trace.h"

#include <lib_utilities/date.h>
#include <lib_utilities/plain_file.h>
#include <QDebug>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

const QString c_foreign = QStringLiteral("holds something else than a trace; name another file");

// By the first line, a torn one too. An empty file has nothing to lose.
bool isTrace(const QByteArray& start)
{
    static const QRegularExpression c_line(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} (tx|rx) [0-9a-f]{1,2}( "
                       "[0-9a-f]{2})*( [0-9a-f]?)?$"));
    return start.isEmpty() || c_line.match(QString::fromLatin1(start.split('\n').constFirst())).hasMatch();
}

// More than a line of any frame.
constexpr qint64 c_start = 4096;

} // namespace

FrameTrace::FrameTrace(const QString& path, qint64 limit)
    : m_path(path)
    , m_limit(limit)
{
    QString reason;
    if (!path.isEmpty() && !open(&reason))
        giveUp(QStringLiteral("cannot be written"), reason);
}

void FrameTrace::sent(const QByteArray& bytes)
{
    write("tx", bytes);
}

void FrameTrace::received(const QByteArray& bytes)
{
    write("rx", bytes);
}

void FrameTrace::write(const char* direction, const QByteArray& bytes)
{
    if (!m_file.isOpen())
        return;
    const QByteArray line = getDate().toLatin1() + ' ' + direction + ' ' + bytes.toHex(' ') + '\n';
    QString reason;
    if (m_file.size() > 0 && m_file.size() + line.size() > m_limit && !rotate(&reason)) {
        giveUp(QStringLiteral("ends here"), reason);
        return;
    }
    const qint64 written = m_file.write(line);
    if (written == line.size())
        return;
    // A disk that takes a part does not say why it took no more; what is left shows it.
    if (written < 0 || m_file.write(line.mid(static_cast<int>(written))) != line.size() - written)
        giveUp(QStringLiteral("ends here"), writeError());
}

bool FrameTrace::open(QString* reason)
{
    if (!openPlainFile(m_file, m_path, reason))
        return false;
    m_file.seek(0);
    if (isTrace(m_file.read(c_start)))
        return true;
    *reason = QStringLiteral("it ") + c_foreign;
    return false;
}

bool FrameTrace::rotate(QString* reason)
{
    const QString older = m_path + QStringLiteral(".1");
    const QFileInfo info(older);
    if (info.exists() || info.isSymLink()) {
        QFile file(older);
        if (info.isSymLink() || !info.isFile() || !file.open(QIODevice::ReadOnly) ||
            !isTrace(file.read(c_start))) {
            *reason = older + QLatin1Char(' ') + c_foreign;
            return false;
        }
    }
    m_file.close();
    QFile::remove(older);
    if (QFile::rename(m_path, older))
        return open(reason);
    *reason = QStringLiteral("it cannot be renamed to %1").arg(older);
    return false;
}

QString FrameTrace::writeError() const
{
    return m_file.error() == QFileDevice::ResourceError
               ? QStringLiteral("the disk is full (%1)").arg(m_file.errorString())
               : m_file.errorString();
}

void FrameTrace::giveUp(const QString& problem, const QString& reason)
{
    qWarning().noquote() << QStringLiteral("frame trace \"%1\" %2: %3").arg(m_path, problem, reason);
    m_file.close();
}
