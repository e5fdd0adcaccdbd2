#pragma once

#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <optional>

// What a command writes back that an earlier run of it has saved.
struct SavedRegisters
{
    QVariantList values;
    // Serial number of the controller that they were read from; empty when nobody knows.
    QString serial;
};

// Why they are not written back, and what to do.
struct ResetObjection
{
    QString text;
    QString remedy;
};

// The plug-in property in which such a command saves what it overwrites; empty when the command saves
// nothing.
QString savedPropertyOf(const QString& command);
// The command writes back instead of saving.
bool isReset(const QString& command, const QVariantMap& arguments);

// What can be said before the controller is asked who it is. `place` says where something would be saved.
std::optional<ResetObjection> objectionToSaved(const SavedRegisters& saved, const QString& place);
// What can be said then. `serial` is the connected controller's, empty when it is not known.
std::optional<ResetObjection> objectionToOrigin(const SavedRegisters& saved, const QString& serial);
// What a run that saves again costs: the values of another controller, which cannot be reset from here any
// more. Empty when it costs nothing.
QString textOfReplaced(const SavedRegisters& saved, const QString& serial);
