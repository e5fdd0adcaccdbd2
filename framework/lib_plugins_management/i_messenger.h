#pragma once

#include <QMetaType>

// The error codes that travel with a failed order or instruction.
class IMessenger
{
public:
    enum EnErrorCode : int {
        CeEcNone = 0,
        CeEcTimeout,          // no answer within the time allowed
        CeEcUnknownTarget,    // the instruction names no reachable instance
        CeEcUnknownCommand,   // the target has no command of that name
        CeEcNotConnected,     // the link to the device is down; nothing was sent
        CeEcRefused,          // the device answered and refused
        CeEcUncertain,        // a write was sent and not answered: it may have been done
        CeEcInvalidArguments, // the arguments cannot be sent as they are
        CeEcStopped,          // ended by a stop command before its work was done
        CeEcQueueFull,        // too much is waiting already
        CeEcInternal          // ended by the command itself, or by its surroundings going away
    };
};

Q_DECLARE_METATYPE(IMessenger::EnErrorCode)
