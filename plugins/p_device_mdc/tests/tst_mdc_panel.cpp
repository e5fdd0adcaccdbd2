#include "tests/support/fake_host.h"
#include "tests/support/live_objects.h"
#include "tests/support/log_capture.h"
#include "tests/support/typed_text.h"

#include "be_maintenance_plugin.h"
#include "d_mdc_channel.h"
#include "olm_d_mdc_channel.h"
#include "p_device_mdc.h"

#include <QAbstractItemModel>
#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QEvent>
#include <QHash>
#include <QJSEngine>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QMap>
#include <QMetaEnum>
#include <QMetaProperty>
#include <QPointer>
#include <QQmlEngine>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QStringListModel>
#include <QTest>
#include <QUuid>
#include <QWeakPointer>

namespace {

const QString c_backendSource = QStringLiteral("plugins/p_device_mdc/source/be_maintenance_plugin");

QVariantMap description(const QString& id, const QVariantList& values)
{
    return {{"id", id}, {"name", "The " + id}, {"value", values}};
}

QVariantMap entry(const QString& id, const QVariant& value)
{
    return {{"id", id}, {"value", value}};
}

// A page's backend in a running host, complete and attached, unless told otherwise.
class Page
{
public:
    explicit Page(const QJsonValue& channels)
        : device(*host.add(std::make_unique<PDeviceMdc>(QUuid::createUuid())))
    {
        device.setInPluginConfig("other", 1);
        if (!channels.isUndefined())
            device.setInPluginConfig("channels", channels);
        backend.setObjectId(device.objectUuid().toString());
        backend.setReference("MDC-7");
    }
    void complete()
    {
        backend.classBegin();
        backend.componentComplete();
    }
    OLM_DMdcChannel& model() { return *backend.statusChannelsModel(); }
    QStringList rows()
    {
        QStringList ids;
        for (int i = 0; i < model().length(); ++i)
            ids.append(backend.getChannelAt(i)->id());
        return ids;
    }

    FakeHost host;
    DAbstractPlugin& device;
    BeMaintenanceDeviceMdc backend;
};

QJsonArray statusChannels(const QStringList& ids)
{
    QVariantList channels;
    for (const QString& id : ids)
        channels.append(description(id, {entry("category", "information"), entry("type", "x")}));
    return QJsonArray::fromVariantList(channels);
}

const char* const c_getInfo = "getInfo {reference=QString:MDC-7}";

} // namespace

class TestMdcPanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void channelMetaObject();
    void channelSetters();
    void channelCreate_data();
    void channelCreate();
    void channelOwnership();
    void channelValues_data();
    void channelValues();
    void channelValueEmitsOnce();
    void modelMetaObject();
    void modelRows();
    void modelSharesOwnership();
    void modelItemsStayOutOfTheGarbage();
    void backendMetaObject();
    void backendSetters();
    void backendInitialises_data();
    void backendInitialises();
    void backendWithoutConfiguration();
    void backendOtherChannelsAreNoRows();
    void backendKeepsTheLatestOfOtherChannels();
    void backendResets();
    void backendPolls();
    void backendAppliesReplies();
    void backendLogsMissingChannels();
    void backendRunsPageCommands_data();
    void backendRunsPageCommands();
    void backendToggles();
    void backendRetriesATap();
    void backendTakesInformation();
};

void TestMdcPanel::channelMetaObject()
{
    const QMetaObject& meta = DMdcChannel::staticMetaObject;
    QCOMPARE(meta.superClass(), &DObject::staticMetaObject);
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        QVERIFY(property.isFinal() && !property.isWritable());
        properties.append(QString("%1 %2 %3")
                              .arg(property.typeName(), property.name(),
                                   QString(property.notifySignal().methodSignature())));
    }
    QCOMPARE(properties, (QStringList{"QString id idChanged()", "QString name nameChanged()",
                                      "QString label labelChanged()", "QVariant value valueChanged()",
                                      "EnChannelType type typeChanged()"}));
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());
    QCOMPARE(methods, (QStringList{"idChanged()", "nameChanged()", "labelChanged()", "valueChanged()",
                                   "typeChanged()", "sigSwitchChannelValue(QString)"}));
    const QMetaEnum types = meta.enumerator(meta.indexOfEnumerator("EnChannelType"));
    QStringList keys;
    for (int i = 0; i < types.keyCount(); ++i)
        keys.append(QString("%1=%2").arg(types.key(i)).arg(types.value(i)));
    QCOMPARE(keys, (QStringList{"CeCtUnknown=0", "CeCtString=1", "CeCtBool=2", "_CeCtNbr=3"}));

    QCOMPARE(DMdcChannel::c_directionCodeToString, (QStringList{"Fastening", "Loosening", "", ""}));
    QCOMPARE(DMdcChannel::c_channelTypesMap,
             (QMap<QString, DMdcChannel::EnChannelType>{{"direction", DMdcChannel::CeCtString},
                                                        {"motorRun", DMdcChannel::CeCtBool},
                                                        {"currentPreset", DMdcChannel::CeCtString}}));
}

void TestMdcPanel::channelSetters()
{
    QObject parent;
    auto* const channel = new DMdcChannel(&parent);
    QCOMPARE(channel->parent(), &parent);
    QCOMPARE(channel->objectName(), QString("DMdcChannel"));
    QCOMPARE(channel->id() + channel->name() + channel->label(), QString());
    QVERIFY(!channel->value().isValid());
    QCOMPARE(channel->type(), DMdcChannel::CeCtUnknown);
    QVERIFY(channel->attributes().isEmpty());

    QSignalSpy id(channel, &DMdcChannel::idChanged);
    QSignalSpy name(channel, &DMdcChannel::nameChanged);
    QSignalSpy label(channel, &DMdcChannel::labelChanged);
    QSignalSpy type(channel, &DMdcChannel::typeChanged);
    const auto counts = [&] { return QList<int>{id.size(), name.size(), label.size(), type.size()}; };
    channel->setId("");
    channel->setName("");
    channel->setLabel("");
    channel->setType(DMdcChannel::CeCtUnknown);
    QCOMPARE(counts(), (QList<int>{0, 0, 0, 0}));
    for (int times = 0; times < 2; ++times) {
        channel->setId("a");
        channel->setName("b");
        channel->setLabel("c");
        channel->setType(DMdcChannel::CeCtBool);
        QCOMPARE(counts(), (QList<int>{1, 1, 1, 1}));
    }
    QCOMPARE(channel->property("id"), QVariant("a"));
    QCOMPARE(channel->property("name"), QVariant("b"));
    QCOMPARE(channel->property("label"), QVariant("c"));
    QCOMPARE(channel->property("type").toInt(), 2);
}

void TestMdcPanel::channelCreate_data()
{
    QTest::addColumn<QVariantMap>("description");
    QTest::addColumn<QString>("text"); // id|name|type|attributes
    const QVariantMap type = entry("type", "whatever");
    QTest::newRow("empty") << QVariantMap() << "null";
    QTest::newRow("id only") << QVariantMap{{"id", "motorRun"}} << "motorRun||0|{}";
    QTest::newRow("label and value are not taken")
        << QVariantMap{{"id", "a"}, {"name", "b"}, {"label", "c"}, {"value", 5}} << "a|b|0|{}";
    QTest::newRow("motorRun with type")
        << description("motorRun", {type}) << "motorRun|The motorRun|2|{type=QString:whatever}";
    QTest::newRow("motorRun without type")
        << description("motorRun", {entry("register", 5)}) << "motorRun|The motorRun|0|{register=int:5}";
    QTest::newRow("direction") << description("direction", {type})
                               << "direction|The direction|1|{type=QString:whatever}";
    QTest::newRow("currentPreset") << description("currentPreset", {type})
                                   << "currentPreset|The currentPreset|1|{type=QString:whatever}";
    QTest::newRow("other id") << description("alarm", {entry("type", "bool")})
                              << "alarm|The alarm|0|{type=QString:bool}";
    QTest::newRow("no id") << QVariantMap{{"value", QVariantList{type}}} << "||0|{type=QString:whatever}";
    QTest::newRow("repeated attribute")
        << description("x", {entry("a", 1), entry("b", 2), entry("a", 3)}) << "x|The x|0|{a=int:3, b=int:2}";
    QTest::newRow("elements that are no maps")
        << description("x", {5, "type", QVariantList{type}, type}) << "x|The x|0|{type=QString:whatever}";
    QTest::newRow("attribute without value")
        << description("x", {QVariantMap{{"id", "a"}}}) << "x|The x|0|{a=invalid}";
}

void TestMdcPanel::channelCreate()
{
    QFETCH(QVariantMap, description);
    QFETCH(QString, text);
    const QSharedPointer<DMdcChannel> channel = DMdcChannel::create(description);
    const QString found = channel.isNull()
                              ? QString("null")
                              : QString("%1|%2|%3|%4")
                                    .arg(channel->id(), channel->name(), QString::number(channel->type()),
                                         typedText(channel->attributes()));
    QCOMPARE(found, text);
    if (channel.isNull())
        return;
    QVERIFY(channel->parent() == nullptr);
    QVERIFY(!channel->value().isValid());
    QCOMPARE(channel->label(), QString());
}

void TestMdcPanel::channelOwnership()
{
    QSharedPointer<DMdcChannel> channel = DMdcChannel::create({{"id", "direction"}});
    const QPointer<DMdcChannel> watch = channel.data();
    channel.clear();
    QVERIFY2(watch.isNull(), "the pointer owns the channel");
}

void TestMdcPanel::channelValues_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("shown"); // "old" when nothing may change
    const auto one = [](const QVariant& value) { return QVariant(QVariantList{value}); };
    QTest::newRow("number") << "motorRun" << one(7) << "int:7";
    QTest::newRow("zero") << "motorRun" << one(0) << "int:0";
    QTest::newRow("text") << "currentPreset" << one("x") << "QString:x";
    QTest::newRow("text list") << "currentPreset" << QVariant(QStringList{"x"}) << "QString:x";
    QTest::newRow("two") << "motorRun" << QVariant(QVariantList{1, 2}) << "old";
    QTest::newRow("none") << "motorRun" << QVariant(QVariantList()) << "old";
    QTest::newRow("plain text") << "motorRun" << QVariant("1") << "old";
    QTest::newRow("plain number") << "motorRun" << QVariant(1) << "old";
    QTest::newRow("invalid") << "motorRun" << QVariant() << "old";
    QTest::newRow("map") << "motorRun" << QVariant(QVariantMap{{"values", 1}}) << "old";
    QTest::newRow("direction 0") << "direction" << one(0) << "QString:Fastening";
    QTest::newRow("direction 1") << "direction" << one(1) << "QString:Loosening";
    QTest::newRow("direction 2") << "direction" << one(2) << "QString:";
    QTest::newRow("direction 3") << "direction" << one(3) << "QString:";
    QTest::newRow("direction 4") << "direction" << one(4) << "QString:";
    QTest::newRow("direction -1") << "direction" << one(-1) << "QString:";
    QTest::newRow("direction 65535") << "direction" << one(65535) << "QString:";
    QTest::newRow("direction as text") << "direction" << one("1") << "QString:Loosening";
    QTest::newRow("direction, two") << "direction" << QVariant(QVariantList{0, 1}) << "old";
}

void TestMdcPanel::channelValues()
{
    QFETCH(QString, id);
    QFETCH(QVariant, value);
    QFETCH(QString, shown);
    const bool changes = shown != "old";
    for (const bool fresh : {true, false}) {
        DMdcChannel channel;
        if (!fresh)
            channel.setValue(QVariantList{"old"});
        channel.setId(id);
        QSignalSpy changed(&channel, &DMdcChannel::valueChanged);
        channel.setValue(value);
        QCOMPARE(typedText(channel.value()), changes ? shown : QString(fresh ? "invalid" : "QString:old"));
        QCOMPARE(changed.size(), changes ? 1 : 0);
        channel.setValue(value);
        QCOMPARE(changed.size(), changes ? 1 : 0);
    }
}

void TestMdcPanel::channelValueEmitsOnce()
{
    DMdcChannel channel;
    channel.setId("motorRun");
    QSignalSpy changed(&channel, &DMdcChannel::valueChanged);
    for (const int value : {1, 1, 0, 0, 1})
        channel.setValue(QVariantList{value});
    QCOMPARE(changed.size(), 3);
}

void TestMdcPanel::modelMetaObject()
{
    const QMetaObject& meta = OLM_DMdcChannel::staticMetaObject;
    QCOMPARE(QByteArray(meta.property(meta.indexOfProperty("length")).typeName()), QByteArray("int"));
    QCOMPARE(QByteArray(meta.property(meta.indexOfProperty("isEmpty")).typeName()), QByteArray("int"));
    for (const char* const name : {"length", "isEmpty"}) {
        const QMetaProperty property = meta.property(meta.indexOfProperty(name));
        QVERIFY(!property.isWritable());
        QCOMPARE(property.notifySignal().methodSignature(), QByteArray("changed()"));
    }
    QCOMPARE(QByteArray(meta.method(meta.indexOfMethod("header(int)")).typeName()), QByteArray("QVariant"));
    QCOMPARE(QByteArray(meta.method(meta.indexOfMethod("item(int)")).typeName()), QByteArray("QVariant"));
}

void TestMdcPanel::modelRows()
{
    OLM_DMdcChannel model;
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
    QCOMPARE(model.length(), 0);
    QVERIFY(model.isEmpty() != 0);
    QVERIFY(!model.header(0).isValid());
    QVERIFY(!model.item(0).isValid());
    QCOMPARE(model.roleNames().value(256), QByteArray("modelData"));
    const QHash<int, QByteArray> base = QStringListModel().roleNames();
    QCOMPARE(model.roleNames().size(), base.size() + 1);

    QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
    for (const char* const id : {"direction", "motorRun"})
        model.append(DMdcChannel::create({{"id", id}, {"name", id}}));
    QCOMPARE(inserted.size(), 2);
    QCOMPARE(inserted.at(1).at(1).toInt(), 1);
    QCOMPARE(inserted.at(1).at(2).toInt(), 1);
    QCOMPARE(model.length(), 2);
    QCOMPARE(model.isEmpty(), 0);
    QCOMPARE(model.rowCount(model.index(0)), 0);
    for (const int outside : {-1, 2}) {
        QVERIFY(!model.data(model.index(outside), Qt::UserRole).isValid());
        QVERIFY(!model.item(outside).isValid());
        QVERIFY(model.at(outside).isNull());
    }
    QCOMPARE(model.data(model.index(1), 256).value<QObject*>(), model.at(1).data());
    QCOMPARE(model.item(1).value<QObject*>(), model.at(1).data());
    QVERIFY(!model.data(model.index(1), Qt::DisplayRole).isValid());
    QVERIFY(!model.data(model.index(1), 999).isValid());
    QVERIFY(!model.headerData(0, Qt::Vertical).isValid());
    // A role is the property of its name.
    model.at(1)->setProperty("display", "shown");
    QCOMPARE(model.data(model.index(1), Qt::DisplayRole), QVariant("shown"));

    QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    model.clear();
    QCOMPARE(reset.size(), 1);
    QCOMPARE(model.length(), 0);
}

void TestMdcPanel::modelSharesOwnership()
{
    OLM_DMdcChannel model;
    QPointer<DMdcChannel> watch;
    {
        const QSharedPointer<DMdcChannel> channel = DMdcChannel::create({{"id", "a"}});
        watch = channel.data();
        model.append(channel);
    }
    QVERIFY(!watch.isNull());
    model.clear();
    QVERIFY(watch.isNull());
}

void TestMdcPanel::modelItemsStayOutOfTheGarbage()
{
    QQmlEngine engine;
    BeMaintenanceDeviceMdc backend;
    backend.statusChannelsModel()->append(DMdcChannel::create({{"id", "a"}, {"name", "first"}}));
    const QPointer<DMdcChannel> watch = backend.getChannelAt(0).data();
    QQmlEngine::setObjectOwnership(&backend, QQmlEngine::CppOwnership);
    engine.globalObject().setProperty("be", engine.newQObject(&backend));
    QCOMPARE(engine.evaluate("be.statusChannelsModel.item(0).name").toString(), QString("first"));
    engine.globalObject().deleteProperty("be");
    engine.collectGarbage();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!watch.isNull());
    QCOMPARE(watch->name(), QString("first"));
}

void TestMdcPanel::backendMetaObject()
{
    const QMetaObject& meta = BeMaintenanceDeviceMdc::staticMetaObject;
    QCOMPARE(meta.superClass(), &DAbstractPluginBackend::staticMetaObject);
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        QVERIFY(property.isFinal() && !property.isWritable());
        properties.append(QString("%1 %2 %3")
                              .arg(property.typeName(), property.name(),
                                   QString(property.notifySignal().methodSignature())));
    }
    QCOMPARE(properties, (QStringList{"QString connectionPath connectionPathChanged()",
                                      "QString version versionChanged()",
                                      "QVariantList deviceInfo channelsModelChanged()",
                                      "OLM_DMdcChannel* statusChannelsModel channelsModelChanged()"}));
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());
    QCOMPARE(methods,
             (QStringList{"connectionPathChanged()", "versionChanged()", "channelsModelChanged()",
                          "delayingClickedOnChannel(int)", "updateChannelsValue()", "clickedOnChannel(int)",
                          "setLock(bool)", "setProgram(QString)", "setDirection(bool)", "resetBackend()"}));
    QCOMPARE(BeMaintenanceDeviceMdc::c_commandsChannelsIndex,
             (QMap<QString, int>{{"setLock", 100}, {"setProgram", 200}, {"setDirection", 300}}));
}

void TestMdcPanel::backendSetters()
{
    BeMaintenanceDeviceMdc backend;
    QCOMPARE(backend.objectName(), QString("PlgLibDeviceMdc"));
    QSignalSpy path(&backend, &BeMaintenanceDeviceMdc::connectionPathChanged);
    QSignalSpy version(&backend, &BeMaintenanceDeviceMdc::versionChanged);
    QSignalSpy info(&backend, &BeMaintenanceDeviceMdc::channelsModelChanged);
    for (int times = 0; times < 2; ++times) {
        backend.setConnectionPath("p");
        backend.setVersion("v");
        backend.setDeviceInfo({1, "x"});
    }
    QCOMPARE(path.size(), 1);
    QCOMPARE(version.size(), 1);
    QCOMPARE(info.size(), 1);
    QCOMPARE(backend.connectionPath(), QString("p"));
    QCOMPARE(backend.version(), QString("v"));
    QCOMPARE(backend.deviceInfo(), (QVariantList{1, "x"}));
}

void TestMdcPanel::backendInitialises_data()
{
    QTest::addColumn<QJsonValue>("channels");
    QTest::addColumn<QStringList>("rows");
    const auto list = [](const QVariantList& channels) {
        return QJsonValue(QJsonArray::fromVariantList(channels));
    };
    const QVariantMap information = entry("category", "information");
    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << QStringList();
    QTest::newRow("no list") << QJsonValue("x") << QStringList();
    QTest::newRow("a map") << QJsonValue(QJsonObject{{"id", "a"}}) << QStringList();
    QTest::newRow("empty") << list({}) << QStringList();
    QTest::newRow("in order") << QJsonValue(statusChannels({"c", "a", "b"})) << QStringList{"c", "a", "b"};
    QTest::newRow("one information of three")
        << list({description("a", {entry("register", 1), information, entry("type", "x")})})
        << QStringList{"a"};
    QTest::newRow("two informations")
        << list({description("a", {information, information})}) << QStringList{"a", "a"};
    QTest::newRow("no information") << list({description("a", {entry("register", 1)})}) << QStringList();
    QTest::newRow("no value") << list({QVariantMap{{"id", "a"}}, description("b", {information})})
                              << QStringList{"b"};
    QTest::newRow("value is no list")
        << list({QVariantMap{{"id", "a"}, {"value", "information"}}}) << QStringList();
    QTest::newRow("elements that are no maps")
        << list({5, "x", description("b", {"information", 7, information})}) << QStringList{"b"};
    QTest::newRow("another case") << list({description("a", {entry("category", "Information")})})
                                  << QStringList();
}

void TestMdcPanel::backendInitialises()
{
    QFETCH(QJsonValue, channels);
    QFETCH(QStringList, rows);
    Page page(channels);
    const QAbstractItemModelTester tester(&page.model(),
                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy changed(&page.model(), &OLM_DMdcChannel::changed);
    QCOMPARE(page.host.takeBegun(), QStringList());
    page.complete();
    QCOMPARE(page.rows(), rows);
    QCOMPARE(changed.size(), rows.size());
    QCOMPARE(page.host.takeBegun(), QStringList{c_getInfo});
    QVERIFY(page.backend.getChannelAt(-1).isNull());
    QVERIFY(page.backend.getChannelAt(rows.size()).isNull());
}

void TestMdcPanel::backendWithoutConfiguration()
{
    BeMaintenanceDeviceMdc backend;
    FakeHost host;
    const DAbstractPlugin* const device = host.add(std::make_unique<PDeviceMdc>(QUuid::createUuid()));
    backend.setObjectId(device->objectUuid().toString());
    backend.classBegin();
    backend.componentComplete();
    QCOMPARE(backend.statusChannelsModel()->length(), 0);
    QCOMPARE(host.takeBegun(), QStringList());
}

void TestMdcPanel::backendOtherChannelsAreNoRows()
{
    Page page(QJsonArray::fromVariantList({description("a", {entry("register", 1), entry("register", 2)}),
                                           description("b", {entry("register", 3)})}));
    page.complete();
    QCOMPARE(page.model().length(), 0);
    QVERIFY(page.backend.getChannelAt(0).isNull());
}

// They have no rows: what tells of them is that they live.
void TestMdcPanel::backendKeepsTheLatestOfOtherChannels()
{
    const QVariantMap information = entry("category", "information");
    Page page(QJsonArray::fromVariantList(
        {description("a", {entry("register", 1), entry("register", 2), information, entry("register", 3)}),
         description("b", {entry("register", 4)}),
         description("a", {information, entry("register", 5), entry("register", 6)})}));
    const LiveObjects live;
    page.complete();
    // A channel per entry. The rows live, and under each id the one of its last entry.
    QCOMPARE(live.made(), 8);
    QCOMPARE(live.numbersOf<DMdcChannel>(), (QList<int>{2, 4, 5, 7}));
    QCOMPARE(page.rows(), (QStringList{"a", "a"}));
    page.device.setInPluginConfig("channels", QJsonArray());
    page.backend.resetBackend();
    QCOMPARE(live.numbersOf<DMdcChannel>(), QList<int>());
}

void TestMdcPanel::backendResets()
{
    Page page(statusChannels({"direction", "motorRun"}));
    page.complete();
    const QAbstractItemModelTester tester(&page.model(),
                                          QAbstractItemModelTester::FailureReportingMode::QtTest);
    const QWeakPointer<DMdcChannel> before = page.backend.getChannelAt(0);
    page.host.takeBegun();
    page.device.setInPluginConfig("channels", statusChannels({"currentPreset"}));
    QSignalSpy reset(&page.model(), &QAbstractItemModel::modelReset);
    QSignalSpy changed(&page.model(), &OLM_DMdcChannel::changed);
    page.backend.resetBackend();
    QCOMPARE(reset.size(), 1);
    QCOMPARE(changed.size(), 2);
    QCOMPARE(page.rows(), QStringList{"currentPreset"});
    QVERIFY2(before.isNull(), "the channels before are gone");
    QCOMPARE(page.host.takeBegun(), QStringList{c_getInfo});
}

void TestMdcPanel::backendPolls()
{
    Page page(statusChannels({"direction", "motorRun"}));
    page.complete();
    page.host.endFirst(true, {});
    page.host.takeBegun();
    page.backend.updateChannelsValue();
    QVERIFY(page.backend.hasPendingTreatments());
    QTRY_COMPARE(page.host.begun(), QStringList{"getRegister {channel=QString:direction}"});
    page.host.takeBegun();
    page.backend.updateChannelsValue();
    page.host.endFirst(true, {{"values", QVariantList{1}}});
    QCOMPARE(page.backend.getChannelAt(0)->value(), QVariant("Loosening"));
    QTRY_COMPARE(page.host.begun(), QStringList{"getRegister {channel=QString:motorRun}"});
    page.host.takeBegun();
    page.host.endFirst(true, {{"values", QVariantList{0}}});
    QCOMPARE(page.backend.getChannelAt(1)->value(), QVariant(0));
    QVERIFY2(!page.backend.hasPendingTreatments(), "the poll in between has added nothing");
    page.backend.updateChannelsValue();
    QTRY_COMPARE(page.host.begun(), QStringList{"getRegister {channel=QString:direction}"});
    page.host.takeBegun();

    Page empty{QJsonArray()};
    empty.backend.updateChannelsValue();
    QVERIFY(!empty.backend.hasPendingTreatments());
}

void TestMdcPanel::backendAppliesReplies()
{
    Page page(statusChannels({"motorRun"}));
    page.complete();
    const LogCapture log;
    const QSharedPointer<DMdcChannel> channel = page.backend.getChannelAt(0);
    page.backend.applyTreatmentReply(0, "getRegister", {{"values", QVariantList{5}}});
    QCOMPARE(channel->value(), QVariant(5));
    page.backend.applyTreatmentReply(0, "getRegister", {{"values", QVariantList{6, 7}}});
    page.backend.applyTreatmentReply(0, "getRegister", {});
    page.backend.applyTreatmentReply(0, "setLock", {{"values", QVariantList{8}}});
    page.backend.applyTreatmentReply(100, "setLock", {{"doneOk", true}});
    QCOMPARE(channel->value(), QVariant(5));
    QCOMPARE(LogCapture::messages(c_backendSource, &page.backend), QStringList());
}

void TestMdcPanel::backendLogsMissingChannels()
{
    Page page(statusChannels({"motorRun"}));
    page.complete();
    page.model().append({});
    page.host.takeBegun();
    const LogCapture log;
    page.backend.applyTreatmentReply(2, "getRegister", {{"values", QVariantList{5}}});
    page.backend.applyTreatmentReply(-1, "getRegister", {});
    page.backend.clickedOnChannel(7);
    QVERIFY(!page.backend.hasPendingTreatments());
    page.backend.updateChannelsValue();
    QCOMPARE(LogCapture::messages(c_backendSource, &page.backend),
             (QStringList{"BeMaintenanceDeviceMdc::applyTreatmentReply: channel is null at index 2",
                          "BeMaintenanceDeviceMdc::applyTreatmentReply: channel is null at index -1",
                          "BeMaintenanceDeviceMdc::clickedOnChannel: channel is null at index 7",
                          "BeMaintenanceDeviceMdc::updateChannelsValue: channel is null at index 1"}));
    QTRY_COMPARE(page.host.begun(), QStringList{"getRegister {channel=QString:motorRun}"});
    page.host.takeBegun();
}

void TestMdcPanel::backendRunsPageCommands_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("run"); // empty when nothing may be run
    QTest::addColumn<int>("index");
    QTest::newRow("setLock, true") << "true"
                                   << "setLock {lock=int:1}" << 100;
    QTest::newRow("setLock, false") << "false"
                                    << "setLock {lock=int:0}" << 100;
    QTest::newRow("setDirection, true") << "true"
                                        << "setDirection {direction=int:1}" << 300;
    QTest::newRow("setDirection, false") << "false"
                                         << "setDirection {direction=int:0}" << 300;
    QTest::newRow("setProgram, 12") << "12"
                                    << "setProgram {program=int:12}" << 200;
    QTest::newRow("setProgram, 0") << "0"
                                   << "setProgram {program=int:0}" << 200;
    QTest::newRow("setProgram, leading zeros") << "010"
                                               << "setProgram {program=int:10}" << 200;
    QTest::newRow("setProgram, -1") << "-1"
                                    << "" << 0;
    QTest::newRow("setProgram, abc") << "abc"
                                     << "" << 0;
    QTest::newRow("setProgram, empty") << ""
                                       << "" << 0;
    QTest::newRow("setProgram, 1.5") << "1.5"
                                     << "" << 0;
    QTest::newRow("setProgram, hexadecimal") << "0x10"
                                             << "" << 0;
    QTest::newRow("setProgram, too large") << "2147483648"
                                           << "" << 0;
}

void TestMdcPanel::backendRunsPageCommands()
{
    QFETCH(QString, argument);
    QFETCH(QString, run);
    QFETCH(int, index);
    const QByteArray slot = QByteArray(QTest::currentDataTag()).split(',').constFirst();
    Page page{QJsonArray()};
    page.complete();
    page.host.endFirst(true, {});
    page.host.takeBegun();
    QSignalSpy released(&page.backend, &DAbstractPluginBackend::treatmentReleased);
    if (slot == "setLock")
        page.backend.setLock(argument == "true");
    else if (slot == "setDirection")
        page.backend.setDirection(argument == "true");
    else
        page.backend.setProgram(argument);
    QCOMPARE(page.backend.hasPendingTreatments(), !run.isEmpty());
    if (run.isEmpty())
        return;
    QTRY_COMPARE(page.host.begun(), QStringList{run});
    page.host.takeBegun();
    page.host.endFirst(true, {{"doneOk", true}});
    QCOMPARE(released.size(), 1);
    QCOMPARE(released.constFirst(), (QVariantList{index, QString(slot), true}));
}

void TestMdcPanel::backendToggles()
{
    Page page(statusChannels({"direction", "motorRun"}));
    page.complete();
    page.host.takeBegun();
    QSignalSpy released(&page.backend, &DAbstractPluginBackend::treatmentReleased);
    page.backend.clickedOnChannel(1);
    QVERIFY(page.backend.hasPendingTreatments());
    QTRY_COMPARE(released.size(), 1);
    QCOMPARE(released.constFirst(), (QVariantList{1, QString(), false}));
    QVERIFY2(page.host.takeBegun().isEmpty(), "an empty name runs no command");
}

void TestMdcPanel::backendRetriesATap()
{
    Page page(statusChannels({"motorRun"}));
    page.complete();
    QSignalSpy delayed(&page.backend, &BeMaintenanceDeviceMdc::delayingClickedOnChannel);
    QSignalSpy released(&page.backend, &DAbstractPluginBackend::treatmentReleased);
    for (int i = 0; i < DAbstractPluginBackend::c_queueCapacity; ++i)
        QVERIFY(page.backend.queueTreatment(1000 + i, QString(), {}));
    page.backend.clickedOnChannel(0);
    QCOMPARE(delayed.size(), 1);
    QCOMPARE(delayed.constFirst().constFirst().toInt(), 0);
    QTRY_COMPARE(released.size(), DAbstractPluginBackend::c_queueCapacity + 1);
    QCOMPARE(released.constLast().constFirst().toInt(), 0);
}

void TestMdcPanel::backendTakesInformation()
{
    Page page{QJsonArray()};
    page.complete();
    QSignalSpy changed(&page.backend, &BeMaintenanceDeviceMdc::channelsModelChanged);
    const QVariantList record{QVariantMap{{"id", "version"}, {"value", "4.00.0"}}};
    page.host.endFirst(true, {{"deviceInformation", record}});
    QCOMPARE(page.backend.deviceInfo(), record);
    QCOMPARE(changed.size(), 1);
    QVERIFY(page.backend.cbGetInfoReply(1, {{"deviceInformation", record}}));
    QVERIFY(page.backend.cbGetInfoReply(1, {{"values", 1}}));
    QCOMPARE(changed.size(), 1);
    QCOMPARE(page.backend.deviceInfo(), record);
    page.backend.getDeviceInfo();
    page.host.endFirst(false, {});
    QCOMPARE(changed.size(), 1);
    QVERIFY(page.backend.cbGetInfoReply(1, {{"deviceInformation", QVariantList()}}));
    QCOMPARE(changed.size(), 2);
}

QTEST_GUILESS_MAIN(TestMdcPanel)
#include "tst_mdc_panel.moc"
