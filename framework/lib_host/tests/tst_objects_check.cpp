#include <lib_host/objects_check.h>

#include <QHash>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>
#include <QUuid>

namespace {

const QUuid c_screwdriver("{11111111-0000-0000-0000-000000000001}");
const QUuid c_serialLine("{11111111-0000-0000-0000-000000000002}");
const QUuid c_network("{11111111-0000-0000-0000-000000000003}");
const QUuid c_unknownKind("{11111111-0000-0000-0000-000000000009}");
const QUuid c_first("{22222222-0000-0000-0000-000000000001}");
const QUuid c_second("{22222222-0000-0000-0000-000000000002}");
const QUuid c_third("{22222222-0000-0000-0000-000000000003}");

// A device that works over the network only, and of the serial line there is one.
QHash<QUuid, DKindTraits> kinds()
{
    return {{c_screwdriver, {"Screwdriver", IPlugin::CeTypeDevice, false, {c_network}}},
            {c_serialLine, {"Serial line", IPlugin::CeTypeDriver, true, {}}},
            {c_network, {"Network", IPlugin::CeTypeDriver, false, {}}}};
}

QJsonObject object(const QUuid& id, const QString& name, const QUuid& kind)
{
    return {{"id", id.toString()}, {"name", name}, {"plugin", kind.toString()}};
}

QJsonObject with(QJsonObject object, const QString& key, const QJsonValue& value)
{
    object.insert(key, value);
    return object;
}

QJsonObject driven(const QUuid& id, const QString& name, const QUuid& driver)
{
    return with(object(id, name, c_screwdriver), "driver", driver.toString());
}

} // namespace

class tst_ObjectsCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void objects_data();
    void objects();
    void entries();
};

void tst_ObjectsCheck::objects_data()
{
    QTest::addColumn<QJsonArray>("objects");
    QTest::addColumn<QStringList>("errors");
    QTest::addColumn<QStringList>("good");
    const QJsonObject mdc = object(c_first, "mdc", c_screwdriver);
    const QJsonObject link = object(c_second, "link", c_network);

    QTest::newRow("none") << QJsonArray() << QStringList() << QStringList();
    QTest::newRow("two") << QJsonArray{mdc, link} << QStringList() << QStringList{"mdc", "link"};
    QTest::newRow("a driver behind its device")
        << QJsonArray{driven(c_first, "mdc", c_second), link} << QStringList() << QStringList{"mdc", "link"};
    QTest::newRow("reference and configuration")
        << QJsonArray{with(with(mdc, "reference", ""), "configuration", QJsonObject())} << QStringList()
        << QStringList{"mdc"};
    QTest::newRow("no object at all")
        << QJsonArray{7, link}
        << QStringList{"objects[0]: \"id\" must be the UUID of the object, not \"\"",
                       "objects[0]: \"name\" must be a text that is not empty",
                       "objects[0]: \"plugin\" must be the UUID of a plug-in that is loaded, not \"\""}
        << QStringList{"link"};
    QTest::newRow("id is no UUID")
        << QJsonArray{with(mdc, "id", "here")}
        << QStringList{"objects[0] mdc: \"id\" must be the UUID of the object, not \"here\""}
        << QStringList();
    QTest::newRow("no name, so the id names it")
        << QJsonArray{with(mdc, "name", "")}
        << QStringList{"objects[0] " + c_first.toString() + ": \"name\" must be a text that is not empty"}
        << QStringList();
    QTest::newRow("another one's id as name")
        << QJsonArray{object(c_first, c_second.toString(), c_screwdriver), link}
        << QStringList{"objects[0] " + c_second.toString() +
                       ": \"name\" must be no UUID: those are identities"}
        << QStringList{"link"};
    QTest::newRow("a UUID without braces as name")
        << QJsonArray{with(mdc, "name", c_third.toString(QUuid::WithoutBraces))}
        << QStringList{"objects[0] " + c_third.toString(QUuid::WithoutBraces) +
                       ": \"name\" must be no UUID: those are identities"}
        << QStringList();
    QTest::newRow("two that repeat the first one")
        << QJsonArray{mdc, object(c_first, "other", c_screwdriver), object(c_third, "mdc", c_screwdriver)}
        << QStringList{"objects[1] other: \"id\" is the same as that of objects[0] mdc",
                       "objects[2] mdc: \"name\" is the same as that of objects[0] mdc"}
        << QStringList{"mdc"};
    QTest::newRow("two without an id repeat nothing")
        << QJsonArray{with(mdc, "id", ""), with(link, "id", "")}
        << QStringList{"objects[0] mdc: \"id\" must be the UUID of the object, not \"\"",
                       "objects[1] link: \"id\" must be the UUID of the object, not \"\""}
        << QStringList();
    QTest::newRow("unknown kind") << QJsonArray{object(c_first, "mdc", c_unknownKind)}
                                  << QStringList{"objects[0] mdc: \"plugin\" must be the UUID of a plug-in "
                                                 "that is loaded, not \"" +
                                                 c_unknownKind.toString() + "\""}
                                  << QStringList();
    QTest::newRow("three of a kind that allows one")
        << QJsonArray{object(c_first, "a", c_serialLine), object(c_second, "b", c_serialLine),
                      object(c_third, "c", c_serialLine)}
        << QStringList{"objects[1] b: \"plugin\" allows one object only, and objects[0] a is one",
                       "objects[2] c: \"plugin\" allows one object only, and objects[0] a is one"}
        << QStringList{"a"};
    QTest::newRow("reference is a number")
        << QJsonArray{with(mdc, "reference", 1)}
        << QStringList{"objects[0] mdc: \"reference\" must be a text"} << QStringList();
    QTest::newRow("configuration is a list")
        << QJsonArray{with(mdc, "configuration", QJsonArray())}
        << QStringList{"objects[0] mdc: \"configuration\" must be an object"} << QStringList();
    QTest::newRow("driver is no UUID")
        << QJsonArray{with(mdc, "driver", "link"), link}
        << QStringList{"objects[0] mdc: \"driver\" must be the UUID of another object, not \"link\""}
        << QStringList{"link"};
    QTest::newRow("driver is no object")
        << QJsonArray{driven(c_first, "mdc", c_third), link}
        << QStringList{"objects[0] mdc: \"driver\" must be the UUID of another object, not \"" +
                       c_third.toString() + "\""}
        << QStringList{"link"};
    QTest::newRow("driver is a device")
        << QJsonArray{driven(c_first, "mdc", c_third), object(c_third, "other", c_screwdriver)}
        << QStringList{"objects[0] mdc: \"driver\" must be a driver, which objects[1] other is not"}
        << QStringList{"other"};
    QTest::newRow("driver is itself")
        << QJsonArray{driven(c_first, "mdc", c_first)}
        << QStringList{"objects[0] mdc: \"driver\" must be a driver, which objects[0] mdc is not"}
        << QStringList();
    QTest::newRow("driver of another kind")
        << QJsonArray{object(c_second, "line", c_serialLine), driven(c_first, "mdc", c_second)}
        << QStringList{"objects[1] mdc: \"driver\" cannot be objects[0] line: Screwdriver does not work with "
                       "Serial line"}
        << QStringList{"line"};
    QTest::newRow("driver of an unknown kind, which is told once")
        << QJsonArray{object(c_second, "link", c_unknownKind), driven(c_first, "mdc", c_second)}
        << QStringList{"objects[0] link: \"plugin\" must be the UUID of a plug-in that is loaded, not \"" +
                       c_unknownKind.toString() + "\""}
        << QStringList{"mdc"};
}

void tst_ObjectsCheck::objects()
{
    QFETCH(QJsonArray, objects);
    QFETCH(QStringList, errors);
    QFETCH(QStringList, good);
    const DCheckedObjects checked = checkObjects(objects, kinds());
    QCOMPARE(checked.errors, errors);
    QStringList names;
    for (const DObjectEntry& entry : checked.good)
        names.append(entry.name);
    QCOMPARE(names, good);
}

void tst_ObjectsCheck::entries()
{
    const DCheckedObjects checked =
        checkObjects({driven(c_first, "mdc", c_second), object(c_second, "link", c_network)}, kinds());
    QCOMPARE(checked.good.size(), 2);
    const DObjectEntry& device = checked.good.first();
    QCOMPARE(device.uuid, c_first);
    QCOMPARE(device.kind, c_screwdriver);
    QCOMPARE(device.driver, c_second);
    const DObjectEntry& driver = checked.good.last();
    QCOMPARE(driver.uuid, c_second);
    QCOMPARE(driver.kind, c_network);
    QVERIFY(driver.driver.isNull());
}

QTEST_APPLESS_MAIN(tst_ObjectsCheck)
#include "tst_objects_check.moc"
