#pragma once

#include <algorithm>
#include <array>

// What an order is doing. docs/host.md shows the phases and what leads from one to another.
enum class DOrderPhase {
    Placed,        // waits for its turn; nothing of it has run
    StopRequested, // waits for its turn, which shows whether it listens, and then stops
    Running,       // its command runs, or waits for replies
    Failing,       // its command hears of a failure that ends the order whatever it answers
    Ended,         // its outcome has been told; its command may still be on the call stack
    Retired,       // runs nothing any more and waits to go
};

struct DOrderTransition
{
    DOrderPhase from;
    DOrderPhase to;
};

inline constexpr std::array<DOrderTransition, 9> c_orderTransitions{{
    {DOrderPhase::Placed, DOrderPhase::Running},
    {DOrderPhase::Placed, DOrderPhase::StopRequested},
    {DOrderPhase::Placed, DOrderPhase::Ended},
    {DOrderPhase::StopRequested, DOrderPhase::Running},
    {DOrderPhase::StopRequested, DOrderPhase::Ended},
    {DOrderPhase::Running, DOrderPhase::Failing},
    {DOrderPhase::Running, DOrderPhase::Ended},
    {DOrderPhase::Failing, DOrderPhase::Ended},
    {DOrderPhase::Ended, DOrderPhase::Retired},
}};

constexpr bool isOrderTransition(DOrderPhase from, DOrderPhase to)
{
    return std::any_of(c_orderTransitions.begin(), c_orderTransitions.end(),
                       [from, to](const DOrderTransition& t) { return t.from == from && t.to == to; });
}

constexpr const char* orderPhaseName(DOrderPhase phase)
{
    switch (phase) {
    case DOrderPhase::Placed:
        return "Placed";
    case DOrderPhase::StopRequested:
        return "StopRequested";
    case DOrderPhase::Running:
        return "Running";
    case DOrderPhase::Failing:
        return "Failing";
    case DOrderPhase::Ended:
        return "Ended";
    case DOrderPhase::Retired:
        break;
    }
    return "Retired";
}
