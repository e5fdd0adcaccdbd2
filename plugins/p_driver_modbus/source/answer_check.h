#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// Compares an answer that Qt's client took out of the stream with the bytes that really came. The
// client does not look at the unit, the protocol identifier and the length field, and reads over
// the end of a frame that is too short, so its word alone is not enough.
struct AnswerCheck
{
    // The answer stood in a frame of its own, from the unit that was asked.
    bool confirmed = false;
    // Its protocol data unit, when it is confirmed. The function code is that of the frame: the client keeps
    // an exception's as a value that its own enumeration does not have.
    QByteArray pdu;
    // Of the frame that came, whole and from the unit that was asked, although it may not be confirmed: the
    // client takes a frame of a function that it does not know as one of no length, or waits for more of it.
    std::optional<quint8> function;
    // Why it is not, or why nothing that follows can be trusted; empty when that frame is all that
    // came.
    QString problem;
};

// `data` is what follows the function code in the answer that the client has taken.
// The answer must be the first frame: the connection has had no other since its request.
AnswerCheck checkTcpAnswer(const QByteArray& received, int unitId, const QByteArray& data);
// The checksum has been verified by the client.
AnswerCheck checkRtuAnswer(const QByteArray& received, int unitId, const QByteArray& data);

// The function code of what came on a serial line, when that is a whole frame of this unit with the right
// checksum, taken by the client or not.
std::optional<quint8> functionOfRtuFrame(const QByteArray& received, int unitId);

// What is wrong with the first frame's header; empty when nothing is, or when too little has come.
QString brokenTcpHeader(const QByteArray& received);
// Whether the first frame is complete.
bool holdsTcpFrame(const QByteArray& received);

// Modbus over serial line, 4.1: unit, protocol data unit and checksum.
constexpr int c_mostRtuBytes = 256;
