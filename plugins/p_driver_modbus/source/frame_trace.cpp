#include "plugins/p_driver_modbus/source/frame_trace.h"

#include <lib_utilities/plain_file.h>
#include <lib_utilities/printable_text.h>
#include <QDebug>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

namespace {

const QString c_foreign = QStringLiteral("holds something else than a trace; name another file");

// By the first line, a torn one too. An empty file has nothing to lose.
bool isTrace(const QByteArray& start)
{
    static const QRegularExpression c_line(
        QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} ((tx|rx) [0-9a-f]{1,2}( "
                       "[0-9a-f]{2})*( [0-9a-f]?)?|open (tcp|rtu)|(failed|lost|left) .+)$"));
    return start.isEmpty() || c_line.match(QString::fromLatin1(start.split('\n').constFirst())).hasMatch();
}

// More than a line of any frame.
constexpr qint64 c_start = 4096;
// Of a reason, which may come from the system.
constexpr int c_longestText = 200;

} // namespace

FrameTrace::FrameTrace(const QString& path, qint64 limit)
    : m_path(path)
    , m_limit(limit)
{
    QString reason;
    if (!path.isEmpty() && !open(&reason))
        giveUp(QStringLiteral("cannot be written"), reason);
}

FrameTrace::FrameTrace(const Record& record)
    : m_path(record.path)
    , m_isRecord(true)
    , m_begin(QDateTime::currentDateTime())
    , m_limit(record.limit)
{
    m_clock.start();
    QString reason;
    if (m_path.isEmpty())
        return;
    if (openNew(&reason))
        note("record 1", record.settings);
    else
        giveUp(QStringLiteral("cannot be written"), reason);
}

void FrameTrace::sent(const QByteArray& bytes)
{
    if (isOpen())
        write("tx", bytes.toHex(' '));
}

void FrameTrace::received(const QByteArray& bytes)
{
    if (isOpen())
        write("rx", bytes.toHex(' '));
}

void FrameTrace::note(const char* kind, const QString& text)
{
    // One line, whatever the system says.
    if (isOpen())
        write(kind, printableText(text.left(c_longestText)).toUtf8());
}

QByteArray FrameTrace::time() const
{
    const QDateTime now = m_isRecord ? m_begin.addMSecs(m_clock.elapsed()) : QDateTime::currentDateTime();
    return QLocale::c().toString(now, QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")).toLatin1();
}

bool FrameTrace::makeRoom(qint64 size)
{
    if (m_file.size() == 0 || m_file.size() + size <= m_limit)
        return true;
    QString reason;
    if (m_isRecord)
        reason = QStringLiteral("it has the %1 bytes that can be replayed").arg(m_limit);
    else if (rotate(&reason))
        return true;
    giveUp(QStringLiteral("ends here"), reason);
    return false;
}

void FrameTrace::write(const char* kind, const QByteArray& rest)
{
    const QByteArray line = time() + ' ' + kind + ' ' + rest + '\n';
    if (!makeRoom(line.size()))
        return;
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

bool FrameTrace::openNew(QString* reason)
{
    return openNewFile(m_file, m_path, reason);
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
    qWarning().noquote() << QStringLiteral("frame %1 \"%2\" %3: %4")
                                .arg(m_isRecord ? QStringLiteral("record") : QStringLiteral("trace"), m_path,
                                     problem, reason);
    m_file.close();
}
