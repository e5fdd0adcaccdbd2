#pragma once

#include "applications/simulator/modbus_frames.h"
#include "applications/simulator/recorded_session.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>

#include <optional>

// What a recorded controller answers next. Each request has the answers that it was given, in their order,
// and keeps the last one: a register that was polled walks through its values.
class ReplayPlan
{
public:
    struct Step
    {
        const RecordedExchange* exchange = nullptr; // null: this request was never recorded
        int count = 0;                              // of answers that it was given
        // The row has come to its end before: the last answer is given once more.
        bool isRepeated = false;
        // For the first time: worth telling.
        bool isNews = false;
    };

    explicit ReplayPlan(const RecordedSession& session);

    // `request` is unit, function code and data.
    Step next(const QByteArray& request);

    // Requests that were recorded, and how many different ones.
    int recordedCount() const { return m_exchanges.size(); }
    int differentCount() const { return m_rows.size(); }
    qint64 requestCount() const { return m_requests; }
    qint64 unknownCount() const { return m_unknown; }

private:
    struct Row
    {
        QList<int> exchanges;
        int asked = 0;
    };

    QList<RecordedExchange> m_exchanges;
    QHash<QByteArray, Row> m_rows;
    // Of those that were never recorded; not more than a client could fill the memory with.
    QSet<QByteArray> m_strangers;
    qint64 m_requests = 0;
    qint64 m_unknown = 0;
};

// A time of the record that many times as fast, in milliseconds; 0: none. One below 0 has no end.
int scaledTime(int milliseconds, double speed);

// What goes on the wire for it, `speed` times as fast as it was; 0: at once. `transaction` is that of the
// request that is answered, over TCP; nothing on a serial line.
Delivery deliveryOf(const RecordedExchange& exchange, std::optional<quint16> transaction, double speed);
