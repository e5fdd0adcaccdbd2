#pragma once

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/fault_plan.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

#include <memory>

class ReplayPlan;
class SimulatedController;
struct RecordedSession;
class TighteningCycles;

// A controller that is not there: the register model and identification of one profile, reachable
// over Modbus TCP (loopback only), a serial device, or a pseudo-terminal pair. All transports show
// the same registers and share the fault plan. Needs an event loop; one thread.
class Simulator : public QObject
{
    Q_OBJECT

public:
    // `deviceConfiguration` is the "configuration" of the device object (its "channels" and
    // "parameters"): registers get their meaning from the same entries as the plug-in's.
    Simulator(const QJsonObject& deviceConfiguration, const ControllerProfile& profile,
              QObject* parent = nullptr);
    ~Simulator() override;

    // Port 0 takes a free one. False with a text when the port cannot be had.
    bool listenTcp(quint16 port = 0, QString* error = nullptr);
    quint16 tcpPort() const;
    // Serves a serial device of the machine.
    bool listenSerial(const QString& device, int baudRate, char parity, QString* error = nullptr);
    // Makes a pseudo-terminal and serves it; returns the device name for the client ("/dev/pts/…"),
    // empty with a text on failure.
    QString openPseudoTerminal(QString* error = nullptr);
    // Modbus unit id answered, 1 unless set. A request for another unit has no answer on a serial line; on
    // TCP exception 11 answers it, as from a gateway that finds nobody of that number.
    void setUnitId(int unitId);
    // What the client's driver adds to each register of the configuration before it goes on the wire, 0
    // unless set. Writes, events and faults are told in the configuration's registers.
    void setAddressOffset(int offset);
    // Pseudo-terminals that are made from now on take the time of a serial line at this baud rate; 0 for no
    // time at all, as they do unless set.
    void setPace(int baudRate);
    // The controller goes down for so long (ms): clients are dropped, new ones refused, the serial
    // line is silent. Registers keep their values.
    void restart(int milliseconds);
    // From now on it is the controller of which the session was recorded, `speed` times as fast; 0:
    // everything at once. Registers, faults and unit have no meaning then.
    void setReplay(const RecordedSession& session, double speed);
    // Null when nothing is replayed.
    const ReplayPlan* replay() const;
    // Drops every client and closes every transport.
    void close();

    SimulatedController& controller();
    // The tool in somebody's hand: tightening cycles, one or at an interval.
    TighteningCycles& tightening();
    FaultPlan& faults();

Q_SIGNALS:
    // One line per event that a person at the console wants to see (client came, write, event, fault).
    void message(const QString& text);

private:
    class Private;
    std::unique_ptr<Private> d;
};
