#include "fuzz/require.h"
#include "plugins/p_device_mdc/model/backup_file.h"

#include <QBuffer>
#include <QDate>
#include <QVariantList>

#include <cstddef>
#include <cstdint>

// Any bytes as a backup file: refused with a reason, or taken as registers that a written file gives back.

namespace {

BackupReading readBytes(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return readBackup(buffer, nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const BackupReading reading = readBytes(bytes);
    if (reading.fault != BackupReading::CeNoFault) {
        require(!reading.detail.isEmpty(), "a refusal has a text");
        return 0;
    }
    const QVector<quint16>& values = reading.file.values;
    require(!values.isEmpty() && values.size() <= c_backupLinesLimit && reading.file.firstPosition >= 1,
            "a file has some registers, from position 1 on");
    require(!reading.file.valueAt(reading.file.firstPosition - 1),
            "there is nothing before the first position");
    require(reading.file.valueAt(reading.file.firstPosition) == values.first(),
            "the first value is at the first position");

    QVariantList written;
    for (const quint16 value : values)
        written.append(static_cast<int>(value));
    const QByteArray again = backupText({QStringLiteral("M"), {}, {}}, QDate(2024, 3, 5), written).toUtf8();
    const BackupReading second = readBytes(again);
    require(second.fault == BackupReading::CeNoFault && second.file.values == values,
            "what is read can be written and read again");
    return 0;
}
