#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include "plugins/p_driver_modbus/source/rtu_transport.h"
#include "plugins/p_driver_modbus/source/tcp_transport.h"

ModbusTransport::ModbusTransport(const ModbusConfiguration& configuration)
    : m_configuration(configuration)
{}

ModbusTransport::~ModbusTransport() = default;

std::unique_ptr<const ModbusTransport> makeTransport(const ModbusConfiguration& configuration)
{
    if (configuration.transport == ModbusConfiguration::Transport::Rtu)
        return std::make_unique<RtuTransport>(configuration);
    return std::make_unique<TcpTransport>(configuration);
}
