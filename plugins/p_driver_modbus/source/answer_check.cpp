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
constexpr int c_checksumSize = 2;

int wordAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes.at(index)) << 8 | static_cast<quint8>(bytes.at(index + 1));
}

// Size of the frame at `offset`; 0 while it is not complete.
int frameSize(const QByteArray& bytes, int offset)
{
    if (bytes.size() - offset < c_headerSize)
        return 0;
    const int size = c_unitAt + wordAt(bytes, offset + c_lengthAt);
    return bytes.size() - offset < size ? 0 : size;
}

} // namespace

AnswerCheck checkTcpAnswer(const QByteArray& received, int unitId, const QByteArray& pdu)
{
    AnswerCheck check;
    check.problem = brokenTcpHeader(received);
    if (!check.problem.isEmpty())
        return check;
    int frames = 0;
    int offset = 0;
    check.problem = QStringLiteral("its length field does not fit what it holds");
    for (int size = frameSize(received, 0); size > 0; size = frameSize(received, offset)) {
        ++frames;
        const QByteArray framePdu = received.mid(offset + c_headerSize, size - c_headerSize);
        const int frameUnit = static_cast<quint8>(received.at(offset + c_unitAt));
        offset += size;
        if (check.confirmed || framePdu != pdu)
            continue;
        if (frameUnit == unitId) {
            check.confirmed = true;
            check.problem.clear();
        } else {
            check.problem = QStringLiteral("it came from unit %1 instead of %2").arg(frameUnit).arg(unitId);
        }
    }
    check.inStep = check.confirmed && frames == 1 && offset == received.size();
    if (check.confirmed && !check.inStep)
        check.problem = QStringLiteral("more came than the answer to one request");
    return check;
}

AnswerCheck checkRtuAnswer(const QByteArray& received, int unitId, const QByteArray& pdu)
{
    AnswerCheck check;
    const QByteArray expected = static_cast<char>(unitId) + pdu;
    check.confirmed = received.contains(expected);
    check.inStep = received.startsWith(expected) && received.size() == expected.size() + c_checksumSize;
    if (!check.confirmed)
        check.problem = QStringLiteral("it came from another unit than %1").arg(unitId);
    else if (!check.inStep)
        check.problem = QStringLiteral("more came than the answer to one request");
    return check;
}

QString brokenTcpHeader(const QByteArray& received)
{
    int offset = 0;
    while (received.size() - offset >= c_unitAt) {
        const int protocol = wordAt(received, offset + c_protocolAt);
        if (protocol != 0)
            return QStringLiteral("its protocol identifier is %1 instead of 0").arg(protocol);
        const int length = wordAt(received, offset + c_lengthAt);
        if (length < c_leastLength || length > c_mostLength)
            return QStringLiteral("its length field is %1 instead of %2…%3")
                .arg(length)
                .arg(c_leastLength)
                .arg(c_mostLength);
        offset += c_unitAt + length;
    }
    return {};
}
