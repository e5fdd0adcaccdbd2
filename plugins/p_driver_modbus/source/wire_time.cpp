#include "plugins/p_driver_modbus/source/wire_time.h"

#include <algorithm>

namespace {

constexpr qint64 c_microsecondsPerSecond = 1000000;
// Above this rate the silence does not get any shorter.
constexpr int c_fastestCountedRate = 19200;
constexpr qint64 c_fixedSilence = 1750;
constexpr int c_halfCharactersOfSilence = 7;

constexpr int c_unitSize = 1;
constexpr int c_checksumSize = 2;

int bitsPerCharacter(const ModbusConfiguration& line)
{
    const int parityBits = line.parity == ModbusConfiguration::Parity::None ? 0 : 1;
    return 1 + line.dataBits + parityBits + line.stopBits;
}

qint64 halfCharacters(const ModbusConfiguration& line, qint64 count)
{
    const qint64 halfBits = count * bitsPerCharacter(line);
    const qint64 halfBitsPerSecond = 2 * qint64{line.baudRate};
    return (halfBits * c_microsecondsPerSecond + halfBitsPerSecond - 1) / halfBitsPerSecond;
}

// Of the protocol data unit that answers as asked.
int leastAnswerSize(const ModbusRequest& request)
{
    constexpr int c_functionAndByteCount = 2;
    constexpr int c_echoOfAWrite = 5;
    switch (request.function) {
    case ModbusRequest::ReadCoils:
    case ModbusRequest::ReadDiscreteInputs:
        return c_functionAndByteCount + (request.count + 7) / 8;
    case ModbusRequest::ReadHoldingRegisters:
    case ModbusRequest::ReadInputRegisters:
        return c_functionAndByteCount + 2 * request.count;
    case ModbusRequest::WriteSingleCoil:
    case ModbusRequest::WriteSingleRegister:
    case ModbusRequest::WriteMultipleRegisters:
        return c_echoOfAWrite;
    case ModbusRequest::ReportServerId:
        break;
    }
    return c_functionAndByteCount;
}

} // namespace

qint64 frameSilence(const ModbusConfiguration& line)
{
    return line.baudRate > c_fastestCountedRate ? c_fixedSilence
                                                : halfCharacters(line, c_halfCharactersOfSilence);
}

std::chrono::milliseconds silenceBeforeRequest(const ModbusConfiguration& line)
{
    constexpr int c_countedBits = 11;
    const int bits = bitsPerCharacter(line);
    return std::chrono::ceil<std::chrono::milliseconds>(
        std::chrono::microseconds(frameSilence(line) * std::max(bits, c_countedBits) / bits));
}

qint64 frameTime(const ModbusConfiguration& line, int pduSize)
{
    return halfCharacters(line, 2 * qint64{c_unitSize + pduSize + c_checksumSize});
}

qint64 wireTime(const ModbusConfiguration& line, const ModbusRequest& request)
{
    return 2 * frameSilence(line) + frameTime(line, static_cast<int>(request.pdu().size())) +
           frameTime(line, leastAnswerSize(request));
}
