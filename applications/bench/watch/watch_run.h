#pragma once

#include "applications/bench/core/bench_session.h"
#include "applications/bench/watch/watch_options.h"
#include "applications/bench/watch/watch_output.h"
#include "applications/bench/watch/watched_rows.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>

#include <optional>

// Reads the values of one identified device again and again, until it is told to end.
//
// A controller that does not answer is told once, and once that it answers again; what was known of it stays,
// and gets older.
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
    // False when a line cannot be written.
    bool readOnce();
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
    QElapsedTimer m_clock;
    QFile m_csv;
    int m_readings = 0;
};
