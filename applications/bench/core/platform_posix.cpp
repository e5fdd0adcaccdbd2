#include "applications/bench/core/platform.h"

#include <csignal>
#include <sys/ioctl.h>
#include <unistd.h>

bool isTerminal(FILE* stream)
{
    return isatty(fileno(stream)) != 0;
}

std::optional<int> terminalColumns(FILE* stream)
{
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return std::nullopt;
}

std::optional<int> terminalRows(FILE* stream)
{
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_row > 0)
        return size.ws_row;
    return std::nullopt;
}

void ignoreFileSizeSignal()
{
    std::signal(SIGXFSZ, SIG_IGN);
}
