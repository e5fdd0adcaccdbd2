#pragma once

#include "plugins/p_driver_modbus/tests/modbus_bench.h"
#include "tests/support/serial_peer.h"

// Over a pseudo-terminal, whose other end is the test's.
class ModbusRtuBench : public ModbusBench
{
public:
    void start(const QString& device, int baudRate = 115200, const QJsonObject& more = {})
    {
        QJsonObject configuration{
            {"transport", "rtu"}, {"serialPort", device}, {"baudRate", baudRate}, {"parity", "none"}};
        for (auto it = more.constBegin(); it != more.constEnd(); ++it)
            configuration.insert(it.key(), it.value());
        startWith(configuration);
    }
    std::unique_ptr<FakeOrder> run(const QString& command, const QVariantMap& arguments,
                                   int timeout = c_timeout)
    {
        return ModbusBench::run(command, arguments, timeout);
    }

    static constexpr int c_timeout = 150;
};
