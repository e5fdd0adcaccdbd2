#include "applications/bench/probe/write_proof.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/device_configuration/known_values.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QMap>

#include <algorithm>
#include <optional>

namespace {

constexpr int c_pollInterval = 50; // ms
constexpr int c_polls = 20;        // a controller takes its time to show what it was told

// An action and the channel that shows its effect, both without a generation's suffix.
struct Action
{
    QString channel;
    QString shownIn;
    // The value that is written whatever is shown, and what it makes of that; nothing where any value shows
    // as it is.
    std::optional<int> value = std::nullopt;
    std::optional<int> effect = std::nullopt;
};

QList<Action> actionsOf(const ConnectedController& controller)
{
    const QString suffix = generationSuffix(controller.generation);
    const auto named = [&suffix](const char* name) { return QLatin1String(name) + suffix; };
    return {
        {named("directionChange"), named("direction")},
        {named("presetChange"), named("currentPreset")},
        {named("lockChange"), named("lock")},
        {lockScreenChannel(controller.generation, static_cast<quint16>(controller.firmware), controller.isBm),
         named("screenLock")},
        {QStringLiteral("alarmReset"), named("alarm"), 1, 0}};
}

struct Place
{
    int address = -1;
    QString type;

    bool isKnown() const { return address >= 0 && !type.isEmpty(); }
};

Place placeOf(const QJsonObject& configuration, const QString& channel, ChannelEntry type)
{
    return {channelEntry(configuration, channel, entryName(ChannelEntry::Register)).toInt(-1),
            channelEntry(configuration, channel, entryName(type)).toString()};
}

class Proof
{
public:
    Proof(const QJsonObject& configuration, const ConnectedController& controller, const WriteMeans& means)
        : m_configuration(configuration)
        , m_actions(actionsOf(controller))
        , m_motor(QStringLiteral("motorRun") + generationSuffix(controller.generation))
        , m_means(means)
    {}

    QList<ProbeFinding> run();

private:
    void prove(const Action& action);
    void judge(const Action& action, const Place& target, int written, int before);
    void giveBack(const Action& action, const Place& target, int before, const QString& proof);
    std::optional<int> valueFor(const Action& action, int shown) const;
    std::optional<int> read(const QString& channel) const;
    bool comesToShow(const QString& channel, int value) const;
    // All that the actions show, by channel.
    QMap<QString, int> states() const;
    // The first other state that is not as it was.
    QString changedState(const QString& exceptFor) const;

    void tell(FindingLevel level, ExitCode code, const QString& channel, const QString& message,
              const QString& remedy = QString())
    {
        m_findings.append({{level, QStringLiteral("channel %1").arg(channel), message, remedy}, code});
    }

    const QJsonObject& m_configuration;
    const QList<Action> m_actions;
    const QString m_motor;
    const WriteMeans& m_means;
    QMap<QString, int> m_before;
    QList<ProbeFinding> m_findings;
};

std::optional<int> Proof::read(const QString& channel) const
{
    const Place place = placeOf(m_configuration, channel, ChannelEntry::ReadType);
    if (!place.isKnown())
        return std::nullopt;
    const ReadReply reply = m_means.read({place.address, 1, place.type});
    return reply.isDone() ? std::optional(reply.values.constFirst()) : std::nullopt;
}

QMap<QString, int> Proof::states() const
{
    QMap<QString, int> states;
    for (const Action& action : m_actions) {
        if (const std::optional<int> value = read(action.shownIn))
            states.insert(action.shownIn, *value);
    }
    return states;
}

QString Proof::changedState(const QString& exceptFor) const
{
    const QMap<QString, int> now = states();
    for (auto it = now.cbegin(); it != now.cend(); ++it) {
        if (it.key() != exceptFor && m_before.contains(it.key()) && m_before.value(it.key()) != it.value())
            return it.key();
    }
    return {};
}

bool Proof::comesToShow(const QString& channel, int value) const
{
    for (int poll = 0; poll < c_polls; ++poll) {
        if (read(channel) == value)
            return true;
        m_means.wait(c_pollInterval);
    }
    return false;
}

// One that makes sense there and is not shown.
std::optional<int> Proof::valueFor(const Action& action, int shown) const
{
    if (action.value)
        return action.value;
    for (const int value : {0, 1, 2}) {
        if (value != shown && isKnownValue(action.shownIn, value, m_configuration))
            return value;
    }
    return std::nullopt;
}

QList<ProbeFinding> Proof::run()
{
    const std::optional<int> motor = read(m_motor);
    if (motor.value_or(0) != 0) {
        tell(FindingLevel::Error, ExitCode::CommandFailed, m_motor,
             QStringLiteral("the motor runs: nothing was written"),
             QStringLiteral("stop the tool, and prove the writes again"));
        return m_findings;
    }
    for (const Action& action : m_actions)
        prove(action);
    return m_findings;
}

void Proof::prove(const Action& action)
{
    const Place target = placeOf(m_configuration, action.channel, ChannelEntry::WriteType);
    // What is missing has been told by the look at the configuration.
    if (!target.isKnown())
        return;
    m_before = states();
    const std::optional<int> value =
        m_before.contains(action.shownIn) ? valueFor(action, m_before.value(action.shownIn)) : std::nullopt;
    if (!value) {
        tell(
            FindingLevel::Warning, ExitCode::Done, action.channel,
            QStringLiteral("not proven: \"%1\", which shows it, cannot be read").arg(action.shownIn),
            QStringLiteral("describe \"%1\" with \"register\" and \"readRegisterType\"").arg(action.shownIn));
        return;
    }
    const int before = m_before.value(action.shownIn);
    const QString consequence = action.effect
                                    ? QStringLiteral("an alarm is gone then")
                                    : QStringLiteral("\"%1\" is %2 and becomes %3, and %2 is written back")
                                          .arg(action.shownIn)
                                          .arg(before)
                                          .arg(*value);
    if (!m_means.ask(QStringLiteral("write %1 to register %2, \"%3\"? (%4)")
                         .arg(*value)
                         .arg(target.address)
                         .arg(action.channel, consequence))) {
        tell(FindingLevel::Warning, ExitCode::Done, action.channel,
             QStringLiteral("not proven: it was not to be written"),
             QStringLiteral("run it again and agree"));
        return;
    }
    const WriteReply reply = m_means.write(target.address, target.type, *value);
    if (reply.isDone())
        judge(action, target, *value, before);
    else
        tell(FindingLevel::Error, reply.code, action.channel,
             QStringLiteral("%1 is not written to register %2 as \"%3\": %4")
                 .arg(*value)
                 .arg(target.address)
                 .arg(target.type, reply.message),
             reply.code == ExitCode::Refused
                 ? QStringLiteral("compare \"register\" and \"writeRegisterType\" with the controller's "
                                  "documentation")
                 : remedyFor(reply.code));
}

void Proof::judge(const Action& action, const Place& target, int written, int before)
{
    const int expected = action.effect.value_or(written);
    if (comesToShow(action.shownIn, expected)) {
        const QString proof = QStringLiteral("%1 was written, and \"%2\" shows %3")
                                  .arg(written)
                                  .arg(action.shownIn)
                                  .arg(expected);
        if (action.effect)
            tell(FindingLevel::Ok, ExitCode::Done, action.channel, proof);
        else
            giveBack(action, target, before, proof);
        return;
    }
    const QString other = changedState(action.shownIn);
    // What has changed is what is put back.
    m_means.write(target.address, target.type, other.isEmpty() ? before : m_before.value(other));
    const QString effect =
        other.isEmpty() ? QString() : QStringLiteral("; \"%1\" has changed instead").arg(other);
    tell(FindingLevel::Error, ExitCode::Configuration, action.channel,
         QStringLiteral("%1 was written to register %2, and \"%3\" does not show it%4")
             .arg(written)
             .arg(target.address)
             .arg(action.shownIn, effect),
         other.isEmpty()
             ? QStringLiteral("correct \"register\" of \"%1\" or of \"%2\"")
                   .arg(action.channel, action.shownIn)
             : QStringLiteral("\"%1\" is another action's register: are two swapped?").arg(action.channel));
}

void Proof::giveBack(const Action& action, const Place& target, int before, const QString& proof)
{
    const WriteReply reply = m_means.write(target.address, target.type, before);
    if (reply.isDone() && comesToShow(action.shownIn, before))
        tell(FindingLevel::Ok, ExitCode::Done, action.channel,
             QStringLiteral("%1; %2 is back").arg(proof).arg(before));
    else
        tell(FindingLevel::Error, reply.isDone() ? ExitCode::CommandFailed : reply.code, action.channel,
             QStringLiteral("%1, but %2, which was there before, is not back: %3")
                 .arg(proof)
                 .arg(before)
                 .arg(reply.isDone() ? QStringLiteral("it is not shown") : reply.message),
             QStringLiteral("write it by hand"));
}

} // namespace

QList<ProbeFinding> proveWrites(const QJsonObject& configuration, const ConnectedController& controller,
                                const WriteMeans& means)
{
    return Proof(configuration, controller, means).run();
}
