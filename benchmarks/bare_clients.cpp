#include "benchmarks/bare_clients.h"

#include <QEventLoop>
#include <QModbusReply>
#include <QVariant>
#include <QVector>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int c_timeout = 3000;
constexpr int c_unit = 1;

} // namespace

BareClient::BareClient(int port)
{
    m_client.setConnectionParameter(QModbusDevice::NetworkAddressParameter, QStringLiteral("127.0.0.1"));
    m_client.setConnectionParameter(QModbusDevice::NetworkPortParameter, port);
    m_client.setTimeout(c_timeout);
    m_client.setNumberOfRetries(0);
    QEventLoop loop;
    QObject::connect(&m_client, &QModbusDevice::stateChanged, &loop, [&](QModbusDevice::State state) {
        if (state == QModbusDevice::ConnectedState || state == QModbusDevice::UnconnectedState)
            loop.quit();
    });
    if (m_client.connectDevice())
        loop.exec();
}

bool BareClient::read(int registers)
{
    return inTurn((registers + c_blockSize - 1) / c_blockSize, [this, registers](int i) {
        const int first = i * c_blockSize;
        return m_client.sendReadRequest(
            QModbusDataUnit(QModbusDataUnit::HoldingRegisters, first + 1,
                            static_cast<quint16>(std::min(c_blockSize, registers - first))),
            c_unit);
    });
}

bool BareClient::readBlock(int address, int count)
{
    return inTurn(1, [this, address, count](int) {
        return m_client.sendReadRequest(
            QModbusDataUnit(QModbusDataUnit::HoldingRegisters, address, static_cast<quint16>(count)), c_unit);
    });
}

void BareClient::readInBackground(int address, int count, const std::function<void()>& onEnd)
{
    QModbusReply* const reply = m_client.sendReadRequest(
        QModbusDataUnit(QModbusDataUnit::HoldingRegisters, address, static_cast<quint16>(count)), c_unit);
    if (reply == nullptr)
        return;
    QObject::connect(reply, &QModbusReply::finished, [reply, onEnd] {
        if (reply->error() == QModbusDevice::NoError)
            onEnd();
        reply->deleteLater();
    });
}

bool BareClient::write(int registers, quint16 value)
{
    return inTurn(registers, [this, value](int i) {
        return m_client.sendWriteRequest(
            QModbusDataUnit(QModbusDataUnit::HoldingRegisters, i + 1, QVector<quint16>{value}), c_unit);
    });
}

bool BareClient::inTurn(int count, const std::function<QModbusReply*(int)>& send)
{
    QEventLoop loop;
    bool isGood = true;
    int next = 0;
    std::function<void()> sendNext = [&] {
        if (!isGood || next == count) {
            loop.quit();
            return;
        }
        QModbusReply* const reply = send(next++);
        if (reply == nullptr) {
            isGood = false;
            QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
            return;
        }
        QObject::connect(reply, &QModbusReply::finished, &loop, [&, reply] {
            isGood = reply->error() == QModbusDevice::NoError;
            reply->deleteLater();
            sendNext();
        });
    };
    sendNext();
    loop.exec();
    return isGood;
}

BareSocket::BareSocket(int port)
    : m_socket(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(static_cast<quint16>(port));
    peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connect(m_socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
}

BareSocket::~BareSocket()
{
    close(m_socket);
}

bool BareSocket::readBlock(int address, int count)
{
    constexpr quint8 c_readHoldingRegisters = 3;
    constexpr int c_answerHead = 9; // transaction, protocol, length, unit, function, byte count
    const auto high = [](int word) { return static_cast<quint8>(word >> 8); };
    const auto low = [](int word) { return static_cast<quint8>(word); };
    ++m_transaction;
    const std::array<quint8, 12> request{
        high(m_transaction), low(m_transaction), 0,           0,         0, 6, c_unit, c_readHoldingRegisters,
        high(address),       low(address),       high(count), low(count)};
    if (send(m_socket, request.data(), request.size(), 0) != static_cast<ssize_t>(request.size()))
        return false;
    std::array<quint8, c_answerHead + 2 * c_blockSize> answer;
    const ssize_t received = recv(m_socket, answer.data(), answer.size(), 0);
    return received == c_answerHead + 2 * count && answer[7] == c_readHoldingRegisters;
}

LibModbus::LibModbus(int port)
    : m_context(modbus_new_tcp("127.0.0.1", port))
{
    modbus_set_slave(m_context, c_unit);
    m_isConnected = modbus_connect(m_context) == 0;
}

LibModbus::~LibModbus()
{
    modbus_close(m_context);
    modbus_free(m_context);
}

bool LibModbus::read(int registers)
{
    for (int first = 0; first < registers; first += c_blockSize) {
        if (!readBlock(first + 1, std::min(c_blockSize, registers - first)))
            return false;
    }
    return m_isConnected;
}

bool LibModbus::readBlock(int address, int count)
{
    quint16 words[c_blockSize];
    return m_isConnected && modbus_read_registers(m_context, address, count, words) == count;
}

bool LibModbus::write(int registers, quint16 value)
{
    for (int i = 0; m_isConnected && i < registers; ++i) {
        if (modbus_write_register(m_context, i + 1, value) != 1)
            return false;
    }
    return m_isConnected;
}
