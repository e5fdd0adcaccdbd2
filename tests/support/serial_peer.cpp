#include "tests/support/serial_peer.h"

#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

namespace {

int wordAt(const QByteArray& bytes, int index)
{
    return static_cast<quint8>(bytes.at(index)) << 8 | static_cast<quint8>(bytes.at(index + 1));
}

QByteArray word(int value)
{
    QByteArray bytes(2, '\0');
    bytes[0] = static_cast<char>(value >> 8);
    bytes[1] = static_cast<char>(value & 0xFF);
    return bytes;
}

// Size of the request that these bytes begin with, checksum included.
int requestSize(const QByteArray& bytes)
{
    const int function = bytes.size() > 1 ? static_cast<quint8>(bytes.at(1)) : 0;
    if (function == 0x11)
        return 4;
    if (function == 0x10 && bytes.size() > 6)
        return 9 + static_cast<quint8>(bytes.at(6));
    return 8;
}

} // namespace

// Modbus over serial line, 6.2.2: the low byte goes first.
QByteArray withChecksum(const QByteArray& bytes)
{
    unsigned crc = 0xFFFF;
    for (const char byte : bytes) {
        crc ^= static_cast<quint8>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xA001U : crc >> 1U;
    }
    return bytes + static_cast<char>(crc & 0xFFU) + static_cast<char>(crc >> 8U);
}

SerialPeer::SerialPeer()
    : device(m_folder.filePath(QStringLiteral("line")))
{
    m_clock.start();
    if (!plugIn())
        device.clear();
}

SerialPeer::~SerialPeer()
{
    unplug();
}

void SerialPeer::unplug()
{
    m_notifier.reset();
    // First, so that nobody finds another's terminal behind it.
    QFile::remove(device);
    for (int* const descriptor : {&m_slave, &m_master}) {
        if (*descriptor >= 0)
            ::close(*descriptor);
        *descriptor = -1;
    }
}

bool SerialPeer::plugIn()
{
    unplug();
    char name[256] = {};
    termios settings{};
    cfmakeraw(&settings);
    if (openpty(&m_master, &m_slave, name, &settings, nullptr) != 0)
        return false;
    fcntl(m_master, F_SETFL, O_NONBLOCK);
    m_received.clear();
    m_notifier = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] { onBytes(); });
    return QFile::link(QString::fromLocal8Bit(name), device);
}

void SerialPeer::send(const QByteArray& bytes)
{
    if (m_master >= 0)
        sentAll =
            ::write(m_master, bytes.constData(), static_cast<std::size_t>(bytes.size())) == bytes.size();
}

void SerialPeer::setReading(bool reading)
{
    if (m_notifier != nullptr)
        m_notifier->setEnabled(reading);
}

void SerialPeer::setTaking(bool taking)
{
    if (m_slave >= 0)
        tcflow(m_slave, taking ? TCOON : TCOOFF);
}

void SerialPeer::onBytes()
{
    char buffer[512];
    const auto count = ::read(m_master, buffer, sizeof buffer);
    if (count <= 0)
        return;
    m_received.append(buffer, static_cast<int>(count));
    for (int size = requestSize(m_received); m_received.size() >= size; size = requestSize(m_received)) {
        const QByteArray request = m_received.left(size - 2);
        m_received.remove(0, size);
        requests.append(request);
        requestTimes.append(m_clock.elapsed());
        answer(request);
    }
}

void SerialPeer::answer(const QByteArray& request)
{
    const QByteArray good = withChecksum(request.left(1) + pdu(request.mid(1)));
    const Fault now = faultsLeft == 0 ? None : fault;
    if (faultsLeft > 0)
        --faultsLeft;
    switch (now) {
    case None:
        send(good);
        break;
    case NoAnswer:
        break;
    case LateAnswer:
        QTimer::singleShot(lateBy, Qt::PreciseTimer, this, [this, good] { send(good); });
        break;
    case Exception: {
        QByteArray exception = request.left(2);
        exception[1] = static_cast<char>(exception.at(1) | 0x80);
        send(withChecksum(exception + '\x02'));
        break;
    }
    case HalfFrame:
        send(good.left(good.size() / 2));
        break;
    case WrongChecksum: {
        QByteArray bytes = good;
        bytes[bytes.size() - 1] = static_cast<char>(bytes.at(bytes.size() - 1) ^ 1);
        send(bytes);
        break;
    }
    case WrongUnit: {
        QByteArray bytes = good.left(good.size() - 2);
        bytes[0] = 9;
        send(withChecksum(bytes));
        break;
    }
    case Noise:
        send(good + "\x55");
        break;
    case NoiseBefore:
        send(QByteArray::fromHex("55aa00ff7f") + good);
        break;
    case Babble:
        send(QByteArray(1000, '\x01'));
        break;
    }
}

QByteArray SerialPeer::pdu(const QByteArray& request)
{
    const int function = static_cast<quint8>(request.at(0));
    if (function == 0x11)
        return QByteArray::fromHex("110c") + QByteArray("identity.ok!");
    if (function == 0x06) {
        m_registers.insert(wordAt(request, 1), wordAt(request, 3));
        return request;
    }
    if (function == 0x10) {
        for (int i = 0; i < wordAt(request, 3); ++i)
            m_registers.insert(wordAt(request, 1) + i, wordAt(request, 6 + 2 * i));
        return request.left(5);
    }
    const int count = wordAt(request, 3);
    QByteArray bytes = request.left(1) + static_cast<char>(2 * count);
    for (int i = 0; i < count; ++i) {
        const int address = wordAt(request, 1) + i;
        bytes.append(word(m_registers.value(address, address + offset)));
    }
    return bytes;
}
