#include "plugins/p_driver_modbus/source/frame_trace.h"

#include <lib_utilities/date.h>
#include <QDebug>

FrameTrace::FrameTrace(const QString& path, qint64 limit)
    : m_file(path)
    , m_limit(limit)
{
    if (!path.isEmpty() && !open())
        giveUp(QStringLiteral("cannot be written"));
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
    if (m_file.size() > 0 && m_file.size() + line.size() > m_limit) {
        const QString older = m_file.fileName() + QStringLiteral(".1");
        m_file.close();
        QFile::remove(older);
        if (!QFile::rename(m_file.fileName(), older) || !open()) {
            giveUp(QStringLiteral("ends here, it cannot be renamed and begun anew"));
            return;
        }
    }
    const qint64 written = m_file.write(line);
    if (written == line.size())
        return;
    // A disk that takes a part does not say why it took no more; what is left shows it.
    if (written < 0 || m_file.write(line.mid(static_cast<int>(written))) != line.size() - written)
        giveUp(QStringLiteral("ends here"));
}

bool FrameTrace::open()
{
    return m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered);
}

void FrameTrace::giveUp(const QString& problem)
{
    const QString reason = m_file.error() == QFileDevice::ResourceError
                               ? QStringLiteral("the disk is full (%1)").arg(m_file.errorString())
                               : m_file.errorString();
    qWarning().noquote()
        << QStringLiteral("frame trace \"%1\" %2: %3").arg(m_file.fileName(), problem, reason);
    m_file.close();
}
