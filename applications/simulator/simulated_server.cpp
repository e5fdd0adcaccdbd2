#include "applications/simulator/simulated_server.h"

namespace {

quint16 word(const QByteArray& bytes, int offset)
{
    return static_cast<quint16>(static_cast<quint8>(bytes[offset]) << 8 |
                                static_cast<quint8>(bytes[offset + 1]));
}

// Address, count, byte count, then the values: coils as bits, registers as words.
std::optional<WriteRequest> decodeBlock(const QByteArray& data, bool coils)
{
    constexpr int c_headSize = 5;
    if (data.size() < c_headSize)
        return std::nullopt;
    WriteRequest result;
    result.table = coils ? QModbusDataUnit::Coils : QModbusDataUnit::HoldingRegisters;
    result.address = word(data, 0);
    const int count = word(data, 2);
    const int byteCount = coils ? (count + 7) / 8 : 2 * count;
    if (count == 0 || static_cast<quint8>(data[4]) != byteCount || data.size() != c_headSize + byteCount)
        return std::nullopt;
    for (int i = 0; i < count; ++i) {
        if (coils)
            result.values.append((static_cast<quint8>(data[c_headSize + i / 8]) >> (i % 8)) & 1);
        else
            result.values.append(word(data, c_headSize + 2 * i));
    }
    return result;
}

} // namespace

std::optional<WriteRequest> decodeWrite(const QModbusPdu& request)
{
    const QByteArray data = request.data();
    switch (request.functionCode()) {
    case QModbusPdu::WriteSingleCoil:
        // 0xFF00 is on, 0x0000 off, anything else malformed.
        if (data.size() != 4 || (word(data, 2) != 0xFF00 && word(data, 2) != 0))
            return std::nullopt;
        return WriteRequest{
            QModbusDataUnit::Coils, word(data, 0), {static_cast<quint16>(word(data, 2) != 0 ? 1 : 0)}};
    case QModbusPdu::WriteSingleRegister:
        if (data.size() != 4)
            return std::nullopt;
        return WriteRequest{QModbusDataUnit::HoldingRegisters, word(data, 0), {word(data, 2)}};
    case QModbusPdu::WriteMultipleCoils:
        return decodeBlock(data, true);
    case QModbusPdu::WriteMultipleRegisters:
        return decodeBlock(data, false);
    default:
        return std::nullopt;
    }
}

std::optional<QModbusResponse> answerByController(const SimulatedController& controller,
                                                  const QModbusPdu& request, int addressOffset)
{
    switch (request.functionCode()) {
    case QModbusPdu::ReportServerId: {
        // The block alone: the library's own answer would add a run indicator to it.
        const QByteArray block = controller.profile().identificationBlock();
        return QModbusResponse(QModbusPdu::ReportServerId,
                               QByteArray(1, static_cast<char>(block.size())) + block);
    }
    case QModbusPdu::MaskWriteRegister:
    case QModbusPdu::ReadWriteMultipleRegisters:
        // Writes that would pass by the checks below.
        return QModbusExceptionResponse(request.functionCode(), QModbusExceptionResponse::IllegalFunction);
    default:
        break;
    }
    const auto write = decodeWrite(request);
    if (!write)
        return std::nullopt;
    const int address = write->address - addressOffset;
    const quint8 exception =
        RegisterBank::isAddress(address)
            ? controller.checkWrite(write->table, static_cast<quint16>(address), write->values)
            : SimulatedController::c_illegalAddress;
    if (exception == SimulatedController::c_accepted)
        return std::nullopt;
    return QModbusExceptionResponse(request.functionCode(),
                                    static_cast<QModbusExceptionResponse::ExceptionCode>(exception));
}

void noteWrite(SimulatedController& controller, const QString& transport, const QModbusPdu& request,
               int addressOffset, quint8 exception)
{
    const auto write = decodeWrite(request);
    if (!write)
        return;
    ControllerWrite note;
    note.time = QDateTime::currentDateTimeUtc();
    note.transport = transport;
    note.table = write->table;
    note.address = write->address - addressOffset;
    note.values = write->values;
    note.exception = exception;
    controller.noteWrite(note);
}
