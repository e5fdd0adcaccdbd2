#include "applications/bench/backup/restore_record.h"

RestoreRecord::RestoreRecord(const QList<PlannedWrite>& writes)
    : m_writes(writes)
    , m_planned(writes.size())
{
    m_states.reserve(writes.size());
    for (int i = 0; i < writes.size(); ++i)
        m_states.append(WriteState::Untouched);
}

void RestoreRecord::add(int registerNumber, int value, const DOrderOutcome& outcome)
{
    const WriteState state = writeStateOf(outcome);
    for (int i = m_next; i < m_writes.size(); ++i) {
        const PlannedWrite& planned = m_writes.at(i);
        if (planned.number == registerNumber && planned.value == value &&
            m_states.at(i) == WriteState::Untouched) {
            m_states[i] = state;
            m_next = i == m_next ? i + 1 : m_next;
            return;
        }
    }
    m_writes.append({registerNumber, {}, value});
    m_states.append(state);
}

int RestoreRecord::count(WriteState state) const
{
    return static_cast<int>(m_states.count(state));
}

std::optional<PlannedWrite> RestoreRecord::firstMissing() const
{
    for (int i = 0; i < m_writes.size(); ++i) {
        if (m_states.at(i) != WriteState::Written)
            return m_writes.at(i);
    }
    return std::nullopt;
}

std::optional<PlannedWrite> RestoreRecord::uncertain() const
{
    const auto i = static_cast<int>(m_states.indexOf(WriteState::Uncertain));
    return i < 0 ? std::nullopt : std::optional<PlannedWrite>(m_writes.at(i));
}

std::optional<PlannedWrite> RestoreRecord::unplanned() const
{
    return m_writes.size() > m_planned ? std::optional<PlannedWrite>(m_writes.at(m_planned)) : std::nullopt;
}

QList<GroupRecord> RestoreRecord::groups() const
{
    QList<GroupRecord> groups;
    QHash<QString, int> indices;
    for (int i = 0; i < m_writes.size(); ++i) {
        const PlannedWrite& write = m_writes.at(i);
        if (!indices.contains(write.place.group)) {
            indices.insert(write.place.group, groups.size());
            groups.append({write.place.group, {}, {}, {}});
        }
        GroupRecord& group = groups[indices.value(write.place.group)];
        switch (m_states.at(i)) {
        case WriteState::Written:
            group.written.append(write.number);
            break;
        case WriteState::Uncertain:
            group.uncertain.append(write.number);
            break;
        case WriteState::Untouched:
            group.untouched.append(write.number);
            break;
        }
    }
    return groups;
}
