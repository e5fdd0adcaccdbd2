#include "applications/bench/probe/device_probe.h"

#include "applications/bench/device_configuration/known_channels.h"

#include <lib_plugins_management/driver_contract.h>

#include <algorithm>
#include <utility>

namespace {

// A controller that has missed so many requests in a row is not there.
constexpr int c_mostMissed = 2;
// Ranges that are looked for elsewhere: where more are wrong they are so for one reason.
constexpr int c_mostSought = 24;
// Round trips that a 99th percentile needs.
constexpr int c_wantedRoundTrips = 100;
constexpr int c_highestRegister = 65535;
constexpr int c_inputNotation = 30001;
constexpr int c_holdingNotation = 40001;
constexpr int c_numbersOfNotation = 9999;

bool isMissed(const ReadReply& reply)
{
    return reply.code == ExitCode::TimedOut || reply.code == ExitCode::NotConnected;
}

// The tables that people take for one another.
QString otherTable(const QString& type)
{
    using namespace driver_contract;
    if (type == c_inputRegisters)
        return c_holdingRegisters;
    if (type == c_coils)
        return c_discreteInputs;
    return type == c_discreteInputs ? QString(c_coils) : QString(c_inputRegisters);
}

bool makesSense(const ProbedValue& value, const QJsonObject& configuration)
{
    return value.range.kind != ProbedRange::Kind::Value ||
           isKnownValue(value.range.channel, value.values.constFirst(), configuration);
}

} // namespace

std::optional<ReadRequest> withoutNotation(const ReadRequest& request)
{
    const auto isOf = [&request](int notation) {
        return request.address >= notation && request.address < notation + c_numbersOfNotation;
    };
    if (isOf(c_holdingNotation))
        return ReadRequest{request.address - c_holdingNotation, request.count,
                           driver_contract::c_holdingRegisters};
    if (isOf(c_inputNotation))
        return ReadRequest{request.address - c_inputNotation, request.count,
                           driver_contract::c_inputRegisters};
    return std::nullopt;
}

DeviceProbe::DeviceProbe(const QJsonObject& configuration, const ConnectedController& controller,
                         RegisterReader reader, std::function<bool()> isCancelled, Clock isOutOfTime)
    : m_configuration(configuration)
    , m_controller(controller)
    , m_reader(std::move(reader))
    , m_isCancelled(std::move(isCancelled))
    , m_isOutOfTime(std::move(isOutOfTime))
    , m_ranges(probedRanges(configuration, controller))
{}

ProbeResult DeviceProbe::run()
{
    readAll();
    const bool isCut = isLate() && m_result.code == ExitCode::Done;
    for (const ProbedRange& range : qAsConst(m_ranges)) {
        ProbedValue value{range, m_image.values(range), m_image.refused(range), {}, ExitCode::Done, false};
        value.wasReadWhole = m_image.wasReadWhole(range);
        if (!value.refused.isEmpty()) {
            value.code = ExitCode::Refused;
            value.message = m_image.refusal(range.type, value.refused.constFirst());
        } else if (!value.isRead() && isCut) {
            value.code = ExitCode::TimedOut;
            value.message = QStringLiteral("not probed");
            m_result.unprobed.append(range.title());
        } else if (!value.isRead()) {
            value.code = m_result.code == ExitCode::Done ? ExitCode::CommandFailed : m_result.code;
            value.message = m_result.end;
        }
        m_result.values.append(value);
    }
    m_result.requests = m_result.roundTrips.size();
    lookElsewhere();
    measure();
    return m_result;
}

ReadReply DeviceProbe::read(const ReadRequest& request)
{
    const ReadReply reply = m_reader(request);
    // A refusal is an answer as well.
    if (reply.isDone() || reply.code == ExitCode::Refused)
        m_result.roundTrips.append(reply.microseconds);
    m_missed = isMissed(reply) ? m_missed + 1 : 0;
    if (!reply.isDone() && reply.code != ExitCode::Refused) {
        m_result.end = reply.message;
        m_result.code = reply.code;
    }
    return reply;
}

bool DeviceProbe::isOver() const
{
    return m_missed >= c_mostMissed || (m_isCancelled && m_isCancelled()) || isLate();
}

void DeviceProbe::readAll()
{
    const QList<ReadRequest> requests = probeRequests(m_ranges);
    for (const ReadRequest& request : requests) {
        if (isOver())
            return;
        const ReadReply reply = read(request);
        if (reply.isDone())
            m_image.take(request, reply.values);
        else if (reply.code == ExitCode::Refused)
            readParts(request, reply.message);
    }
}

void DeviceProbe::readParts(const ReadRequest& request, const QString& refusal)
{
    const ProbedRange whole{ProbedRange::Kind::Value, {}, request.address, request.count, request.type};
    for (const ProbedRange& range : qAsConst(m_ranges)) {
        const int first = std::max(range.address, whole.address);
        const int last = std::min(range.last(), whole.last());
        if (!isOneTable(range.type, request.type) || first > last || isOver())
            continue;
        const ReadRequest part{first, last - first + 1, request.type};
        if (part.address == request.address && part.count == request.count) {
            readSingly(part, refusal);
            continue;
        }
        const ReadReply reply = read(part);
        if (reply.isDone())
            m_image.take(part, reply.values);
        else if (reply.code == ExitCode::Refused)
            readSingly(part, reply.message);
    }
}

void DeviceProbe::readSingly(const ReadRequest& request, const QString& refusal)
{
    if (request.count == 1) {
        m_image.refuse(request.type, request.address, refusal);
        return;
    }
    for (int i = 0; i < request.count && !isOver(); ++i) {
        const ReadRequest single{request.address + i, 1, request.type};
        if (m_image.value(single.type, single.address) ||
            !m_image.refusal(single.type, single.address).isEmpty())
            continue;
        const ReadReply reply = read(single);
        if (reply.isDone())
            m_image.take(single, reply.values);
        else if (reply.code == ExitCode::Refused)
            m_image.refuse(single.type, single.address, reply.message);
    }
}

void DeviceProbe::lookElsewhere()
{
    int sought = 0;
    const bool isDoubtful =
        std::any_of(m_result.values.cbegin(), m_result.values.cend(), [this](const ProbedValue& value) {
            return !value.refused.isEmpty() || (value.isRead() && !makesSense(value, m_configuration));
        });
    for (int i = 0; isDoubtful && i < m_result.values.size(); ++i) {
        const ProbedValue& value = m_result.values.at(i);
        // What makes sense where it is may make more of it beside, when others do not.
        const bool isWanted =
            !value.refused.isEmpty() || (value.isRead() && hasKnownValues(value.range.channel));
        if (isWanted && sought++ < c_mostSought)
            lookElsewhere(i);
    }
    if (isDoubtful && isLate())
        m_result.unprobed.append(QStringLiteral("what is beside"));
}

void DeviceProbe::lookElsewhere(int range)
{
    using Place = Elsewhere::Place;
    const ProbedValue value = m_result.values.at(range);
    const ReadRequest at{value.range.address, value.range.count, value.range.type};
    QList<Elsewhere> places{{Place::OneLower, range, {at.address - 1, at.count, at.type}, {}},
                            {Place::OneHigher, range, {at.address + 1, at.count, at.type}, {}}};
    if (!value.refused.isEmpty()) {
        places.append({Place::OtherTable, range, {at.address, at.count, otherTable(at.type)}, {}});
        if (const std::optional<ReadRequest> plain = withoutNotation(at))
            places.append({Place::WithoutNotation, range, *plain, {}});
    }
    for (Elsewhere& place : places) {
        if (place.request.address < 0 || place.request.address + at.count - 1 > c_highestRegister || isOver())
            continue;
        const ReadReply reply = read(place.request);
        if (!reply.isDone())
            continue;
        place.values = reply.values;
        m_result.elsewhere.append(place);
    }
}

void DeviceProbe::measure()
{
    const auto readable = std::find_if(m_result.values.cbegin(), m_result.values.cend(),
                                       [](const ProbedValue& value) { return value.isRead(); });
    if (readable == m_result.values.cend())
        return;
    const ReadRequest request{readable->range.address, 1, readable->range.type};
    while (m_result.roundTrips.size() < c_wantedRoundTrips && !isOver()) {
        if (!read(request).isDone())
            return;
    }
    if (m_result.roundTrips.size() < c_wantedRoundTrips && isLate())
        m_result.unprobed.append(QStringLiteral("round trips"));
}
