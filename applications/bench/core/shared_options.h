#pragma once

#include <QString>

class OptionSet;

// Options that several subcommands have.

// "--object NAME": the name or the identity of an object, empty when it is not given.
void addObject(OptionSet& options, QString& object, const char* description);
// "--timeout MS": how long to wait for the links.
constexpr int c_defaultLinkWait = 3000; // ms, as the driver allows for a connection by default
void addLinkWait(OptionSet& options, int& milliseconds);
// "--timeout MS": bound for an order as a whole.
void addOrderTimeout(OptionSet& options, int& milliseconds, const char* description);

// Where listening ends by itself: after so many updates or milliseconds, 0 for no bound.
struct ListeningBounds
{
    int count = 0;
    int duration = 0;
};
// "--count N" and "--seconds S".
void addListeningBounds(OptionSet& options, ListeningBounds& bounds, const char* descriptionOfCount);
