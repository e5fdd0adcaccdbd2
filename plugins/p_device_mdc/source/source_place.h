#pragma once

#include <version>

// Where in the source something happens, taken as a default argument from the place of the call.
#ifdef __cpp_lib_source_location

#include <source_location>

namespace mdc {

using SourcePlace = std::source_location;

} // namespace mdc

#else

#include <cstdint>

namespace mdc {

// What is used of std::source_location, for compilers that have the intrinsics and not yet the class.
class SourcePlace
{
public:
    static constexpr SourcePlace current(const char* file = __builtin_FILE(),
                                         std::uint_least32_t line = __builtin_LINE(),
                                         const char* function = __builtin_FUNCTION()) noexcept
    {
        SourcePlace place;
        place.m_file = file;
        place.m_line = line;
        place.m_function = function;
        return place;
    }

    [[nodiscard]] constexpr const char* file_name() const noexcept { return m_file; }
    [[nodiscard]] constexpr std::uint_least32_t line() const noexcept { return m_line; }
    [[nodiscard]] constexpr const char* function_name() const noexcept { return m_function; }

private:
    const char* m_file = "";
    std::uint_least32_t m_line = 0;
    const char* m_function = "";
};

} // namespace mdc

#endif
