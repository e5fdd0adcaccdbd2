#pragma once

#include "applications/simulator/simulated_controller.h"

#include <QDataStream>
#include <QModbusPdu>
#include <QModbusServer>

#include <optional>

// A request that writes, taken apart.
struct WriteRequest
{
    QModbusDataUnit::RegisterType table = QModbusDataUnit::HoldingRegisters;
    quint16 address = 0; // on the wire
    QVector<quint16> values;
};

// The writing functions 0x05, 0x06, 0x0F and 0x10; nothing for others and for malformed ones.
std::optional<WriteRequest> decodeWrite(const QModbusPdu& request);

// The answer when it is not the library server's to give: Report Server ID, functions that the
// controller does not know, writes that the controller refuses. `addressOffset` is what the addresses of the
// request have besides the controller's.
std::optional<QModbusResponse> answerByController(const SimulatedController& controller,
                                                  const QModbusPdu& request, int addressOffset);

// Adds a write to the controller's log; nothing for a request that does not write.
void noteWrite(SimulatedController& controller, const QString& transport, const QModbusPdu& request,
               int addressOffset, quint8 exception);

// One of the library's servers whose registers are the controller's, where the wire counts them by an offset
// away from it.
template <typename LibraryServer>
class SimulatedServer : public LibraryServer
{
public:
    SimulatedServer(SimulatedController& controller, QString transport)
        : m_controller(controller)
        , m_transport(std::move(transport))
    {}

    void setAddressOffset(int offset) { m_addressOffset = offset; }

    // What the controller answers, function code and data, to such a request. Without a connection: who has
    // the frames brings them here.
    QByteArray answer(const QByteArray& pdu)
    {
        QModbusRequest request(static_cast<QModbusPdu::FunctionCode>(static_cast<quint8>(pdu[0])),
                               pdu.mid(1));
        // As the library reads a request: what stands behind it in its frame is passed over.
        const int size = QModbusRequest::calculateDataSize(request);
        if (size >= 0 && size < request.dataSize())
            request.setData(request.data().left(size));
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << processRequest(request);
        return bytes;
    }

protected:
    QModbusResponse processRequest(const QModbusPdu& request) override
    {
        const auto own = answerByController(m_controller, request, m_addressOffset);
        QModbusResponse response = own ? *own : LibraryServer::processRequest(request);
        // Here and not in dataWritten: that signal is silent for a value that does not change.
        noteWrite(m_controller, m_transport, request, m_addressOffset,
                  response.isException() ? static_cast<quint8>(response.exceptionCode()) : quint8(0));
        return response;
    }

    bool readData(QModbusDataUnit* data) const override
    {
        QVector<quint16> values;
        const int address = data->startAddress() - m_addressOffset;
        if (!RegisterBank::isAddress(address) ||
            m_controller.read(data->registerType(), static_cast<quint16>(address),
                              static_cast<int>(data->valueCount()),
                              &values) != SimulatedController::c_accepted)
            return false;
        data->setValues(values);
        return true;
    }

    bool writeData(const QModbusDataUnit& data) override
    {
        // Whether it is an address has been asked before.
        return m_controller.write(data.registerType(),
                                  static_cast<quint16>(data.startAddress() - m_addressOffset),
                                  data.values()) == SimulatedController::c_accepted;
    }

private:
    SimulatedController& m_controller;
    QString m_transport;
    int m_addressOffset = 0;
};
