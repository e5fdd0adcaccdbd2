#pragma once

#include "applications/simulator/fault_plan.h"
#include "applications/simulator/modbus_frames.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>

// What the relays need from the simulator. All of it outlives them.
struct RelayContext
{
    FaultPlan* plan = nullptr;
    int unitId = 1;
    // What the wire's addresses have besides the configuration's registers.
    int addressOffset = 0;
    std::function<void(const QString& text)> message;
    // A request that a fault refuses in the controller's name: transport, PDU, exception code.
    std::function<void(const QString& transport, const QByteArray& pdu, quint8 code)> refused;
    // What becomes of an answer that a fault hits.
    std::function<Delivery(const Fault& fault, const QByteArray& answer, int headerSize)> bend = bendAnswer;
    // Who answers instead of the controller, where a session is replayed: to unit, function code and data,
    // with the number of the transaction over TCP. Nothing for a request that was never recorded.
    std::function<std::optional<Delivery>(const QByteArray& request, std::optional<quint16> transaction)>
        replay;
    // The controller goes down for so long. May be called from within a relay: takes effect later.
    std::function<void(int milliseconds)> restart;

    // What a request (function code and data) reads or writes, in the configuration's registers.
    std::optional<TouchedRegisters> touched(const QByteArray& pdu) const;
};

// How a request is refused that was never recorded.
constexpr quint8 c_neverRecorded = 2;

// "request 3 (function 0x06): late=4000"
QString faultMessage(const FaultPlan& plan, quint8 function, const Fault& fault);
