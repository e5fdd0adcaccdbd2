#pragma once

#include <lib_host/lib_host_global.h>

#include <lib_plugins_management/i_messenger.h>

#include <QString>
#include <QVariantMap>
#include <QVarLengthArray>

// What an instruction tells its caller.
struct DDelivery
{
    enum Kind {
        Reply,   // it has ended, with these results
        Update,  // results of a listening that goes on
        Outage,  // a listening missed a reply and goes on
        Over,    // a listening has ended
        Failure, // it has failed
    };
    quint64 instructionId = 0;
    Kind kind = Reply;
    QVariantMap map;
    IMessenger::EnErrorCode code = IMessenger::CeEcNone;
    QString message;

    // Nothing more comes from the instruction.
    bool isLast() const { return kind != Update && kind != Outage; }
};

// What waits for the command of an order, which hears of one at a time. Updates that come faster than the
// command takes them push out the oldest ones of their instruction; everything else is kept.
class LIB_HOST_EXPORT DOrderInbox
{
public:
    static constexpr int c_capacity = 1024;

    void add(const DDelivery& delivery);
    // There must be one.
    DDelivery takeFirst();
    bool isEmpty() const { return m_waiting.isEmpty(); }
    void clear() { m_waiting.clear(); }
    // Updates that were pushed out so far.
    int dropped() const { return m_dropped; }

private:
    QVarLengthArray<DDelivery, 1> m_waiting;
    int m_dropped = 0;
};
