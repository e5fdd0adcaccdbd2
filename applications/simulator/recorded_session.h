#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// A request of a session that was recorded, and what became of it. Times are in milliseconds.
struct RecordedExchange
{
    // Bytes as they came, and how long behind the request or the piece before them.
    struct Piece
    {
        QByteArray bytes;
        int delay = 0;
    };

    QByteArray request; // unit, function code and data
    QList<Piece> pieces;
    // Over TCP the number of the transaction that the answer should have.
    quint16 transaction = 0;
    // So long behind the last piece the controller closed the connection.
    std::optional<int> closing;
    // From the request on new connections are refused for so long; below 0: for good.
    std::optional<int> refusal;
};

// The record of a session of a Modbus driver, or its trace: docs/modbus-driver.md has the lines.
struct RecordedSession
{
    // What is read of a file, and of one line of it, in bytes.
    static constexpr qint64 c_mostBytes = Q_INT64_C(64) * 1024 * 1024;
    // Pieces of one answer: each client may wait for many answers, and each piece is sent by itself.
    static constexpr int c_mostPieces = 1024;
    static constexpr int c_longestLine = 8192;
    // Who waits for longer is not waited for so long: ms, one hour.
    static constexpr int c_longestWait = 3600000;

    bool isTcp = true;
    QList<RecordedExchange> exchanges;
    // What of the record cannot be done again, one line each.
    QStringList notes;

    // Nothing with a text that names the line when this is no record, or a damaged one.
    static std::optional<RecordedSession> parse(const QByteArray& text, QString* error);
    // The session of a file, or nothing with a text that names it.
    static std::optional<RecordedSession> read(const QString& path, QString* error);
    // Adds a session that came behind this one. False when it is of another transport.
    bool append(const RecordedSession& later);
};

// "function 0x03, register 6101 on the wire, count 6, unit 1 (01 03 17 d5 00 06)"
QString requestText(const QByteArray& request);
