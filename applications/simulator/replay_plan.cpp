#include "applications/simulator/replay_plan.h"

#include <algorithm>

namespace {

// So many strange requests are told apart.
constexpr int c_mostStrangers = 1000;
constexpr int c_lengthOffset = 4;

quint16 word(const QByteArray& bytes, int offset)
{
    return static_cast<quint16>(static_cast<quint8>(bytes.at(offset)) << 8 |
                                static_cast<quint8>(bytes.at(offset + 1)));
}

// The frames of an answer with another transaction number. One that was wrong stays wrong by as much.
void renumber(QByteArray& bytes, quint16 by)
{
    constexpr int c_fieldSize = 2;
    for (int at = 0; at + c_fieldSize <= bytes.size();) {
        const auto number = static_cast<quint16>(word(bytes, at) + by);
        bytes[at] = static_cast<char>(number >> 8);
        bytes[at + 1] = static_cast<char>(number & 0xFF);
        // Where the next one begins says the header, if it is one.
        if (at + c_lengthOffset + c_fieldSize > bytes.size() || word(bytes, at + c_fieldSize) != 0)
            return;
        at += c_lengthOffset + c_fieldSize + word(bytes, at + c_lengthOffset);
    }
}

} // namespace

ReplayPlan::ReplayPlan(const RecordedSession& session)
    : m_exchanges(session.exchanges)
{
    for (int i = 0; i < m_exchanges.size(); ++i)
        m_rows[m_exchanges.at(i).request].exchanges.append(i);
}

ReplayPlan::Step ReplayPlan::next(const QByteArray& request)
{
    ++m_requests;
    Step step;
    const auto row = m_rows.find(request);
    if (row == m_rows.end()) {
        ++m_unknown;
        step.isNews = !m_strangers.contains(request) && m_strangers.size() < c_mostStrangers;
        if (step.isNews)
            m_strangers.insert(request);
        return step;
    }
    step.count = row->exchanges.size();
    step.isRepeated = row->asked >= step.count;
    step.isNews = row->asked == step.count;
    step.exchange = &m_exchanges.at(row->exchanges.at(std::min(row->asked, step.count - 1)));
    // One more than there are: the end of the row has been told.
    row->asked = std::min(row->asked + 1, step.count + 1);
    return step;
}

int scaledTime(int milliseconds, double speed)
{
    if (milliseconds < 0)
        return milliseconds;
    return speed > 0 ? static_cast<int>(std::min(milliseconds / speed + 0.5, 1e9)) : 0;
}

Delivery deliveryOf(const RecordedExchange& exchange, std::optional<quint16> transaction, double speed)
{
    QByteArray bytes;
    for (const RecordedExchange::Piece& piece : exchange.pieces)
        bytes += piece.bytes;
    if (transaction)
        renumber(bytes, static_cast<quint16>(*transaction - exchange.transaction));
    Delivery delivery;
    int at = 0;
    for (const RecordedExchange::Piece& piece : exchange.pieces) {
        delivery.pieces.append({bytes.mid(at, piece.bytes.size()), scaledTime(piece.delay, speed)});
        at += piece.bytes.size();
    }
    if (exchange.closing) {
        delivery.pieces.append({QByteArray(), scaledTime(*exchange.closing, speed)});
        delivery.ending = Delivery::Ending::Close;
    }
    return delivery;
}
