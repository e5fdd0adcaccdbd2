#pragma once

#include <QtGlobal>

// Calls that ask for memory. Single threaded, as everything here.
struct Allocations
{
    quint64 fresh = 0;   // malloc
    quint64 cleared = 0; // calloc
    quint64 resized = 0; // realloc
    quint64 aligned = 0; // memalign and what is made of it

    quint64 total() const { return fresh + cleared + resized + aligned; }
};

// Of this process and all libraries in it. A program that calls this gets its memory through functions of
// its own, which count.
const Allocations& allocationsSoFar();
