#include "applications/bench/core/shared_options.h"

#include "applications/bench/core/option_binding.h"

#include <CLI/CLI.hpp>

#include <limits>
#include <string>

namespace {

constexpr double c_millisecondsPerSecond = 1000;
constexpr double c_longestListening = 2000000; // s; in milliseconds it fits an int

} // namespace

void addObject(CLI::App& app, QString& object, const char* description)
{
    addText(app, "--object", object, description)->type_name("NAME");
}

void addLinkWait(CLI::App& app, int& milliseconds)
{
    app.add_option("--timeout", milliseconds,
                   "How long to wait for the links in milliseconds [" + std::to_string(c_defaultLinkWait) +
                       "]")
        ->type_name("MS")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
}

void addOrderTimeout(CLI::App& app, int& milliseconds, const char* description)
{
    app.add_option("--timeout", milliseconds, description)
        ->type_name("MS")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""));
}

void addListeningBounds(CLI::App& app, ListeningBounds& bounds, const char* descriptionOfCount)
{
    app.add_option("--count", bounds.count, descriptionOfCount)
        ->type_name("N")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()).description(""));
    app.add_option_function<double>(
           "--seconds",
           [&bounds](const double& seconds) {
               bounds.duration = static_cast<int>(seconds * c_millisecondsPerSecond);
           },
           "Listening: end after so many seconds [none]")
        ->type_name("S")
        ->check(CLI::Range(0.001, c_longestListening).description(""));
}
