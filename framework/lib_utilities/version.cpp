#include <lib_utilities/version.h>

#include <QStringList>

namespace {

constexpr int c_componentCount = 4;
constexpr int c_componentBits = 16;

// -1 when the text is not a plain decimal number of 0…65535: toUInt() would also take signs and blanks.
int componentFromString(const QString& text)
{
    if (text.isEmpty())
        return -1;
    int value = 0;
    for (const QChar character : text) {
        if (character < QLatin1Char('0') || character > QLatin1Char('9'))
            return -1;
        value = value * 10 + (character.unicode() - u'0');
        if (value > 0xFFFF)
            return -1;
    }
    return value;
}

} // namespace

quint64 versionFromString(const QString& text, bool* ok, QChar separator)
{
    if (ok != nullptr)
        *ok = false;
    const QStringList components = text.split(separator);
    if (components.size() > c_componentCount)
        return 0;
    quint64 version = 0;
    for (int i = 0; i < c_componentCount; ++i) {
        const int component = i < components.size() ? componentFromString(components.at(i)) : 0;
        if (component < 0)
            return 0;
        version = (version << c_componentBits) | static_cast<quint64>(component);
    }
    if (ok != nullptr)
        *ok = true;
    return version;
}

QString versionToString(quint64 version)
{
    QStringList components;
    for (int i = 0; i < c_componentCount; ++i) {
        const int shift = c_componentBits * (c_componentCount - 1 - i);
        components.append(QString::number((version >> shift) & 0xFFFFU));
    }
    while (components.size() > 2 && components.constLast() == QLatin1String("0"))
        components.removeLast();
    return components.join(QLatin1Char('.'));
}
