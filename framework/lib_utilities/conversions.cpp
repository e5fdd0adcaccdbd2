#include <lib_utilities/conversions.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>
#include <QVariant>

namespace {

// JSON's own quoting: what is in a log line can be pasted into a configuration.
QString quoted(const QString& text)
{
    const QByteArray array = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

QString convVariantToString(const QVariant& value);

QString convVariantListToString(const QVariantList& list)
{
    QStringList items;
    items.reserve(list.size());
    for (const QVariant& item : list)
        items.append(convVariantToString(item));
    return QLatin1Char('[') + items.join(QLatin1String(", ")) + QLatin1Char(']');
}

QString convVariantToString(const QVariant& value)
{
    switch (static_cast<QMetaType::Type>(value.type())) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return QStringLiteral("null");
    case QMetaType::QVariantMap:
        return convVariantMapToString(value.toMap());
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return convVariantListToString(value.toList());
    case QMetaType::QByteArray:
        return QLatin1String("0x") + QString::fromLatin1(value.toByteArray().toHex());
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Short:
    case QMetaType::UShort:
        return value.toString();
    default:
        return quoted(value.toString());
    }
}

} // namespace

quint8 convByteArrayToUInt08(const QByteArray& bytes, int index)
{
    if (index < 0 || index >= bytes.size())
        return 0;
    return static_cast<quint8>(bytes.at(index));
}

quint16 convByteArrayToUInt16(const QByteArray& bytes, int index)
{
    if (index < 0 || index >= bytes.size())
        return 0;
    return static_cast<quint16>(convByteArrayToUInt08(bytes, index) |
                                (convByteArrayToUInt08(bytes, index + 1) << 8));
}

QString convVariantMapToString(const QVariantMap& map)
{
    QStringList items;
    items.reserve(map.size());
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        items.append(quoted(it.key()) + QLatin1String(": ") + convVariantToString(it.value()));
    return QLatin1Char('{') + items.join(QLatin1String(", ")) + QLatin1Char('}');
}
