#pragma once

#include "tests/support/simulator_names.h"
#include "tests/support/table_gaps.h"

#include <QString>
#include <QStringList>

// What the suites count on for each profile of the simulated controller. Written out here and not taken from
// the profile: the block travels, and is decoded on its way.
struct ProfileRow
{
    const char* profile;
    const char* block; // its answer to Report Server ID behind the byte count, in hexadecimal
    int generation;
    const char* title;
    const char* configurationName;
    // The register of the unit of torque: by the firmware's number, unlike the screen lock.
    int torqueUnit;
    // What a host reads from the block; null where nothing is known of it that commands could show.
    const char* model;
    const char* version;
};

inline constexpr ProfileRow c_profileRows[] = {
    {"mdc26-gen1v1", "0100 0100 0400 DC05 7D00 03 07", 1, "MDC-26 generation 1", "MDgen1V1", 602, "MDC-26",
     "1.50.0"},
    {"mdc26-gen1v2", "0100 0100 0400 C409 7D00 03 07", 1, "MDC-26 generation 1", "MDC-26", 601, "MDC-26",
     "2.50.0"},
    {"mdc22-gen1v2", "0100 0300 0D00 210C 2A00 0F 07 13", 1, "MDC-22 generation 1", "MDC-22", 601, "MDC-22",
     "3.10.5"},
    {"mdc32-gen1v2", "0100 0200 0600 810C 7D00 03 07", 1, "MDC-32 generation 1", "MDC-32", 601, "MDC-32",
     "3.20.1"},
    {"mdc32-gen2", "0100 0200 0700 AC0F 2A00 0F 07 13", 2, "MDC-32 generation 2", "MDgen2", 2001, "MDC-32",
     "4.01.2"},
    {"mdc22-gen2", "0100 0300 1100 0410 2A00 0F 07 13", 2, "MDC-22 generation 2", "MDgen2", 2001, "MDC-22",
     "4.10.0"},
    {"mdc26-gen2", "0100 0100 0400 6B10 2A00 01 07 13 00000000", 2, "MDC-26 generation 2", "MDgen2", 2001,
     "MD", "4.20.3"},
    {"bm-gen1v1", "0100 0100 0500 CE04 2A00 0A 07 13 00000000", 1, "BM generation 1", "MDgen1V1", 602, "BM",
     "1.23.0"},
    {"bm-firmware2-gen1v1", "0100 0100 0500 2409 2A00 0A 07 13 00000000", 1, "BM generation 1", "BM", 601,
     "BM", "2.34.0"},
    {"bm-gen2", "0100 0100 0600 CD10 2A00 0A 07 13 00000000", 2, "BM generation 2", "MDgen2", 2001, "BM",
     "4.30.1"},
    {"unknown-gen1v2", "0100 0900 0D00 280A 2A00 0F 07 13", 1, "Unknown generation 1", "????", 601, "????",
     "2.60.0"},
    {"nameless-gen1v2", "0100 0100 0400 8C0A 2A00 07 07 13 00000000", 1, "Nameless generation 1", "", 601, "",
     "2.70.0"},
    {"unreadable-gen1v2", "0100 0200 0700 810C", 1, "Unreadable generation 1", "????", 601, nullptr, nullptr},
};

// What profiles and rows lack; empty when each has the other.
inline QString profileRowGaps()
{
    QStringList rows;
    for (const ProfileRow& row : c_profileRows)
        rows.append(QString::fromLatin1(row.profile));
    return tableGaps(QStringLiteral("c_profileRows"), profileNames(), rows);
}
