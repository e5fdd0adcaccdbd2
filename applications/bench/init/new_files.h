#pragma once

#include "applications/bench/core/bench_problem.h"
#include "applications/bench/init/configuration_files.h"

#include <optional>

// Files that are made and never replaced.

// The first of these names that the folder has already; nothing when there is none or no folder.
std::optional<BenchProblem> existingFileProblem(const QString& folder, const QStringList& names);

// Makes the folder where it is missing, and all of the files or none.
std::optional<BenchProblem> makeNewFiles(const QString& folder, const QList<ConfigurationFile>& files);
