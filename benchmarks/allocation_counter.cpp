#include "benchmarks/allocation_counter.h"

#include <cerrno>
#include <cstddef>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t size);

namespace {

Allocations s_allocations;

} // namespace

// These take the place of the C library's for this process and all libraries in it, operator new included.
extern "C" void* malloc(std::size_t size)
{
    ++s_allocations.fresh;
    return __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size)
{
    ++s_allocations.cleared;
    return __libc_calloc(count, size);
}

extern "C" void* realloc(void* block, std::size_t size)
{
    ++s_allocations.resized;
    return __libc_realloc(block, size);
}

extern "C" void* memalign(std::size_t alignment, std::size_t size)
{
    ++s_allocations.aligned;
    return __libc_memalign(alignment, size);
}

extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

extern "C" int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    const bool isPowerOfTwo = alignment != 0 && (alignment & (alignment - 1)) == 0;
    if (!isPowerOfTwo || alignment % sizeof(void*) != 0)
        return EINVAL;
    void* const aligned = memalign(alignment, size);
    if (aligned == nullptr)
        return ENOMEM;
    *block = aligned;
    return 0;
}

const Allocations& allocationsSoFar()
{
    return s_allocations;
}
