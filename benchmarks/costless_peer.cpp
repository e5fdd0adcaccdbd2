#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <string_view>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

// Answers Modbus TCP on the loopback interface with next to no work of its own, so that whoever asks is what
// is measured: registers lie in memory as they go on the wire, a read is copied from there, a write is kept
// and echoed. System calls alone, for any number of connections, on the second processor.
//
//   costless_peer PORTS [IDENTIFICATION]
//
// prints as many ports, a line each, and ends when its standard input does. IDENTIFICATION, in hexadecimal
// digits, is what it answers to Report Server ID.

namespace {

constexpr std::size_t c_registers = 65536;
constexpr std::size_t c_headSize = 7; // transaction, protocol, length, unit
constexpr std::size_t c_lengthSpan = 6;
constexpr std::size_t c_largestFrame = 260;

enum Function : std::uint8_t {
    ReadHoldingRegisters = 3,
    ReadInputRegisters = 4,
    WriteRegister = 6,
    WriteRegisters = 16,
    ReportServerId = 17
};
constexpr std::uint8_t c_exception = 0x80;
constexpr std::uint8_t c_illegalFunction = 1;
constexpr std::uint8_t c_illegalAddress = 2;
constexpr std::uint8_t c_illegalValue = 3;

using Frame = std::array<std::uint8_t, c_largestFrame>;

std::size_t wordAt(const std::uint8_t* bytes)
{
    return static_cast<std::size_t>(bytes[0]) << 8 | bytes[1];
}

class Registers
{
public:
    explicit Registers(std::vector<std::uint8_t> identification)
        : m_wire(2 * c_registers)
        , m_identification(std::move(identification))
    {}

    // `request` and `answer` begin behind the frame's head; returns the answer's size.
    std::size_t answer(const std::uint8_t* request, std::size_t size, std::uint8_t* answer)
    {
        const std::uint8_t function = request[0];
        if (function == ReportServerId) {
            answer[0] = function;
            answer[1] = static_cast<std::uint8_t>(m_identification.size());
            std::memcpy(answer + 2, m_identification.data(), m_identification.size());
            return 2 + m_identification.size();
        }
        constexpr std::size_t c_echoed = 5; // function, address, value or count
        if (size < c_echoed)
            return refusal(function, c_illegalValue, answer);
        const std::size_t address = wordAt(request + 1);
        std::uint8_t* const place = m_wire.data() + 2 * address;
        if (function == ReadHoldingRegisters || function == ReadInputRegisters) {
            const std::size_t bytes = 2 * wordAt(request + 3);
            constexpr std::size_t c_mostRead = 250;
            if (bytes == 0 || bytes > c_mostRead)
                return refusal(function, c_illegalValue, answer);
            if (2 * address + bytes > m_wire.size())
                return refusal(function, c_illegalAddress, answer);
            answer[0] = function;
            answer[1] = static_cast<std::uint8_t>(bytes);
            std::memcpy(answer + 2, place, bytes);
            return 2 + bytes;
        }
        if (function == WriteRegister) {
            std::memcpy(place, request + 3, 2);
        } else if (function == WriteRegisters) {
            const std::size_t bytes = 2 * wordAt(request + 3);
            if (bytes == 0 || size != c_echoed + 1 + bytes || request[c_echoed] != bytes)
                return refusal(function, c_illegalValue, answer);
            if (2 * address + bytes > m_wire.size())
                return refusal(function, c_illegalAddress, answer);
            std::memcpy(place, request + c_echoed + 1, bytes);
        } else {
            return refusal(function, c_illegalFunction, answer);
        }
        std::memcpy(answer, request, c_echoed);
        return c_echoed;
    }

private:
    static std::size_t refusal(std::uint8_t function, std::uint8_t exception, std::uint8_t* answer)
    {
        answer[0] = static_cast<std::uint8_t>(function | c_exception);
        answer[1] = exception;
        return 2;
    }

    std::vector<std::uint8_t> m_wire;
    const std::vector<std::uint8_t> m_identification;
};

// What has come of a request that is not whole yet.
struct Connection
{
    Frame bytes{};
    std::size_t filled = 0;
};

// Answers the first frame of `connection` when it is whole; `isGood` turns false when it is none, or when the
// answer does not go out at once.
bool answerOne(int socket, Connection& connection, Registers& registers, bool& isGood)
{
    if (connection.filled <= c_headSize)
        return false;
    const std::size_t size = c_lengthSpan + wordAt(connection.bytes.data() + 4);
    isGood = wordAt(connection.bytes.data() + 2) == 0 && size > c_headSize && size <= c_largestFrame;
    if (!isGood || connection.filled < size)
        return false;
    Frame out;
    std::memcpy(out.data(), connection.bytes.data(), c_headSize);
    const std::size_t answered =
        registers.answer(connection.bytes.data() + c_headSize, size - c_headSize, out.data() + c_headSize);
    out[4] = static_cast<std::uint8_t>((answered + 1) >> 8);
    out[5] = static_cast<std::uint8_t>(answered + 1);
    const std::size_t whole = c_headSize + answered;
    isGood = send(socket, out.data(), whole, MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(whole);
    connection.filled -= size;
    std::memmove(connection.bytes.data(), connection.bytes.data() + size, connection.filled);
    return isGood;
}

// False when the connection is over.
bool serve(int socket, Connection& connection, Registers& registers)
{
    const ssize_t received = recv(socket, connection.bytes.data() + connection.filled,
                                  connection.bytes.size() - connection.filled, 0);
    if (received <= 0)
        return false;
    connection.filled += static_cast<std::size_t>(received);
    bool isGood = true;
    while (answerOne(socket, connection, registers, isGood)) {
    }
    return isGood;
}

// The port that it has got; 0 for none.
int listenOn(int socket)
{
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    auto* const address = reinterpret_cast<sockaddr*>(&place);
    if (socket < 0 || bind(socket, address, size) != 0 || listen(socket, SOMAXCONN) != 0 ||
        getsockname(socket, address, &size) != 0)
        return 0;
    return ntohs(place.sin_port);
}

bool watch(int epoll, int descriptor)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void prepareProcess()
{
    // A listening socket and a connection for each of a thousand devices are more than the usual 1024.
    rlimit descriptors{};
    if (getrlimit(RLIMIT_NOFILE, &descriptors) == 0) {
        descriptors.rlim_cur = descriptors.rlim_max;
        setrlimit(RLIMIT_NOFILE, &descriptors);
    }
    cpu_set_t second;
    CPU_ZERO(&second);
    CPU_SET(1, &second);
    sched_setaffinity(0, sizeof second, &second);
}

std::vector<std::uint8_t> bytesOf(std::string_view digits)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        const char pair[] = {digits[i], digits[i + 1], '\0'};
        bytes.push_back(static_cast<std::uint8_t>(std::strtoul(pair, nullptr, 16)));
    }
    return bytes;
}

class Peer
{
public:
    explicit Peer(std::vector<std::uint8_t> identification)
        : m_epoll(epoll_create1(0))
        , m_registers(std::move(identification))
    {}

    bool listenOnPorts(int count)
    {
        for (int i = 0; i < count; ++i) {
            const int listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            const int port = listenOn(listener);
            if (port == 0 || !watch(m_epoll, listener)) {
                std::perror("costless_peer: a port");
                return false;
            }
            m_isListener.resize(static_cast<std::size_t>(listener) + 1);
            m_isListener.back() = true;
            std::printf("%d\n", port);
        }
        std::fflush(stdout);
        return watch(m_epoll, STDIN_FILENO);
    }

    // Until the standard input ends.
    int run()
    {
        std::array<epoll_event, 64> events;
        while (true) {
            const int count = epoll_wait(m_epoll, events.data(), static_cast<int>(events.size()), -1);
            for (int i = 0; i < count; ++i) {
                const int descriptor = events[static_cast<std::size_t>(i)].data.fd;
                if (descriptor == STDIN_FILENO)
                    return 0;
                if (isListener(descriptor))
                    accept(descriptor);
                else if (!serve(descriptor, m_connections[descriptor], m_registers))
                    drop(descriptor);
            }
        }
    }

private:
    bool isListener(int descriptor) const
    {
        const auto place = static_cast<std::size_t>(descriptor);
        return place < m_isListener.size() && m_isListener[place];
    }
    void accept(int listener)
    {
        const int connection = ::accept(listener, nullptr, nullptr);
        if (connection < 0)
            return;
        const int atOnce = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
        if (!watch(m_epoll, connection))
            close(connection);
    }
    void drop(int descriptor)
    {
        m_connections.erase(descriptor);
        close(descriptor);
    }

    const int m_epoll;
    Registers m_registers;
    std::vector<bool> m_isListener;
    std::unordered_map<int, Connection> m_connections;
};

} // namespace

int main(int argc, char** argv)
{
    const int ports = argc > 1 ? std::atoi(argv[1]) : 0;
    std::vector<std::uint8_t> identification = bytesOf(argc > 2 ? argv[2] : "");
    if (ports < 1 || identification.size() + 2 + c_headSize > c_largestFrame) {
        std::fprintf(stderr, "usage: costless_peer PORTS [IDENTIFICATION]\n");
        return 2;
    }
    prepareProcess();
    Peer peer(std::move(identification));
    return peer.listenOnPorts(ports) ? peer.run() : 1;
}
