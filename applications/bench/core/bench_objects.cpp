#include "applications/bench/core/bench_objects.h"

#include <QJsonArray>

namespace {

const QString c_objects = QStringLiteral("objects");
const QString c_id = QStringLiteral("id");
const QString c_configuration = QStringLiteral("configuration");

QUuid uuidOf(const QJsonObject& object, const QString& key)
{
    return QUuid::fromString(object.value(key).toString());
}

template <class Change>
QJsonObject withChangedObject(const QJsonObject& benchConfiguration, const QUuid& uuid, Change change)
{
    QJsonArray objects = benchConfiguration.value(c_objects).toArray();
    for (int i = 0; i < objects.size(); ++i) {
        QJsonObject object = objects.at(i).toObject();
        if (uuidOf(object, c_id) != uuid)
            continue;
        change(object);
        objects.replace(i, object);
    }
    QJsonObject result = benchConfiguration;
    result.insert(c_objects, objects);
    return result;
}

} // namespace

QList<BenchObject> benchObjects(const QJsonObject& benchConfiguration)
{
    QList<BenchObject> result;
    const QJsonArray objects = benchConfiguration.value(c_objects).toArray();
    for (const QJsonValue& element : objects) {
        const QJsonObject object = element.toObject();
        result.append({uuidOf(object, c_id), object.value(QLatin1String("name")).toString(),
                       uuidOf(object, QStringLiteral("plugin")), uuidOf(object, QStringLiteral("driver")),
                       object.value(QLatin1String("reference")).toString(),
                       object.value(c_configuration).toObject()});
    }
    return result;
}

QJsonObject withConfiguration(const QJsonObject& benchConfiguration, const QUuid& object,
                              const QJsonObject& configuration)
{
    return withChangedObject(benchConfiguration, object, [&configuration](QJsonObject& changed) {
        changed.insert(c_configuration, configuration);
    });
}

QJsonObject withReference(const QJsonObject& benchConfiguration, const QUuid& device,
                          const QString& reference)
{
    return withChangedObject(benchConfiguration, device, [&reference](QJsonObject& object) {
        object.insert(QStringLiteral("reference"), reference);
    });
}
