#include "applications/bench/probe/write_proof.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/bench/device_configuration/known_channels.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <QElapsedTimer>
#include <QMap>

#include <algorithm>
#include <optional>

namespace {

constexpr int c_pollInterval = 50;     // ms
constexpr int c_polls = 20;            // a controller takes its time to show what it was told
constexpr int c_longestPolling = 3000; // ms, which hold all polls of one that answers at once
// One that answers slowly is asked so often at least, and once where nobody wants to wait.
constexpr int c_fewestPolls = 3;
// Reads that are not done: 10 s of those that fail at once, and ten that wait for an answer.
constexpr int c_mostMissed = 200;
constexpr int c_slowMiss = 20;
// What a finding about all registers is about.
const QString c_wholeMap = QStringLiteral("registers");

// An action and the channel that shows its effect, both as the connected controller has them.
struct Action
{
    QString channel;
    QString shownIn;
    // The value that is written whatever is shown, and what it makes of that; nothing where any value shows
    // as it is.
    std::optional<int> value = std::nullopt;
    std::optional<int> effect = std::nullopt;
};

bool isChosenByGeneration(const QString& channel)
{
    const QList<CommandNeeds>& all = commandNeeds();
    return std::any_of(all.cbegin(), all.cend(), [&channel](const CommandNeeds& needs) {
        return std::any_of(needs.channels.cbegin(), needs.channels.cend(), [&](const NeededChannel& need) {
            return need.name == channel && need.chosenBy == ChosenBy::Generation;
        });
    });
}

QList<Action> actionsOf(const ConnectedController& controller)
{
    const QString suffix = generationSuffix(controller.generation);
    QList<Action> actions;
    for (const KnownChannel& known : knownChannels()) {
        if (known.shownIn.isEmpty())
            continue;
        QString name = known.name + (isChosenByGeneration(known.name) ? suffix : QString());
        // The one that some controllers have elsewhere.
        if (known.name == QLatin1String("lockScreen"))
            name = lockScreenChannel(controller.generation, static_cast<quint16>(controller.firmware),
                                     controller.isBm);
        actions.append({name, known.shownIn + suffix, known.proof, known.effect});
    }
    return actions;
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

// A write that proves an action, on its way.
struct Attempt
{
    Action action;
    Place target;
    int value = 0;
    int before = 0; // what the state has shown
    WriteReply reply = {};

    // Also where nobody knows that it was: what may be written has to be put back.
    bool isSent() const { return reply.isDone() || reply.isUncertain; }
    QString text() const
    {
        return reply.isDone() ? QStringLiteral("%1 was written to register %2").arg(value).arg(target.address)
                              : QStringLiteral("%1 may have been written to register %2 as \"%3\" (%4)")
                                    .arg(value)
                                    .arg(target.address)
                                    .arg(target.type, reply.message);
    }
};

// What a state has shown before, written back.
struct PutBack
{
    ExitCode code = ExitCode::Done;
    QString text;
    bool isBack = false;
};

class Proof
{
public:
    Proof(const QJsonObject& configuration, const ConnectedController& controller, const WriteMeans& means,
          const QList<Finding>& known)
        : m_configuration(configuration)
        , m_actions(actionsOf(controller))
        , m_motor(QStringLiteral("motorRun") + generationSuffix(controller.generation))
        , m_means(means)
        , m_known(known)
    {
        m_clock.start();
    }

    QList<ProbeFinding> run();

private:
    void prove(const Action& action);
    // Why it is not to be proven, of what is known before anybody is asked; nothing where it may be.
    std::optional<ProbeFinding> objection(const Action& action) const;
    bool agrees(const Attempt& attempt) const;
    void judge(const Attempt& attempt);
    void tellShown(const Attempt& attempt, const QString& proof);
    void tellNotShown(const Attempt& attempt);
    void tellUnread(const Attempt& attempt);
    PutBack putBack(const Place& target, const QString& state, int before) const;
    std::optional<int> valueFor(const Action& action, int shown) const;
    // Nothing is written while it runs, nor while nobody can tell.
    std::optional<Finding> runningMotor() const;
    // Behind a link that was lost there may be anybody; empty while it is known who is there.
    QString doubtOfController() const
    {
        return m_means.doubtOfController ? m_means.doubtOfController() : QString();
    }
    // An error has been found of this channel.
    bool isDoubtful(const QString& channel) const;
    std::optional<int> read(const QString& channel) const;
    qint64 now() const { return m_means.now ? m_means.now() : m_clock.elapsed(); }
    bool comesToShow(const QString& channel, int value) const;
    // All that the actions show, by channel.
    QMap<QString, int> states() const;
    // The state that the write has changed and that can be put back: the action's own, or another one that
    // shows the value now. Empty when there is none; `other` is the last one that has changed at all.
    QString changedState(const Attempt& attempt, QString* other) const;

    void tell(FindingLevel level, ExitCode code, const QString& channel, const QString& message,
              const QString& remedy = QString())
    {
        m_findings.append({{level, QStringLiteral("channel %1").arg(channel), message, remedy}, code});
    }

    const QJsonObject& m_configuration;
    const QList<Action> m_actions;
    const QString m_motor;
    const WriteMeans& m_means;
    const QList<Finding>& m_known;
    mutable bool m_isSilent = false;  // the last read had no answer
    mutable bool m_wasSlow = false;   // and was waited for
    mutable bool m_isRead = false;    // one of the last polls was answered
    mutable bool m_isAnother = false; // or may be
    QElapsedTimer m_clock;
    QMap<QString, int> m_before;
    QList<ProbeFinding> m_findings;
};

std::optional<int> Proof::read(const QString& channel) const
{
    const Place place = placeOf(m_configuration, channel, ChannelEntry::ReadType);
    if (!place.isKnown())
        return std::nullopt;
    if (m_isSilent && m_means.isInterrupted && m_means.isInterrupted())
        return std::nullopt;
    const ReadReply reply = m_means.read({place.address, 1, place.type});
    m_isSilent = !reply.isDone() && reply.code != ExitCode::Refused;
    m_wasSlow = reply.code == ExitCode::TimedOut;
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

QString Proof::changedState(const Attempt& attempt, QString* other) const
{
    const QMap<QString, int> now = states();
    const auto isChanged = [this, &now](const QString& state) {
        return now.contains(state) && m_before.contains(state) && now.value(state) != m_before.value(state);
    };
    for (const Action& action : m_actions) {
        const QString& state = action.shownIn;
        if (!isChanged(state))
            continue;
        *other = state;
        const bool isShown = state == attempt.action.shownIn || now.value(state) == attempt.value;
        // An alarm that is gone does not come back by a write.
        if (isShown && !action.effect && isKnownValue(state, m_before.value(state), m_configuration))
            return state;
    }
    return {};
}

bool Proof::comesToShow(const QString& channel, int value) const
{
    m_isRead = false;
    int missed = 0;
    const qint64 begin = now();
    for (int poll = 0; poll < c_polls && missed < c_mostMissed;) {
        const std::optional<int> shown = read(channel);
        if (shown == value)
            return true;
        m_isRead = m_isRead || shown;
        // What could not be read shows nothing else: a link that is away comes back.
        if (shown)
            ++poll;
        else
            missed += m_isSilent && m_wasSlow ? c_slowMiss : 1;
        const bool isInterrupted = m_means.isInterrupted && m_means.isInterrupted();
        const bool isLate = now() - begin > c_longestPolling;
        if (isInterrupted ? m_isSilent || (isLate && poll > 0) : isLate && poll >= c_fewestPolls)
            return false;
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

std::optional<Finding> Proof::runningMotor() const
{
    const QString subject = QStringLiteral("channel %1").arg(m_motor);
    const std::optional<int> motor = read(m_motor);
    if (!motor)
        return Finding{FindingLevel::Error, subject,
                       QStringLiteral("whether the motor runs cannot be read: nothing was written"),
                       QStringLiteral("describe it with the right \"register\" and \"readRegisterType\"")};
    if (*motor != 0)
        return Finding{FindingLevel::Error, subject, QStringLiteral("the motor runs: nothing was written"),
                       QStringLiteral("stop the tool, and prove the writes again")};
    return std::nullopt;
}

bool Proof::isDoubtful(const QString& channel) const
{
    return std::any_of(m_known.cbegin(), m_known.cend(), [&channel](const Finding& finding) {
        return finding.level == FindingLevel::Error &&
               (finding.subject == QStringLiteral("channel %1").arg(channel) ||
                finding.channels.contains(channel));
    });
}

QList<ProbeFinding> Proof::run()
{
    const bool isMapDoubtful = std::any_of(m_known.cbegin(), m_known.cend(), [](const Finding& finding) {
        return finding.level == FindingLevel::Error && finding.subject == c_wholeMap;
    });
    if (isMapDoubtful) {
        m_findings.append({{FindingLevel::Warning, c_wholeMap,
                            QStringLiteral("no action is proven, nothing was written: the map is in doubt"),
                            QStringLiteral("correct it, and prove the writes then")},
                           ExitCode::Done});
        return m_findings;
    }
    if (const std::optional<Finding> running = runningMotor()) {
        m_findings.append({*running, ExitCode::CommandFailed});
        return m_findings;
    }
    for (const Action& action : m_actions) {
        if (!m_isAnother)
            prove(action);
    }
    return m_findings;
}

std::optional<ProbeFinding> Proof::objection(const Action& action) const
{
    const auto object = [&action](const QString& reason, const QString& remedy) {
        return ProbeFinding{{FindingLevel::Warning, QStringLiteral("channel %1").arg(action.channel),
                             QStringLiteral("not proven: %1").arg(reason), remedy},
                            ExitCode::Done};
    };
    if (!m_before.contains(action.shownIn)) {
        ProbeFinding unread = object(
            QStringLiteral("\"%1\", which shows it, cannot be read").arg(action.shownIn),
            QStringLiteral("describe \"%1\" with \"register\" and \"readRegisterType\"").arg(action.shownIn));
        // What is missing in the configuration has been told as that.
        if (placeOf(m_configuration, action.shownIn, ChannelEntry::ReadType).isKnown()) {
            unread.finding.level = FindingLevel::Error;
            unread.code = ExitCode::CommandFailed;
        }
        return unread;
    }
    const int shown = m_before.value(action.shownIn);
    if (!isKnownValue(action.shownIn, shown, m_configuration))
        return object(QStringLiteral("\"%1\" shows %2, and only %3 makes sense there: what would have to be "
                                     "written back is not known")
                          .arg(action.shownIn)
                          .arg(shown)
                          .arg(knownRange(action.shownIn, m_configuration)),
                      QStringLiteral("correct \"register\" of \"%1\" first").arg(action.shownIn));
    for (const QString& channel : {action.channel, action.shownIn}) {
        if (isDoubtful(channel))
            return object(QStringLiteral("an error was found of \"%1\"").arg(channel),
                          QStringLiteral("correct it, and prove the writes then"));
    }
    return std::nullopt;
}

bool Proof::agrees(const Attempt& attempt) const
{
    const QString consequence = attempt.action.effect
                                    ? QStringLiteral("an alarm is gone then")
                                    : QStringLiteral("\"%1\" is %2 and becomes %3, and %2 is written back")
                                          .arg(attempt.action.shownIn)
                                          .arg(attempt.before)
                                          .arg(attempt.value);
    return m_means.ask(QStringLiteral("write %1 to register %2, \"%3\"? (%4)")
                           .arg(attempt.value)
                           .arg(attempt.target.address)
                           .arg(attempt.action.channel, consequence));
}

void Proof::prove(const Action& action)
{
    const Place target = placeOf(m_configuration, action.channel, ChannelEntry::WriteType);
    // What is missing has been told by the look at the configuration.
    if (!target.isKnown())
        return;
    m_before = states();
    if (const std::optional<ProbeFinding> reason = objection(action)) {
        m_findings.append(*reason);
        return;
    }
    const int before = m_before.value(action.shownIn);
    const std::optional<int> value = valueFor(action, before);
    if (!value)
        return;
    Attempt attempt{action, target, *value, before};
    if (!agrees(attempt)) {
        tell(FindingLevel::Warning, ExitCode::Done, action.channel,
             QStringLiteral("not proven: it was not to be written"),
             QStringLiteral("run it again and agree"));
        return;
    }
    // A person may have taken their time.
    if (const std::optional<Finding> running = runningMotor()) {
        m_findings.append({*running, ExitCode::CommandFailed});
        return;
    }
    m_before = states();
    if (!m_before.contains(action.shownIn) || m_before.value(action.shownIn) != before) {
        tell(FindingLevel::Warning, ExitCode::Done, action.channel,
             QStringLiteral("not proven: \"%1\" is not %2 any more").arg(action.shownIn).arg(before),
             QStringLiteral("run it again while nobody works with the tool"));
        return;
    }
    const QString doubt = doubtOfController();
    if (!doubt.isEmpty()) {
        m_isAnother = true;
        tell(FindingLevel::Error, ExitCode::CommandFailed, action.channel,
             QStringLiteral("not proven, and no further action is: the link was lost, and %1").arg(doubt),
             QStringLiteral("look which controller is at this address, and prove the writes again"));
        return;
    }
    attempt.reply = m_means.write(target.address, target.type, *value);
    judge(attempt);
}

void Proof::judge(const Attempt& attempt)
{
    const Action& action = attempt.action;
    if (!attempt.isSent()) {
        tell(FindingLevel::Error, attempt.reply.code, action.channel,
             QStringLiteral("%1 is not written to register %2 as \"%3\": %4")
                 .arg(attempt.value)
                 .arg(attempt.target.address)
                 .arg(attempt.target.type, attempt.reply.message),
             attempt.reply.code == ExitCode::Refused
                 ? QStringLiteral("compare \"register\" and \"writeRegisterType\" with the controller's "
                                  "documentation")
                 : remedyFor(attempt.reply.code));
        return;
    }
    const QString doubt = doubtOfController();
    if (!doubt.isEmpty()) {
        m_isAnother = true;
        tell(FindingLevel::Error, ExitCode::CommandFailed, action.channel,
             QStringLiteral("%1, and then the link was lost, and %2; %3, which was there before, is not back")
                 .arg(attempt.text(), doubt)
                 .arg(attempt.before),
             QStringLiteral(
                 "look which controller is at this address, and set by hand what each of them held"));
        return;
    }
    const int expected = action.effect.value_or(attempt.value);
    if (comesToShow(action.shownIn, expected))
        tellShown(
            attempt,
            QStringLiteral("%1, and \"%2\" shows %3").arg(attempt.text(), action.shownIn).arg(expected));
    else if (m_isRead)
        tellNotShown(attempt);
    else
        tellUnread(attempt);
}

// The map is not to blame, and what was there is known.
void Proof::tellUnread(const Attempt& attempt)
{
    const QString& shownIn = attempt.action.shownIn;
    QString message = QStringLiteral("%1, and \"%2\" cannot be read").arg(attempt.text(), shownIn);
    QString remedy = QStringLiteral("see why the controller does not answer, and prove the writes again");
    if (!attempt.action.effect) {
        const bool isInterrupted = m_isSilent && m_means.isInterrupted && m_means.isInterrupted();
        const PutBack back =
            isInterrupted
                ? PutBack{ExitCode::CommandFailed,
                          QStringLiteral("%1, which it has shown before, is not back: %2 is in it now")
                              .arg(attempt.before)
                              .arg(attempt.value),
                          false}
                : putBack(attempt.target, shownIn, attempt.before);
        message += QStringLiteral("; ") + back.text;
        if (!back.isBack)
            remedy =
                QStringLiteral("write %1 to register %2 when the controller answers again, and look what "
                               "\"%3\" shows")
                    .arg(attempt.before)
                    .arg(attempt.target.address)
                    .arg(shownIn);
    }
    tell(FindingLevel::Error, attempt.reply.isDone() ? ExitCode::CommandFailed : attempt.reply.code,
         attempt.action.channel, message, remedy);
}

void Proof::tellShown(const Attempt& attempt, const QString& proof)
{
    PutBack back;
    back.isBack = true;
    if (!attempt.action.effect) {
        back = putBack(attempt.target, attempt.action.shownIn, attempt.before);
        back.text.prepend(QStringLiteral("; "));
    }
    // What went unanswered came first.
    const ExitCode code = attempt.reply.isDone() ? back.code : attempt.reply.code;
    if (code == ExitCode::Done)
        tell(FindingLevel::Ok, ExitCode::Done, attempt.action.channel, proof + back.text);
    else
        tell(FindingLevel::Error, code, attempt.action.channel, proof + back.text,
             back.isBack ? QStringLiteral("see why the controller does not answer a write that it does")
                         : QStringLiteral("write it by hand: what it is now shows \"%1\"")
                               .arg(attempt.action.shownIn));
}

void Proof::tellNotShown(const Attempt& attempt)
{
    const QString& shownIn = attempt.action.shownIn;
    QString other;
    const QString changed = changedState(attempt, &other);
    QString message = QStringLiteral("%1, and \"%2\" does not show it").arg(attempt.text(), shownIn);
    if (!other.isEmpty() && other != shownIn)
        message += QStringLiteral("; \"%1\" has changed instead").arg(other);
    bool isBack = false;
    if (!changed.isEmpty()) {
        const PutBack back = putBack(attempt.target, changed, m_before.value(changed));
        message += QStringLiteral("; ") + back.text;
        isBack = back.isBack;
    } else {
        // What its state shows is not what the register has held: nothing has changed with it.
        message += QStringLiteral("; what the register held before is not known: %1 %2 in it now")
                       .arg(attempt.value)
                       .arg(attempt.reply.isDone() ? QStringLiteral("is") : QStringLiteral("may be"));
    }
    const QString remedy = changed.isEmpty() || changed == shownIn
                               ? QStringLiteral("correct \"register\" of \"%1\" or of \"%2\"")
                                     .arg(attempt.action.channel, shownIn)
                               : QStringLiteral("\"%1\" is another action's register: are two swapped?")
                                     .arg(attempt.action.channel);
    tell(FindingLevel::Error, attempt.reply.isDone() ? ExitCode::Configuration : attempt.reply.code,
         attempt.action.channel, message,
         isBack ? remedy
                : remedy + QStringLiteral("; see what register %1 does, and set by hand what it held")
                               .arg(attempt.target.address));
}

PutBack Proof::putBack(const Place& target, const QString& state, int before) const
{
    const QString doubt = doubtOfController();
    if (!doubt.isEmpty()) {
        m_isAnother = true;
        return {ExitCode::CommandFailed,
                QStringLiteral("%1, which was there before, is not back: the link was lost, and %2")
                    .arg(before)
                    .arg(doubt),
                false};
    }
    const WriteReply reply = m_means.write(target.address, target.type, before);
    const QString doubtBehind = doubtOfController();
    if (!doubtBehind.isEmpty()) {
        m_isAnother = true;
        return {
            ExitCode::CommandFailed,
            QStringLiteral("%1, which was there before, was written back, and then the link was lost, and "
                           "%2: it may be in either")
                .arg(before)
                .arg(doubtBehind),
            false};
    }
    PutBack back{reply.code, QStringLiteral("%1 is back").arg(before)};
    back.isBack = (reply.isDone() || reply.isUncertain) && comesToShow(state, before);
    if (back.isBack) {
        if (!reply.isDone())
            back.text += QStringLiteral(", though that write was not answered: %1").arg(reply.message);
        return back;
    }
    if (reply.isDone())
        back.code = ExitCode::CommandFailed;
    back.text = QStringLiteral("%1, which was there before, is not back: %2")
                    .arg(before)
                    .arg(!reply.isDone() ? reply.message
                         : m_isRead      ? QStringLiteral("\"%1\" does not show it").arg(state)
                                    : QStringLiteral("it was written, and \"%1\" cannot be read").arg(state));
    return back;
}

} // namespace

QList<ProbeFinding> proveWrites(const QJsonObject& configuration, const ConnectedController& controller,
                                const WriteMeans& means, const QList<Finding>& known)
{
    return Proof(configuration, controller, means, known).run();
}
