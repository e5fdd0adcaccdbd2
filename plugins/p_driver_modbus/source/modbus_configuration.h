#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

// Where a controller is and how it is talked to. Times are in milliseconds.
struct ModbusConfiguration
{
    enum class Transport { Tcp, Rtu };
    enum class Parity { None, Even, Odd };
    static constexpr int c_longestAnswerTimeout = 3000;

    Transport transport = Transport::Tcp;
    QString host = QStringLiteral("127.0.0.1"); // name or address
    int port = 502;                             // 1…65535
    QString serialPort;                         // needed for RTU: "COM3", "/dev/ttyUSB0"
    int baudRate = 19200;                       // 300…4000000
    Parity parity = Parity::Even;
    int dataBits = 8; // a frame of Modbus RTU is binary: nothing else works
    int stopBits = 1; // 1 or 2
    int unitId = 1;   // TCP 0…255, RTU 1…247 (0 is a broadcast there, which nobody answers)
    // Added to each register address; 0, or -1 for a controller whose manual counts from 1.
    int addressOffset = 0;
    int interFrameDelay = 0;   // 0…10000, pause between an answer and the next request
    int settleDelay = 0;       // 0…60000, pause between connecting and the first request
    int connectTimeout = 3000; // 10…60000
    // 50…3000, from a request to its answer; at the longest its caller's deadline alone counts. On a serial
    // line the time that the frames themselves take comes on top.
    int answerTimeout = c_longestAnswerTimeout;
    int queueCapacity = 64; // 1…10000 requests waiting
    QString frameTrace;     // file path; empty for no trace
    QString frameRecord;    // path of a file that is not there; empty for no record

    // What people call the other end: "127.0.0.1:502" or "/dev/ttyUSB0".
    QString address() const;
};

// Reads the "configuration" object of a driver instance. An absent key has the default above.
// Every unknown key, wrong type and value out of range adds a line to `errors` that names the key,
// the value and what is allowed; the result is meant to be used only when there is none.
ModbusConfiguration parseModbusConfiguration(const QJsonObject& object, QStringList* errors);
