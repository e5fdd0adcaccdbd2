#pragma once

#include "applications/simulator/fault_plan.h"
#include "applications/simulator/modbus_frames.h"

#include <QByteArray>
#include <QString>

#include <functional>

// What the relays need from the simulator. All of it outlives them.
struct RelayContext
{
    FaultPlan* plan = nullptr;
    int unitId = 1;
    std::function<void(const QString& text)> message;
    // A request that a fault refuses in the controller's name: transport, PDU, exception code.
    std::function<void(const QString& transport, const QByteArray& pdu, quint8 code)> refused;
    // What becomes of an answer that a fault hits.
    std::function<Delivery(const Fault& fault, const QByteArray& answer, int headerSize)> bend = bendAnswer;
    // The controller goes down for so long. May be called from within a relay: takes effect later.
    std::function<void(int milliseconds)> restart;
};

// "request 3 (function 0x06): late=4000"
QString faultMessage(const FaultPlan& plan, quint8 function, const Fault& fault);
