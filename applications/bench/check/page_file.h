#pragma once

#include "applications/bench/core/bench_problem.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Before the work for it is done: why this file could not be written; with `replaces` a file may be there.
std::optional<BenchProblem> pageFileProblem(const QString& path, bool replaces);
// Writes the whole file, or leaves what was there.
std::optional<BenchProblem> writePageFile(const QString& path, const QByteArray& bytes, bool replaces);
// The same, for this user alone whoever could read what was there.
std::optional<BenchProblem> writePrivateFile(const QString& path, const QByteArray& bytes, bool replaces);
