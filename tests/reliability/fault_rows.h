#pragma once

#include <QString>

class RowTable;

// Every fault of the simulator is about something that this table is about too: the rows that do to the
// driver what the fault does, by a scripted peer or by the simulator. What is missing there, one line each;
// empty when every fault has a row.
QString faultsWithoutRows(const RowTable& table);
