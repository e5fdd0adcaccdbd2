#include "applications/bench/check/page_file.h"

#include <lib_utilities/plain_file.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

BenchProblem unwritable(const QString& path, const QString& cause)
{
    return {ExitCode::CommandFailed,
            {QStringLiteral("%1 cannot be written: %2").arg(path, cause)},
            QStringLiteral("name a file in a folder that you may write to")};
}

bool holds(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.readAll() == bytes;
}

using Put = bool (*)(const QString& path, const QByteArray& bytes, QString* reason);

std::optional<BenchProblem> write(Put put, const QString& path, const QByteArray& bytes, bool replaces)
{
    const std::optional<BenchProblem> problem = pageFileProblem(path, replaces);
    if (problem)
        return problem;
    // A disk that is full shows in what the file holds afterwards.
    QString reason = QStringLiteral("it holds something else now");
    const bool isPut = replaces ? put(path, bytes, &reason) : putNewFile(path, bytes, &reason);
    if (isPut && holds(path, bytes))
        return std::nullopt;
    // Somebody else may have made it meanwhile.
    const std::optional<BenchProblem> existing = isPut ? std::nullopt : pageFileProblem(path, replaces);
    return existing ? existing : unwritable(path, reason);
}

} // namespace

std::optional<BenchProblem> pageFileProblem(const QString& path, bool replaces)
{
    const QFileInfo file(path);
    QString reason;
    if (!isFreeForFile(path, &reason))
        return BenchProblem{ExitCode::CommandFailed,
                            {QStringLiteral("%1 was left alone: %2").arg(path, reason)},
                            QStringLiteral("name another file")};
    if (file.exists() && !replaces)
        return BenchProblem{ExitCode::CommandFailed,
                            {QStringLiteral("%1 is there already and was left alone").arg(path)},
                            QStringLiteral("name another file, or replace this one with --force")};
    if (!file.absoluteDir().exists())
        return unwritable(path, QStringLiteral("there is no such folder"));
    return std::nullopt;
}

std::optional<BenchProblem> writePageFile(const QString& path, const QByteArray& bytes, bool replaces)
{
    return write(&putFile, path, bytes, replaces);
}

std::optional<BenchProblem> writePrivateFile(const QString& path, const QByteArray& bytes, bool replaces)
{
    return write(&putPrivateFile, path, bytes, replaces);
}
