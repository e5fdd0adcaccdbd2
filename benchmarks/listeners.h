#pragma once

#include "benchmarks/bare_clients.h"

#include <lib_host/d_host.h>

#include <QList>
#include <QString>
#include <QTimer>
#include <QUuid>
#include <QVector>

#include <memory>
#include <vector>

// Many that each poll a block of c_blockSize registers ten times a second.

constexpr int c_listenInterval = 100; // ms

// What a measurement of them has found.
struct ListenRate
{
    double updates = 0; // per second
    double share = 0;   // of one processor
    // Milliseconds by which an update came later than a period after the one before; of 99 in 100 less.
    double late = 0;
};

// Devices of a host with a driver each, one for each port.
class ListeningDevices
{
public:
    explicit ListeningDevices(const QList<int>& ports);

    // Why it cannot be measured, or not any more; empty when it can.
    const QString& error() const { return m_error; }
    // They listen while it is measured, and have stopped afterwards.
    ListenRate withDevices(double seconds);
    // The same block of registers.
    ListenRate withDriversAlone(double seconds);

    // Milliseconds by which periods were off.
    struct Deviations
    {
        QVector<double> ofDevice;
        QVector<double> ofTimer;
    };
    // Of one listening device and of a timer beside it, for so many periods: what the machine is late with
    // both are late with.
    Deviations deviations(int periods);

private:
    bool identify();
    ListenRate measure(double seconds, const QVector<quint64>& orders);
    void stop(const QVector<quint64>& orders);

    DHost m_host;
    QString m_error;
    QList<QUuid> m_drivers;
    QList<QUuid> m_devices;
};

// Clients of nobody, each with a timer of its own.
class BareListeners
{
public:
    explicit BareListeners(const QList<int>& ports);

    bool areConnected() const;
    ListenRate listen(double seconds);

private:
    std::vector<std::unique_ptr<BareClient>> m_clients;
};

// Fewer answers would be less work: shares only count when all were had, else this tells so.
bool hadAll(const char* what, const ListenRate& rate, int listeners);
