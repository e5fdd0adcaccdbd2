#include "applications/bench/core/input_line.h"

#include "applications/bench/core/interrupt.h"

#include <QEventLoop>
#include <QSocketNotifier>

#include <array>
#include <unistd.h>

std::optional<QByteArray> readInputLine(const Interrupt& interrupt)
{
    // What was typed ahead stays with the terminal, which gives a line at a time.
    QByteArray line;
    bool hasEnded = interrupt.requested();
    while (!hasEnded && !line.endsWith('\n')) {
        QEventLoop loop;
        const QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(&notifier, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
        QObject::connect(&interrupt, &Interrupt::interrupted, &loop, &QEventLoop::quit);
        loop.exec();
        if (interrupt.requested())
            return std::nullopt;
        std::array<char, 1024> piece{};
        const ssize_t size = read(STDIN_FILENO, piece.data(), piece.size());
        hasEnded = size <= 0;
        if (!hasEnded)
            line.append(piece.data(), static_cast<int>(size));
    }
    if (hasEnded)
        return std::nullopt;
    line.chop(1);
    return line;
}
