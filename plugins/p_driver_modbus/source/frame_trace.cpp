#include "plugins/p_driver_modbus/source/frame_trace.h"

#include <lib_utilities/date.h>
#include <QDebug>

FrameTrace::FrameTrace(const QString& path)
    : m_file(path)
{
    if (path.isEmpty())
        return;
    if (!m_file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        qWarning().noquote()
            << QStringLiteral("frame trace \"%1\" cannot be written: %2").arg(path, m_file.errorString());
    }
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
    if (m_file.write(line) == line.size())
        return;
    qWarning().noquote()
        << QStringLiteral("frame trace \"%1\" ends here: %2").arg(m_file.fileName(), m_file.errorString());
    m_file.close();
}
