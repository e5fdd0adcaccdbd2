#pragma once

#include "plugins/p_driver_modbus/source/modbus_transport.h"

// Modbus RTU. An answer does not tell which request it belongs to, frames take their time, and so does a port
// that is closed and opened.
class RtuTransport : public ModbusTransport
{
public:
    using ModbusTransport::ModbusTransport;

    QIODevice* makeDevice(DeviceHolder& holder) const override;
    bool open(QIODevice& device) const override;
    bool write(QIODevice& device, const QByteArray& frame) const override;
    void putFrame(QByteArray& frame, const ModbusRequest& request, quint16 transaction) const override;
    AnswerCheck check(const QByteArray& received, quint16 transaction) const override;
    std::chrono::milliseconds silenceBefore() const override;
    bool hearsOldAnswers() const override { return true; }
    int drainTime(int allowedTime) const override;
    std::chrono::microseconds leastAnswerTime(const ModbusRequest& request) const override;
    QString whyTooLate(const ModbusRequest& request, std::chrono::nanoseconds left) const override;
    std::chrono::milliseconds timeToTell() const override;
};
