#include "tests/soak/fault_source.h"

#include "tests/support/fault_samples.h"

#include <algorithm>
#include <array>

namespace {

struct Row
{
    const char* fault;
    // Costs an instruction its whole time-out: met rarely, or nothing else would be done.
    bool slow;
    bool refuses = false;
};

// A fault that is not among them is met once now and then, as its sample is written.
constexpr std::array c_rows{
    Row{"late=20@once", false},
    Row{"late=200@1-3", false},
    Row{"twice@once", false},
    Row{"twice@1-4", false},
    Row{"short@once", false},
    Row{"short@once/0x06", false},
    Row{"short@once/0x11", false},
    Row{"exception=1@once", false},
    Row{"exception=2@once/0x06", false},
    Row{"exception=3@1-5", false},
    Row{"exception=4@once/0x06", false},
    Row{"exception=5@once", false},
    Row{"exception=6@1-3/0x03", false},
    Row{"exception=11@once", false},
    Row{"exception=255@once", false},
    Row{"close@once", false},
    Row{"close@once/0x06", false},
    Row{"close@2", false, true},
    Row{"reset@once", false},
    Row{"reset@once/0x03", false},
    Row{"restart=50@once", false},
    Row{"restart=300@once/0x06", false},
    Row{"no-answer@once", true},
    Row{"no-answer@once/0x06", true},
    Row{"no-answer@1-2", true},
    Row{"lost@once", true},
    Row{"lost@once/0x06", true},
    Row{"late=3200@once", true},
    Row{"cut-header@once", true},
    Row{"cut-middle@once", true},
    Row{"cut-middle@once/0x06", true},
};

constexpr int c_leastRequests = 20;
constexpr int c_mostRequests = 800;
// A slow fault is put off so much longer.
constexpr int c_slowFactor = 8;

bool isAmongRows(const QString& name)
{
    return std::any_of(c_rows.cbegin(), c_rows.cend(), [&name](const Row& row) {
        return faultName(QLatin1String(row.fault)) == name ||
               (row.refuses && name == QLatin1String("refuse"));
    });
}

struct SoakFault
{
    FaultSource::Choice choice; // before the number of requests is known
    bool slow;
};

const QList<SoakFault>& allFaults()
{
    static const QList<SoakFault> c_all = [] {
        QList<SoakFault> all;
        for (const Row& row : c_rows)
            all.append({{{QString::fromLatin1(row.fault)}, row.refuses, 0}, row.slow});
        for (const FaultSample& sample : c_faultSamples) {
            const QString fault = QString::fromLatin1(sample.fault);
            if (!isAmongRows(faultName(fault)))
                all.append({{{fault + QStringLiteral("@once")}, false, 0}, true});
        }
        return all;
    }();
    return c_all;
}

} // namespace

QList<FaultSource::Choice> FaultSource::choices()
{
    QList<Choice> all;
    for (const SoakFault& fault : allFaults())
        all.append(fault.choice);
    return all;
}

FaultSource::Choice FaultSource::next()
{
    const QList<SoakFault>& all = allFaults();
    const SoakFault& fault = all.at(m_random.bounded(all.size()));
    Choice choice = fault.choice;
    choice.requests = m_random.bounded(c_leastRequests, c_mostRequests) * (fault.slow ? c_slowFactor : 1);
    return choice;
}
