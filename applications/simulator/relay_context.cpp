#include "applications/simulator/relay_context.h"

std::optional<TouchedRegisters> RelayContext::touched(const QByteArray& pdu) const
{
    std::optional<TouchedRegisters> registers = touchedRegisters(pdu);
    if (registers)
        registers->first -= addressOffset;
    return registers;
}

QString faultMessage(const FaultPlan& plan, quint8 function, const Fault& fault)
{
    return QStringLiteral("request %1 (function 0x%2): fault %3")
        .arg(plan.requestCount())
        .arg(function, 2, 16, QLatin1Char('0'))
        .arg(fault.toText());
}
