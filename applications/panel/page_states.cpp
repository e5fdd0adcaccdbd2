#include "applications/panel/page_states.h"

#include "applications/panel/action_failure.h"

#include <QMetaClassInfo>
#include <QSet>

#include <algorithm>

namespace {

QSet<QString> channelsOf(const DAbstractPluginBackend& backend)
{
    QSet<QString> ids;
    const QSharedPointer<const QVariantMap> configuration = backend.configuration();
    if (configuration.isNull())
        return ids;
    const QVariantList channels = configuration->value(QStringLiteral("channels")).toList();
    for (const QVariant& channel : channels)
        ids.insert(channel.toMap().value(QStringLiteral("id")).toString());
    return ids;
}

} // namespace

PageStates::PageStates(const PanelDevice& device, const DAbstractPluginBackend& backend)
    : m_device(device)
    , m_backend(backend)
{
    const QSet<QString> channels = channelsOf(backend);
    const QMetaObject* const type = backend.metaObject();
    for (int i = 0; i < type->classInfoCount(); ++i) {
        const QStringList name = QString::fromUtf8(type->classInfo(i).name()).split(QLatin1Char('.'));
        const QString channel = QString::fromUtf8(type->classInfo(i).value());
        if (name.size() == 2 && name.constFirst() == QLatin1String("state") && channels.contains(channel))
            m_states.append({name.at(1), channel, QString(), 0, false, false});
    }
}

void PageStates::read()
{
    IHost* const host = IHost::current();
    const QString command = pageInformation(m_backend, "reading");
    if (host == nullptr || command.isEmpty())
        return;
    for (int i = 0; i < m_states.size(); ++i) {
        if (m_states.at(i).order != 0)
            continue;
        const QVariantMap arguments{{QStringLiteral("channel"), m_states.at(i).channel}};
        m_states[i].order = host->runCommand(
            m_device.uuid, command, arguments, 0, this,
            [this, i](quint64 id, const DOrderOutcome& outcome) { readEnded(i, id, outcome); });
    }
}

void PageStates::readEnded(int index, quint64 orderId, const DOrderOutcome& outcome)
{
    State& state = m_states[index];
    if (orderId != state.order)
        return;
    state.order = 0;
    const QVariantList values = outcome.results.value(QStringLiteral("values")).toList();
    state.isUnread = !outcome.ok || values.size() != 1;
    state.isFresh = true;
    if (!state.isUnread)
        state.value = stateText(m_backend, state.command, values.constFirst());
    Q_EMIT ended(!state.isUnread);
}

void PageStates::await()
{
    for (State& state : m_states) {
        state.order = 0;
        state.isFresh = false;
    }
}

void PageStates::forget()
{
    await();
    for (State& state : m_states) {
        state.value.clear();
        state.isUnread = false;
    }
}

bool PageStates::isWaiting() const
{
    return std::any_of(m_states.cbegin(), m_states.cend(),
                       [](const State& state) { return state.order != 0; });
}

bool PageStates::isFresh() const
{
    return std::all_of(m_states.cbegin(), m_states.cend(), [](const State& state) { return state.isFresh; });
}

int PageStates::unread() const
{
    return static_cast<int>(
        std::count_if(m_states.cbegin(), m_states.cend(), [](const State& state) { return state.isUnread; }));
}

QVariantList PageStates::rows() const
{
    QVariantList rows;
    for (const State& state : m_states)
        rows.append(QVariantMap{{QStringLiteral("name"), actionName(m_backend, state.command)},
                                {QStringLiteral("value"), state.value}});
    return rows;
}
