#include "plugins/p_driver_modbus/source/answer_check.h"

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

int wordAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes.at(index)) << 8 | static_cast<quint8>(bytes.at(index + 1));
}

// Modbus over serial line, 6.2.2: CRC-16.
quint16 rtuChecksum(const QByteArray& bytes)
{
    constexpr quint16 c_start = 0xFFFF;
    constexpr quint16 c_polynomial = 0xA001;
    constexpr int c_bits = 8;
    quint16 sum = c_start;
    for (const char byte : bytes) {
        sum = static_cast<quint16>(sum ^ static_cast<quint8>(byte));
        for (int i = 0; i < c_bits; ++i)
            sum = static_cast<quint16>((sum & 1) != 0 ? (sum >> 1) ^ c_polynomial : sum >> 1);
    }
    return sum;
}

// Size of the first frame; 0 while it is not complete.
int frameSize(const QByteArray& bytes)
{
    if (bytes.size() < c_headerSize)
        return 0;
    const int size = c_unitAt + wordAt(bytes, c_lengthAt);
    return bytes.size() < size ? 0 : size;
}

} // namespace

AnswerCheck checkTcpAnswer(const QByteArray& received, int unitId, const QByteArray& data)
{
    AnswerCheck check;
    check.problem = brokenTcpHeader(received);
    if (!check.problem.isEmpty())
        return check;
    const int size = frameSize(received);
    const QByteArray pdu = received.mid(c_headerSize, qMax(0, size - c_headerSize));
    const int unit = pdu.isEmpty() ? unitId : static_cast<quint8>(received.at(c_unitAt));
    if (!pdu.isEmpty() && unit == unitId)
        check.function = static_cast<quint8>(pdu.at(0));
    if (data.isEmpty() || pdu.size() != c_functionSize + data.size() || !pdu.endsWith(data)) {
        check.problem =
            QStringLiteral("its length field does not fit what it holds, or another frame stands before it");
        return check;
    }
    check.confirmed = unit == unitId;
    if (!check.confirmed)
        check.problem = QStringLiteral("it came from unit %1 instead of %2").arg(unit).arg(unitId);
    else if (received.size() > size)
        check.problem = QStringLiteral("more came than the answer to one request");
    if (check.confirmed)
        check.pdu = pdu;
    return check;
}

AnswerCheck checkRtuAnswer(const QByteArray& received, int unitId, const QByteArray& data)
{
    AnswerCheck check;
    // What stands before the answer is noise, so the last place counts at which its checksum has room. No
    // answer is a function code alone.
    constexpr int c_headSize = c_unitSize + c_functionSize;
    int at = data.isEmpty() ? -1 : received.size() - c_checksumSize - data.size();
    while (at >= c_headSize && (static_cast<quint8>(received.at(at - c_headSize)) != unitId ||
                                received.mid(at, data.size()) != data))
        --at;
    check.confirmed = at >= c_headSize;
    if (!check.confirmed) {
        check.problem = QStringLiteral("it holds no answer of unit %1").arg(unitId);
        return check;
    }
    check.pdu = received.mid(at - c_functionSize, c_functionSize + data.size());
    if (received.size() != c_unitSize + check.pdu.size() + c_checksumSize)
        check.problem = QStringLiteral("more came than the answer to one request");
    return check;
}

std::optional<quint8> functionOfRtuFrame(const QByteArray& received, int unitId)
{
    const int size = received.size() - c_checksumSize;
    if (size < c_unitSize + c_functionSize || static_cast<quint8>(received.at(0)) != unitId)
        return std::nullopt;
    // The low byte comes first.
    const int checksum = wordAt(QByteArray{received.right(1) + received.mid(size, 1)}, 0);
    if (rtuChecksum(received.left(size)) != checksum)
        return std::nullopt;
    return static_cast<quint8>(received.at(c_unitSize));
}

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

bool holdsTcpFrame(const QByteArray& received)
{
    return frameSize(received) > 0;
}
