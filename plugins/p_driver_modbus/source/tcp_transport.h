#pragma once

#include "plugins/p_driver_modbus/source/modbus_transport.h"

// Modbus TCP. A frame tells its own length and which request it answers, a connection has no other's answers,
// and nothing on this side is slow.
class TcpTransport : public ModbusTransport
{
public:
    using ModbusTransport::ModbusTransport;

    QIODevice* makeDevice(DeviceHolder& holder) const override;
    bool open(QIODevice& device) const override;
    bool write(QIODevice& device, const QByteArray& frame) const override;
    void flush(QIODevice& device) const override;
    void putFrame(QByteArray& frame, const ModbusRequest& request, quint16 transaction) const override;
    AnswerCheck check(const QByteArray& received, quint16 transaction) const override;
    std::chrono::milliseconds silenceBefore() const override { return std::chrono::milliseconds(0); }
    bool hearsOldAnswers() const override { return false; }
    int drainTime(int /*allowedTime*/) const override { return 0; }
    std::chrono::microseconds leastAnswerTime(const ModbusRequest& request) const override;
    QString whyTooLate(const ModbusRequest& request, std::chrono::nanoseconds left) const override;
    std::chrono::milliseconds timeToTell() const override { return std::chrono::milliseconds(0); }
};
