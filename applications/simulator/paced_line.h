#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QIODevice>
#include <QQueue>
#include <QTimer>

#include <memory>

// A line that takes the time of a serial line at a baud rate, in front of one that takes none, as a
// pseudo-terminal does. A character has eleven bits, as Modbus RTU prescribes. What the other end sends is
// there once its last bit would be; what is written leaves piece by piece, each piece when its last bit
// would be through, and not before the line has been silent for as long as a frame demands. What the line in
// front of it does not take is kept, and goes on from there once it does; of what nobody takes for long, no
// more than 64 KiB. Of what comes faster than the line as much is kept, and the rest is lost. It is closed
// with the line, and open again when bytes come from there.
class PacedLine : public QIODevice
{
    Q_OBJECT

public:
    // `line` is open.
    PacedLine(std::unique_ptr<QIODevice> line, int baudRate, QObject* parent = nullptr);
    ~PacedLine() override;

    bool isSequential() const override { return true; }
    qint64 bytesToWrite() const override;
    void close() override;

protected:
    qint64 readData(char* data, qint64 maximum) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    // Bytes and when the first one begins, in nanoseconds of the clock.
    struct Passage
    {
        QByteArray bytes;
        qint64 start = 0;
        int passed = 0;
    };

    // Of what has come and was not read.
    qint64 incomingSize() const;
    void onBytes();
    void onFinished();
    void onClosed();
    void work();
    void passOutgoing();
    void passIncoming();
    void holdUp(qint64 by);
    // The end of a passage: what the other side acts upon, and so what has to be on time.
    qint64 nextEnd() const;
    void schedule();
    qint64 endOf(const Passage& passage) const { return passage.start + passage.bytes.size() * m_character; }

    std::unique_ptr<QIODevice> m_line;
    qint64 m_character; // nanoseconds
    qint64 m_silence;
    QElapsedTimer m_clock;
    QTimer m_timer;
    QQueue<Passage> m_incoming;
    QQueue<Passage> m_outgoing;
    qint64 m_incomingEnd = 0;
    qint64 m_outgoingEnd = 0;
    bool m_isHeldUp = false;    // the line has taken less than was due
    bool m_isFinishing = false; // the line has told its end, which comes behind the bytes before it
    QByteArray m_arrived;
};
