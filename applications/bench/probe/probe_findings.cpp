#include "applications/bench/probe/probe_findings.h"

#include "applications/bench/device_configuration/known_channels.h"
#include "applications/bench/probe/float_order.h"
#include "applications/bench/probe/map_shift.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <algorithm>

namespace {

using Kind = ProbedRange::Kind;
using Place = Elsewhere::Place;

QString subjectOf(const ProbedRange& range)
{
    return QStringLiteral("channel %1").arg(range.channel);
}

// "register 6101" or "registers 6201 to 6216".
QString registersText(int first, int last)
{
    return first == last ? QStringLiteral("register %1").arg(first)
                         : QStringLiteral("registers %1 to %2").arg(first).arg(last);
}

QString registersText(const ProbedRange& range)
{
    return registersText(range.address, range.last());
}

// "6209, 6211 to 6213".
QString spansText(const QList<int>& ascending)
{
    QStringList spans;
    for (int i = 0; i < ascending.size(); ++i) {
        const int first = ascending.at(i);
        while (i + 1 < ascending.size() && ascending.at(i + 1) == ascending.at(i) + 1)
            ++i;
        spans.append(first == ascending.at(i) ? QString::number(first)
                                              : QStringLiteral("%1 to %2").arg(first).arg(ascending.at(i)));
    }
    return spans.join(QStringLiteral(", "));
}

// Without the register that it is about.
QString reasonOf(const ProbedValue& value)
{
    return value.message.section(QStringLiteral(": "), -1);
}

} // namespace

QString unprobedText(const QStringList& unprobed)
{
    constexpr int c_mostNamed = 20;
    const int more = unprobed.size() - c_mostNamed;
    return QStringLiteral("its time is over; not probed: %1%2")
        .arg(unprobed.mid(0, c_mostNamed).join(QStringLiteral(", ")),
             more > 0 ? QStringLiteral(" and %1 more").arg(more) : QString());
}

QString remedyOfTime()
{
    return QStringLiteral("give it more time with --seconds S, or see why the controller is slow");
}

namespace {

class Judgement
{
public:
    Judgement(const ProbeResult& result, const QJsonObject& configuration, const AddressOffset& offset)
        : m_result(result)
        , m_configuration(configuration)
        , m_offset(offset)
        , m_shift(mapShift(result, configuration))
    {}

    QList<ProbeFinding> findings()
    {
        judgeReading();
        if (judgeRefusalOfAll())
            return m_findings;
        if (m_shift)
            judgeShift();
        for (int i = 0; i < m_result.values.size(); ++i)
            judgeValue(i);
        judgeFloats();
        return m_findings;
    }

private:
    void ok(const QString& subject, const QString& message)
    {
        m_findings.append({{FindingLevel::Ok, subject, message, {}}, ExitCode::Done});
    }
    void error(ExitCode code, const QString& subject, const QString& message, const QString& remedy)
    {
        m_findings.append({{FindingLevel::Error, subject, message, remedy}, code});
    }

    void judgeReading();
    // The same refusal of everything is no mistake of a register; true when it was told.
    bool judgeRefusalOfAll();
    void judgeShift();
    void judgeValue(int index);
    void judgeRefusal(int index);
    void judgeBlock(const ProbedValue& value);
    void judgeSense(int index);
    void judgeFloats();
    void judgeFloatsOf(const QString& channel, const QList<ProbedFloat>& floats);
    QString remedyOfRefusal(int index) const;
    QString remedyOfSense(int index) const;
    QString remedyOfProgram() const;
    QString besideText(int index, Place place) const;

    const ProbeResult& m_result;
    const QJsonObject& m_configuration;
    const AddressOffset& m_offset;
    const std::optional<MapShift> m_shift;
    QList<ProbeFinding> m_findings;
};

void Judgement::judgeReading()
{
    const auto count =
        static_cast<int>(std::count_if(m_result.values.cbegin(), m_result.values.cend(),
                                       [](const ProbedValue& value) { return value.isRead(); }));
    const QString subject = QStringLiteral("probe");
    const QString message = QStringLiteral("%1 of %2 read, requests: %3")
                                .arg(count)
                                .arg(m_result.values.size())
                                .arg(m_result.requests);
    if (m_result.values.isEmpty())
        error(ExitCode::Configuration, subject, QStringLiteral("nothing is configured that could be read"),
              QStringLiteral("describe the controller's registers in \"channels\""));
    else if (m_result.code != ExitCode::Done)
        error(m_result.code, subject, message + QStringLiteral("; ") + m_result.end,
              remedyFor(m_result.code));
    else if (count == m_result.values.size())
        ok(subject, message);
    if (m_result.unprobed.isEmpty())
        return;
    // A value that was not read could be wrong; what was only measured could not.
    const bool isError = count < m_result.values.size();
    m_findings.append({{isError ? FindingLevel::Error : FindingLevel::Warning, subject,
                        isError ? message + QStringLiteral("; ") + unprobedText(m_result.unprobed)
                                : unprobedText(m_result.unprobed),
                        remedyOfTime()},
                       isError ? ExitCode::TimedOut : ExitCode::Done});
}

bool Judgement::judgeRefusalOfAll()
{
    const QList<ProbedValue>& values = m_result.values;
    const bool isAll =
        values.size() > 1 && std::all_of(values.cbegin(), values.cend(), [&values](const ProbedValue& value) {
            return value.refused.size() == value.range.count &&
                   reasonOf(value) == reasonOf(values.constFirst());
        });
    if (!isAll || !m_result.elsewhere.isEmpty())
        return false;
    error(ExitCode::Refused, QStringLiteral("registers"),
          QStringLiteral("everything is refused, %1 of %1: %2")
              .arg(values.size())
              .arg(reasonOf(values.constFirst())),
          QStringLiteral("check the unit, and that this is the map of this controller"));
    return true;
}

void Judgement::judgeShift()
{
    QStringList names;
    for (const int index : m_shift->values)
        names.append(m_result.values.at(index).range.title());
    const QString direction =
        m_shift->step() < 0 ? QStringLiteral("one register lower") : QStringLiteral("one register higher");
    QString remedy = QStringLiteral("every \"register\" of the map by one %1")
                         .arg(m_shift->step() < 0 ? QStringLiteral("lower") : QStringLiteral("higher"));
    const int offset = m_offset.value + m_shift->step();
    if (!m_offset.member.isEmpty() && (offset == 0 || offset == -1)) {
        const QString ofLink =
            QStringLiteral("\"%1\": %2 in the driver's configuration").arg(m_offset.member).arg(offset);
        remedy = m_shift->isOfLink ? ofLink : remedy + QStringLiteral(", or ") + ofLink;
    }
    error(ExitCode::Configuration, QStringLiteral("registers"),
          QStringLiteral("they look shifted by one: %1 make sense %2")
              .arg(names.join(QStringLiteral(", ")), direction),
          remedy);
}

void Judgement::judgeValue(int index)
{
    const ProbedValue& value = m_result.values.at(index);
    if (!value.refused.isEmpty() &&
        (value.refused.size() == value.range.count || value.range.kind == Kind::Value))
        judgeRefusal(index);
    else if (value.range.kind != Kind::Value)
        judgeBlock(value);
    else if (value.isRead())
        judgeSense(index);
}

QString Judgement::besideText(int index, Place place) const
{
    const Elsewhere* const there = findElsewhere(m_result, index, place);
    return there == nullptr
               ? QString()
               : registersText(there->request.address, there->request.address + there->request.count - 1);
}

QString Judgement::remedyOfProgram() const
{
    return QStringLiteral("correct \"size\" of \"currentPreset\" (registers of a program) or of \"presets\" "
                          "(how many programs there are)");
}

QString Judgement::remedyOfRefusal(int index) const
{
    const ProbedValue& value = m_result.values.at(index);
    if (const Elsewhere* const plain = findElsewhere(m_result, index, Place::WithoutNotation))
        return QStringLiteral("%1 is how manuals number it: give \"register\" %2 and \"readRegisterType\" "
                              "\"%3\", which can be read")
            .arg(value.range.address)
            .arg(plain->request.address)
            .arg(plain->request.type);
    if (const Elsewhere* const other = findElsewhere(m_result, index, Place::OtherTable))
        return QStringLiteral("it can be read as \"%1\": correct \"readRegisterType\"")
            .arg(other->request.type);
    if (m_shift && m_shift->values.contains(index))
        return QStringLiteral("see \"registers\": they look shifted by one");
    if (value.range.kind == Kind::Program)
        return remedyOfProgram();
    const QString lower = besideText(index, Place::OneLower);
    const QString higher = besideText(index, Place::OneHigher);
    if (lower.isEmpty() && higher.isEmpty())
        return QStringLiteral(
            "compare \"register\" and \"readRegisterType\" with the controller's documentation");
    if (!lower.isEmpty() && !higher.isEmpty())
        return QStringLiteral(
                   "%1 and %2 can be read: compare \"register\" with the controller's documentation")
            .arg(lower, higher);
    return QStringLiteral("%1 can be read: it looks shifted by one, correct \"register\"")
        .arg(lower.isEmpty() ? higher : lower);
}

void Judgement::judgeRefusal(int index)
{
    const ProbedValue& value = m_result.values.at(index);
    const QString program =
        value.range.program == 0 ? QString() : QStringLiteral("program %1, ").arg(value.range.program);
    error(ExitCode::Refused, subjectOf(value.range),
          QStringLiteral("%1%2 as \"%3\": %4")
              .arg(program, registersText(value.range), value.range.type, value.message),
          remedyOfRefusal(index));
}

void Judgement::judgeBlock(const ProbedValue& value)
{
    const QString what = value.range.kind == Kind::EventBlock
                             ? QStringLiteral("the event block")
                             : QStringLiteral("program %1").arg(value.range.program);
    const QString remedy =
        value.range.kind == Kind::EventBlock
            ? QStringLiteral("correct \"register\" or \"size\": one request reads the block")
            : remedyOfProgram();
    if (!value.refused.isEmpty())
        error(ExitCode::Refused, subjectOf(value.range),
              QStringLiteral("%1, %2, has holes: %3 are refused: %4")
                  .arg(what, registersText(value.range), spansText(value.refused), value.message),
              remedy);
    else if (value.isRead() && !value.wasReadWhole)
        error(ExitCode::Refused, subjectOf(value.range),
              QStringLiteral("%1, %2, is refused as one block, and its registers can be read one by one")
                  .arg(what, registersText(value.range)),
              remedy);
    else if (value.isRead() && value.range.kind == Kind::EventBlock)
        ok(subjectOf(value.range),
           QStringLiteral("%1, %2, is read whole").arg(what, registersText(value.range)));
}

QString Judgement::remedyOfSense(int index) const
{
    if (m_shift && m_shift->values.contains(index))
        return QStringLiteral("see \"registers\": they look shifted by one");
    const ProbedRange& range = m_result.values.at(index).range;
    QStringList candidates;
    for (const ProbedValue& other : m_result.values) {
        const bool fits = other.range.kind == Kind::Value && other.values.size() == 1 &&
                          hasKnownValues(other.range.channel) && other.range.channel != range.channel &&
                          isKnownValue(range.channel, other.values.constFirst(), m_configuration);
        if (fits && std::abs(other.range.address - range.address) <= 2)
            candidates.append(QStringLiteral("%1 of \"%2\" holds %3")
                                  .arg(other.range.address)
                                  .arg(other.range.channel)
                                  .arg(other.values.constFirst()));
    }
    for (const Place place : {Place::OneLower, Place::OneHigher}) {
        const Elsewhere* const there = findElsewhere(m_result, index, place);
        const bool isNamed =
            there != nullptr &&
            std::any_of(candidates.cbegin(), candidates.cend(), [there](const QString& text) {
                return text.startsWith(QString::number(there->request.address));
            });
        if (there != nullptr && !isNamed &&
            isKnownValue(range.channel, there->values.constFirst(), m_configuration))
            candidates.append(QStringLiteral("%1 beside it holds %2")
                                  .arg(there->request.address)
                                  .arg(there->values.constFirst()));
    }
    if (candidates.isEmpty())
        return QStringLiteral("compare \"register\" with the controller's documentation");
    return QStringLiteral("correct \"register\": swapped or shifted by one? %1")
        .arg(candidates.join(QStringLiteral(", ")));
}

void Judgement::judgeSense(int index)
{
    const ProbedValue& value = m_result.values.at(index);
    const int read = value.values.constFirst();
    if (isKnownValue(value.range.channel, read, m_configuration))
        return;
    error(ExitCode::Configuration, subjectOf(value.range),
          QStringLiteral("%1 holds %2, and only %3 makes sense there")
              .arg(registersText(value.range))
              .arg(read)
              .arg(knownRange(value.range.channel, m_configuration)),
          remedyOfSense(index));
}

void Judgement::judgeFloats()
{
    const QList<ProbedFloat> floats = probedFloats(m_result, m_configuration);
    QStringList channels;
    for (const ProbedFloat& one : floats) {
        if (!channels.contains(one.channel))
            channels.append(one.channel);
    }
    for (const QString& channel : qAsConst(channels)) {
        QList<ProbedFloat> own;
        std::copy_if(floats.cbegin(), floats.cend(), std::back_inserter(own),
                     [&channel](const ProbedFloat& one) { return one.channel == channel; });
        judgeFloatsOf(channel, own);
    }
}

void Judgement::judgeFloatsOf(const QString& channel, const QList<ProbedFloat>& floats)
{
    const QString subject = QStringLiteral("channel %1").arg(channel);
    const auto read = [](const ProbedFloat& one) { return one.isLowFirst ? one.lowFirst : one.highFirst; };
    const auto swapped = [](const ProbedFloat& one) { return one.isLowFirst ? one.highFirst : one.lowFirst; };
    const auto wrong = std::find_if(floats.cbegin(), floats.cend(),
                                    [&read](const ProbedFloat& one) { return !isPlausibleFloat(read(one)); });
    const QString order = floats.constFirst().isLowFirst ? QStringLiteral("lower") : QStringLiteral("upper");
    if (wrong == floats.cend()) {
        ok(subject, QStringLiteral("floats make sense with the %1 half first: %2")
                        .arg(order)
                        .arg(read(floats.constFirst())));
        return;
    }
    const bool isSwapped = std::all_of(floats.cbegin(), floats.cend(), [&swapped](const ProbedFloat& one) {
        return isPlausibleFloat(swapped(one));
    });
    const QString what = wrong->name.isEmpty() ? QStringLiteral("the value")
                                               : QLatin1Char('"') + wrong->name + QLatin1Char('"');
    const QString message = QStringLiteral("%1, %2, is %3 as a float with the %4 half first")
                                .arg(what, registersText(wrong->address, wrong->address + 1))
                                .arg(read(*wrong))
                                .arg(order);
    const bool isOwn = wrong->name.isEmpty();
    if (isSwapped)
        error(ExitCode::Configuration, subject,
              message + QStringLiteral(", and %1 the other way round").arg(swapped(*wrong)),
              isOwn
                  ? QStringLiteral("turn \"wordOrder\" round")
                  : QStringLiteral("the commands read the upper half first: set the controller's word order "
                                   "so, or describe the two registers as a \"list\""));
    else
        error(ExitCode::Configuration, subject, message,
              isOwn
                  ? QStringLiteral("correct \"register\" or \"encoding\"")
                  : QStringLiteral("correct where the list has the value, its \"type\", or the \"size\" and "
                                   "\"register\" of the block"));
}

} // namespace

QList<ProbeFinding> probeFindings(const ProbeResult& result, const QJsonObject& configuration,
                                  const AddressOffset& offset)
{
    return Judgement(result, configuration, offset).findings();
}
