#pragma once

#include "plugins/p_driver_modbus/tests/modbus_bench.h"
#include "tests/support/serial_peer.h"

// Over a pseudo-terminal, whose other end is the test's.
class ModbusRtuBench : public ModbusBench
{
public:
    void start(const QString& device, int baudRate = 115200)
    {
        startWith({{"transport", "rtu"}, {"serialPort", device}, {"baudRate", baudRate}, {"parity", "none"}});
    }
    std::unique_ptr<FakeOrder> run(const QString& command, const QVariantMap& arguments,
                                   int timeout = c_timeout)
    {
        return ModbusBench::run(command, arguments, timeout);
    }

    static constexpr int c_timeout = 150;
};
