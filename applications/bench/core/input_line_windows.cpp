#include "applications/bench/core/input_line.h"

#include "applications/bench/core/interrupt.h"

#include <iostream>
#include <string>

std::optional<QByteArray> readInputLine(const Interrupt& interrupt)
{
    // A console cannot be waited for together with the event loop; Ctrl-C ends the read.
    std::string line;
    if (interrupt.requested() || !std::getline(std::cin, line))
        return std::nullopt;
    return QByteArray::fromStdString(line).trimmed();
}
