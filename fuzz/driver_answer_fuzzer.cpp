#include "fuzz/require.h"
#include "plugins/p_driver_modbus/source/modbus_frame.h"
#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

// A request and what came back: the function, start and count (two bytes each), the unit, then the bytes
// of a TCP connection or, with the highest bit of the first byte, of a serial line.

namespace {

constexpr std::size_t c_headSize = 6;
constexpr unsigned c_serialLine = 0x80;
constexpr int c_tcpHeader = 7;
constexpr quint16 c_transaction = 1;

struct Kind
{
    const char* type;
    bool writes;
};
constexpr std::array c_kinds{
    Kind{"holdingRegisters", false},
    Kind{"inputRegisters", false},
    Kind{"coils", false},
    Kind{"discreteInputs", false},
    Kind{"holdingRegisters", true},
    Kind{"singleRegister", true},
    Kind{"coils", true},
    Kind{"discreteInputs", true},
};

int wordAt(const QByteArray& bytes, int index)
{
    return 256 * static_cast<quint8>(bytes.at(index)) + static_cast<quint8>(bytes.at(index + 1));
}

std::optional<ModbusRequest> requestOf(const std::uint8_t* data)
{
    const std::size_t kind = data[0] & ~c_serialLine;
    if (kind >= c_kinds.size())
        return deviceInformationRequest();
    const int start = data[1] * 256 + data[2];
    const int count = data[3] * 256 + data[4];
    const QString type = QString::fromLatin1(c_kinds.at(kind).type);
    QVariantMap arguments{{QStringLiteral("register"), start},
                          {QStringLiteral("registerType"), type},
                          {QStringLiteral("dataSize"), count}};
    if (c_kinds.at(kind).writes) {
        QVariantList values;
        for (int i = 0; i < std::min(count, 200); ++i)
            values.append((start + i) % (type == QLatin1String("coils") ? 2 : 65536));
        arguments.insert(QStringLiteral("data"), values);
    }
    const int offset = (data[5] & 1U) == 0 ? 0 : -1;
    QString error;
    std::optional<ModbusRequest> request = c_kinds.at(kind).writes ? writeRequest(arguments, offset, &error)
                                                                   : readRequest(arguments, offset, &error);
    require(request.has_value() == error.isEmpty(), "a refused request has a text");
    if (request) {
        require(request->start == start + offset && request->count == count, "a request is what was asked");
        require(request->start + request->count <= 65536, "a request stays within the addresses");
        require(count >= 1 && count <= (request->isWrite() ? c_mostWrittenValues : c_mostReadValues),
                "a request fits into a frame");
    }
    return request;
}

// The answer of a controller that does what it is asked, the values taken from `source`.
QByteArray goodAnswer(const ModbusRequest& request, const QByteArray& source)
{
    QByteArray sent = request.pdu();
    if (request.function == ModbusRequest::WriteMultipleRegisters)
        return sent.left(5);
    if (request.isWrite())
        return sent;
    const bool bits =
        request.function == ModbusRequest::ReadCoils || request.function == ModbusRequest::ReadDiscreteInputs;
    int size = std::min(source.size(), 255);
    if (request.function != ModbusRequest::ReportServerId)
        size = bits ? (request.count + 7) / 8 : 2 * request.count;
    return sent.left(1) + static_cast<char>(size) + source.left(size).leftJustified(size, '\x5A');
}

void requireSound(const ModbusRequest& request, const QByteArray& pdu, const ModbusAnswer& answer)
{
    switch (answer.kind) {
    case ModbusAnswer::Values:
        require(static_cast<quint8>(pdu.at(0)) == request.function, "values answer the function");
        require(answer.text.isEmpty(), "values come without a complaint");
        if (request.function == ModbusRequest::ReportServerId) {
            require(answer.information == pdu.mid(2) && answer.values.isEmpty(),
                    "the information is what follows the count");
            break;
        }
        if (request.isWrite()) {
            require(answer.values == QVariantList{1}, "an acknowledged write is 1");
            require(pdu == request.pdu().left(5), "a write is acknowledged by its own start and value");
            break;
        }
        require(answer.values.size() == request.count, "as many values as were asked for");
        require(std::all_of(answer.values.cbegin(), answer.values.cend(),
                            [](const QVariant& value) {
                                return value.userType() == QMetaType::Int && value.toInt() >= 0 &&
                                       value.toInt() <= 65535;
                            }),
                "a value is 0 to 65535");
        break;
    case ModbusAnswer::Refused:
    case ModbusAnswer::Undecided:
        require(pdu.size() == 2 && static_cast<quint8>(pdu.at(0)) == (request.function | 0x80U),
                "only an exception refuses");
        require(answer.kind == ModbusAnswer::Refused || request.isWrite(), "a read is decided");
        [[fallthrough]];
    case ModbusAnswer::Malformed:
        require(!answer.text.isEmpty(), "what is no answer is told why");
        require(answer.values.isEmpty() && answer.information.isEmpty(), "what is no answer has no values");
        break;
    }
}

void requireGoodAnswerAlone(const ModbusRequest& request, const QByteArray& source)
{
    const QByteArray good = goodAnswer(request, source);
    require(decodeAnswer(request, good).kind == ModbusAnswer::Values, "a good answer is taken");
    for (int size = 0; size < good.size(); ++size)
        require(decodeAnswer(request, good.left(size)).kind == ModbusAnswer::Malformed,
                "a cut answer is none");
    require(decodeAnswer(request, good + '\0').kind == ModbusAnswer::Malformed, "a long answer is none");
}

QByteArray bytesOf(PduView pdu)
{
    return {pdu.data(), static_cast<int>(pdu.size())};
}

void requireTcp(const QByteArray& received, int unit, const QByteArray& pdu, const AnswerCheck& check)
{
    const bool isWhole = received.size() >= c_tcpHeader && received.size() >= 6 + wordAt(received, 4);
    require(isWhole || !check.function, "a function is that of a whole frame");
    if (!check.confirmed)
        return;
    require(isWhole, "a confirmed frame is whole");
    require(wordAt(received, 0) == c_transaction && wordAt(received, 2) == 0 &&
                wordAt(received, 4) == pdu.size() + 1 && static_cast<quint8>(received.at(6)) == unit,
            "a confirmed frame has transaction, protocol, length and unit");
    require(bytesOf(check.pdu) == pdu, "a confirmed answer is that of the frame");
    require(check.problem.isEmpty() == (received.size() == c_tcpHeader + pdu.size()),
            "what follows a frame is told");
}

// A frame of a request is what was asked, with everything around it, and no answer to it is taken from a
// stream that does not begin with one.
void requireFrames(const ModbusRequest& request, int unit, const QByteArray& source)
{
    QByteArray frame;
    putTcpFrame(frame, request, unit, c_transaction);
    require(frame.mid(c_tcpHeader) == request.pdu() && wordAt(frame, 4) == frame.size() - 6,
            "a frame holds its request");
    const QByteArray pdu = goodAnswer(request, source);
    const int length = pdu.size() + 1;
    QByteArray answer = frame.left(c_tcpHeader) + pdu;
    answer[4] = static_cast<char>(length >> 8);
    answer[5] = static_cast<char>(length & 0xFF);
    const AnswerCheck check = checkTcpAnswer(answer, unit, c_transaction);
    require(length > 254 || (check.confirmed && check.problem.isEmpty() && bytesOf(check.pdu) == pdu),
            "a good answer is taken from its frame");
    require(!checkTcpAnswer(answer, unit, c_transaction + 1).confirmed, "another request's answer is not");
    require(!checkTcpAnswer(answer.chopped(1), unit, c_transaction).confirmed, "nor is a part of one");

    putRtuFrame(frame, request, unit);
    require(frame.mid(1).chopped(2) == request.pdu(), "a frame holds its request");
    // The single writes are answered with the request itself.
    if (request.pdu() == pdu) {
        require(bytesOf(checkRtuAnswer(frame, unit).pdu) == pdu, "a good answer is taken from its frame");
        require(!checkRtuAnswer(frame.chopped(1), unit).confirmed, "a part of one is not");
        require(!checkRtuAnswer(frame, unit ^ 1).confirmed, "nor is another unit's");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < c_headSize)
        return 0;
    const std::optional<ModbusRequest> request = requestOf(data);
    if (!request)
        return 0;
    const int unit = data[5];
    const QByteArray received(reinterpret_cast<const char*>(data + c_headSize),
                              static_cast<int>(size - c_headSize));
    QByteArray pdu;
    if ((data[0] & c_serialLine) != 0) {
        const AnswerCheck check = checkRtuAnswer(received, unit);
        pdu = bytesOf(check.pdu);
        require(!check.confirmed || received.startsWith(static_cast<char>(unit) + pdu),
                "a confirmed answer stands first");
        require(!check.confirmed || check.problem.isEmpty() == (received.size() == pdu.size() + 3),
                "what follows a frame is told");
        require(check.confirmed || check.problem.isEmpty() == (received.size() <= c_mostRtuBytes),
                "nobody waits for more than a frame");
    } else {
        pdu =
            received.size() < c_tcpHeader ? QByteArray() : received.mid(c_tcpHeader, wordAt(received, 4) - 1);
        requireTcp(received, unit, pdu, checkTcpAnswer(received, unit, c_transaction));
    }
    requireSound(*request, pdu, decodeAnswer(*request, pdu));
    requireGoodAnswerAlone(*request, received);
    requireFrames(*request, unit, received);
    return 0;
}
