#pragma once

#include "applications/bench/backup/restore_plan.h"
#include "applications/bench/core/write_record.h"

#include <QList>
#include <QString>

#include <optional>

// What came of one group.
struct GroupRecord
{
    QString group;
    QList<int> written; // registers, ascending; so are the others
    QList<int> uncertain;
    QList<int> untouched;
};

// What came of a plan, one write after the other.
class RestoreRecord
{
public:
    explicit RestoreRecord(const QList<PlannedWrite>& writes);

    // A write of this register has ended. One that was not planned, with this value, is added to the plan.
    void add(int registerNumber, int value, const DOrderOutcome& outcome);
    // The first write that was not planned.
    std::optional<PlannedWrite> unplanned() const;

    int plannedCount() const { return m_writes.size(); }
    int count(WriteState state) const;
    // The first write that is not acknowledged; nothing when all are.
    std::optional<PlannedWrite> firstMissing() const;
    // The one whose outcome is not known.
    std::optional<PlannedWrite> uncertain() const;
    // In the order of their first registers.
    QList<GroupRecord> groups() const;

private:
    QList<PlannedWrite> m_writes;
    QList<WriteState> m_states;
    int m_planned;
    int m_next = 0; // no write before it is waited for
};
