#pragma once

#include "applications/bench/check/bench_check.h"
#include "applications/bench/core/bench_problem.h"
#include "applications/bench/support/own_files.h"
#include "applications/bench/support/packing_list.h"

#include <QStringList>

#include <optional>

struct SupportOptions
{
    QString file;
    QStringList added;                // files that are packed too
    int linkWait = c_defaultLinkWait; // ms
    bool isProbing = false;
    bool withIdentity = false;
    bool replaces = false;
};

// Packs what somebody needs who is asked for help with a bench, whether or not the bench can be used.
class SupportRun
{
public:
    SupportRun(const GeneralOptions& general, const SupportOptions& options, Console& console,
               Interrupt& interrupt);

    // Once. Done when the archive was written, whatever was found on the way.
    ExitCode run();

private:
    std::optional<BenchProblem> addNamedFiles();
    ExitCode lookOverBench();
    void addVersions(BenchSession& session);
    void addConfiguration();
    void addTraces(BenchSession& session);
    void addProperties(const BenchSession& session);
    void addDocument(const QString& name, const QJsonObject& document);
    void addFile(const QString& name, const QString& path);
    void knowControllers(BenchSession& session);
    ExitCode write(ExitCode checked);

    const GeneralOptions& m_general;
    const SupportOptions& m_options;
    Console& m_console;
    Interrupt& m_interrupt;
    Anonymiser m_anonymiser;
    PackingList m_list;
    OwnFiles m_ownFiles;
    // Of the configuration's main file, as far as it can be read.
    QList<BenchObject> m_objects;
};
