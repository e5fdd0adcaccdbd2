#pragma once

#include <QtGlobal>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// Reply callbacks: an object pointer and a member function, called like a function.
//
// A delegate is two words, is copied like two words and never allocates: the pointer adjustment
// that a pointer to member of a class with several bases carries is applied when the delegate is
// made, so that only the code word is left to keep. It does not own its object; whoever keeps a
// delegate drops it before the object goes. Calling an empty delegate does nothing and returns R{}.

namespace FastDelegateDetail {

// Stands for the class of every object: complete before its member pointers are formed, so that every
// compiler gives them the single-inheritance representation.
class Generic
{};

// What the sizes below are held against: an option of the compiler may give every pointer to member the
// largest representation (/vmg), and a class that is only declared has it always.
class Other
{};
class Several : public Generic, public Other
{};
using GenericMember = void (Generic::*)();
using SeveralMember = void (Several::*)();

// The representation of a pointer to member function, and how to get its two parts.
#if defined(_MSC_VER)
static_assert(sizeof(GenericMember) == sizeof(void*),
              "FastDelegate: a pointer to member of a class with one base is more than a code pointer here: "
              "build host and plug-ins without /vmg");
static_assert(sizeof(SeveralMember) <= 2 * sizeof(void*) && sizeof(SeveralMember) > sizeof(void*),
              "FastDelegate: a pointer to member of a class with several bases is not a code pointer and an "
              "adjustment here: build host and plug-ins without /vmg");
// Single inheritance: the code pointer alone (virtual functions are reached through a thunk).
// Multiple inheritance: the code pointer and a 32-bit adjustment behind it.
struct MemberParts
{
    std::uintptr_t code;
    std::ptrdiff_t adjustment;
};

template <class Member>
MemberParts split(Member member)
{
    static_assert(
        sizeof(Member) == sizeof(GenericMember) || sizeof(Member) == sizeof(SeveralMember),
        "FastDelegate: the class of the member function must be defined here, not only declared, and "
        "have no virtual bases");
    MemberParts parts{};
    std::memcpy(&parts.code, &member, sizeof parts.code);
    if constexpr (sizeof(Member) > sizeof(void*)) {
        std::int32_t adjustment = 0;
        std::memcpy(&adjustment, reinterpret_cast<const char*>(&member) + sizeof(void*), sizeof adjustment);
        parts.adjustment = adjustment;
    }
    return parts;
}

template <class Member>
Member join(std::uintptr_t code)
{
    Member member = nullptr;
    std::memcpy(&member, &code, sizeof code);
    return member;
}
#elif defined(__x86_64__) || defined(__i386__)
static_assert(sizeof(GenericMember) == 2 * sizeof(void*) && sizeof(SeveralMember) == sizeof(GenericMember),
              "FastDelegate: a pointer to member function is not the two words of the Itanium C++ ABI here");
// Itanium C++ ABI, 2.3: {code pointer, or 1 + vtable offset; adjustment of this}.
struct MemberParts
{
    std::uintptr_t code;
    std::ptrdiff_t adjustment;
};

template <class Member>
MemberParts split(Member member)
{
    static_assert(sizeof(Member) == sizeof(MemberParts));
    MemberParts parts{};
    std::memcpy(&parts, &member, sizeof parts);
    return parts;
}

template <class Member>
Member join(std::uintptr_t code)
{
    static_assert(sizeof(Member) == sizeof(MemberParts));
    const MemberParts parts{code, 0};
    Member member = nullptr;
    std::memcpy(&member, &parts, sizeof parts);
    return member;
}
#else
#error "FastDelegate: this compiler is not known: state here how it represents a pointer to member function"
#endif

template <class R, class... P>
class Delegate
{
public:
    Delegate() = default;

    // `object` may be of a class derived from the one that declares the member.
    template <class T, class U>
    Delegate(T* object, R (U::*member)(P...))
    {
        bind(static_cast<U*>(object), member);
    }

    template <class T, class U>
    Delegate(const T* object, R (U::*member)(P...) const)
    {
        bind(const_cast<U*>(static_cast<const U*>(object)), member);
    }

    R operator()(P... arguments) const
    {
        if (empty())
            return R{};
        const auto member = join<R (Generic::*)(P...)>(m_code);
        return (m_object->*member)(static_cast<P>(arguments)...);
    }

    [[nodiscard]] bool empty() const { return m_object == nullptr; }
    explicit operator bool() const { return !empty(); }

private:
    template <class U, class Member>
    void bind(U* object, Member member)
    {
        if (object == nullptr || member == nullptr)
            return;
        const MemberParts parts = split(member);
        m_object = reinterpret_cast<Generic*>(reinterpret_cast<char*>(object) + parts.adjustment);
        m_code = parts.code;
    }

    Generic* m_object = nullptr;
    std::uintptr_t m_code = 0;
};

} // namespace FastDelegateDetail

// R member(P1, P2): a reply, called with the instruction identifier and the reply map.
template <class P1, class P2, class R>
class FastDelegate2 : public FastDelegateDetail::Delegate<R, P1, P2>
{
public:
    using FastDelegateDetail::Delegate<R, P1, P2>::Delegate;
};

// R member(P1, P2, P3): an error, called with the identifier, the error code and a map.
template <class P1, class P2, class P3, class R>
class FastDelegate3 : public FastDelegateDetail::Delegate<R, P1, P2, P3>
{
public:
    using FastDelegateDetail::Delegate<R, P1, P2, P3>::Delegate;
};
