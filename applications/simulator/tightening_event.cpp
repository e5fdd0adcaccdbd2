#include "applications/simulator/tightening_event.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr double c_hundredths = 100;
// In hundredths, as everything that is computed here.
constexpr int c_leastTarget = 500;
constexpr int c_targetStep = 27; // from program to program
constexpr int c_tolerance = 100;
constexpr int c_leastAngle = 3000;
constexpr int c_mostAngle = 36000;

// The finaliser of MurmurHash3 (public domain, constants its author's): neighbouring counts come out
// unlike each other.
quint32 mixed(quint32 value)
{
    value ^= value >> 16;
    value *= 0x85EBCA6BU;
    value ^= value >> 13;
    value *= 0xC2B2AE35U;
    value ^= value >> 16;
    return value;
}

// A value of an event by the name under which a key list asks for it.
struct Quantity
{
    const char* name;
    // From the number to one register.
    double scale;
    QVector<double> (*numbers)(const TighteningEvent& event);
};

using Event = TighteningEvent;
using Numbers = QVector<double>;

const Quantity c_quantities[] = {
    {"eventCountNo", 1, [](const Event& event) { return Numbers{double(event.count)}; }},
    {"program", 1, [](const Event& event) { return Numbers{double(event.program)}; }},
    {"direction", 1, [](const Event& event) { return Numbers{double(event.direction)}; }},
    {"result", 1, [](const Event& event) { return Numbers{event.isOk ? 1.0 : 0.0}; }},
    {"errorCode", 1, [](const Event& event) { return Numbers{double(event.errorCode)}; }},
    {"duration", 1, [](const Event& event) { return Numbers{double(event.duration)}; }},
    {"speed", 1, [](const Event& event) { return Numbers{double(event.speed)}; }},
    {"torque", c_hundredths, [](const Event& event) { return Numbers{event.torque}; }},
    {"angle", c_hundredths, [](const Event& event) { return Numbers{event.angle}; }},
    {"targetTorque", c_hundredths, [](const Event& event) { return Numbers{event.targetTorque}; }},
    {"minimumTorque", c_hundredths, [](const Event& event) { return Numbers{event.minimumTorque}; }},
    {"maximumTorque", c_hundredths, [](const Event& event) { return Numbers{event.maximumTorque}; }},
    {"torqueTrace", c_hundredths, [](const Event& event) { return event.torqueTrace(); }},
};

} // namespace

TighteningEvent TighteningEvent::ofCount(quint16 count, quint16 program, quint16 direction, quint32 seed)
{
    const quint32 chance = mixed(mixed(seed) + count);
    const auto part = [chance](int shift, int bound) {
        return static_cast<int>((chance >> shift) % static_cast<quint32>(bound));
    };
    TighteningEvent event;
    event.count = count;
    event.program = program;
    event.direction = direction;
    event.speed = static_cast<quint16>(300 + 10 * part(3, 21));
    event.duration = static_cast<quint16>(200 + part(5, 1801));
    event.angle = (c_leastAngle + part(7, c_mostAngle - c_leastAngle + 1)) / c_hundredths;
    const int target = c_leastTarget + c_targetStep * program;
    event.targetTorque = target / c_hundredths;
    event.minimumTorque = (target - c_tolerance) / c_hundredths;
    event.maximumTorque = (target + c_tolerance) / c_hundredths;
    const int deviation = part(11, c_tolerance + 1);
    const bool isLow = part(19, 2) == 0;
    event.isOk = part(0, 10) != 0;
    const int distance = event.isOk ? deviation : c_tolerance + 1 + deviation;
    event.torque = (target + (isLow ? -distance : distance)) / c_hundredths;
    if (!event.isOk)
        event.errorCode = isLow ? 1 : 2;
    return event;
}

QVector<double> TighteningEvent::torqueTrace() const
{
    return {torque / 4, torque / 2, torque * 3 / 4, torque};
}

QString TighteningEvent::toText() const
{
    return QStringLiteral("event %1: program %2, %3, %4 Nm, %5 degrees, %6 ms, %7")
        .arg(QString::number(count), QString::number(program),
             direction == 0 ? QStringLiteral("fastening") : QStringLiteral("loosening"),
             QString::number(torque, 'f', 2), QString::number(angle, 'f', 2), QString::number(duration),
             isOk ? QStringLiteral("OK") : QStringLiteral("NOK"));
}

QVector<quint16> encodeEvent(const RegisterLayout& layout, int size, const TighteningEvent& event)
{
    QVector<quint16> block(size, 0);
    for (const RegisterField& field : layout) {
        const auto* const found =
            std::find_if(std::begin(c_quantities), std::end(c_quantities),
                         [&field](const Quantity& one) { return field.name == QLatin1String(one.name); });
        if (found != std::end(c_quantities))
            putField(block, field, found->numbers(event), found->scale);
    }
    return block;
}
