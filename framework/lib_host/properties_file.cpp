#include <lib_host/properties_file.h>

#include <lib_host/file_lock.h>
#include <lib_host/file_replacement.h>
#include <lib_utilities/plain_file.h>

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <cmath>
#include <limits>

namespace {

const QString c_version = QStringLiteral("version");
const QString c_objects = QStringLiteral("objects");
const QString c_origins = QStringLiteral("origins");
constexpr int c_formatVersion = 1;
// Milliseconds. Whoever has the lock needs it for one writing, which a busy disk may draw out.
constexpr int c_lockTime = 5000;
// Bytes. The properties of a thousand objects are far below.
constexpr qint64 c_propertiesLimit = 16 << 20;

QVariant numberFromJson(const QJsonValue& value)
{
    const double number = value.toDouble();
    constexpr double c_exactLimit = 9007199254740992.0; // 2^53: beyond, a double skips whole numbers
    if (std::trunc(number) != number || std::fabs(number) > c_exactLimit)
        return number;
    if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max())
        return static_cast<qlonglong>(number);
    return static_cast<int>(number);
}

QVariantMap mapFromJson(const QJsonObject& object);

QVariant fromJson(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Double:
        return numberFromJson(value);
    case QJsonValue::Array: {
        QVariantList list;
        const QJsonArray array = value.toArray();
        for (const QJsonValue& element : array)
            list.append(fromJson(element));
        return list;
    }
    case QJsonValue::Object:
        return mapFromJson(value.toObject());
    default:
        return value.toVariant();
    }
}

QVariantMap mapFromJson(const QJsonObject& object)
{
    QVariantMap map;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it)
        map.insert(it.key(), fromJson(it.value()));
    return map;
}

bool parse(const QByteArray& bytes, DPropertiesFile::Objects& objects, QString& why)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        why = QStringLiteral("%1 at byte %2").arg(parseError.errorString()).arg(parseError.offset);
        return false;
    }
    const QJsonObject root = document.object();
    if (root.value(c_version).toInt(0) != c_formatVersion || !root.value(c_objects).isObject()) {
        why = QStringLiteral("an object with \"version\": %1 and \"objects\" is needed").arg(c_formatVersion);
        return false;
    }
    const QJsonObject list = root.value(c_objects).toObject();
    const QJsonObject origins = root.value(c_origins).toObject();
    for (auto it = list.constBegin(); it != list.constEnd(); ++it) {
        const QUuid uuid = QUuid::fromString(it.key());
        if (uuid.isNull() || !it.value().isObject()) {
            why = QStringLiteral("\"%1\" is no object identity with an object of values").arg(it.key());
            return false;
        }
        const QVariantMap values = mapFromJson(it.value().toObject());
        const QJsonObject known = origins.value(it.key()).toObject();
        QMap<QString, DPropertiesFile::Entry>& entries = objects[uuid];
        for (auto value = values.cbegin(); value != values.cend(); ++value)
            entries.insert(value.key(), {*value, known.value(value.key()).toString()});
    }
    return true;
}

bool fail(QString* error, const QString& text)
{
    if (error != nullptr)
        *error = text;
    return false;
}

void merge(DPropertiesFile::Objects& into, const DPropertiesFile::Objects& changes)
{
    for (auto object = changes.cbegin(); object != changes.cend(); ++object) {
        QMap<QString, DPropertiesFile::Entry>& entries = into[object.key()];
        for (auto it = object->cbegin(); it != object->cend(); ++it) {
            if (it->value.isValid())
                entries.insert(it.key(), *it);
            else
                entries.remove(it.key());
        }
    }
}

QByteArray textOf(const DPropertiesFile::Objects& objects)
{
    QJsonObject list;
    QJsonObject origins;
    for (auto object = objects.cbegin(); object != objects.cend(); ++object) {
        QJsonObject values;
        QJsonObject known;
        for (auto it = object->cbegin(); it != object->cend(); ++it) {
            values.insert(it.key(), QJsonValue::fromVariant(it->value));
            if (!it->origin.isEmpty())
                known.insert(it.key(), it->origin);
        }
        if (!values.isEmpty())
            list.insert(object.key().toString(), values);
        if (!known.isEmpty())
            origins.insert(object.key().toString(), known);
    }
    QJsonObject root{{c_version, c_formatVersion}, {c_objects, list}};
    if (!origins.isEmpty())
        root.insert(c_origins, origins);
    return QJsonDocument(root).toJson();
}

} // namespace

bool DPropertiesFile::open(const QString& path, QString* error)
{
    m_isOpen = true;
    m_path = path;
    m_objects.clear();
    m_changes.clear();
    return read(&m_objects, error);
}

bool DPropertiesFile::read(Objects* objects, QString* error) const
{
    const QString elsewhere = QStringLiteral(", or keep persistent properties in another file");
    QString why;
    QByteArray bytes;
    // Not through a link either: it would be written where that leads.
    const bool isFree = isFreeForFile(m_path, &why);
    if (isFree && !m_path.isEmpty() && !QFileInfo::exists(m_path))
        return true;
    if (!isFree || !readInputFile(m_path, c_propertiesLimit, &bytes, &why))
        return fail(error, QStringLiteral("%1: cannot be read (%2): it is left as it is; make it readable "
                                          "for this user%3")
                               .arg(m_path, why, elsewhere));
    Objects found;
    parse(bytes, found, why);
    if (!why.isEmpty())
        return fail(error, QStringLiteral("%1: is no properties file (%2): it is left as it is and nothing "
                                          "is saved; repair it or move it away%3")
                               .arg(m_path, why, elsewhere));
    *objects = found;
    return true;
}

QMap<QString, DPropertiesFile::Entry> DPropertiesFile::entries(const QUuid& objectUuid) const
{
    Objects objects{{objectUuid, m_objects.value(objectUuid)}};
    merge(objects, {{objectUuid, m_changes.value(objectUuid)}});
    return objects.value(objectUuid);
}

QVariantMap DPropertiesFile::values(const QUuid& objectUuid) const
{
    QVariantMap values;
    const QMap<QString, Entry> all = entries(objectUuid);
    for (auto it = all.cbegin(); it != all.cend(); ++it)
        values.insert(it.key(), it->value);
    return values;
}

QString DPropertiesFile::origin(const QUuid& objectUuid, const QString& name) const
{
    return entries(objectUuid).value(name).origin;
}

void DPropertiesFile::set(const QUuid& objectUuid, const QString& name, const QVariant& value,
                          const QString& origin)
{
    // Even a value that was read: another program may have saved another one since.
    m_changes[objectUuid].insert(name, {value, origin});
}

QVariant DPropertiesFile::drop(const QUuid& objectUuid, const QString& name)
{
    const auto changes = m_changes.find(objectUuid);
    if (changes != m_changes.end()) {
        changes->remove(name);
        if (changes->isEmpty())
            m_changes.erase(changes);
    }
    return m_objects.value(objectUuid).value(name).value;
}

bool DPropertiesFile::save(QString* error)
{
    DFileFailure failure;
    const auto cannotBeWritten = [&] {
        return fail(error, QStringLiteral("%1: cannot be written (%2): %3, or keep persistent properties in "
                                          "another file")
                               .arg(m_path, failure.cause, failure.remedy));
    };
    Objects objects;
    // Beside what is no file, or none of this kind, nothing is made.
    if (!read(&objects, error))
        return false;
    DFileLock lock(m_path);
    if (!lock.lock(c_lockTime, &failure))
        return cannotBeWritten();
    // Another program may have saved up to now, and none does until this one has.
    objects.clear();
    if (!read(&objects, error))
        return false;
    const QByteArray before = textOf(objects);
    merge(objects, m_changes);
    const QByteArray bytes = textOf(objects);
    const bool isSaved = bytes == before && QFileInfo::exists(m_path);
    if (!isSaved && !replaceFile(m_path, bytes, &failure))
        return cannotBeWritten();
    m_objects = objects;
    m_changes.clear();
    return true;
}
