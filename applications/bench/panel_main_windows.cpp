// The page alone, as it is started from the desktop: a program without a console, for which Windows opens
// none.

#include "applications/bench/core/bench.h"
#include "applications/bench/subcommand_table.h"

#include <lib_host/event_dispatcher.h>
#include <lib_utilities/platform.h>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <optional>
#include <windows.h>

namespace {

// What would be said on standard error, where there is none: kept in a file, and shown when the program has
// failed. Does nothing for a program whose standard error somebody reads.
class DesktopMessages
{
public:
    DesktopMessages()
    {
        HANDLE const handle = GetStdHandle(STD_ERROR_HANDLE);
        if (handle != nullptr && handle != INVALID_HANDLE_VALUE)
            return;
        m_folder.emplace();
        const std::wstring path = filePath().toStdWString();
        if (!m_folder->isValid() || _wfreopen(path.c_str(), L"wb", stderr) == nullptr)
            m_folder.reset();
    }

    void show() const
    {
        if (!m_folder)
            return;
        std::fflush(stderr);
        QFile file(filePath());
        if (file.open(QIODevice::ReadOnly))
            MessageBoxW(nullptr, QString::fromUtf8(file.readAll()).toStdWString().c_str(), L"mdc-panel",
                        MB_OK | MB_ICONERROR);
    }

private:
    QString filePath() const { return m_folder->filePath(QStringLiteral("messages.txt")); }

    std::optional<QTemporaryDir> m_folder;
};

} // namespace

int main(int argc, char* argv[])
{
    const DesktopMessages messages;
    const StandardStreams streams;
    preferQtEventDispatcher();
    const int code = runBench(
        makeSubcommands(), QStringList{QStringLiteral("panel")} + programArguments(argc, argv), argc, argv);
    if (code != 0)
        messages.show();
    return code;
}
