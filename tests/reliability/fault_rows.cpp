#include "tests/reliability/fault_rows.h"

#include "tests/reliability/row_table.h"
#include "tests/support/simulator_names.h"
#include "tests/support/table_gaps.h"

namespace {

struct FaultRow
{
    const char* fault; // of the simulator
    const char* row;
};

constexpr FaultRow c_faultRows[] = {
    {"no-answer", "tcp.never-answers"},
    {"no-answer", "rtu.never-answers"},
    // The client sees the same; whether the controller has done it, it cannot know.
    {"lost", "tcp.never-answers"},
    {"late", "tcp.late-answer"},
    {"late", "rtu.stale-answer"},
    {"late", "load.slow-peer"},
    {"twice", "tcp.duplicate"},
    {"cut-header", "tcp.header-only"},
    {"cut-middle", "tcp.half-frame"},
    {"cut-middle", "rtu.half-frame"},
    {"short", "tcp.too-few-registers"},
    {"exception", "tcp.exception-01"},
    {"exception", "tcp.exception-ff"},
    {"exception", "rtu.exception"},
    {"exception", "files.refused-value"},
    {"close", "tcp.fin"},
    {"close", "files.link-lost-backup"},
    {"close", "files.link-lost-restore"},
    {"reset", "tcp.rst"},
    {"reset", "files.link-lost-backup"},
    {"refuse", "tcp.refused"},
    {"refuse", "load.descriptors-exhausted"},
    {"restart", "tcp.restarts"},
    {"restart", "files.link-lost-backup"},
    {"restart", "files.link-lost-restore"},
};

} // namespace

QString faultsWithoutRows(const RowTable& table)
{
    QStringList faults;
    QString missing;
    for (const FaultRow& one : c_faultRows) {
        faults.append(QString::fromLatin1(one.fault));
        if (table.find(QLatin1String(one.row)) == nullptr)
            missing += QStringLiteral("reliability: the row \"%1\" for \"%2\" is not there\n")
                           .arg(QLatin1String(one.row), QLatin1String(one.fault));
    }
    return missing + tableGaps(QStringLiteral("reliability"), faultNames(), faults);
}
