#include "applications/bench/core/shared_options.h"

#include "applications/bench/core/option_set.h"

#include <limits>

namespace {

constexpr int c_most = std::numeric_limits<int>::max();
constexpr double c_shortestListening = 0.001;  // s
constexpr double c_longestListening = 2000000; // s; in milliseconds it fits an int

} // namespace

void addObject(OptionSet& options, QString& object, const char* description)
{
    options.text("--object", "NAME", object, description);
}

void addLinkWait(OptionSet& options, int& milliseconds)
{
    options.number("--timeout", "MS", milliseconds, 0, c_most,
                   "How long to wait for the links in milliseconds [" + std::to_string(c_defaultLinkWait) +
                       "]");
}

void addOrderTimeout(OptionSet& options, int& milliseconds, const char* description)
{
    options.number("--timeout", "MS", milliseconds, 1, c_most, description);
}

void addListeningBounds(OptionSet& options, ListeningBounds& bounds, const char* descriptionOfCount)
{
    options.number("--count", "N", bounds.count, 1, c_most, descriptionOfCount);
    options.seconds("--seconds", bounds.duration, c_shortestListening, c_longestListening,
                    "Listening: end after so many seconds [none]");
}
