#pragma once

#include <QByteArray>
#include <QString>

// Compares an answer that Qt's client took out of the stream with the bytes that really came. The
// client does not look at the unit, the protocol identifier and the length field, and reads over
// the end of a frame that is too short, so its word alone is not enough.
struct AnswerCheck
{
    // The answer stood in a frame of its own, from the unit that was asked.
    bool confirmed = false;
    // Nothing but that frame came: the next answer will be the next request's.
    bool inStep = false;
    // Why not, for a message.
    QString problem;
};

AnswerCheck checkTcpAnswer(const QByteArray& received, int unitId, const QByteArray& pdu);
// The checksum has been verified by the client.
AnswerCheck checkRtuAnswer(const QByteArray& received, int unitId, const QByteArray& pdu);

// What is wrong with a frame header of the bytes received so far, none of whose followers can be
// trusted then; empty when nothing is, or when too little has come.
QString brokenTcpHeader(const QByteArray& received);
