#include <lib_host/property_saver.h>

#include <lib_host/run_queue.h>

#include <QDebug>

#include <utility>

DPropertySaver::DPropertySaver(QObject& host, DRunQueue& queue, FailureHandler onFailure, DropHandler onDrop)
    : m_host(host)
    , m_queue(queue)
    , m_onFailure(std::move(onFailure))
    , m_onDrop(std::move(onDrop))
{}

void DPropertySaver::change(const QUuid& objectUuid, const QString& name, const QVariant& value)
{
    if (!m_file.isOpen())
        return;
    m_file.set(objectUuid, name, value, m_origins.value(objectUuid));
    if (m_isQueued)
        return;
    m_isQueued = true;
    m_queue.add(&m_host, [this] { save(); });
}

void DPropertySaver::save()
{
    m_isQueued = false;
    if (!m_file.isDirty())
        return;
    QString error;
    if (m_file.save(&error))
        return;
    qCritical().noquote() << "persistent properties are not saved:" << error;
    m_onFailure(error);
}

bool DPropertySaver::saveOrDrop(const QList<DPropertyName>& changed, QString* error)
{
    if (!m_file.isDirty() || m_file.save(error))
        return true;
    for (const DPropertyName& property : changed)
        m_onDrop(property, m_file.drop(property.objectUuid, property.name));
    return false;
}
