#include "applications/bench/init/new_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

BenchProblem existing(const QString& path)
{
    return {ExitCode::CommandFailed,
            {QStringLiteral("%1 is there already and was left alone; nothing was written").arg(path)},
            QStringLiteral("name a folder that is new, or move what is in this one")};
}

std::optional<BenchProblem> makeNewFile(const QString& path, const QByteArray& text)
{
    QFile file(path);
    // New or not at all: nobody's file is lost who makes one of this name meanwhile.
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
        return QFileInfo::exists(path)
                   ? existing(path)
                   : BenchProblem{ExitCode::CommandFailed,
                                  {QStringLiteral("%1 cannot be made: %2").arg(path, file.errorString())},
                                  QStringLiteral("name a folder that you may write to")};
    if (file.write(text) == text.size() && file.flush() && file.error() == QFile::NoError)
        return std::nullopt;
    BenchProblem problem{ExitCode::CommandFailed,
                         {QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString())},
                         QStringLiteral("make room on the disk, or name another folder")};
    file.remove();
    return problem;
}

std::optional<BenchProblem> makeFolder(const QString& folder)
{
    if (QDir().mkpath(folder))
        return std::nullopt;
    return BenchProblem{ExitCode::CommandFailed,
                        {QStringLiteral("the folder %1 cannot be made").arg(folder)},
                        QStringLiteral("name a folder below one that you may write to")};
}

} // namespace

std::optional<BenchProblem> existingFileProblem(const QString& folder, const QStringList& names)
{
    if (QFileInfo::exists(folder) && !QFileInfo(folder).isDir())
        return BenchProblem{ExitCode::CommandFailed,
                            {QStringLiteral("%1 is no folder; nothing was written").arg(folder)},
                            QStringLiteral("name a folder that is new")};
    for (const QString& name : names) {
        const QString path = QDir(folder).filePath(name);
        if (QFileInfo::exists(path) || QFileInfo(path).isSymLink())
            return existing(path);
    }
    return std::nullopt;
}

std::optional<BenchProblem> makeNewFiles(const QString& folder, const QList<ConfigurationFile>& files)
{
    QStringList made;
    for (const ConfigurationFile& file : files) {
        const QString path = QDir(folder).filePath(file.name);
        std::optional<BenchProblem> problem = makeFolder(QFileInfo(path).path());
        if (!problem)
            problem = makeNewFile(path, file.text);
        if (problem) {
            for (const QString& one : qAsConst(made))
                QFile::remove(one);
            return problem;
        }
        made.append(path);
    }
    return std::nullopt;
}
