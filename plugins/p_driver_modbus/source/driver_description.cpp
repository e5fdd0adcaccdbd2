#include "plugins/p_driver_modbus/source/driver_description.h"

#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <lib_plugins_management/plugin_description.h>

QVariantMap modbusDriverDescription()
{
    using namespace plugin_description;
    const QString transport = QStringLiteral("transport");
    const QVariantMap tcp{{c_set, QVariantMap{{transport, QStringLiteral("tcp")}}},
                          {c_host, QStringLiteral("host")},
                          {c_port, QStringLiteral("port")}};
    const QVariantMap serial{{c_set, QVariantMap{{transport, QStringLiteral("rtu")}}},
                             {c_device, QStringLiteral("serialPort")}};
    return {{c_readableRegisterTypes, readableRegisterTypes()},
            {c_writableRegisterTypes, writableRegisterTypes()},
            {c_tcpLink, tcp},
            {c_serialLink, serial},
            {c_unit, QStringLiteral("unitId")},
            {c_addressOffset, QStringLiteral("addressOffset")},
            {c_frameTrace, QStringLiteral("frameTrace")},
            {c_frameRecord, QStringLiteral("frameRecord")}};
}
