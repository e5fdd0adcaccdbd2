#include "plugins/p_driver_modbus/source/modbus_exchange.h"

#include "plugins/p_driver_modbus/source/modbus_transport.h"

#include <utility>

namespace {

// The same answer a second time contradicts nothing.
bool isSaidTwice(const QByteArray& received)
{
    const int half = received.size() / 2;
    return received.left(half) == received.mid(half);
}

} // namespace

ModbusExchange::ModbusExchange(const ModbusRequest& request, const ModbusTransport& transport,
                               quint16 transaction, AnswerLimit limit, Clock::time_point startedAt)
    : m_request(request)
    , m_transport(&transport)
    , m_transaction(transaction)
    , m_limit(limit)
    , m_startedAt(startedAt)
{}

ExchangeVerdict ModbusExchange::receive(const QByteArray& bytes, Clock::time_point now)
{
    // Most answers come in one piece, and are judged where they are.
    if (m_received.isEmpty()) {
        ExchangeVerdict verdict = judge(bytes, now);
        if (verdict.isOpen())
            m_received = bytes;
        return verdict;
    }
    m_received += bytes;
    return judge(m_received, now);
}

ExchangeVerdict ModbusExchange::timeOut() const
{
    QString problem = QStringLiteral("no answer to the %1 within %2").arg(m_request.text(), limitText());
    if (!m_received.isEmpty())
        problem = QStringLiteral("no whole answer to the %1 within %2: %3 bytes came")
                      .arg(m_request.text(), limitText())
                      .arg(m_received.size());
    ExchangeVerdict verdict = failed(ExchangeVerdict::TimedOut, IMessenger::CeEcTimeout,
                                     QStringLiteral("%1: %2").arg(address(), problem));
    verdict.problem = problem;
    return verdict;
}

ExchangeVerdict ModbusExchange::loseConnection(const QString& reason) const
{
    const QString text = m_isSent
                             ? QStringLiteral("the connection to %1 was lost during the %2: %3")
                             : QStringLiteral("the connection to %1 was lost before the %2 was sent: %3");
    return failed(ExchangeVerdict::Lost, IMessenger::CeEcNotConnected,
                  text.arg(address(), m_request.text(), reason));
}

ExchangeVerdict ModbusExchange::judge(const QByteArray& received, Clock::time_point now) const
{
    const AnswerCheck check = m_transport->check(received, m_transaction);
    if (!check.confirmed && check.function && !answersFunction(m_request, *check.function))
        return malformed(otherFunctionText(m_request, *check.function));
    if (!check.confirmed)
        return check.problem.isEmpty() ? ExchangeVerdict() : malformed(check.problem);
    ModbusAnswer answer = decodeAnswer(m_request, check.pdu);
    ExchangeVerdict verdict;
    verdict.problem = check.problem;
    verdict.roundTrip = now - m_startedAt;
    switch (answer.kind) {
    case ModbusAnswer::Malformed:
        return malformed(answer.text);
    case ModbusAnswer::Values:
        verdict.kind = ExchangeVerdict::Values;
        verdict.outcome.values = std::move(answer.values);
        verdict.outcome.information = std::move(answer.information);
        break;
    case ModbusAnswer::Refused:
        verdict.kind = ExchangeVerdict::Refused;
        verdict.outcome.code = IMessenger::CeEcRefused;
        verdict.outcome.message =
            QStringLiteral("%1 refused the %2: %3").arg(address(), m_request.text(), answer.text);
        if (m_request.isWrite() && !check.problem.isEmpty() && !isSaidTwice(received)) {
            verdict.kind = ExchangeVerdict::Uncertain;
            verdict.outcome.code = IMessenger::CeEcUncertain;
            verdict.outcome.message +=
                QStringLiteral(", and sent something else behind it; the write may have been done");
        }
        break;
    case ModbusAnswer::Undecided:
        verdict.kind = ExchangeVerdict::Uncertain;
        verdict.outcome.code = IMessenger::CeEcUncertain;
        verdict.outcome.message = QStringLiteral("%1 answered the %2 with %3; the write may have been done")
                                      .arg(address(), m_request.text(), answer.text);
        break;
    }
    return verdict;
}

ExchangeVerdict ModbusExchange::malformed(const QString& problem) const
{
    const QString text =
        QStringLiteral("the answer to the %1 is not valid: %2").arg(m_request.text(), problem);
    ExchangeVerdict verdict = failed(ExchangeVerdict::Malformed, IMessenger::CeEcNotConnected,
                                     QStringLiteral("%1: %2").arg(address(), text));
    verdict.problem = text;
    return verdict;
}

// `code` is a read's, and that of a write that has not been sent.
ExchangeVerdict ModbusExchange::failed(ExchangeVerdict::Kind kind, IMessenger::EnErrorCode code,
                                       const QString& message) const
{
    const bool mayBeDone = m_request.isWrite() && m_isSent;
    ExchangeVerdict verdict;
    verdict.kind = kind;
    verdict.outcome.code = mayBeDone ? IMessenger::CeEcUncertain : code;
    verdict.outcome.message =
        mayBeDone ? message + QStringLiteral("; the write may have been done") : message;
    return verdict;
}

QString ModbusExchange::limitText() const
{
    if (!m_limit.isConfigured)
        return QStringLiteral("%1 ms").arg(m_limit.allowedTime);
    const int answerTimeout = m_transport->configuration().answerTimeout;
    const QString text = QStringLiteral("%1 ms (answerTimeout)").arg(answerTimeout);
    const int ofTheFrames = m_limit.allowedTime - answerTimeout;
    return ofTheFrames == 0 ? text
                            : QStringLiteral("%1 and the %2 ms that its frames take on the line")
                                  .arg(text)
                                  .arg(ofTheFrames);
}

QString ModbusExchange::address() const
{
    return m_transport->configuration().address();
}
