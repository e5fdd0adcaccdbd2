#include "applications/bench/init/dialogue.h"

#include "applications/bench/core/input_line.h"
#include "applications/bench/core/platform.h"
#include "applications/bench/init/answers.h"

#include <lib_utilities/printable_text.h>

#include <cstdio>

namespace {

void writeError(const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stderr);
    std::fflush(stderr);
}

} // namespace

Dialogue::Dialogue(Console& console, Interrupt& interrupt)
    : m_console(console)
    , m_interrupt(interrupt)
{}

bool Dialogue::isPossible()
{
    return isTerminal(stdin) && isTerminal(stderr);
}

void Dialogue::say(const QString& text)
{
    m_console.clearProgress();
    writeError(printableLines(text) + QLatin1Char('\n'));
}

std::optional<QString> Dialogue::answerTo(const QString& question, const QString& proposal)
{
    m_console.clearProgress();
    writeError(proposal.isEmpty() ? question + QStringLiteral(": ")
                                  : QStringLiteral("%1 [%2]: ").arg(question, proposal));
    const std::optional<QByteArray> line = readInputLine(m_interrupt);
    if (!line) {
        writeError(QStringLiteral("\n"));
        return std::nullopt;
    }
    const QString answer = QString::fromLocal8Bit(*line).trimmed();
    return answer.isEmpty() ? proposal : answer;
}

bool Dialogue::ask(const QString& question, const QString& proposal, Take take, InitOptions& options)
{
    for (;;) {
        const std::optional<QString> answer = answerTo(question, proposal);
        if (!answer)
            return false;
        const QString complaint = take(*answer, options);
        if (complaint.isEmpty())
            return true;
        say(QStringLiteral("  ") + complaint);
    }
}

bool Dialogue::askForLine(InitOptions& options)
{
    const bool isOpen = options.host.isEmpty() && options.serialPort.isEmpty();
    if (isOpen &&
        !ask(QStringLiteral("Address of the controller, or its serial line"), {}, &takeAddress, options))
        return false;
    const ControllerLine line = lineOf(options);
    if (line.isSerial()) {
        if (options.baudRate == 0 &&
            !ask(QStringLiteral("Baud rate"), QString::number(line.baudRate), &takeBaudRate, options))
            return false;
        if (options.parity.isEmpty() &&
            !ask(QStringLiteral("Parity (even, odd, none)"), line.parity, &takeParity, options))
            return false;
    } else if (options.port == 0 &&
               !ask(QStringLiteral("TCP port"), QString::number(line.port), &takePort, options)) {
        return false;
    }
    return options.unitId >= 0 ||
           ask(QStringLiteral("Modbus unit"), QString::number(line.unitId), &takeUnit, options);
}

bool Dialogue::askAfterFailure(InitOptions& options, const QString& error, bool& isAgain)
{
    say(QStringLiteral("Nobody answers: %1").arg(error));
    for (;;) {
        const auto answer =
            answerTo(QStringLiteral("Try again, with another address or settings"), QStringLiteral("yes"));
        if (!answer)
            return false;
        if (const auto decided = yesOrNo(*answer)) {
            isAgain = *decided;
            break;
        }
    }
    if (!isAgain)
        return ask(QStringLiteral("Generation of the controller (1, 2, all)"), {}, &takeGeneration, options);
    options.host.clear();
    options.serialPort.clear();
    options.port = 0;
    options.baudRate = 0;
    options.parity.clear();
    options.unitId = -1;
    return true;
}

bool Dialogue::askForRegisterList(InitOptions& options)
{
    return !options.registerList.isEmpty() ||
           ask(QStringLiteral("Register list, a CSV file (empty: none)"), {}, &takeRegisterList, options);
}

bool Dialogue::askForRest(InitOptions& options, const std::optional<MetController>& controller,
                          int proposedOffset)
{
    if (options.offset.isEmpty() &&
        !ask(QStringLiteral("What is added to a register's number on the wire: 0, or -1 where the "
                            "documentation counts from 1"),
             QString::number(proposedOffset), &takeOffset, options))
        return false;
    if (options.generation.isEmpty() && controller &&
        !ask(QStringLiteral("Generation to write (1, 2, all)"),
             QString::number(controller->information.softwareVersion), &takeGeneration, options))
        return false;
    return !options.reference.isEmpty() ||
           ask(QStringLiteral("Order reference of the controller, with MDTC, MDC or BM in it"),
               controller ? controller->reference : QString(), &takeReference, options);
}

bool Dialogue::confirm(const QString& question)
{
    for (;;) {
        const auto answer = answerTo(question, QStringLiteral("yes"));
        if (!answer)
            return false;
        if (const auto decided = yesOrNo(*answer))
            return *decided;
    }
}
