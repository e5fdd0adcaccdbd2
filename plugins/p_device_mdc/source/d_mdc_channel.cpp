#include "d_mdc_channel.h"

namespace {

const char* const c_direction = "direction";

} // namespace

const QMap<QString, DMdcChannel::EnChannelType> DMdcChannel::c_channelTypesMap{
    {QStringLiteral("direction"), DMdcChannel::CeCtString},
    {QStringLiteral("motorRun"), DMdcChannel::CeCtBool},
    {QStringLiteral("currentPreset"), DMdcChannel::CeCtString},
};

const QStringList DMdcChannel::c_directionCodeToString{
    QStringLiteral("Fastening"),
    QStringLiteral("Loosening"),
    QLatin1String(""),
    QLatin1String(""),
};

DMdcChannel::DMdcChannel(QObject* parent)
    : DObject(QStringLiteral("DMdcChannel"), parent)
{}

DMdcChannel::~DMdcChannel() = default;

QSharedPointer<DMdcChannel> DMdcChannel::create(const QVariantMap& description)
{
    if (description.isEmpty())
        return {};
    QSharedPointer<DMdcChannel> channel(new DMdcChannel(nullptr));
    channel->setId(description.value(QStringLiteral("id")).toString());
    channel->setName(description.value(QStringLiteral("name")).toString());
    const QVariant value = description.value(QStringLiteral("value"));
    if (value.userType() != QMetaType::QVariantList)
        return channel;
    const QVariantList elements = value.toList();
    for (const QVariant& element : elements) {
        if (element.userType() != QMetaType::QVariantMap)
            continue;
        const QVariantMap attribute = element.toMap();
        const QString key = attribute.value(QStringLiteral("id")).toString();
        channel->m_attributes.insert(key, attribute.value(QStringLiteral("value")));
        if (key == QLatin1String("type"))
            channel->setType(c_channelTypesMap.value(channel->id(), CeCtUnknown));
    }
    return channel;
}

QString DMdcChannel::id() const
{
    return m_id;
}

void DMdcChannel::setId(const QString& id)
{
    if (m_id == id)
        return;
    m_id = id;
    Q_EMIT idChanged();
}

QString DMdcChannel::name() const
{
    return m_name;
}

void DMdcChannel::setName(const QString& name)
{
    if (m_name == name)
        return;
    m_name = name;
    Q_EMIT nameChanged();
}

QString DMdcChannel::label() const
{
    return m_label;
}

void DMdcChannel::setLabel(const QString& label)
{
    if (m_label == label)
        return;
    m_label = label;
    Q_EMIT labelChanged();
}

QVariant DMdcChannel::value() const
{
    return m_value;
}

void DMdcChannel::setValue(const QVariant& value)
{
    if (!value.canConvert(QMetaType::QVariantList))
        return;
    const QVariantList values = value.toList();
    if (values.size() != 1)
        return;
    QVariant shown = values.constFirst();
    if (m_id == QLatin1String(c_direction))
        shown = c_directionCodeToString.value(shown.toInt(), QLatin1String(""));
    if (shown == m_value)
        return;
    m_value = shown;
    Q_EMIT valueChanged();
}

DMdcChannel::EnChannelType DMdcChannel::type() const
{
    return m_type;
}

void DMdcChannel::setType(EnChannelType type)
{
    if (m_type == type)
        return;
    m_type = type;
    Q_EMIT typeChanged();
}

QMap<QString, QVariant> DMdcChannel::attributes() const
{
    return m_attributes;
}
