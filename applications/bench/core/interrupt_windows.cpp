#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/interrupt.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <windows.h>

namespace {

// The system calls the handler on a thread of its own, at any time.
std::mutex s_mutex;
Interrupt* s_interrupt = nullptr;
std::atomic<int> s_count = 0;
std::atomic<bool> s_isHeard = false;

// On a thread of its own: the program's may be busy for good, and the handler's keeps the next Ctrl-C
// waiting.
void endUnlessHeard()
{
    constexpr DWORD c_look = 50; // ms
    constexpr int c_looks = Interrupt::c_patience * 1000 / static_cast<int>(c_look);
    for (int i = 0; i < c_looks && !s_isHeard; ++i)
        Sleep(c_look);
    if (!s_isHeard)
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode::Interrupted));
}

// With a console that closes, or a session that ends, the program ends when this returns: it stays here, and
// the end of the program takes it along. The system waits for some seconds at most.
void waitForEnd(DWORD type)
{
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT)
        Sleep(INFINITE);
}

BOOL WINAPI onControl(DWORD type)
{
    // At once: whatever the first one waits for, the person at the keyboard has the last word.
    if (++s_count > 1)
        TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitCode::Interrupted));
    {
        const std::lock_guard lock(s_mutex);
        if (s_interrupt == nullptr)
            return FALSE;
        s_interrupt->request();
    }
    std::thread(endUnlessHeard).detach();
    waitForEnd(type);
    return TRUE;
}

} // namespace

Interrupt::Interrupt(QObject* parent)
    : QObject(parent)
{
    const std::lock_guard lock(s_mutex);
    s_interrupt = this;
    s_count = 0;
    s_isHeard = false;
    SetConsoleCtrlHandler(onControl, TRUE);
}

void Interrupt::calmDown()
{
    s_isHeard = true;
}

Interrupt::~Interrupt()
{
    s_isHeard = true;
    SetConsoleCtrlHandler(onControl, FALSE);
    const std::lock_guard lock(s_mutex);
    s_interrupt = nullptr;
}
