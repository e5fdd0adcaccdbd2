#include <lib_host/properties_file.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QSaveFile>

#include <cmath>
#include <limits>

namespace {

const QString c_version = QStringLiteral("version");
const QString c_objects = QStringLiteral("objects");
constexpr int c_formatVersion = 1;

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

bool parse(const QByteArray& bytes, QMap<QUuid, QVariantMap>& objects, QString& why)
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
    for (auto it = list.constBegin(); it != list.constEnd(); ++it) {
        const QUuid uuid = QUuid::fromString(it.key());
        if (uuid.isNull() || !it.value().isObject()) {
            why = QStringLiteral("\"%1\" is no object identity with an object of values").arg(it.key());
            return false;
        }
        objects.insert(uuid, mapFromJson(it.value().toObject()));
    }
    return true;
}

bool fail(QString* error, const QString& text)
{
    if (error != nullptr)
        *error = text;
    return false;
}

} // namespace

bool DPropertiesFile::open(const QString& path, QString* error)
{
    m_path.clear();
    m_refusal.clear();
    m_objects.clear();
    m_dirty = false;
    QFile file(path);
    if (!path.isEmpty() && !file.exists()) {
        m_path = path;
        return true;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        m_refusal = QStringLiteral("%1: cannot be read (%2)").arg(path, file.errorString());
        return fail(error, m_refusal);
    }
    QString why;
    QMap<QUuid, QVariantMap> objects;
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        why = file.errorString();
    else
        parse(bytes, objects, why);
    if (!why.isEmpty()) {
        m_refusal = QStringLiteral("%1: is no properties file (%2); it is left as it is and nothing is saved")
                        .arg(path, why);
        return fail(error, m_refusal);
    }
    m_objects = objects;
    m_path = path;
    return true;
}

QVariantMap DPropertiesFile::values(const QUuid& objectUuid) const
{
    return m_objects.value(objectUuid);
}

void DPropertiesFile::set(const QUuid& objectUuid, const QString& name, const QVariant& value)
{
    QVariantMap& values = m_objects[objectUuid];
    if (!value.isValid()) {
        m_dirty = values.remove(name) > 0 || m_dirty;
        return;
    }
    const auto it = values.constFind(name);
    if (it != values.cend() && QJsonValue::fromVariant(it.value()) == QJsonValue::fromVariant(value))
        return;
    values.insert(name, value);
    m_dirty = true;
}

bool DPropertiesFile::save(QString* error)
{
    if (!isOpen())
        return fail(error, m_refusal);
    QJsonObject objects;
    for (auto it = m_objects.cbegin(); it != m_objects.cend(); ++it) {
        if (!it.value().isEmpty())
            objects.insert(it.key().toString(), QJsonObject::fromVariantMap(it.value()));
    }
    const QByteArray bytes =
        QJsonDocument(QJsonObject{{c_version, c_formatVersion}, {c_objects, objects}}).toJson();

    // QSaveFile's commit alone does not notice a full disk: it has replaced a good file by the part
    // that fitted. So nothing is committed that was not flushed without an error.
    // A device or a pipe would be replaced by a file: nobody can use it any more then.
    const QFileInfo existing(m_path);
    if (existing.exists() && !existing.isFile())
        return fail(error, QStringLiteral("%1: cannot be written (it is no file)").arg(m_path));
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly))
        return fail(error, QStringLiteral("%1: cannot be written (%2)").arg(m_path, file.errorString()));
    const bool written =
        file.write(bytes) == bytes.size() && file.flush() && file.error() == QFileDevice::NoError;
    if (!written) {
        const QString why = file.errorString();
        file.cancelWriting();
        return fail(error, QStringLiteral("%1: cannot be written (%2)").arg(m_path, why));
    }
    if (!file.commit())
        return fail(error, QStringLiteral("%1: cannot be replaced (%2)").arg(m_path, file.errorString()));
    QFile check(m_path);
    if (!check.open(QIODevice::ReadOnly) || check.readAll() != bytes)
        return fail(error, QStringLiteral("%1: does not hold what was written to it").arg(m_path));
    m_dirty = false;
    return true;
}
