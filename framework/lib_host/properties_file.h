#pragma once

#include <QMap>
#include <QString>
#include <QUuid>
#include <QVariantMap>

// The persistent properties of all objects, and the JSON file that keeps them:
//   {"version": 1, "objects": {"{object UUID}": {"name": value, …}, …},
//    "origins": {"{object UUID}": {"name": "text", …}, …}}
// Whole numbers come back as int, or as qlonglong when they do not fit. "origins" says of what a value is,
// where that was known when it was set; a file without it is as good a file.
//
// Only what was set here is ever written, into what the file holds at that moment: other programs save in
// the same file.
class DPropertiesFile
{
public:
    struct Entry
    {
        QVariant value; // invalid: a name to be removed
        QString origin; // empty: not known
    };
    using Objects = QMap<QUuid, QMap<QString, Entry>>;

    // Reads the file; a missing one is an empty one. False with `error` when it is there and cannot be read
    // or understood: nothing is known of it then, and it is not written as long as this is so.
    bool open(const QString& path, QString* error);
    // open() was called, whatever it said.
    bool isOpen() const { return m_isOpen; }

    // As they were last read, and what was set since.
    QVariantMap values(const QUuid& objectUuid) const;
    QString origin(const QUuid& objectUuid, const QString& name) const;
    // An invalid value removes the name. What the file says of the origin of a former value goes.
    void set(const QUuid& objectUuid, const QString& name, const QVariant& value, const QString& origin);
    // Forgets what was set and not saved; returns what the file held when it was last read, an invalid value
    // when it did not hold the name.
    QVariant drop(const QUuid& objectUuid, const QString& name);
    // Something was set that was not saved yet.
    bool isDirty() const { return !m_changes.isEmpty(); }
    // Once it has returned true, what was set is on the disk. Else the file is as it was, and `error` names
    // it, the cause and what to do; what was set may be saved later.
    bool save(QString* error);

private:
    bool read(Objects* objects, QString* error) const;
    QMap<QString, Entry> entries(const QUuid& objectUuid) const;

    bool m_isOpen = false;
    QString m_path;
    Objects m_objects;
    // What was set and not saved.
    Objects m_changes;
};
