#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "setLock": locks or unlocks the screwdriver in one or both directions of rotation. The lock values
// are 0 unlocked, 1 locked, 2 loosening locked, 3 fastening locked; any other one is written as well
// and its state reported as "Error".
// Results: "lockStatus" names what is still possible; "fasteningLocked", "looseningLocked"; "doneOk",
// only ever true: a write that the controller did not acknowledge fails without results.
// The parameter "unlockLoosening", which hosts are not told of, never locks the loosening direction.
// An acknowledgement without a number (an empty list, no list) counts as 0, which is none.
class DCmdSetLock : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdSetLock(const QVariantMap& arguments, QObject* parent);
    explicit DCmdSetLock(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    // One command carries out one lock change: a second call only says so in the log.
    bool commandExecute() override;

    bool rplSetLock(quint64 instructionId, const QVariantMap& reply);

private:
    // The value that has been sent and waits for its acknowledgement; -1 before the first execution.
    qint32 wantedLock = -1;
};
