#include "plugins/p_driver_modbus/source/link_clocks.h"

namespace {

// A plain pointer: what has something to do when the thread ends would keep the plug-in in the process.
thread_local LinkClocks* s_clocks = nullptr;

} // namespace

std::shared_ptr<LinkClocks> LinkClocks::ofThisThread()
{
    if (s_clocks != nullptr)
        return s_clocks->shared_from_this();
    std::shared_ptr<LinkClocks> clocks(new LinkClocks);
    s_clocks = clocks.get();
    return clocks;
}

LinkClocks::~LinkClocks()
{
    if (s_clocks == this)
        s_clocks = nullptr;
}
