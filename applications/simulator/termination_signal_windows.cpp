#include "applications/simulator/termination_signal.h"

#include <mutex>
#include <windows.h>

namespace {

// The system calls the handler on a thread of its own, at any time.
std::mutex s_mutex;
TerminationSignal* s_receiver = nullptr;

BOOL WINAPI passOn(DWORD type)
{
    {
        const std::lock_guard lock(s_mutex);
        if (s_receiver == nullptr)
            return FALSE;
        QMetaObject::invokeMethod(s_receiver, &TerminationSignal::received, Qt::QueuedConnection);
    }
    // With a console that closes the program ends when this returns: it is left to the program itself.
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT)
        Sleep(INFINITE);
    return TRUE;
}

} // namespace

class TerminationSignal::Handlers
{};

TerminationSignal::TerminationSignal(QObject* parent)
    : QObject(parent)
{
    const std::lock_guard lock(s_mutex);
    s_receiver = this;
    SetConsoleCtrlHandler(passOn, TRUE);
}

TerminationSignal::~TerminationSignal()
{
    SetConsoleCtrlHandler(passOn, FALSE);
    const std::lock_guard lock(s_mutex);
    s_receiver = nullptr;
}
