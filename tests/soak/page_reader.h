#pragma once

#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <QHash>
#include <QSet>
#include <QStringList>

// Reads the status registers of a device again and again as a maintenance page does, through the queue
// of a page's backend.
class PageReader : public DAbstractPluginBackend
{
    Q_OBJECT

public:
    PageReader(const QString& deviceId, const QStringList& channels);

    // Asks for every channel, unless the reading before is still under way.
    void refresh();
    // From now until the reading ends the channel may be told to have this value too.
    void noteValue(const QString& channel, quint16 value);

    bool isIdle() const { return m_open.isEmpty(); }
    qint64 readings() const { return m_readings; }

Q_SIGNALS:
    // Before the channels are asked for; whoever knows their values tells them with noteValue().
    void refreshing();
    void failed();
    void broken(const QString& what);

private:
    void treatmentEnd(int index, bool ok);
    void applyTreatmentReply(int index, const QString& commandName, const QVariantMap& reply) override;

    QStringList m_channels;
    QHash<QString, QSet<quint16>> m_values;
    QSet<int> m_open; // indices asked for and not released
    qint64 m_readings = 0;
};
