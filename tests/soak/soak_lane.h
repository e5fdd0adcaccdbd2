#pragma once

#include "applications/simulator/simulator.h"
#include "tests/soak/fault_source.h"
#include "tests/soak/page_reader.h"
#include "tests/support/sample_bench.h"

#include <lib_host/d_host.h>

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QObject>
#include <QRandomGenerator>
#include <QSet>
#include <QTimer>
#include <QUuid>
#include <QVector>

#include <memory>
#include <optional>

// What a lane has done.
struct SoakCounts
{
    qint64 orders = 0; // ended, the page's readings not among them
    qint64 failed = 0; // of them
    qint64 backups = 0;
    qint64 restores = 0; // both: that succeeded
    qint64 updates = 0;  // of listening orders
    qint64 readings = 0; // of the page
    qint64 faults = 0;   // met
    qint64 survived = 0; // of them: an order begun later has succeeded
};

// One simulated controller with everybody who wants something of it: an operator who runs one order
// after another, both listeners, a page that is refreshed, and faults in between. Watches that what must
// hold does hold, and says so with broken() when it does not.
class SoakLane : public QObject
{
    Q_OBJECT

public:
    SoakLane(int number, const QString& profile, Transport transport, quint32 seed, const QString& folder);
    ~SoakLane() override;

    // Starts the controller; false with a text.
    bool listen(const QJsonObject& deviceConfiguration, QString* error);
    // The two objects of the host's configuration, driver and device.
    QJsonArray objects(const QJsonObject& deviceConfiguration) const;

    void start(DHost& host);
    // Begins nothing more; finished() follows when everything has ended.
    void stop();
    // To be called about once a second.
    void watch();

    bool isFinished() const;
    qint64 requests() const;
    SoakCounts counts() const;
    const QSet<QString>& commandsRun() const { return m_commandsRun; }
    Simulator& simulator() { return *m_simulator; }

Q_SIGNALS:
    void broken(const QString& what);

private:
    struct Order
    {
        QString command;
        QVariantMap arguments;
        QElapsedTimer age;
        bool disturbed = false; // a fault, or its aftermath, is in its way
        qint64 hits = 0;        // faults that had hit when it began
    };
    struct Restore
    {
        QList<int> registers;
        QVector<quint16> values;
        QVector<QPair<int, int>> acknowledged;
        bool completed = false;
    };

    quint64 run(const QString& command, const QVariantMap& arguments);
    void next();
    void startBackup();
    void startRestore();
    // A command that the lane knows nothing of but what it needs.
    void startOther();
    QString hintAtOthers() const;
    void listenTo(const QString& command);
    void orderUpdate(quint64 id, const QVariantMap& results);
    void orderEnd(quint64 id, const DOrderOutcome& outcome);
    void instructionEnd(quint64 id, const QString& instruction, const QVariantMap& arguments,
                        const DOrderOutcome& outcome);
    void checkOperation(const Order& order, const DOrderOutcome& outcome);
    void checkBackup(const DOrderOutcome& outcome);
    void checkRestore(const DOrderOutcome& outcome);
    void meetFaults();
    void recovered(qint64 hitsAtStart);
    bool isDisturbed() const;
    // Of an order, a reading of the page or a listener's poll.
    void noteFailure(bool wasDisturbed);
    void fail(const QString& what);

    QVector<quint16> registers() const;
    QByteArray backupBytes() const;

    const int m_number;
    const QString m_profileName;
    const Transport m_transport;
    const QString m_folder;
    QRandomGenerator m_random;
    FaultSource m_faultSource;
    std::unique_ptr<Simulator> m_simulator;
    QJsonObject m_link;
    DHost* m_host = nullptr;
    QUuid m_device;
    QUuid m_driver;
    std::unique_ptr<PageReader> m_page;
    QTimer m_pageTimer;
    QTimer m_alarmTimer;

    QSet<QString> m_commandsRun;
    QStringList m_others; // commands for which there is no operation below

    QHash<quint64, Order> m_open;
    quint64 m_operation = 0; // the operator's order; 0 between two
    quint64 m_stopAt = 0;    // the restore that a stop is meant for
    Restore m_restore;
    QString m_backupFile; // the newest that is complete
    QByteArray m_backupContent;
    SoakCounts m_counts;

    FaultSource::Choice m_fault;
    qint64 m_faultAt = 0; // request count at which it is added
    bool m_faultAdded = false;
    qint64 m_hitsBefore = 0;         // when it was added
    std::optional<qint64> m_hitOpen; // hit count of the fault that nothing has survived yet
    QElapsedTimer m_sinceHit;
    QElapsedTimer m_quiet; // since the last fault, its end, or a failure that may come of it
    qint64 m_hitsSeen = FaultPlan::c_maximumHits;
    bool m_stopping = false;
};
