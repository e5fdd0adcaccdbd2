#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

// Appends what goes over a link to a text file, a line "date time tx|rx hex" each. A file that
// cannot be written is told once, and the link goes on without a trace.
class FrameTrace
{
public:
    // Empty for no trace.
    explicit FrameTrace(const QString& path);

    // Unit and protocol data unit of a request, without the transport's frame around it.
    void sent(const QByteArray& bytes);
    // The bytes as they came from the transport, in the pieces in which they came.
    void received(const QByteArray& bytes);

private:
    void write(const char* direction, const QByteArray& bytes);

    QFile m_file;
};
