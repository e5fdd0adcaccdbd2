#include "tests/soak/page_reader.h"

PageReader::PageReader(const QString& deviceId, const QStringList& channels)
    : DAbstractPluginBackend(QStringLiteral("Soak"))
    , m_channels(channels)
{
    connect(this, &DAbstractPluginBackend::treatmentReleased, this,
            [this](int index, const QString& /*commandName*/, bool ok) { treatmentEnd(index, ok); });
    setObjectId(deviceId);
    componentComplete();
}

void PageReader::refresh()
{
    if (!isIdle())
        return;
    m_values.clear();
    Q_EMIT refreshing();
    for (int index = 0; index < m_channels.size(); ++index) {
        m_open.insert(index);
        if (!queueTreatment(index, QStringLiteral("getRegister"),
                            {{QStringLiteral("channel"), m_channels.at(index)}})) {
            m_open.remove(index);
            Q_EMIT broken(QStringLiteral("the page's queue is full"));
        }
    }
}

void PageReader::noteValue(const QString& channel, quint16 value)
{
    m_values[channel].insert(value);
}

void PageReader::applyTreatmentReply(int index, const QString& /*commandName*/, const QVariantMap& reply)
{
    const QString channel = m_channels.value(index);
    const QVariantList values = reply.value(QStringLiteral("values")).toList();
    ++m_readings;
    if (values.size() != 1 ||
        !m_values.value(channel).contains(static_cast<quint16>(values.first().toUInt())))
        Q_EMIT broken(
            QStringLiteral("\"%1\" was read as a value that the controller did not have").arg(channel));
}

void PageReader::treatmentEnd(int index, bool ok)
{
    if (!m_open.remove(index))
        Q_EMIT broken(QStringLiteral("the page's reading %1 has ended more than once").arg(index));
    if (!ok)
        Q_EMIT failed();
}
