#include <lib_host/objects_check.h>

#include <QJsonObject>

#include <algorithm>
#include <utility>

namespace {

const QString c_id = QStringLiteral("id");
const QString c_name = QStringLiteral("name");
const QString c_plugin = QStringLiteral("plugin");
const QString c_driver = QStringLiteral("driver");
const QString c_reference = QStringLiteral("reference");
const QString c_configuration = QStringLiteral("configuration");

struct Candidate
{
    DObjectEntry entry;
    QString title; // how messages name it
    bool good = true;
};

class ObjectsCheck
{
public:
    explicit ObjectsCheck(const QHash<QUuid, DKindTraits>& kinds)
        : m_kinds(kinds)
    {}

    DCheckedObjects check(const QJsonArray& objects);

private:
    void complain(Candidate& candidate, const QString& key, const QString& text);
    const DKindTraits* kindOf(const Candidate& candidate) const;
    void checkIdentity(Candidate& candidate, const QString& idText);
    void checkKind(Candidate& candidate, const QString& kindText);
    void checkValues(Candidate& candidate, const QJsonObject& object);
    void checkDriver(Candidate& candidate, const QString& driverText);

    const QHash<QUuid, DKindTraits>& m_kinds;
    QList<Candidate> m_candidates;
    QStringList m_errors;
};

DCheckedObjects ObjectsCheck::check(const QJsonArray& objects)
{
    for (int i = 0; i < objects.size(); ++i) {
        const QJsonObject object = objects.at(i).toObject();
        const QString idText = object.value(c_id).toString();
        Candidate candidate;
        candidate.entry.uuid = QUuid::fromString(idText);
        candidate.entry.name = object.value(c_name).toString();
        candidate.title = QStringLiteral("objects[%1] %2")
                              .arg(i)
                              .arg(candidate.entry.name.isEmpty() ? idText : candidate.entry.name)
                              .trimmed();
        checkIdentity(candidate, idText);
        checkKind(candidate, object.value(c_plugin).toString());
        checkValues(candidate, object);
        m_candidates.append(candidate);
    }
    // A driver may stand behind its device.
    for (int i = 0; i < objects.size(); ++i) {
        const QJsonValue driver = objects.at(i).toObject().value(c_driver);
        if (!driver.isUndefined())
            checkDriver(m_candidates[i], driver.toString());
    }
    DCheckedObjects checked{{}, m_errors};
    for (const Candidate& candidate : std::as_const(m_candidates)) {
        if (candidate.good)
            checked.good.append(candidate.entry);
    }
    return checked;
}

void ObjectsCheck::complain(Candidate& candidate, const QString& key, const QString& text)
{
    candidate.good = false;
    m_errors.append(QStringLiteral("%1: \"%2\" %3").arg(candidate.title, key, text));
}

const DKindTraits* ObjectsCheck::kindOf(const Candidate& candidate) const
{
    const auto kind = m_kinds.constFind(candidate.entry.kind);
    return kind == m_kinds.cend() ? nullptr : &kind.value();
}

void ObjectsCheck::checkIdentity(Candidate& candidate, const QString& idText)
{
    const DObjectEntry& entry = candidate.entry;
    if (entry.uuid.isNull())
        complain(candidate, c_id, QStringLiteral("must be the UUID of the object, not \"%1\"").arg(idText));
    if (entry.name.isEmpty())
        complain(candidate, c_name, QStringLiteral("must be a text that is not empty"));
    // Whoever means an object says one or the other.
    if (!QUuid::fromString(entry.name).isNull())
        complain(candidate, c_name, QStringLiteral("must be no UUID: those are identities"));
    for (const Candidate& other : std::as_const(m_candidates)) {
        if (!entry.uuid.isNull() && other.entry.uuid == entry.uuid)
            complain(candidate, c_id, QStringLiteral("is the same as that of %1").arg(other.title));
        if (!entry.name.isEmpty() && other.entry.name == entry.name)
            complain(candidate, c_name, QStringLiteral("is the same as that of %1").arg(other.title));
    }
}

void ObjectsCheck::checkKind(Candidate& candidate, const QString& kindText)
{
    candidate.entry.kind = QUuid::fromString(kindText);
    const DKindTraits* const kind = kindOf(candidate);
    if (kind == nullptr) {
        complain(candidate, c_plugin,
                 QStringLiteral("must be the UUID of a plug-in that is loaded, not \"%1\"").arg(kindText));
        return;
    }
    if (!kind->unique)
        return;
    const auto same =
        std::find_if(m_candidates.cbegin(), m_candidates.cend(), [&candidate](const Candidate& other) {
            return other.entry.kind == candidate.entry.kind;
        });
    if (same != m_candidates.cend())
        complain(candidate, c_plugin,
                 QStringLiteral("allows one object only, and %1 is one").arg(same->title));
}

void ObjectsCheck::checkValues(Candidate& candidate, const QJsonObject& object)
{
    const QJsonValue reference = object.value(c_reference);
    if (!reference.isUndefined() && !reference.isString())
        complain(candidate, c_reference, QStringLiteral("must be a text"));
    const QJsonValue configuration = object.value(c_configuration);
    if (!configuration.isUndefined() && !configuration.isObject())
        complain(candidate, c_configuration, QStringLiteral("must be an object"));
}

void ObjectsCheck::checkDriver(Candidate& candidate, const QString& driverText)
{
    candidate.entry.driver = QUuid::fromString(driverText);
    const auto driver =
        std::find_if(m_candidates.cbegin(), m_candidates.cend(), [&candidate](const Candidate& other) {
            return other.entry.uuid == candidate.entry.driver;
        });
    if (candidate.entry.driver.isNull() || driver == m_candidates.cend()) {
        complain(candidate, c_driver,
                 QStringLiteral("must be the UUID of another object, not \"%1\"").arg(driverText));
        return;
    }
    const DKindTraits* const driverKind = kindOf(*driver);
    const DKindTraits* const kind = kindOf(candidate);
    if (driverKind == nullptr || kind == nullptr)
        return; // told already
    if (driverKind->type != IPlugin::CeTypeDriver)
        complain(candidate, c_driver, QStringLiteral("must be a driver, which %1 is not").arg(driver->title));
    else if (!kind->compatible.isEmpty() && !kind->compatible.contains(driver->entry.kind))
        complain(candidate, c_driver,
                 QStringLiteral("cannot be %1: %2 does not work with %3")
                     .arg(driver->title, kind->name, driverKind->name));
}

} // namespace

DCheckedObjects checkObjects(const QJsonArray& objects, const QHash<QUuid, DKindTraits>& kinds)
{
    return ObjectsCheck(kinds).check(objects);
}
