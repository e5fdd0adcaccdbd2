#pragma once

#include <QString>

class Console;
class Interrupt;

// Asks a person on the terminal and waits for the answer. Only "y" or "yes", in any case, is a yes; the end
// of the input and Ctrl-C are a no.
bool agreesTo(const QString& question, Console& console, const Interrupt& interrupt);

// Somebody can be asked.
bool canAsk();
