#pragma once

#include "applications/bench/core/console.h"
#include "applications/bench/core/interrupt.h"
#include "applications/bench/init/controller_meeting.h"
#include "applications/bench/init/init_options.h"

#include <QString>

#include <optional>

// Asks a person at a terminal for what nobody has given as an option. Questions are on standard error; an
// empty answer is the proposal in brackets. Each function is false when the person has ended it.
class Dialogue
{
public:
    Dialogue(Console& console, Interrupt& interrupt);

    // Whether there is somebody to ask.
    static bool isPossible();

    bool askForLine(InitOptions& options);
    // After nobody has answered: another line, or none and the generation. `isAgain` is which of the two.
    bool askAfterFailure(InitOptions& options, const QString& error, bool& isAgain);
    bool askForRegisterList(InitOptions& options);
    // After the list is read: what it says of the offset is proposed.
    bool askForRest(InitOptions& options, const std::optional<MetController>& controller, int proposedOffset);
    bool confirm(const QString& question);

    void say(const QString& text);

private:
    using Take = QString (*)(const QString& answer, InitOptions& options);
    bool ask(const QString& question, const QString& proposal, Take take, InitOptions& options);
    std::optional<QString> answerTo(const QString& question, const QString& proposal);

    Console& m_console;
    Interrupt& m_interrupt;
};
