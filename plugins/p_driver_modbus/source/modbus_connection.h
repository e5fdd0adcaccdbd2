#pragma once

#include "plugins/p_driver_modbus/source/back_off.h"
#include "plugins/p_driver_modbus/source/device_holder.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <optional>

class LinkStatistics;
class ModbusTransport;

// The connection to a controller, made again whenever it is lost or cannot be trusted any longer: at once at
// first, and then with growing pauses. Each time with a new device, so that nothing of the old stream becomes
// a later answer.
//
// After it has been made it is given time before the first request: the configured pause, and on a serial
// line as long as an answer to an older request may still come. What comes meanwhile is heard and dropped.
class ModbusConnection : public QObject
{
    Q_OBJECT

public:
    // Whoever sends over the connection. Told from inside the device's signals, the connection's timers or a
    // call to it, so it must not be deleted then.
    class Owner
    {
    public:
        // isReady() becomes true next: the last moment of those who wait for a connection.
        virtual void onSettled() = 0;
        virtual void onReady() = 0;
        virtual void onReceived(const QByteArray& bytes) = 0;
        // The connection is lost, and so is what was sent over it. Returns the milliseconds that there were
        // for an answer, when one is missed.
        virtual std::optional<int> onLost(const QString& reason) = 0;
        // mayWait() has become false.
        virtual void onNothingToWaitFor() = 0;
        // What has been decided and not told yet is not to be delayed.
        virtual bool hasOutcomesToTell() const = 0;

    protected:
        ~Owner() = default;
    };

    // All three must outlive the connection.
    ModbusConnection(const ModbusTransport& transport, LinkStatistics& statistics, Owner& owner);
    ~ModbusConnection() override;

    void start();
    // Closes for good.
    void stop(const QString& reason);

    // Requests can be sent.
    bool isReady() const { return m_state == State::Ready; }
    // Requests may wait for it to be ready. They may for the first one after start(), for at most 250 ms for
    // one that is made again at once, and while one is given its time before the first request.
    bool mayWait() const;
    // An older answer may still come.
    bool isDraining() const { return m_state == State::Settling && m_drainTime > 0; }
    // Why nothing can be sent: "not connected to …: …", or that the pause after connecting is not over.
    QString notConnectedText() const;

    // Only when isReady(). False when nothing of it could be sent; the owner has been told of the loss then.
    bool send(const ModbusRequest& request, quint16 transaction)
    {
        return m_device.send(request, transaction);
    }
    // Sends at once what has been left to the event loop, and may find out that the connection is lost.
    void flush() { m_device.flush(); }
    // A proper answer has come: what is lost next is reopened at once.
    void noteAnswer() { m_backOff.reset(); }
    // Closes and makes a new one, because of what came or did not come. `missedTime` are the milliseconds
    // that there were for an answer that may still come; 0 for none.
    void renew(const QString& reason, int missedTime);

Q_SIGNALS:
    // isReady() has changed. Told from the event loop, once per change that lasts until then: a listener may
    // delete the connection. Not told of the end by stop().
    void connectedChanged(bool connected);

private:
    enum class State { Stopped, Waiting, Connecting, Settling, Ready };

    void setState(State state);
    void tellConnected();
    void open();
    void discardDevice();
    void onOpened();
    void onReceived(const QByteArray& bytes);
    void onSettled();
    void lose(const QString& reason);
    void replace(const QString& reason, bool isDrained);
    void onGracePiece();

    const ModbusTransport& m_transport;
    LinkStatistics& m_statistics;
    Owner& m_owner;
    DeviceHolder m_device;

    State m_state = State::Stopped;
    bool m_toldConnected = false;
    bool m_tellingIsQueued = false;
    QString m_lossReason;
    QString m_lastLoggedReason;

    BackOff m_backOff;
    bool m_requestsMayWait = false; // although there is no connection
    int m_gracePiecesLeft = 0;      // of the time that they may
    QElapsedTimer m_openedSince;
    int m_drainTime = 0; // to listen to the next connection before a request is sent

    QTimer m_connectTimer;
    QTimer m_reopenTimer;
    QTimer m_graceTimer;
    QTimer m_settleTimer;
};
