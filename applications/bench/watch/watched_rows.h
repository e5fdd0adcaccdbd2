#pragma once

#include "applications/bench/probe/probe_rows.h"

#include <QStringList>

// Which values of a controller are watched.
struct WatchSelection
{
    QList<ProbedRange> ranges; // that are read
    QStringList shown;         // values of them, as rows name them, in their order
    QString error;             // about a name that there is not; empty when all is well
};

// `words` are names of channels as "getRegister" takes them, or of values of the event block
// ("eventData.torque"); none: every state and the event block. `all` are those of the controller,
// whose generation has this suffix.
WatchSelection watchSelection(const QStringList& words, const QList<ProbedRange>& all,
                              const QJsonObject& configuration, const QString& suffix);

// The rows of what has been read that are shown.
QList<ProbeRow> watchedRows(const WatchSelection& selection, const RegisterImage& image,
                            const QJsonObject& configuration, const AddressOffset& offset);
