#include "plugins/p_driver_modbus/source/modbus_frame.h"

namespace {

// Modbus messaging on TCP/IP, 3.1.3: transaction, protocol, length (two bytes each), unit.
constexpr int c_protocolAt = 2;
constexpr int c_lengthAt = 4;
constexpr int c_unitAt = 6;
constexpr int c_headerSize = 7;
// The length counts the unit and a protocol data unit of 1…253 bytes.
constexpr int c_leastLength = 2;
constexpr int c_mostLength = 254;
constexpr int c_unitSize = 1;
constexpr int c_functionSize = 1;
constexpr int c_checksumSize = 2;

constexpr auto c_moreCame = "more came than the answer to one request";

quint8 byteAt(PduView bytes, int index)
{
    return static_cast<quint8>(bytes[static_cast<std::size_t>(index)]);
}

int wordAt(PduView bytes, int index)
{
    return byteAt(bytes, index) << 8 | byteAt(bytes, index + 1);
}

PduView part(const QByteArray& bytes, int from, int size)
{
    return PduView(bytes).subspan(static_cast<std::size_t>(from), static_cast<std::size_t>(size));
}

// Modbus over serial line, 6.2.2: CRC-16.
int rtuChecksum(PduView bytes)
{
    constexpr unsigned c_firstSum = 0xFFFF;
    constexpr unsigned c_polynomial = 0xA001;
    constexpr int c_bits = 8;
    unsigned sum = c_firstSum;
    for (const char byte : bytes) {
        sum ^= static_cast<quint8>(byte);
        for (int i = 0; i < c_bits; ++i)
            sum = (sum & 1U) != 0 ? (sum >> 1U) ^ c_polynomial : sum >> 1U;
    }
    return static_cast<int>(sum);
}

// The first bytes of what came, as many as a frame would have.
bool isRtuFrame(const QByteArray& received, int size)
{
    const int checkedSize = size - c_checksumSize;
    if (size > received.size() || checkedSize < c_unitSize + c_functionSize)
        return false;
    // The low byte comes first.
    const int checksum = byteAt(received, checkedSize) | byteAt(received, checkedSize + 1) << 8;
    return rtuChecksum(part(received, 0, checkedSize)) == checksum;
}

// Size of an answer's protocol data unit, as its function and byte count tell it; 0 while too little is
// there.
int ownSize(PduView pdu)
{
    constexpr quint8 c_exceptionBit = 0x80;
    constexpr int c_exceptionSize = 2;
    constexpr int c_echoSize = 5;
    constexpr int c_countedFrom = 2; // behind function and byte count
    const int function = pdu.empty() ? 0 : byteAt(pdu, 0);
    if ((function & c_exceptionBit) != 0)
        return c_exceptionSize;
    if (function == ModbusRequest::WriteSingleCoil || function == ModbusRequest::WriteSingleRegister ||
        function == ModbusRequest::WriteMultipleRegisters)
        return c_echoSize;
    return pdu.size() < c_countedFrom ? 0 : c_countedFrom + byteAt(pdu, 1);
}

// What is wrong with the first frame's header; empty when nothing is, or when too little has come.
QString brokenTcpHeader(const QByteArray& received)
{
    if (received.size() < c_unitAt)
        return {};
    const int protocol = wordAt(received, c_protocolAt);
    if (protocol != 0)
        return QStringLiteral("its protocol identifier is %1 instead of 0").arg(protocol);
    const int length = wordAt(received, c_lengthAt);
    if (length < c_leastLength || length > c_mostLength)
        return QStringLiteral("its length field is %1 instead of %2…%3")
            .arg(length)
            .arg(c_leastLength)
            .arg(c_mostLength);
    return {};
}

} // namespace

void putTcpFrame(QByteArray& frame, const ModbusRequest& request, int unitId, quint16 transaction)
{
    frame.resize(c_headerSize);
    request.appendPdu(frame);
    const int length = frame.size() - c_unitAt;
    frame[0] = static_cast<char>(transaction >> 8);
    frame[1] = static_cast<char>(transaction & 0xFF);
    frame[c_protocolAt] = 0;
    frame[c_protocolAt + 1] = 0;
    frame[c_lengthAt] = static_cast<char>(length >> 8);
    frame[c_lengthAt + 1] = static_cast<char>(length & 0xFF);
    frame[c_unitAt] = static_cast<char>(unitId);
}

void putRtuFrame(QByteArray& frame, const ModbusRequest& request, int unitId)
{
    frame.resize(c_unitSize);
    frame[0] = static_cast<char>(unitId);
    request.appendPdu(frame);
    const int checksum = rtuChecksum(frame);
    frame.append(static_cast<char>(checksum & 0xFF));
    frame.append(static_cast<char>(checksum >> 8));
}

AnswerCheck checkTcpAnswer(const QByteArray& received, int unitId, quint16 transaction)
{
    AnswerCheck check;
    check.problem = brokenTcpHeader(received);
    if (!check.problem.isEmpty() || received.size() < c_headerSize)
        return check;
    const int size = c_unitAt + wordAt(received, c_lengthAt);
    if (received.size() < size)
        return check;
    const PduView pdu = part(received, c_headerSize, size - c_headerSize);
    const int unit = byteAt(received, c_unitAt);
    if (wordAt(received, 0) != transaction) {
        check.problem = QStringLiteral("its transaction number is another request's");
        return check;
    }
    if (unit == unitId)
        check.function = byteAt(pdu, 0);
    if (ownSize(pdu) != static_cast<int>(pdu.size())) {
        check.problem =
            QStringLiteral("its length field does not fit what it holds, or another frame stands before it");
        return check;
    }
    if (unit != unitId) {
        check.problem = QStringLiteral("it came from unit %1 instead of %2").arg(unit).arg(unitId);
        return check;
    }
    check.confirmed = true;
    check.pdu = pdu;
    if (received.size() > size)
        check.problem = QLatin1String(c_moreCame);
    return check;
}

AnswerCheck checkRtuAnswer(const QByteArray& received, int unitId)
{
    AnswerCheck check;
    const bool isOfUnit = !received.isEmpty() && byteAt(received, 0) == unitId;
    const int pduSize = isOfUnit ? ownSize(part(received, c_unitSize, received.size() - c_unitSize)) : 0;
    const int size = c_unitSize + pduSize + c_checksumSize;
    if (pduSize > 0 && isRtuFrame(received, size)) {
        check.confirmed = true;
        check.pdu = part(received, c_unitSize, pduSize);
        if (received.size() > size)
            check.problem = QLatin1String(c_moreCame);
        return check;
    }
    // One of a function that nobody here knows ends where its checksum does.
    if (isOfUnit && isRtuFrame(received, received.size()))
        check.function = byteAt(received, c_unitSize);
    if (received.size() > c_mostRtuBytes)
        check.problem = QStringLiteral("it has more than %1 bytes").arg(c_mostRtuBytes);
    return check;
}
