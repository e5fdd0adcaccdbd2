#pragma once

#include "applications/simulator/modbus_frames.h"
#include "applications/simulator/simulator.h"
#include "applications/simulator/tests/sample_configuration.h"

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QSerialPort>
#include <QSignalSpy>
#include <QString>
#include <QTcpSocket>

#include <memory>

// Frames as they stand on the wire: written out, not composed by what is tested.
inline const QByteArray c_readStatus = QByteArray::fromHex("0001 0000 0006 01 03 17D5 0004");
inline const QByteArray c_status = QByteArray::fromHex("0001 0000 000B 01 03 08 0000 0000 0001 0000");
inline const QByteArray c_writeDirection = QByteArray::fromHex("0002 0000 0006 01 06 1771 0001");
inline const QByteArray c_identify = QByteArray::fromHex("0003 0000 0002 01 11");
inline const QByteArray c_identity =
    QByteArray::fromHex("0003 0000 0010 01 11 0D 0100 0200 0700 AC0F 2A00 0F0713");

inline QByteArray withChecksum(QByteArray frame)
{
    const quint16 sum = rtuChecksum(frame);
    frame.append(static_cast<char>(sum & 0xFF));
    frame.append(static_cast<char>(sum >> 8));
    return frame;
}

inline QString newest(const QSignalSpy& messages)
{
    return messages.isEmpty() ? QString() : messages.last().first().toString();
}

// A client that knows bytes only.
class RawClient
{
public:
    explicit RawClient(quint16 port)
    {
        QObject::connect(&m_socket, &QTcpSocket::readyRead, &m_socket,
                         [this] { m_received += m_socket.readAll(); });
        m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    }
    QTcpSocket& socket() { return m_socket; }
    QByteArray received() const { return m_received.toHex(); }
    void forget() { m_received.clear(); }
    void send(const QByteArray& bytes) { m_socket.write(bytes); }
    bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    bool isClosed() const { return m_socket.state() == QAbstractSocket::UnconnectedState; }

private:
    QTcpSocket m_socket;
    QByteArray m_received;
};

// For each test a controller of its own, of generation 2, that listens on TCP.
class SimulatorFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

protected:
    // A client's end of the serial line, whose bytes line() tells.
    void openLine(const QString& name);
    QByteArray line() const { return m_fromLine.toHex(); }

    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<QSerialPort> m_line;
    QByteArray m_fromLine;
};
