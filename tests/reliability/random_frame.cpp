#include "tests/reliability/random_frame.h"

namespace {

constexpr int c_headerSize = 7;

int byteAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes.at(index));
}

int wordAt(const QByteArray& bytes, int index)
{
    return byteAt(bytes, index) << 8 | byteAt(bytes, index + 1);
}

void setWord(QByteArray& bytes, int index, int value)
{
    bytes[index] = static_cast<char>(value >> 8);
    bytes[index + 1] = static_cast<char>(value & 0xFF);
}

} // namespace

RandomFrame::RandomFrame(quint32 seed)
    : m_random(seed)
{}

QByteArray RandomFrame::next(const QByteArray& good)
{
    m_last = make(good);
    return m_last;
}

QByteArray RandomFrame::bytes(int count)
{
    QByteArray result(count, '\0');
    for (char& byte : result)
        byte = static_cast<char>(below(256));
    return result;
}

int RandomFrame::below(int bound)
{
    return static_cast<int>(m_random.bounded(bound));
}

QByteArray RandomFrame::make(const QByteArray& good)
{
    constexpr int c_longest = 300;
    QByteArray frame = good;
    const int size = static_cast<int>(good.size());
    switch (below(7)) {
    case 0: // no frame at all
        return bytes(below(c_longest));
    case 1: // some bytes changed
        for (int changes = 1 + below(4); changes > 0; --changes)
            frame[below(size)] = static_cast<char>(below(256));
        return frame;
    case 2: { // a bit changed
        const int place = below(size);
        frame[place] = static_cast<char>(byteAt(frame, place) ^ (1 << below(8)));
        return frame;
    }
    case 3: // cut
        return good.left(below(size));
    case 4: // continued
        return good + bytes(1 + below(c_longest));
    case 5: { // a right header around anything
        frame = good.left(c_headerSize) + bytes(1 + below(c_longest));
        setWord(frame, 4, static_cast<int>(frame.size()) - 6);
        return frame;
    }
    default: { // a right header and function around anything
        frame = good.left(c_headerSize + 1) + bytes(below(below(2) == 0 ? 4 : 64));
        if (below(2) == 0)
            frame[c_headerSize] = static_cast<char>(byteAt(frame, c_headerSize) | 0x80);
        setWord(frame, 4, static_cast<int>(frame.size()) - 6);
        return frame;
    }
    }
}

std::optional<ProperAnswer> properAnswer(const QByteArray& request, const QByteArray& bytes)
{
    if (bytes.size() < c_headerSize + 2 || bytes.left(4) != request.left(4) || bytes.at(6) != request.at(6))
        return std::nullopt;
    const int size = 6 + wordAt(bytes, 4);
    if (bytes.size() < size || size < c_headerSize + 2)
        return std::nullopt;
    const QByteArray frame = bytes.left(size);
    const int asked = byteAt(request, c_headerSize);
    const int function = byteAt(frame, c_headerSize);
    ProperAnswer answer;
    answer.isAlone = bytes.size() == size;
    if (function == (asked | 0x80)) {
        answer.isException = true;
        return size == c_headerSize + 2 ? std::optional(answer) : std::nullopt;
    }
    if (function != asked)
        return std::nullopt;
    const int byteCount = byteAt(frame, c_headerSize + 1);
    const bool countFits = byteCount == size - c_headerSize - 2;
    switch (asked) {
    case 0x03: {
        const int start = wordAt(request, c_headerSize + 1);
        const int count = wordAt(request, c_headerSize + 3);
        if (!countFits || byteCount != 2 * count)
            return std::nullopt;
        for (int i = 0; i < count; ++i)
            answer.registers.insert(start + i, wordAt(frame, c_headerSize + 2 + 2 * i));
        return answer;
    }
    case 0x06:
        return frame == request ? std::optional(answer) : std::nullopt;
    case 0x11:
        if (!countFits)
            return std::nullopt;
        answer.identification = frame.mid(c_headerSize + 2);
        return answer;
    default:
        return std::nullopt;
    }
}
