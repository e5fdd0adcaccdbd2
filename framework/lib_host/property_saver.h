#pragma once

#include <lib_host/properties_file.h>

#include <functional>

class DRunQueue;
class QObject;

// Saves the persistent properties of instances when they change: once for all that change until the
// event loop has its turn.
class DPropertySaver
{
public:
    using FailureHandler = std::function<void(const QString& error)>;

    // `host` is who saves; both outlive this.
    DPropertySaver(QObject& host, DRunQueue& queue, FailureHandler onFailure);
    Q_DISABLE_COPY(DPropertySaver)

    // As DPropertiesFile::open(). Without a file nothing is kept.
    bool open(const QString& path, QString* error) { return m_file.open(path, error); }
    QVariantMap values(const QUuid& objectUuid) const { return m_file.values(objectUuid); }
    void change(const QUuid& objectUuid, const QString& name, const QVariant& value);
    // At once; does nothing when all is saved.
    void save();

private:
    QObject& m_host;
    DRunQueue& m_queue;
    const FailureHandler m_onFailure;
    DPropertiesFile m_file;
    bool m_isQueued = false;
};
