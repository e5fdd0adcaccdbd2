#pragma once

#include <QByteArray>
#include <QHash>
#include <QRandomGenerator>

#include <optional>

// Frames of Modbus TCP as a peer gone mad sends them, from a seed: bytes without a meaning, good frames
// with bytes changed, missing or added, right headers around any contents.
class RandomFrame
{
public:
    explicit RandomFrame(quint32 seed);

    // `good` is the frame that a sane peer would send.
    QByteArray next(const QByteArray& good);
    const QByteArray& last() const { return m_last; }

private:
    QByteArray bytes(int count);
    int below(int bound);
    QByteArray make(const QByteArray& good);

    QRandomGenerator m_random;
    QByteArray m_last;
};

// What a frame says that is by the protocol an answer to a request: whoever takes it is right, whatever
// the registers really hold.
struct ProperAnswer
{
    bool isException = false;
    bool isAlone = true; // nothing stands behind it
    QHash<int, int> registers;
    QByteArray identification;

    int registerValue(int address, int otherwise) const { return registers.value(address, otherwise); }
};

// Nothing when the bytes do not begin with a frame that is exactly an answer to `request` (a frame as
// well). Written from the protocol's own text and with nothing of the driver. Knows the functions 0x03,
// 0x06 and 0x11.
std::optional<ProperAnswer> properAnswer(const QByteArray& request, const QByteArray& bytes);
