#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QString>

// Appends what goes over a link to a text file, a line "date time kind rest" each: frames as "tx hex" and
// "rx hex", and what becomes of the connection. A file that cannot be written is told once, and the link goes
// on without it.
//
// A trace that would grow beyond its limit is renamed to its name and ".1", in place of the one before, and a
// new one begun.
// The name comes from a configuration, whoever wrote that: a file whose first line is none of a trace is left
// as it is, as is one of the name with ".1", and no symbolic link is followed.
//
// A record is a whole session, from which a controller can be made that does the same: always a new file,
// whose first line says so, which ends at its limit. Its times keep their distances when somebody sets the
// clock.
class FrameTrace
{
public:
    struct Record
    {
        QString path; // empty for none
        // What its reader should know of the link, in one line.
        QString settings;
        qint64 limit = Q_INT64_C(64) * 1024 * 1024;
    };

    // `path` is empty for no trace; `limit` in bytes, of one file.
    explicit FrameTrace(const QString& path, qint64 limit = Q_INT64_C(16) * 1024 * 1024);
    explicit FrameTrace(const Record& record);

    bool isOpen() const { return m_file.isOpen(); }
    // Unit and protocol data unit of a request, without the transport's frame around it.
    void sent(const QByteArray& bytes);
    // The bytes as they came from the transport, in the pieces in which they came.
    void received(const QByteArray& bytes);
    // What becomes of the connection: "open" and what over, "failed" (an attempt to make one), "lost" (to the
    // other end) or "left" (given up on this one) and why.
    void note(const char* kind, const QString& text);

private:
    void write(const char* kind, const QByteArray& rest);
    QByteArray time() const;
    // Is there room for a line of this size, in this file or in a new one?
    bool makeRoom(qint64 size);
    // False with the reason.
    bool open(QString* reason);
    bool openNew(QString* reason);
    bool rotate(QString* reason);
    void giveUp(const QString& problem, const QString& reason);
    QString writeError() const;

    QString m_path;
    bool m_isRecord = false;
    QDateTime m_begin;
    QElapsedTimer m_clock;
    QFile m_file;
    qint64 m_limit;
};
