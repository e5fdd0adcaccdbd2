#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QMap>
#include <QObject>
#include <QTcpServer>

#include <functional>

class QTcpSocket;

// A Modbus TCP controller on the loopback that answers as it is told, wrongly included. A register
// reads as its own address until it is written; the identification is 13 bytes 1…13 at
// first.
class ScriptedPeer : public QObject
{
    Q_OBJECT

public:
    enum Fault {
        None,
        NoAnswer,
        LateAnswer,     // after lateBy milliseconds
        Exception,      // of exceptionCode
        HalfFrame,      // the first half of the answer
        HeaderOnly,     // the seven bytes before the function code
        Close,          // in an orderly way
        Reset,          // TCP reset
        LengthZero,     // in the header
        LengthTooLarge, // in the header
        WrongUnit,
        WrongFunction,
        WrongProtocol,
        WrongTransaction,
        Flood,            // megabytes of frames of another transaction
        TooShortThenGood, // a frame without its last byte, followed by a good one
        TooLong,          // one register more than asked
        Duplicate,        // the answer twice
        Chatter,          // the answer, and later a frame that nobody asked for
        Script,           // whatever `script` does
    };

    explicit ScriptedPeer(QObject* parent = nullptr);
    ~ScriptedPeer() override;

    // Takes a free port; the port that was had, or was set, is kept when it listens again.
    bool listen();
    void setPort(quint16 port) { m_port = port; }
    // Refuses connections from now on and drops those there are.
    void refuse();
    quint16 port() const { return m_port; }

    // The next `times` requests meet the fault; negative for all that follow.
    void setFault(Fault fault, int times = 1);
    // Every answer comes so many milliseconds after its request.
    void setAnswerDelay(int delay) { m_answerDelay = delay; }
    // Closes every connection as soon as it is made.
    void setCloseOnConnect(bool close) { m_closeOnConnect = close; }

    int lateBy = 0;
    int exceptionCode = 2;      // illegal data address
    QList<QByteArray> requests; // unit and protocol data unit
    QList<qint64> requestTimes; // milliseconds since the peer was made
    int connections = 0;

    // Writes what it likes to the socket; `request` and `good` are whole frames. The registers have been
    // written by then.
    std::function<void(QTcpSocket* socket, const QByteArray& request, const QByteArray& good)> script;
    QByteArray identification = QByteArray("\1\2\3\4\5\6\7\10\11\12\13\14\15", 13);

    // Ends the connection with a TCP reset.
    static void reset(QTcpSocket* socket);
    void setRegister(int address, int value) { m_registers.insert(address, value); }
    int registerValue(int address) const { return m_registers.value(address, address); }
    int openConnections() const { return static_cast<int>(m_sockets.size()); }
    // Bytes on every connection, out of turn.
    void chatter(const QByteArray& bytes);

Q_SIGNALS:
    void requested();

private:
    void onConnection();
    void onBytes(QTcpSocket* socket);
    void answer(QTcpSocket* socket, const QByteArray& request);
    QByteArray goodPdu(const QByteArray& request);
    QByteArray damaged(Fault fault, const QByteArray& good) const;

    QTcpServer m_server;
    quint16 m_port = 0;
    QList<QTcpSocket*> m_sockets;
    Fault m_fault = None;
    int m_faultsLeft = 0;
    int m_answerDelay = 0;
    bool m_closeOnConnect = false;
    QMap<int, int> m_registers;
    QElapsedTimer m_clock;
};
