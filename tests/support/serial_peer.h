#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QTemporaryDir>

#include <memory>

class QSocketNotifier;

// A Modbus RTU controller at the other end of a pseudo-terminal that answers as it is told, wrongly
// included. A register reads as its own address plus `offset` until it is written.
class SerialPeer : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder; // of the device name

public:
    enum Fault {
        None,
        NoAnswer,
        LateAnswer, // after lateBy milliseconds
        Exception,  // illegal data address
        HalfFrame,
        WrongChecksum,
        WrongUnit,
        Noise,       // a byte behind the answer
        NoiseBefore, // some bytes that are no frame, and the answer at once behind them
        Babble,      // 1000 bytes that are no frame
    };

    // Plugs itself in; `device` is empty when that fails.
    SerialPeer();
    ~SerialPeer() override;

    // Closes both ends: the device name is gone afterwards. It is a name of its own, a link, because the
    // system gives the pseudo-terminal's to the next one who asks, who may be another test.
    void unplug();
    // Another pseudo-terminal behind the same device name. False when there is none.
    bool plugIn();
    void send(const QByteArray& bytes);
    // Reads nothing any more, or all that has come meanwhile.
    void setReading(bool reading);
    // Takes no byte off the driver's hands any more, as a line whose handshake holds it up, or does again.
    void setTaking(bool taking);

    QString device;
    Fault fault = None;
    int faultsLeft = 0; // negative for all requests that follow
    int lateBy = 0;
    int offset = 0;
    bool sentAll = true;
    QList<QByteArray> requests; // unit and protocol data unit
    QList<qint64> requestTimes; // milliseconds since the peer was made

private:
    void onBytes();
    void answer(const QByteArray& request);
    QByteArray pdu(const QByteArray& request);

    int m_master = -1;
    int m_slave = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QElapsedTimer m_clock;
    QByteArray m_received;
    QMap<int, int> m_registers;
};

// `bytes` and their checksum.
QByteArray withChecksum(const QByteArray& bytes);
