#include "applications/bench/core/platform.h"

#include <csignal>
#include <cstdlib>
#include <pwd.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace {

volatile std::sig_atomic_t s_endCode = 0;

extern "C" void endNow(int)
{
    _exit(s_endCode);
}

} // namespace

std::string makePrivateFolder(const std::string& pattern)
{
    std::string path = pattern;
    return mkdtemp(path.data()) == nullptr ? std::string() : path;
}

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

std::string accountName()
{
    constexpr std::size_t c_size = 1 << 14;
    std::vector<char> texts(c_size);
    passwd account{};
    passwd* found = nullptr;
    const bool isKnown =
        getpwuid_r(geteuid(), &account, texts.data(), texts.size(), &found) == 0 && found != nullptr;
    return isKnown ? account.pw_name : std::string();
}

void limitEnd(int exitCode, int seconds)
{
    s_endCode = exitCode;
    std::signal(SIGALRM, &endNow);
    alarm(static_cast<unsigned>(seconds));
}

void ignoreFileSizeSignal()
{
    std::signal(SIGXFSZ, SIG_IGN);
}
