#pragma once

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/controller_write.h"
#include "applications/simulator/simulated_registers.h"
#include "applications/simulator/tightening_event.h"

#include <QJsonObject>
#include <QList>
#include <QModbusDataUnit>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

// The registers of one controller and what writing them does. Registers take their place and type
// from the channel entries of a device configuration, by the names of the profile's generation
// ("direction", for generation 2 "directionV2"), so that it and the plug-in read one map.
//
// Defined registers: the channels with a meaning that the profile has, see channelMeanings(); every other
// channel of the generation that names a register and a type, without a meaning of its own (to write: any
// value); and those registers of the model's "backup_range" that none of these take, to read and to write.
// What the event block's registers mean says the key list "eventDataKeys" of "parameters", names in
// generation 1, descriptors in later ones; descriptors in "presetDataKeys" tell which registers of a stored
// program are floats.
// Of "size": registers of one program for currentPreset, number of programs for presets, number of
// registers for the others. Addresses are taken to 16 bits.
class SimulatedController : public QObject
{
    Q_OBJECT

public:
    // Modbus exception codes that a controller answers by itself; 0 is none.
    static constexpr quint8 c_accepted = RegisterBank::c_accepted;
    static constexpr quint8 c_illegalAddress = RegisterBank::c_illegalAddress;
    static constexpr quint8 c_illegalValue = RegisterBank::c_illegalValue;
    // The newest writes that writes() keeps.
    static constexpr int c_maximumWrites = 10000;

    SimulatedController(const QJsonObject& deviceConfiguration, const ControllerProfile& profile,
                        QObject* parent = nullptr);

    const ControllerProfile& profile() const { return m_profile; }
    // What is missing or wrong in the configuration, one line each. Registers without a usable entry are
    // not defined; an event block without a usable key list is, but never holds an event.
    QStringList problems() const { return m_registers.problems; }

    // What a client sees. All `count` registers must be defined, else c_illegalAddress.
    quint8 read(QModbusDataUnit::RegisterType table, quint16 address, int count,
                QVector<quint16>* values) const;
    // Whether a client may write this: c_illegalAddress for undefined and read-only registers,
    // c_illegalValue for a value without a meaning.
    quint8 checkWrite(QModbusDataUnit::RegisterType table, quint16 address,
                      const QVector<quint16>& values) const;
    // Writes as a client does: everything or, with an exception code, nothing. Not logged: who
    // answers the client reports with noteWrite() what it answered.
    quint8 write(QModbusDataUnit::RegisterType table, quint16 address, const QVector<quint16>& values);
    void noteWrite(const ControllerWrite& write);

    // The value behind a channel's base name ("direction", "currentPreset"); nothing when the
    // configuration does not define it.
    std::optional<quint16> value(const QString& channel) const;
    // What happens at the controller itself: no read-only check. False when not defined.
    bool setValue(const QString& channel, quint16 value);

    quint16 direction() const { return value(QStringLiteral("direction")).value_or(0); }
    quint16 currentPreset() const { return value(QStringLiteral("currentPreset")).value_or(0); }
    quint16 alarm() const { return value(QStringLiteral("alarm")).value_or(0); }
    // A code; clients may write 0 to c_largestTorqueUnit, the controller itself anything.
    quint16 torqueUnit() const;
    bool setTorqueUnit(quint16 code);
    bool isMotorRunning() const { return value(QStringLiteral("motorRun")).value_or(0) != 0; }
    void setMotorRunning(bool running) { setValue(QStringLiteral("motorRun"), running ? 1 : 0); }
    // The alarm stays until a client resets it; 0 is none.
    void raiseAlarm(quint16 code) { setValue(QStringLiteral("alarm"), code); }

    // The tool's run. startCycle() turns the motor on, for the current program and direction;
    // finishCycle() turns it off, counts the event and puts it into the event block, all of it before
    // anybody can read. A cycle is not started, with a text, while one runs, when the lock covers the
    // direction (fastening: 1 and 3, loosening: 1 and 2) or without an event block. A lock that comes
    // later leaves the cycle alone.
    bool startCycle(QString* error = nullptr);
    // False when no cycle runs.
    bool finishCycle();
    bool isCycleRunning() const { return m_cycle.has_value(); }
    // A whole cycle at once.
    bool tighten(QString* error = nullptr);
    // The count of the newest event; after 65535 comes 0. Set, the block shows it.
    quint16 eventCount() const { return m_lastEvent.count; }
    void setEventCount(quint16 count);
    // Chooses the values of the events to come, see TighteningEvent::ofCount().
    quint32 eventSeed() const { return m_eventSeed; }
    void setEventSeed(quint32 seed) { m_eventSeed = seed; }
    // The newest event; of all zeros but the count before the first one.
    TighteningEvent lastEvent() const { return m_lastEvent; }

    int presetCount() const { return m_registers.programCount; }
    // Registers of one program; program p (from 1) begins at register (p - 1) × size + 1.
    int presetSize() const { return m_registers.programSize; }

    // Accepted and refused writes, oldest first.
    QList<ControllerWrite> writes() const { return m_writes; }
    qint64 acceptedWriteCount() const { return m_acceptedWriteCount; }
    qint64 refusedWriteCount() const { return m_refusedWriteCount; }
    void clearWrites();

Q_SIGNALS:
    void writeNoted(const ControllerWrite& write);
    void valueChanged(const QString& channel, quint16 value);
    void eventPosted(const TighteningEvent& event);

private:
    struct Cycle
    {
        quint16 program = 0;
        quint16 direction = 0;
    };

    void showEvent();

    ControllerProfile m_profile;
    SimulatedRegisters m_registers;
    QList<ControllerWrite> m_writes;
    qint64 m_acceptedWriteCount = 0;
    qint64 m_refusedWriteCount = 0;
    std::optional<Cycle> m_cycle;
    TighteningEvent m_lastEvent;
    quint32 m_eventSeed = 1;
};
