#pragma once

#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Frames are what a transport puts around a protocol data unit. No input or output happens here.

// The frame of a request, in place of what `frame` has: its memory is used again.
void putTcpFrame(QByteArray& frame, const ModbusRequest& request, int unitId, quint16 transaction);
void putRtuFrame(QByteArray& frame, const ModbusRequest& request, int unitId);

// What has come since a request was sent, held against the frame that its answer would have.
// Neither confirmed nor a problem: more has to come.
struct AnswerCheck
{
    // The answer stands first, in a frame of its own, from the unit that was asked.
    bool confirmed = false;
    // Its protocol data unit, when it is confirmed: a part of the bytes that were checked.
    PduView pdu;
    // Of the frame that came, whole and from the unit that was asked, although it may not be confirmed.
    std::optional<quint8> function;
    // Why it is not, or why nothing that follows can be trusted; empty when that frame is all that
    // came.
    QString problem;
};

AnswerCheck checkTcpAnswer(const QByteArray& received, int unitId, quint16 transaction);
// What begins with anything else than the answer is not looked into: nobody knows where a frame in it would
// begin.
AnswerCheck checkRtuAnswer(const QByteArray& received, int unitId);

// Modbus over serial line, 4.1: unit, protocol data unit and checksum.
constexpr int c_mostRtuBytes = 256;
