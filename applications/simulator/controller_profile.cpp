#include "applications/simulator/controller_profile.h"

#include <algorithm>

namespace {

void putWord(QByteArray& bytes, int offset, quint16 value)
{
    bytes[offset] = static_cast<char>(value & 0xFF);
    bytes[offset + 1] = static_cast<char>(value >> 8);
}

} // namespace

QList<ControllerProfile> ControllerProfile::all()
{
    using Layout = ControllerProfile::Layout;
    // Tool codes are of the table that the reference chooses: MDC 4 MD2611, 7 MD3202, 13 MD2201,
    // 17 MD2202, BM 5 3211, 6 3216.
    return {
        {QStringLiteral("mdc26-gen1v1"),
         QStringLiteral("MDC-26, generation 1, first register layout, firmware 1.50.0"), Layout::Bytes12, 1,
         4, 1500, 3, QStringLiteral("MDC"), QStringLiteral("MDC-26")},
        {QStringLiteral("mdc26-gen1v2"),
         QStringLiteral("MDC-26, generation 1, second register layout, firmware 2.50.0"), Layout::Bytes12, 1,
         4, 2500, 3, QStringLiteral("MDC"), QStringLiteral("MDC-26")},
        {QStringLiteral("mdc22-gen1v2"),
         QStringLiteral("MDC-22, generation 1, second register layout, firmware 3.10.5"), Layout::Bytes13, 3,
         13, 3105, 15, QStringLiteral("MDC"), QStringLiteral("MDC-22")},
        {QStringLiteral("mdc32-gen1v2"),
         QStringLiteral("MDC-32, generation 1, second register layout, firmware 3.20.1"), Layout::Bytes12, 2,
         6, 3201, 3, QStringLiteral("MDC"), QStringLiteral("MDC-32")},
        {QStringLiteral("mdc32-gen2"), QStringLiteral("MDC-32, generation 2, firmware 4.01.2"),
         Layout::Bytes13, 2, 7, 4012, 15, QStringLiteral("MDC"), QStringLiteral("MDC-32")},
        {QStringLiteral("mdc22-gen2"), QStringLiteral("MDC-22, generation 2, firmware 4.10.0"),
         Layout::Bytes13, 3, 17, 4100, 15, QStringLiteral("MDC"), QStringLiteral("MDC-22")},
        {QStringLiteral("mdc26-gen2"),
         QStringLiteral("MDC-26 (reports \"MD\"), generation 2, firmware 4.20.3"), Layout::Bytes17, 1, 4,
         4203, 1, QStringLiteral("MDC"), QStringLiteral("MD")},
        {QStringLiteral("bm-gen1v1"),
         QStringLiteral("BM, generation 1, first register layout, firmware 1.23.0"), Layout::Bytes17, 1, 5,
         1230, 10, QStringLiteral("BM"), QStringLiteral("BM")},
        {QStringLiteral("bm-firmware2-gen1v1"),
         QStringLiteral("BM, generation 1, first register layout, firmware 2.34.0"), Layout::Bytes17, 1, 5,
         2340, 10, QStringLiteral("BM"), QStringLiteral("BM")},
        {QStringLiteral("bm-gen2"), QStringLiteral("BM, generation 2, firmware 4.30.1"), Layout::Bytes17, 1,
         6, 4301, 10, QStringLiteral("BM"), QStringLiteral("BM")},
        {QStringLiteral("unknown-gen1v2"),
         QStringLiteral("Unknown (reports \"????\"), generation 1, second register layout, firmware 2.60.0"),
         Layout::Bytes13, 9, 13, 2600, 15, QStringLiteral("MDC"), QStringLiteral("????")},
        {QStringLiteral("nameless-gen1v2"),
         QStringLiteral("Nameless (reports \"\"), generation 1, second register layout, firmware 2.70.0"),
         Layout::Bytes17, 1, 4, 2700, 7, QStringLiteral("MDC"), QLatin1String("")},
        {QStringLiteral("unreadable-gen1v2"),
         QStringLiteral("Unreadable (a block of 8 bytes), taken for generation 1"), Layout::Bytes8, 2, 7,
         3201, 0, QStringLiteral("MDC"), QStringLiteral("????")},
    };
}

std::optional<ControllerProfile> ControllerProfile::byName(const QString& name)
{
    const QList<ControllerProfile> profiles = all();
    const auto found = std::find_if(profiles.cbegin(), profiles.cend(),
                                    [&name](const ControllerProfile& one) { return one.name == name; });
    if (found == profiles.cend())
        return std::nullopt;
    return *found;
}

QByteArray ControllerProfile::identificationBlock() const
{
    QByteArray block(static_cast<int>(layout), '\0');
    putWord(block, 0, 1);
    putWord(block, 2, family);
    putWord(block, 4, toolCode);
    putWord(block, 6, firmware);
    if (layout == Layout::Bytes8)
        return block;
    // The serial number's bytes, its last group first. The 12-byte layout reads 07.03.0125, its last
    // group one number of two bytes; the others read 1907150042, or with the family in the middle.
    if (layout == Layout::Bytes12) {
        block[8] = 125;
        block[9] = 0;
        block[10] = static_cast<char>(familyByte);
        block[11] = 7;
    } else {
        block[8] = 42;
        block[9] = 0;
        block[10] = static_cast<char>(familyByte);
        block[11] = 7;
        block[12] = 19;
    }
    return block;
}

bool ControllerProfile::hasFirstFirmware() const
{
    return layout != Layout::Bytes8 && firmware / 1000 == 1;
}

bool ControllerProfile::hasFirstRegisterLayout() const
{
    constexpr quint8 c_familyBm = 10;
    const bool isBm = layout == Layout::Bytes17 && familyByte == c_familyBm;
    return generation() == 1 && (isBm || hasFirstFirmware());
}

QString ControllerProfile::channelSuffix() const
{
    return generation() > 1 ? QStringLiteral("V%1").arg(generation()) : QString();
}

QString ControllerProfile::version() const
{
    if (layout == Layout::Bytes8)
        return QLatin1String("");
    return QStringLiteral("%1.%2.%3")
        .arg(firmware / 1000)
        .arg(firmware % 1000 / 10, 2, 10, QLatin1Char('0'))
        .arg(firmware % 10);
}

QString ControllerProfile::configurationName() const
{
    if (generation() > 1)
        return QStringLiteral("MDgen%1").arg(generation());
    return hasFirstFirmware() ? QStringLiteral("MDgen1V1") : model;
}

QString ControllerProfile::title() const
{
    return description.section(QLatin1Char(','), 0, 0).section(QStringLiteral(" ("), 0, 0) +
           QStringLiteral(" generation %1").arg(generation());
}
