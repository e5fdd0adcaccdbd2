#pragma once

#include <QMap>
#include <QString>
#include <QUuid>
#include <QVariantMap>

// The persistent properties of all objects, and the JSON file that keeps them:
//   {"version": 1, "objects": {"{object UUID}": {"name": value, …}, …}}
// Whole numbers come back as int, or as qlonglong when they do not fit.
class DPropertiesFile
{
public:
    // False with `error` when the file is there and cannot be understood; it is then never written.
    // A missing file is an empty one.
    bool open(const QString& path, QString* error);
    bool isOpen() const { return !m_path.isEmpty(); }
    // Why open() failed; empty otherwise.
    QString refusal() const { return m_refusal; }

    QVariantMap values(const QUuid& objectUuid) const;
    // An invalid value removes the name.
    void set(const QUuid& objectUuid, const QString& name, const QVariant& value);
    // Something was set that the file does not hold yet.
    bool isDirty() const { return m_dirty; }
    // Replaces the file, or leaves it as it was and says why.
    bool save(QString* error);

private:
    QString m_path;
    QString m_refusal;
    QMap<QUuid, QVariantMap> m_objects;
    bool m_dirty = false;
};
