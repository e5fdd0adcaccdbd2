#pragma once

#include "applications/bench/core/bench_session.h"
#include "applications/bench/device_configuration/connected_controller.h"
#include "applications/bench/watch/watch_options.h"
#include "applications/bench/watch/watch_output.h"
#include "applications/bench/watch/watched_rows.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>

#include <optional>

// Who answered when it was asked last.
struct WatchedController
{
    QString model;
    QString serial;
    ConnectedController facts;

    bool isSame(const WatchedController& other) const;
    QString toText() const;
};

// Reads the values of one identified device again and again, until it is told to end.
//
// A controller that does not answer is told once, and once that it answers again; what was known of it stays,
// and gets older. After a lost link it asks who answers: that may be another controller, or another
// generation with other channels.
class WatchRun
{
public:
    // Everything outlives the run. `output` takes each reading.
    WatchRun(BenchSession& session, DAbstractPlugin& device, DAbstractPlugin& driver,
             const WatchOptions& options, WatchOutput& output, Console& console, Interrupt& interrupt);

    // Until Ctrl-C, or the bounds of the options: Done. Else why it ended, which has been told.
    ExitCode run();

private:
    ExitCode select();
    ExitCode openCsv();
    // False when it ends here, which has been told.
    bool readOnce();
    bool mayBeAnother() const;
    // Asks who answers, after the link was lost. What keeps it from being known; empty when it is.
    QString identifyAgain();
    // Goes on with the channels of whoever answers now.
    bool goOnWith(const WatchedController& now);
    WatchedController controllerNow() const;
    int connections() const;
    bool writeCsv();
    void take(const RegisterImage& image);
    void tellOutage(const QString& trouble);
    void pause(qint64 milliseconds);
    bool isOver() const;

    BenchSession& m_session;
    DAbstractPlugin& m_device;
    DAbstractPlugin& m_driver;
    const WatchOptions& m_options;
    WatchOutput& m_output;
    Console& m_console;
    Interrupt& m_interrupt;

    QJsonObject m_configuration;
    AddressOffset m_offset;
    WatchSelection m_selection;
    QList<ReadRequest> m_requests;
    WatchReading m_reading;
    WatchedController m_controller;
    int m_connections = 0; // of the driver, when it was asked who answers
    bool m_isOutOfSight = false;
    QString m_swap; // for the screen: since when another controller answers
    QElapsedTimer m_clock;
    QFile m_csv;
    int m_readings = 0;
};
