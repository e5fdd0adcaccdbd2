// Loaded before the system's library: a name server that does not answer for longer than anybody waits.

#include <netdb.h>
#include <unistd.h>

extern "C" int getaddrinfo(const char* /*node*/, const char* /*service*/, const addrinfo* /*hints*/,
                           addrinfo** /*result*/)
{
    constexpr unsigned c_longerThanATest = 300; // s
    for (unsigned left = c_longerThanATest; left > 0;)
        left = sleep(left);
    return EAI_AGAIN;
}
