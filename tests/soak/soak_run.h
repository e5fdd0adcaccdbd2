#pragma once

#include "tests/soak/soak_lane.h"

#include <lib_host/d_host.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <vector>

struct SoakOptions
{
    qint64 transactions = 1000000; // requests that reach the controllers, of all of them
    quint32 seed = 1;
    QString plugins;       // folder of the plug-in files
    QString configuration; // main configuration; its device's part is what every device here has
};

struct SoakResult
{
    QStringList broken; // what did not hold, the first few of it
    qint64 transactions = 0;
    qint64 milliseconds = 0;
    SoakCounts counts;
    QSet<QString> commandsRun; // whatever became of them
    // Bytes of memory for each transaction, after the first fifth of them.
    double memorySlope = 0;
    qint64 memory = 0; // in bytes, at the end
    int descriptorsAtStart = 0;
    int descriptorsAtEnd = 0; // both with every link up and nothing to do
    int threads = 0;
};

// Some controllers behind their drivers in one host in this process, all busy and disturbed at once,
// until so many requests have been made. See SoakLane for what is done, and what must hold.
class SoakRun : public QObject
{
    Q_OBJECT

public:
    explicit SoakRun(const SoakOptions& options);
    ~SoakRun() override;

    // False with a text.
    bool prepare(QString* error);
    // `progress` hears about every ten seconds. Needs an application object.
    SoakResult run(const std::function<void(const SoakResult&)>& progress = {});
    SoakLane& lane(int number) { return *m_lanes.at(static_cast<std::size_t>(number)); }

private:
    SoakResult soFar() const;
    void orderEnd(quint64 id);
    void tick(const std::function<void(const SoakResult&)>& progress);
    bool waitUntil(const std::function<bool()>& condition, int milliseconds);
    void fail(const QString& what);

    SoakOptions m_options;
    QTemporaryDir m_folder;
    std::vector<std::unique_ptr<SoakLane>> m_lanes;
    std::unique_ptr<DHost> m_host;
    QEventLoop m_loop;
    QElapsedTimer m_time;
    QStringList m_broken;
    QVector<QPair<double, double>> m_memory; // transactions, bytes
    quint64 m_newestEnded = 0;
    QSet<quint64> m_ended; // the newest orders that have ended
    int m_ticks = 0;
};
