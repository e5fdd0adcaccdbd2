#include "plugins/p_driver_modbus/source/modbus_request.h"

#include <lib_plugins_management/driver_contract.h>
#include <lib_plugins_management/variant_conversion.h>

#include <algorithm>

namespace {

constexpr int c_mostAddress = 65535;
constexpr quint16 c_coilOn = 0xFF00;
constexpr quint8 c_exceptionBit = 0x80;

const QString c_register = driver_contract::c_register;
const QString c_registerType = driver_contract::c_registerType;
const QString c_dataSize = driver_contract::c_dataSize;
const QString c_data = driver_contract::c_data;

struct RegisterType
{
    QLatin1String name;
    ModbusRequest::Function read;
    std::optional<ModbusRequest::Function> write;
};

constexpr RegisterType c_registerTypes[]{
    {driver_contract::c_holdingRegisters, ModbusRequest::ReadHoldingRegisters,
     ModbusRequest::WriteMultipleRegisters},
    {driver_contract::c_singleRegister, ModbusRequest::ReadHoldingRegisters,
     ModbusRequest::WriteSingleRegister},
    {driver_contract::c_inputRegisters, ModbusRequest::ReadInputRegisters, std::nullopt},
    {driver_contract::c_coils, ModbusRequest::ReadCoils, ModbusRequest::WriteSingleCoil},
    {driver_contract::c_discreteInputs, ModbusRequest::ReadDiscreteInputs, std::nullopt},
};

void append16(QByteArray& bytes, quint16 value)
{
    bytes.append(static_cast<char>(value >> 8));
    bytes.append(static_cast<char>(value & 0xFF));
}

int sizeOf(PduView bytes)
{
    return static_cast<int>(bytes.size());
}

quint8 byteAt(PduView bytes, int index)
{
    return static_cast<quint8>(bytes[static_cast<std::size_t>(index)]);
}

bool isSame(PduView bytes, PduView others)
{
    return std::equal(bytes.begin(), bytes.end(), others.begin(), others.end());
}

quint16 wordAt(PduView bytes, int index)
{
    return static_cast<quint16>(byteAt(bytes, index) << 8 | byteAt(bytes, index + 1));
}

QString functionText(quint8 function)
{
    return QStringLiteral("0x%1").arg(function, 2, 16, QLatin1Char('0'));
}

QString show(const QVariant& value)
{
    if (!value.isValid())
        return QStringLiteral("nothing");
    const auto type = static_cast<QMetaType::Type>(value.userType());
    if (type == QMetaType::QVariantList)
        return QStringLiteral("a list of %1").arg(value.toList().size());
    if (type == QMetaType::QString)
        return QStringLiteral("\"%1\"").arg(value.toString());
    return value.canConvert<QString>() ? value.toString() : QString::fromLatin1(value.typeName());
}

// The whole number that a value is, exactly: a text is one when it has nothing but digits.
std::optional<qint64> wholeNumber(const QVariant& value)
{
    const auto type = static_cast<QMetaType::Type>(value.userType());
    if (type == QMetaType::QString || type == QMetaType::QByteArray) {
        const QString text = value.toString();
        constexpr int c_mostDigits = 18;
        if (text.isEmpty() || text.size() > c_mostDigits)
            return std::nullopt;
        qint64 number = 0;
        for (const QChar character : text) {
            if (character < QLatin1Char('0') || character > QLatin1Char('9'))
                return std::nullopt;
            number = number * 10 + (character.unicode() - u'0');
        }
        return number;
    }
    const QVariant number = convertVariant(value, QMetaType::LongLong, {});
    return number.isValid() ? std::optional<qint64>(number.toLongLong()) : std::nullopt;
}

std::optional<quint16> numberWithin(const QVariantMap& arguments, const QString& name, const QVariant& value,
                                    qint64 least, qint64 most, QString* error)
{
    const std::optional<qint64> number = wholeNumber(value);
    if (number && *number >= least && *number <= most)
        return static_cast<quint16>(*number);
    const QString given = arguments.contains(name) ? show(value) : QStringLiteral("absent");
    *error = QStringLiteral("\"%1\" is %2: a whole number from %3 to %4 is needed")
                 .arg(name, given)
                 .arg(least)
                 .arg(most);
    return std::nullopt;
}

const RegisterType* findRegisterType(const QVariantMap& arguments, QString* error)
{
    const QVariant value = arguments.value(c_registerType);
    const bool isText = static_cast<QMetaType::Type>(value.userType()) == QMetaType::QString;
    const QString text = isText ? value.toString() : QString();
    for (const RegisterType& type : c_registerTypes) {
        if (isText && text == type.name)
            return &type;
    }
    *error = QStringLiteral("\"registerType\" is %1: one of %2 is needed")
                 .arg(show(value), readableRegisterTypes().join(QLatin1String(", ")));
    return nullptr;
}

// Sets the start of the request and checks that its whole range can be addressed.
bool setStart(ModbusRequest& request, const QVariantMap& arguments, int addressOffset, QString* error)
{
    const std::optional<quint16> configured =
        numberWithin(arguments, c_register, arguments.value(c_register), 0, c_mostAddress, error);
    if (!configured)
        return false;
    const int start = *configured + addressOffset;
    const int last = start + request.count - 1;
    if (start < 0 || last > c_mostAddress) {
        *error = QStringLiteral(
                     "\"register\" is %1: with the address offset %2 and %3 values the range %4…%5 leaves "
                     "the addresses 0…65535")
                     .arg(*configured)
                     .arg(addressOffset)
                     .arg(request.count)
                     .arg(start)
                     .arg(last);
        return false;
    }
    request.start = static_cast<quint16>(start);
    request.addressOffset = addressOffset;
    return true;
}

ModbusAnswer malformed(const QString& text)
{
    ModbusAnswer answer;
    answer.text = text;
    return answer;
}

ModbusAnswer acknowledged()
{
    ModbusAnswer answer;
    answer.kind = ModbusAnswer::Values;
    answer.values = {1};
    return answer;
}

constexpr int c_countedFrom = 2; // behind function and byte count

// How many bytes stand behind the byte count, when that is what it says.
std::optional<int> countedBytes(PduView pdu)
{
    if (sizeOf(pdu) < c_countedFrom || sizeOf(pdu) != c_countedFrom + byteAt(pdu, 1))
        return std::nullopt;
    return sizeOf(pdu) - c_countedFrom;
}

ModbusAnswer decodeRegisters(const ModbusRequest& request, PduView pdu)
{
    if (countedBytes(pdu) != 2 * request.count)
        return malformed(
            QStringLiteral("%1 bytes do not hold %2 registers").arg(pdu.size()).arg(request.count));
    ModbusAnswer answer;
    answer.kind = ModbusAnswer::Values;
    if (request.repeated && isSame(request.repeated->pdu, pdu)) {
        answer.values = request.repeated->values;
        return answer;
    }
    answer.values.reserve(request.count);
    for (int i = 0; i < request.count; ++i)
        answer.values.append(static_cast<int>(wordAt(pdu, c_countedFrom + 2 * i)));
    if (request.repeated)
        *request.repeated = {QByteArray(pdu.data(), sizeOf(pdu)), answer.values};
    return answer;
}

ModbusAnswer decodeBits(const ModbusRequest& request, PduView pdu)
{
    if (countedBytes(pdu) != (request.count + 7) / 8)
        return malformed(QStringLiteral("%1 bytes do not hold %2 bits").arg(pdu.size()).arg(request.count));
    ModbusAnswer answer;
    answer.kind = ModbusAnswer::Values;
    answer.values.reserve(request.count);
    for (int i = 0; i < request.count; ++i)
        answer.values.append(byteAt(pdu, c_countedFrom + i / 8) >> (i % 8) & 1);
    return answer;
}

ModbusAnswer decodeInformation(PduView pdu)
{
    if (!countedBytes(pdu))
        return malformed(QStringLiteral("%1 bytes do not hold what the byte count says").arg(pdu.size()));
    ModbusAnswer answer;
    answer.kind = ModbusAnswer::Values;
    answer.information = QByteArray(pdu.data() + c_countedFrom, sizeOf(pdu) - c_countedFrom);
    return answer;
}

} // namespace

QStringList readableRegisterTypes()
{
    QStringList names;
    for (const RegisterType& type : c_registerTypes)
        names.append(type.name);
    return names;
}

QStringList writableRegisterTypes()
{
    QStringList names;
    for (const RegisterType& type : c_registerTypes) {
        if (type.write)
            names.append(type.name);
    }
    return names;
}

bool ModbusRequest::isWrite() const
{
    return function == WriteSingleCoil || function == WriteSingleRegister ||
           function == WriteMultipleRegisters;
}

QByteArray ModbusRequest::pdu() const
{
    constexpr int c_mostHead = 6; // function, start, count, byte count
    QByteArray bytes;
    bytes.reserve(c_mostHead + 2 * data.size());
    appendPdu(bytes);
    return bytes;
}

void ModbusRequest::appendPdu(QByteArray& bytes) const
{
    bytes.append(static_cast<char>(function));
    switch (function) {
    case ReadCoils:
    case ReadDiscreteInputs:
    case ReadHoldingRegisters:
    case ReadInputRegisters:
        append16(bytes, start);
        append16(bytes, count);
        break;
    case WriteSingleCoil:
        append16(bytes, start);
        append16(bytes, data.value(0) == 0 ? quint16{0} : c_coilOn);
        break;
    case WriteSingleRegister:
        append16(bytes, start);
        append16(bytes, data.value(0));
        break;
    case WriteMultipleRegisters:
        append16(bytes, start);
        append16(bytes, count);
        bytes.append(static_cast<char>(2 * count));
        for (const quint16 value : data)
            append16(bytes, value);
        break;
    case ReportServerId:
        break;
    }
}

QString ModbusRequest::text() const
{
    if (function == ReportServerId)
        return QStringLiteral("Report Server ID with function 0x11");
    const QString what = isWrite() ? QStringLiteral("write") : QStringLiteral("read");
    const bool bits = function == ReadCoils || function == ReadDiscreteInputs || function == WriteSingleCoil;
    const QString unit = bits ? QStringLiteral("bit") : QStringLiteral("register");
    QString place = QStringLiteral("%1 %2").arg(unit).arg(start - addressOffset);
    if (addressOffset != 0)
        place += QStringLiteral(" (%1 on the wire)").arg(start);
    const QString many = count == 1 ? QString() : QStringLiteral("%1 %2s from ").arg(count).arg(unit);
    return QStringLiteral("%1 of %2%3 with function %4").arg(what, many, place, functionText(function));
}

bool ModbusRequest::readsTheSame(const ModbusRequest& other) const
{
    return !isWrite() && function == other.function && start == other.start && count == other.count;
}

std::optional<ModbusRequest> readRequest(const QVariantMap& arguments, int addressOffset, QString* error)
{
    const RegisterType* const type = findRegisterType(arguments, error);
    if (type == nullptr)
        return std::nullopt;
    const std::optional<quint16> count =
        numberWithin(arguments, c_dataSize, arguments.value(c_dataSize, 1), 1, c_mostReadValues, error);
    if (!count)
        return std::nullopt;
    ModbusRequest request;
    request.function = type->read;
    request.count = *count;
    if (!setStart(request, arguments, addressOffset, error))
        return std::nullopt;
    return request;
}

std::optional<ModbusRequest> writeRequest(const QVariantMap& arguments, int addressOffset, QString* error)
{
    const RegisterType* const type = findRegisterType(arguments, error);
    if (type == nullptr)
        return std::nullopt;
    if (!type->write) {
        *error = QStringLiteral("\"registerType\" is \"%1\": that can only be read").arg(type->name);
        return std::nullopt;
    }
    const QVariant given = arguments.value(c_data);
    const bool isList = static_cast<QMetaType::Type>(given.userType()) == QMetaType::QVariantList;
    const QVariantList values = isList ? given.toList() : QVariantList{given};

    const int most = *type->write == ModbusRequest::WriteMultipleRegisters ? c_mostWrittenValues : 1;
    const std::optional<quint16> count = numberWithin(
        arguments, c_dataSize, arguments.value(c_dataSize, static_cast<int>(values.size())), 1, most, error);
    if (!count) {
        if (!arguments.contains(c_dataSize)) {
            *error = QStringLiteral("\"data\" is a list of %1: \"%2\" takes from 1 to %3 values")
                         .arg(values.size())
                         .arg(type->name)
                         .arg(most);
        }
        return std::nullopt;
    }
    if (*count != values.size()) {
        *error =
            QStringLiteral("\"dataSize\" is %1, but \"data\" has %2 values").arg(*count).arg(values.size());
        return std::nullopt;
    }

    ModbusRequest request;
    request.function = *type->write;
    request.count = *count;
    const int mostValue = request.function == ModbusRequest::WriteSingleCoil ? 1 : c_mostAddress;
    for (const QVariant& value : values) {
        const std::optional<quint16> number = numberWithin(arguments, c_data, value, 0, mostValue, error);
        if (!number)
            return std::nullopt;
        request.data.append(*number);
    }
    if (!setStart(request, arguments, addressOffset, error))
        return std::nullopt;
    return request;
}

ModbusRequest deviceInformationRequest()
{
    ModbusRequest request;
    request.function = ModbusRequest::ReportServerId;
    return request;
}

ModbusAnswer decodeAnswer(const ModbusRequest& request, PduView pdu)
{
    if (pdu.empty())
        return malformed(QStringLiteral("it is empty"));
    const quint8 function = byteAt(pdu, 0);
    if (function == (request.function | c_exceptionBit)) {
        if (pdu.size() != 2)
            return malformed(QStringLiteral("an exception has 2 bytes, not %1").arg(pdu.size()));
        ModbusAnswer answer;
        const bool denies = !request.isWrite() || exceptionDeniesWrite(byteAt(pdu, 1));
        answer.kind = denies ? ModbusAnswer::Refused : ModbusAnswer::Undecided;
        answer.text = exceptionText(byteAt(pdu, 1));
        return answer;
    }
    if (function != request.function)
        return malformed(otherFunctionText(request, function));
    switch (request.function) {
    case ModbusRequest::ReadHoldingRegisters:
    case ModbusRequest::ReadInputRegisters:
        return decodeRegisters(request, pdu);
    case ModbusRequest::ReadCoils:
    case ModbusRequest::ReadDiscreteInputs:
        return decodeBits(request, pdu);
    case ModbusRequest::ReportServerId:
        return decodeInformation(pdu);
    case ModbusRequest::WriteSingleCoil:
    case ModbusRequest::WriteSingleRegister:
        return isSame(pdu, request.pdu()) ? acknowledged()
                                          : malformed(QStringLiteral("it does not repeat the request"));
    case ModbusRequest::WriteMultipleRegisters: {
        constexpr int c_echoed = 5; // function, start, count
        return isSame(pdu, request.pdu().left(c_echoed))
                   ? acknowledged()
                   : malformed(QStringLiteral("it does not repeat start and count of the request"));
    }
    }
    return malformed(QStringLiteral("its function is not one of this driver's"));
}

QString otherFunctionText(const ModbusRequest& request, quint8 function)
{
    return QStringLiteral("its function code is %1 instead of %2")
        .arg(functionText(function), functionText(request.function));
}

bool answersFunction(const ModbusRequest& request, quint8 function)
{
    return (function & ~c_exceptionBit) == request.function;
}

bool exceptionDeniesWrite(int code)
{
    switch (code) {
    case 1:
    case 2:
    case 3:
    case 6:
    case 7:
    case 8:
    case 10:
        return true;
    default:
        return false;
    }
}

QString exceptionText(int code)
{
    QString name;
    switch (code) {
    case 1:
        name = QStringLiteral("illegal function");
        break;
    case 2:
        name = QStringLiteral("illegal data address");
        break;
    case 3:
        name = QStringLiteral("illegal data value");
        break;
    case 4:
        name = QStringLiteral("server device failure");
        break;
    case 5:
        name = QStringLiteral("acknowledged, still working");
        break;
    case 6:
        name = QStringLiteral("server device busy");
        break;
    case 7:
        name = QStringLiteral("negative acknowledge");
        break;
    case 8:
        name = QStringLiteral("memory parity error");
        break;
    case 10:
        name = QStringLiteral("gateway path unavailable");
        break;
    case 11:
        name = QStringLiteral("gateway target device failed to respond");
        break;
    default:
        name = QStringLiteral("an exception that Modbus does not define");
        break;
    }
    return QStringLiteral("%1 (%2)").arg(name).arg(code);
}
