#pragma once

#include <lib_host/properties_file.h>

#include <QList>

#include <functional>

class DRunQueue;
class QObject;

// A property of an object.
struct DPropertyName
{
    QUuid objectUuid;
    QString name;
};

// Saves the persistent properties of instances when they change: what an order sets before the order goes on,
// anything else once for all that change until the event loop has its turn.
class DPropertySaver
{
public:
    using FailureHandler = std::function<void(const QString& error)>;
    using DropHandler = std::function<void(const DPropertyName& property, const QVariant& saved)>;

    // `host` is who saves; both outlive this. `onFailure` hears of what no order is told of, `onDrop` of each
    // property that has the value again that was saved last.
    DPropertySaver(QObject& host, DRunQueue& queue, FailureHandler onFailure, DropHandler onDrop);
    Q_DISABLE_COPY(DPropertySaver)

    // As DPropertiesFile::open(). Without a file nothing is kept.
    bool open(const QString& path, QString* error) { return m_file.open(path, error); }
    QVariantMap values(const QUuid& objectUuid) const { return m_file.values(objectUuid); }
    // Of what the values are that this object sets as persistent from now on; empty when nobody knows.
    void setOrigin(const QUuid& objectUuid, const QString& origin) { m_origins[objectUuid] = origin; }
    QString originOf(const DPropertyName& property) const
    {
        return m_file.origin(property.objectUuid, property.name);
    }
    void change(const QUuid& objectUuid, const QString& name, const QVariant& value);
    // At once; does nothing when all is saved.
    void save();
    // The same for who has changed these properties and goes on only when they are saved. False with `error`:
    // they are dropped.
    bool saveOrDrop(const QList<DPropertyName>& changed, QString* error);

private:
    QObject& m_host;
    DRunQueue& m_queue;
    const FailureHandler m_onFailure;
    const DropHandler m_onDrop;
    DPropertiesFile m_file;
    QMap<QUuid, QString> m_origins;
    bool m_isQueued = false;
};
