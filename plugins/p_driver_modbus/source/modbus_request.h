#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <QVector>

#include <memory>
#include <optional>
#include <span>

// One Modbus request of this driver, and what its answer means. No input or output happens here.

// Function code and data, where they stand among other bytes.
using PduView = std::span<const char>;

// Most registers that one request may read, and write (Modbus application protocol, 6.3 and 6.12).
constexpr int c_mostReadValues = 125;
constexpr int c_mostWrittenValues = 123;

// Names of the register types, as an instruction's "registerType" has them.
QStringList readableRegisterTypes();
QStringList writableRegisterTypes();

// The last answer to a read that is made again and again. While the controller answers with the same bytes,
// everybody gets the same list, which is made once: a list is an allocation for each of its values.
struct RepeatedAnswer
{
    QByteArray pdu;
    QVariantList values;
};

struct ModbusRequest
{
    enum Function : quint8 {
        ReadCoils = 0x01,
        ReadDiscreteInputs = 0x02,
        ReadHoldingRegisters = 0x03,
        ReadInputRegisters = 0x04,
        WriteSingleCoil = 0x05,
        WriteSingleRegister = 0x06,
        WriteMultipleRegisters = 0x10,
        ReportServerId = 0x11,
    };

    Function function = ReadHoldingRegisters;
    quint16 start = 0;     // as sent, offset included
    int addressOffset = 0; // what it has more than the register of the configuration
    quint16 count = 0;
    QVector<quint16> data; // what a write writes; a coil is 0 or 1
    // Null for a read that is made once.
    std::shared_ptr<RepeatedAnswer> repeated = nullptr;

    bool isWrite() const;
    // The protocol data unit: function code and data.
    QByteArray pdu() const;
    void appendPdu(QByteArray& bytes) const;
    // For messages, with the register as it is configured: "read of register 5101 with function 0x03", "read
    // of 10 registers from register 5101 (5100 on the wire) with function 0x03".
    QString text() const;

    // Same function and same range: one read serves both.
    bool readsTheSame(const ModbusRequest& other) const;
};

// From the arguments of an instruction: "register", "registerType", "dataSize" and, to write,
// "data". Nothing, with `error`, when they cannot be sent as they are: an unknown or read-only
// register type, a size outside 1…125 (1…123 to write), a value outside 0…65535 (0…1 for a coil), a
// range that leaves 0…65535. `addressOffset` is added to the register.
std::optional<ModbusRequest> readRequest(const QVariantMap& arguments, int addressOffset, QString* error);
std::optional<ModbusRequest> writeRequest(const QVariantMap& arguments, int addressOffset, QString* error);
ModbusRequest deviceInformationRequest();

struct ModbusAnswer
{
    enum Kind {
        Values,    // `values` of a read or {1} of a write, `information` of Report Server ID
        Refused,   // the controller's exception, in words, is `text`
        Undecided, // likewise, but the exception does not say that the write is not done
        Malformed, // no answer to this request; why is `text`
    };

    Kind kind = Malformed;
    QVariantList values;
    QByteArray information;
    QString text;
};

// Judges the protocol data unit of an answer. Only an answer of exactly the right length, with the
// request's function and, for a write, its start and value or count, is one.
ModbusAnswer decodeAnswer(const ModbusRequest& request, PduView pdu);

// Whether an answer with this function code is one to the request, an exception included; and what is told
// when it is not.
bool answersFunction(const ModbusRequest& request, quint8 function);
QString otherFunctionText(const ModbusRequest& request, quint8 function);

// Whether the controller says with this exception that it does not do a write. Those do not that tell
// of a failure on the way (4), of a write that is being carried out (5), and of a device behind a
// gateway that got it and did not answer (11): Modbus application protocol, 7. Nor do those that it does not
// define: what a controller means by them nobody knows. 7 is of its older editions.
bool exceptionDeniesWrite(int code);

// "illegal data address (2)"
QString exceptionText(int code);
