#pragma once

#include "plugins/p_driver_modbus/source/alarm_clock.h"

#include <memory>

// What the links of one thread share; it goes with the last of them. Polls have a clock of their own, whose
// timer goes on in their beat: what is set for another moment would break it.
class LinkClocks : public std::enable_shared_from_this<LinkClocks>
{
public:
    // To be let go of on the same thread.
    static std::shared_ptr<LinkClocks> ofThisThread();
    ~LinkClocks();
    Q_DISABLE_COPY_MOVE(LinkClocks)

    AlarmClock polls;
    AlarmClock deadlines;

private:
    LinkClocks() = default;
};
