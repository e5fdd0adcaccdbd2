#include "applications/bench/core/question.h"

#include "applications/bench/core/console.h"
#include "applications/bench/core/input_line.h"
#include "applications/bench/core/platform.h"

#include <lib_utilities/printable_text.h>

#include <iostream>

bool agreesTo(const QString& question, Console& console, const Interrupt& interrupt)
{
    console.clearProgress();
    std::cerr << printableText(question).toStdString() << " [y/N] " << std::flush;
    const std::optional<QByteArray> line = readInputLine(interrupt);
    const QByteArray answer = line.value_or(QByteArray()).trimmed().toLower();
    return answer == "y" || answer == "yes";
}

bool canAsk()
{
    return isTerminal(stdin) && isTerminal(stderr);
}
