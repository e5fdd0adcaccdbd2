#pragma once

#include "applications/simulator/fault_plan.h"

#include <QByteArray>
#include <QList>
#include <QtGlobal>

#include <optional>

// Modbus frames as bytes: cutting them out of a stream and bending them. Pure.

enum class FrameScan {
    Incomplete, // more bytes must come
    Complete,   // a frame was taken from the buffer
    Garbage     // what comes next is no frame; the buffer is untouched
};

// Header of a TCP frame: transaction, protocol, length (two bytes each, high byte first), unit.
constexpr int c_tcpHeaderSize = 7;
// Unit and function code; a serial line's frame has no header, this is the part before its data.
constexpr int c_rtuHeaderSize = 2;

FrameScan takeTcpFrame(QByteArray& buffer, QByteArray* frame);

// Serial frames say how long they are only by their function code and byte counts; the check sum
// confirms it. Garbage: the check sum is wrong, or the frame is longer than any can be.
FrameScan takeRtuRequest(QByteArray& buffer, QByteArray* frame);
FrameScan takeRtuResponse(QByteArray& buffer, QByteArray* frame);

// Whether the library server knows the function. It stores others as values that no function has, and
// answers as if 0 had been asked for: they are refused before it.
bool isKnownFunction(quint8 function);

quint16 rtuChecksum(const QByteArray& bytes);

// What a request (function code and data) reads or writes. Nothing for a function that has no address or
// that the controller does not carry out, and for a request that is too short to say.
std::optional<TouchedRegisters> touchedRegisters(const QByteArray& pdu);

// The frame that answers `request` with this function code and data.
QByteArray tcpAnswer(const QByteArray& request, const QByteArray& pdu);
// The answer that refuses `request` with an exception code.
QByteArray tcpExceptionAnswer(const QByteArray& request, quint8 code);
QByteArray rtuExceptionAnswer(const QByteArray& request, quint8 code);

// What goes on the wire instead of an answer: pieces in their order, none for no answer, and what becomes of
// the connection behind the last one.
struct Delivery
{
    enum class Ending { Open, Close, Reset };
    struct Piece
    {
        QByteArray bytes;
        int delay = 0; // milliseconds behind the answer, or behind the piece before
    };

    QList<Piece> pieces;
    Ending ending = Ending::Open;

    // All of an answer, at once or later.
    static Delivery whole(const QByteArray& bytes, int delay = 0) { return {{{bytes, delay}}, Ending::Open}; }
};

// `answer` as the fault leaves it. Faults that act on the request (lost, exception, refuse, restart)
// leave the answer alone.
Delivery bendAnswer(const Fault& fault, const QByteArray& answer, int headerSize);
