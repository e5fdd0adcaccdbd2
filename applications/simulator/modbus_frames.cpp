#include "applications/simulator/modbus_frames.h"

#include <QModbusPdu>

namespace {

constexpr int c_maximumPduSize = 253;
constexpr int c_maximumRtuSize = 256;
constexpr quint8 c_exceptionBit = 0x80;

quint16 word(const QByteArray& bytes, int offset)
{
    return static_cast<quint16>(static_cast<quint8>(bytes[offset]) << 8 |
                                static_cast<quint8>(bytes[offset + 1]));
}

QModbusPdu::FunctionCode functionOf(const QByteArray& rtuFrame)
{
    return static_cast<QModbusPdu::FunctionCode>(static_cast<quint8>(rtuFrame[1]));
}

// `dataSize` is that of the PDU behind its function code; negative as long as it cannot be told.
FrameScan takeRtuFrame(QByteArray& buffer, int dataSize, QByteArray* frame)
{
    const int size = dataSize + c_rtuHeaderSize + 2;
    if (dataSize < 0 || buffer.size() < size)
        return buffer.size() < c_maximumRtuSize ? FrameScan::Incomplete : FrameScan::Garbage;
    const QByteArray candidate = buffer.left(size);
    const quint16 sum = rtuChecksum(candidate.left(size - 2));
    if (static_cast<quint8>(candidate[size - 2]) != (sum & 0xFF) ||
        static_cast<quint8>(candidate[size - 1]) != (sum >> 8))
        return FrameScan::Garbage;
    buffer.remove(0, size);
    *frame = candidate;
    return FrameScan::Complete;
}

void appendChecksum(QByteArray& frame)
{
    const quint16 sum = rtuChecksum(frame);
    frame.append(static_cast<char>(sum & 0xFF));
    frame.append(static_cast<char>(sum >> 8));
}

// How much of an answer's data one value is, and whether a byte count stands before the data.
struct AnswerShape
{
    int valueSize = 1;
    bool isCounted = false;
};

AnswerShape shapeOf(quint8 function)
{
    switch (function) {
    case QModbusPdu::ReadHoldingRegisters:
    case QModbusPdu::ReadInputRegisters:
        return {2, true};
    case QModbusPdu::ReadCoils:
    case QModbusPdu::ReadDiscreteInputs:
    case QModbusPdu::ReportServerId:
        return {1, true};
    default:
        return {};
    }
}

// The answer without its last value, framed as if that were all of it. An exception is left alone.
QByteArray shortened(const QByteArray& answer, int headerSize)
{
    const bool isTcp = headerSize == c_tcpHeaderSize;
    const int functionAt = isTcp ? c_tcpHeaderSize : 1;
    QByteArray frame = isTcp ? answer : answer.left(answer.size() - 2);
    const auto function = static_cast<quint8>(frame[functionAt]);
    const AnswerShape shape = shapeOf(function);
    const int dataAt = functionAt + (shape.isCounted ? 2 : 1);
    if ((function & c_exceptionBit) != 0 || frame.size() - dataAt < shape.valueSize)
        return answer;
    frame.chop(shape.valueSize);
    if (shape.isCounted)
        frame[functionAt + 1] = static_cast<char>(frame.size() - dataAt);
    if (isTcp) {
        const int length = frame.size() - 6;
        frame[4] = static_cast<char>(length >> 8);
        frame[5] = static_cast<char>(length & 0xFF);
    } else {
        appendChecksum(frame);
    }
    return frame;
}

} // namespace

FrameScan takeTcpFrame(QByteArray& buffer, QByteArray* frame)
{
    if (buffer.size() >= 4 && word(buffer, 2) != 0)
        return FrameScan::Garbage;
    if (buffer.size() < 6)
        return FrameScan::Incomplete;
    // The length counts the unit and the PDU.
    const int length = word(buffer, 4);
    if (length < 2 || length > c_maximumPduSize + 1)
        return FrameScan::Garbage;
    const int size = 6 + length;
    if (buffer.size() < size)
        return FrameScan::Incomplete;
    *frame = buffer.left(size);
    buffer.remove(0, size);
    return FrameScan::Complete;
}

FrameScan takeRtuRequest(QByteArray& buffer, QByteArray* frame)
{
    if (buffer.size() < c_rtuHeaderSize)
        return FrameScan::Incomplete;
    // Nothing says how long one of another function is.
    if (!isKnownFunction(static_cast<quint8>(buffer[1])))
        return takeRtuFrame(buffer, -1, frame);
    const QModbusRequest pdu(functionOf(buffer), buffer.mid(c_rtuHeaderSize));
    return takeRtuFrame(buffer, QModbusRequest::calculateDataSize(pdu), frame);
}

FrameScan takeRtuResponse(QByteArray& buffer, QByteArray* frame)
{
    if (buffer.size() < c_rtuHeaderSize)
        return FrameScan::Incomplete;
    const bool isException = (static_cast<quint8>(buffer[1]) & c_exceptionBit) != 0;
    const QModbusResponse pdu(functionOf(buffer), buffer.mid(c_rtuHeaderSize));
    return takeRtuFrame(buffer, isException ? 1 : QModbusResponse::calculateDataSize(pdu), frame);
}

bool isKnownFunction(quint8 function)
{
    switch (function) {
    case QModbusPdu::ReadCoils:
    case QModbusPdu::ReadDiscreteInputs:
    case QModbusPdu::ReadHoldingRegisters:
    case QModbusPdu::ReadInputRegisters:
    case QModbusPdu::WriteSingleCoil:
    case QModbusPdu::WriteSingleRegister:
    case QModbusPdu::ReadExceptionStatus:
    case QModbusPdu::Diagnostics:
    case QModbusPdu::GetCommEventCounter:
    case QModbusPdu::GetCommEventLog:
    case QModbusPdu::WriteMultipleCoils:
    case QModbusPdu::WriteMultipleRegisters:
    case QModbusPdu::ReportServerId:
    case QModbusPdu::ReadFileRecord:
    case QModbusPdu::WriteFileRecord:
    case QModbusPdu::MaskWriteRegister:
    case QModbusPdu::ReadWriteMultipleRegisters:
    case QModbusPdu::ReadFifoQueue:
    case QModbusPdu::EncapsulatedInterfaceTransport:
        return true;
    default:
        return false;
    }
}

quint16 rtuChecksum(const QByteArray& bytes)
{
    quint16 sum = 0xFFFF;
    for (const char byte : bytes) {
        sum = static_cast<quint16>(sum ^ static_cast<quint8>(byte));
        for (int bit = 0; bit < 8; ++bit) {
            const bool carry = (sum & 1) != 0;
            sum = static_cast<quint16>(sum >> 1);
            if (carry)
                sum = static_cast<quint16>(sum ^ 0xA001);
        }
    }
    return sum;
}

std::optional<TouchedRegisters> touchedRegisters(const QByteArray& pdu)
{
    constexpr int c_addressOffset = 1;
    constexpr int c_countOffset = 3;
    if (pdu.size() < c_countOffset + 2)
        return std::nullopt;
    int count = 0;
    switch (static_cast<quint8>(pdu[0])) {
    case QModbusPdu::ReadCoils:
    case QModbusPdu::ReadDiscreteInputs:
    case QModbusPdu::ReadHoldingRegisters:
    case QModbusPdu::ReadInputRegisters:
    case QModbusPdu::WriteMultipleCoils:
    case QModbusPdu::WriteMultipleRegisters:
        count = word(pdu, c_countOffset);
        break;
    case QModbusPdu::WriteSingleCoil:
    case QModbusPdu::WriteSingleRegister:
        count = 1;
        break;
    default:
        break;
    }
    if (count == 0)
        return std::nullopt;
    return TouchedRegisters{word(pdu, c_addressOffset), count};
}

QByteArray tcpAnswer(const QByteArray& request, const QByteArray& pdu)
{
    QByteArray answer = request.left(c_tcpHeaderSize) + pdu;
    const int length = pdu.size() + 1;
    answer[4] = static_cast<char>(length >> 8);
    answer[5] = static_cast<char>(length & 0xFF);
    return answer;
}

QByteArray tcpExceptionAnswer(const QByteArray& request, quint8 code)
{
    const auto function = static_cast<quint8>(request[c_tcpHeaderSize]);
    QByteArray pdu(1, static_cast<char>(function | c_exceptionBit));
    pdu.append(static_cast<char>(code));
    return tcpAnswer(request, pdu);
}

QByteArray rtuExceptionAnswer(const QByteArray& request, quint8 code)
{
    QByteArray answer = request.left(c_rtuHeaderSize);
    answer[1] = static_cast<char>(static_cast<quint8>(answer[1]) | c_exceptionBit);
    answer.append(static_cast<char>(code));
    appendChecksum(answer);
    return answer;
}

Delivery bendAnswer(const Fault& fault, const QByteArray& answer, int headerSize)
{
    switch (fault.kind) {
    case FaultKind::NoAnswer:
        return {};
    case FaultKind::Late:
        return Delivery::whole(answer, fault.value);
    case FaultKind::Twice:
        return Delivery::whole(answer + answer);
    case FaultKind::CutHeader:
        return Delivery::whole(answer.left(headerSize));
    case FaultKind::CutMiddle:
        return Delivery::whole(answer.left(headerSize + (answer.size() - headerSize) / 2));
    case FaultKind::Short:
        return Delivery::whole(shortened(answer, headerSize));
    case FaultKind::Close:
        return {{}, Delivery::Ending::Close};
    case FaultKind::Reset:
        return {{}, Delivery::Ending::Reset};
    case FaultKind::Lost:
    case FaultKind::Exception:
    case FaultKind::Refuse:
    case FaultKind::Restart:
        break;
    }
    return Delivery::whole(answer);
}
