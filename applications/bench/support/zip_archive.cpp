#include "applications/bench/support/zip_archive.h"

#include <array>

namespace {

constexpr quint32 c_localSignature = 0x04034b50;
constexpr quint32 c_centralSignature = 0x02014b50;
constexpr quint32 c_endSignature = 0x06054b50;
constexpr quint16 c_versionNeeded = 20; // deflated entries
// Made on Unix, whose permissions are the upper half of the attributes: a plain file, 0600.
constexpr quint16 c_versionMadeBy = (3U << 8U) | c_versionNeeded;
constexpr quint32 c_attributes = 0100600U << 16U;
constexpr quint16 c_utf8Names = 1U << 11U;
constexpr quint16 c_stored = 0;
constexpr quint16 c_deflated = 8;

std::array<quint32, 256> crcTable()
{
    constexpr quint32 c_polynomial = 0xedb88320U;
    std::array<quint32, 256> table{};
    for (quint32 number = 0; number < table.size(); ++number) {
        quint32 value = number;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1U) != 0 ? c_polynomial ^ (value >> 1U) : value >> 1U;
        table.at(number) = value;
    }
    return table;
}

void append16(QByteArray& out, quint16 value)
{
    out.append(static_cast<char>(value & 0xffU));
    out.append(static_cast<char>(value >> 8U));
}

void append32(QByteArray& out, quint32 value)
{
    append16(out, static_cast<quint16>(value & 0xffffU));
    append16(out, static_cast<quint16>(value >> 16U));
}

quint16 dosDate(const QDate& date)
{
    constexpr int c_firstYear = 1980;
    constexpr int c_lastYear = 2107;
    const int year = qBound(c_firstYear, date.year(), c_lastYear);
    return static_cast<quint16>(((year - c_firstYear) << 9) | (date.month() << 5) | date.day());
}

quint16 dosTime(const QTime& time)
{
    return static_cast<quint16>((time.hour() << 11) | (time.minute() << 5) | (time.second() / 2));
}

// Qt's compressed bytes are the length, then deflated bytes between zlib's header and checksum.
QByteArray deflated(const QByteArray& bytes)
{
    constexpr int c_lengthAndHeader = 4 + 2;
    constexpr int c_checksum = 4;
    const QByteArray compressed = qCompress(bytes, 9);
    return compressed.mid(c_lengthAndHeader, compressed.size() - c_lengthAndHeader - c_checksum);
}

// What the header of an entry and its line of the directory have in common.
QByteArray description(const ZipEntry& entry, quint16 method, int packedSize, const QDateTime& time)
{
    QByteArray out;
    append16(out, c_versionNeeded);
    append16(out, c_utf8Names);
    append16(out, method);
    append16(out, dosTime(time.time()));
    append16(out, dosDate(time.date()));
    append32(out, crc32Of(entry.bytes));
    append32(out, static_cast<quint32>(packedSize));
    append32(out, static_cast<quint32>(entry.bytes.size()));
    append16(out, static_cast<quint16>(entry.name.toUtf8().size()));
    append16(out, 0); // of further fields
    return out;
}

} // namespace

quint32 crc32Of(const QByteArray& bytes)
{
    static const std::array<quint32, 256> c_table = crcTable();
    quint32 crc = 0xffffffffU;
    for (const char byte : bytes)
        crc = c_table.at((crc ^ static_cast<quint8>(byte)) & 0xffU) ^ (crc >> 8U);
    return ~crc;
}

QByteArray zipArchive(const QList<ZipEntry>& entries, const QDateTime& time)
{
    QByteArray archive;
    QByteArray directory;
    for (const ZipEntry& entry : entries) {
        const QByteArray smaller = deflated(entry.bytes);
        const bool isSmaller = smaller.size() < entry.bytes.size();
        const QByteArray& packed = isSmaller ? smaller : entry.bytes;
        const QByteArray described =
            description(entry, isSmaller ? c_deflated : c_stored, packed.size(), time);
        append32(directory, c_centralSignature);
        append16(directory, c_versionMadeBy);
        directory += described;
        append16(directory, 0); // length of the comment
        append16(directory, 0); // disk
        append16(directory, 0); // internal attributes
        append32(directory, c_attributes);
        append32(directory, static_cast<quint32>(archive.size()));
        directory += entry.name.toUtf8();
        append32(archive, c_localSignature);
        archive += described + entry.name.toUtf8() + packed;
    }
    const auto count = static_cast<quint16>(entries.size());
    const auto begin = static_cast<quint32>(archive.size());
    archive += directory;
    append32(archive, c_endSignature);
    append32(archive, 0); // disks
    append16(archive, count);
    append16(archive, count);
    append32(archive, static_cast<quint32>(directory.size()));
    append32(archive, begin);
    append16(archive, 0); // length of the comment
    return archive;
}
