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
// would be through, and not before the line has been silent for as long as a frame demands.
class PacedLine : public QIODevice
{
    Q_OBJECT

public:
    // `line` is open.
    PacedLine(std::unique_ptr<QIODevice> line, int baudRate, QObject* parent = nullptr);

    bool isSequential() const override { return true; }

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

    void onBytes();
    void work();
    void waitUntil(qint64 time) const;
    void passOutgoing();
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
    QByteArray m_arrived;
};
