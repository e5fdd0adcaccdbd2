#pragma once

#include "applications/simulator/fault_plan.h"
#include "tests/support/simulator_names.h"
#include "tests/support/table_gaps.h"

#include <QString>
#include <QStringList>

// What a suite over faults sees, in hexadecimal where it is bytes; null where a test of its own has it, which
// the reason names.
struct FaultEffect
{
    const char* seen;
    const char* elsewhere = nullptr;
};

// One fault, and what becomes of an answer and of a client's request by it.
struct FaultSample
{
    const char* fault;
    FaultKind kind;
    int value;
    // Of the answer "1234567abcd", whose first seven bytes are its header: pieces, what is waited for before
    // each, and the connection's end.
    FaultEffect bend;
    // What a client reads that writes the direction, over TCP and on a serial line.
    FaultEffect tcp;
    FaultEffect line;
    bool carriedOut; // the write
};

inline constexpr FaultSample c_faultSamples[] = {
    {"no-answer", FaultKind::NoAnswer, 0, {""}, {""}, {""}, true},
    // Some act on the request; a refusal leaves open connections alone.
    {"lost", FaultKind::Lost, 0, {"1234567abcd"}, {""}, {""}, false},
    {"late=20",
     FaultKind::Late,
     20,
     {"20 ms, 1234567abcd"},
     {"0002 0000 0006 01 06 1771 0001"},
     {nullptr, "its time counts: lateOverRtu"},
     true},
    {"twice",
     FaultKind::Twice,
     0,
     {"1234567abcd1234567abcd"},
     {"0002 0000 0006 01 06 1771 0001 0002 0000 0006 01 06 1771 0001"},
     {"01 06 1771 0001 1DA5 01 06 1771 0001 1DA5"},
     true},
    {"cut-header", FaultKind::CutHeader, 0, {"1234567"}, {"0002 0000 0006 01"}, {"01 06"}, true},
    {"cut-middle",
     FaultKind::CutMiddle,
     0,
     {"1234567ab"},
     {"0002 0000 0006 01 06 17"},
     {"01 06 1771 00"},
     true},
    {"short",
     FaultKind::Short,
     0,
     {nullptr, "what is missing depends on the function: shortAnswers"},
     {"0002 0000 0005 01 06 1771 00"},
     {"01 06 1771 00 8D1C"},
     true},
    {"exception=6",
     FaultKind::Exception,
     6,
     {"1234567abcd"},
     {"0002 0000 0003 01 86 06"},
     {"01 86 06 C262"},
     false},
    {"close",
     FaultKind::Close,
     0,
     {" close"},
     {nullptr, "it ends the connection: closesAndResets"},
     {""},
     true},
    {"reset",
     FaultKind::Reset,
     0,
     {" reset"},
     {nullptr, "it ends the connection: closesAndResets"},
     {""},
     true},
    {"refuse",
     FaultKind::Refuse,
     0,
     {"1234567abcd"},
     {"0002 0000 0006 01 06 1771 0001"},
     {nullptr, "on a line every request is refused: further rows"},
     true},
    {"restart=5",
     FaultKind::Restart,
     5,
     {"1234567abcd"},
     {nullptr, "it ends every connection: restartsAtARequest"},
     {nullptr, "silence for a time: restartSilencesTheLine"},
     false},
};

// What faults and samples lack, and effects that are neither told nor elsewhere; empty when nothing is
// missing.
inline QString faultSampleGaps(FaultEffect FaultSample::*effect)
{
    QStringList rows;
    QString gaps;
    for (const FaultSample& sample : c_faultSamples) {
        rows.append(faultName(QString::fromLatin1(sample.fault)));
        const FaultEffect& told = sample.*effect;
        if ((told.seen == nullptr) == (told.elsewhere == nullptr))
            gaps += QStringLiteral("%1 says what is seen and where it is tested, or neither; ")
                        .arg(QLatin1String(sample.fault));
    }
    return tableGaps(QStringLiteral("c_faultSamples"), faultNames(), rows) + gaps;
}
