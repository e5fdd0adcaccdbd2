#include <lib_host/order_timeout.h>

#include <algorithm>

namespace {

// How long after its deadline an order is given up. A command that watches the deadline itself
// ends first, with a code that says what became of its request; and what an order has placed with
// its own deadline ends before the order does.
int graceAfter(int timeout, bool isInstruction)
{
    return isInstruction ? std::max(1, timeout / 50) : std::max(10, timeout / 25);
}

// A last wait for an outcome that is on its way, ms. After a busy loop the deadline of a command and
// that of its order are over in one and the same pass of the loop, and the outcome waits for the next one.
// An order waits longer than the instructions that it has placed.
constexpr int c_lastWordOfCommand = 5;
constexpr int c_lastWordOfInstructions = 20;

} // namespace

DOrderTimeout::DOrderTimeout(int milliseconds, bool isInstruction)
    : m_milliseconds(milliseconds)
    , m_isInstruction(isInstruction)
{}

void DOrderTimeout::restart(QDeadlineTimer bound)
{
    m_lastWordAwaited = false;
    m_deadline = bound;
    if (m_milliseconds <= 0)
        return;
    m_deadline = std::min(QDeadlineTimer(m_milliseconds, Qt::PreciseTimer), bound);
    m_giveUpAt = m_deadline + graceAfter(m_milliseconds, m_isInstruction);
}

bool DOrderTimeout::isOver(DLastWord lastWord)
{
    if (lastWord == DLastWord::Nobody || m_lastWordAwaited) {
        stop();
        return true;
    }
    m_lastWordAwaited = true;
    m_giveUpAt =
        QDeadlineTimer(lastWord == DLastWord::Instructions ? c_lastWordOfInstructions : c_lastWordOfCommand,
                       Qt::PreciseTimer);
    return false;
}
