#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

// Appends what goes over a link to a text file, a line "date time tx|rx hex" each. A file that
// cannot be written is told once, and the link goes on without a trace. A file that would grow beyond
// its limit is renamed to its name and ".1", in place of the one before, and a new one begun.
// The name comes from a configuration, whoever wrote that: a file whose first line is none of a trace is left
// as it is, as is one of the name with ".1", and no symbolic link is followed.
class FrameTrace
{
public:
    // `path` is empty for no trace; `limit` in bytes, of one file.
    explicit FrameTrace(const QString& path, qint64 limit = Q_INT64_C(16) * 1024 * 1024);

    bool isOpen() const { return m_file.isOpen(); }
    // Unit and protocol data unit of a request, without the transport's frame around it.
    void sent(const QByteArray& bytes);
    // The bytes as they came from the transport, in the pieces in which they came.
    void received(const QByteArray& bytes);

private:
    void write(const char* direction, const QByteArray& bytes);
    // False with the reason.
    bool open(QString* reason);
    bool rotate(QString* reason);
    void giveUp(const QString& problem, const QString& reason);
    QString writeError() const;

    QString m_path;
    QFile m_file;
    qint64 m_limit;
};
