#pragma once

#include <QByteArray>

#include <optional>

class Interrupt;

// What a person types, which operating systems wait for in their own ways.

// The next line of standard input without its end; nothing when there is no more, or on Ctrl-C where the
// system lets one wait for both. May run an event loop.
std::optional<QByteArray> readInputLine(const Interrupt& interrupt);
