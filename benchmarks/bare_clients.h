#pragma once

#include <QModbusTcpClient>
#include <QtGlobal>

#include <functional>
#include <modbus.h>

// What the plug-ins are measured against: the same requests, one in flight, sent by somebody who uses a
// library as it is. Each call returns when the last answer has come; false when one was not good.

// Registers of one read.
constexpr int c_blockSize = 60;

class BareClient
{
public:
    explicit BareClient(int port);

    bool isConnected() const { return m_client.state() == QModbusDevice::ConnectedState; }
    // Registers 1 to `registers` in blocks.
    bool read(int registers);
    // One request.
    bool readBlock(int address, int count);
    // Returns at once; `onEnd` is called when a good answer has come.
    void readInBackground(int address, int count, const std::function<void()>& onEnd);
    // Registers 1 to `registers`, each by a request of its own.
    bool write(int registers, quint16 value);

private:
    bool inTurn(int count, const std::function<QModbusReply*(int)>& send);

    QModbusTcpClient m_client;
};

// What no client can be below: the system calls of a request and its answer, and nothing else.
class BareSocket
{
public:
    explicit BareSocket(int port);
    ~BareSocket();
    Q_DISABLE_COPY(BareSocket)

    // One request of up to c_blockSize registers; what comes is taken for the answer when it is as long.
    bool readBlock(int address, int count);

private:
    int m_socket;
    quint16 m_transaction = 0;
};

class LibModbus
{
public:
    explicit LibModbus(int port);
    ~LibModbus();
    Q_DISABLE_COPY(LibModbus)

    bool read(int registers);
    bool readBlock(int address, int count);
    bool write(int registers, quint16 value);

private:
    modbus_t* m_context;
    bool m_isConnected = false;
};
