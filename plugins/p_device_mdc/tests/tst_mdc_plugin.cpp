#include "model/command_needs.h"

#include <lib_plugins_management/command_end.h>
#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <lib_utilities/version.h>

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QPluginLoader>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QResource>
#include <QSharedPointer>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>
#include <QUuid>

#include <memory>

// The built file, as the host meets it: nothing of the plug-in's own code is linked here.
class TestMdcPlugin : public QObject
{
    Q_OBJECT

    QPluginLoader m_loader{QStringLiteral(MDC_PLUGIN_FILE)};
    DAbstractPlugin* m_root = nullptr;

private Q_SLOTS:
    void initTestCase();
    void metaData();
    void rootObject();
    void metaObject();
    void instances();
    void commands();
    void page();
    void endOfACommand();
    void qmlTypes();
    // The last one: the root object goes.
    void staysInTheProcess();
};

void TestMdcPlugin::initTestCase()
{
    // As a host that wants to get rid of it later.
    m_loader.setLoadHints({});
    QVERIFY2(m_loader.load(), qPrintable(m_loader.errorString()));
    m_root = qobject_cast<DAbstractPlugin*>(m_loader.instance());
    QVERIFY(m_root != nullptr);
    QCOMPARE(m_loader.instance(), m_root);
}

void TestMdcPlugin::metaData()
{
    const QJsonObject metaData = m_loader.metaData();
    QCOMPARE(metaData.value("IID").toString(), QStringLiteral("org.mdcbench.PDeviceMdc"));
    QCOMPARE(metaData.value("className").toString(), QStringLiteral("PDeviceMdc"));
}

void TestMdcPlugin::rootObject()
{
    QVERIFY(m_root->objectUuid().isNull());
    QCOMPARE(m_root->pluginUuid(), QUuid(QStringLiteral("{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}")));
    QCOMPARE(m_root->pluginName(), QStringLiteral("Plugin Device MDC"));
    QCOMPARE(quint32(m_root->pluginType()), 0x44657669U);
    QCOMPARE(m_root->pluginVersion(), versionFromString("1.0"));
    QVERIFY(m_root->pluginVersion() != 0);
    QCOMPARE(m_root->pluginSubTypeName(), QString());
    QVERIFY(!m_root->isUnique());
    QVERIFY(m_root->parent() == nullptr);

    bool found = false;
    const QVariant typeName = m_root->getProperty("typeName", &found);
    QVERIFY(found);
    QCOMPARE(typeName.toString(), QString());
    QVERIFY(!typeName.isNull());
    QCOMPARE(typeName.userType(), int(QMetaType::QString));
    QVERIFY(m_root->getProperty("softwareVersion", nullptr).isNull());
    QCOMPARE(m_root->properties().keys(), QStringList{"typeName"});
}

void TestMdcPlugin::metaObject()
{
    const QMetaObject* const meta = m_root->metaObject();
    QCOMPARE(QByteArray(meta->className()), QByteArray("PDeviceMdc"));
    QCOMPARE(meta->superClass(), &DAbstractPlugin::staticMetaObject);
    QCOMPARE(meta->methodCount(), meta->methodOffset());
    QCOMPARE(meta->propertyCount(), meta->propertyOffset());
    QCOMPARE(m_root->qt_metacast("PDeviceMdc"), static_cast<void*>(m_root));
    QVERIFY(m_root->qt_metacast("DAbstractPlugin") != nullptr);
    QVERIFY(m_root->qt_metacast("QObject") != nullptr);
    QVERIFY(m_root->qt_metacast("PDeviceOther") == nullptr);
    QVERIFY(m_root->qt_metacast("org.mdcbench.PDeviceMdc") == nullptr);
}

void TestMdcPlugin::instances()
{
    const QUuid uuid = QUuid::createUuid();
    const std::unique_ptr<IPlugin> instance(m_root->createInstance(uuid));
    QVERIFY(instance != nullptr);
    QCOMPARE(instance->objectUuid(), uuid);
    QCOMPARE(instance->pluginUuid(), m_root->pluginUuid());
    auto* const object = dynamic_cast<DAbstractPlugin*>(instance.get());
    QVERIFY(object != nullptr && object != m_root);
    QVERIFY(object->parent() == nullptr);
    QCOMPARE(object->metaObject(), m_root->metaObject());
    QVERIFY(object->getProperty("typeName", nullptr).isValid());

    object->setProperty("softwareVersion", 2, false);
    QVERIFY2(m_root->getProperty("softwareVersion", nullptr).isNull(), "instances share nothing");
}

void TestMdcPlugin::commands()
{
    // Hosts show the commands in the order of the registry.
    QStringList names;
    for (const CommandNeeds& needs : commandNeeds())
        names.append(needs.command);
    const QUuid uuid = QUuid::createUuid();
    const std::unique_ptr<IPlugin> instance(m_root->createInstance(uuid));
    auto* const object = dynamic_cast<DAbstractPlugin*>(instance.get());
    QSignalSpy done(object, &DAbstractPlugin::sigCommandsInitDone);
    for (int times = 1; times <= 2; ++times) {
        object->initPluginCommands();
        QCOMPARE(object->commandNames(), names);
        QCOMPARE(done.size(), times);
        QCOMPARE(done.constLast().at(0).toUuid(), uuid);
        QCOMPARE(done.constLast().at(1).toStringList(), names);
    }
    QCOMPARE(object->getFunctions(false), names);
    QCOMPARE(object->getFunctions(true), names + QStringList{"stopListening"});
    QVERIFY2(m_root->commandNames().isEmpty(), "the root object declares nothing until it is asked");
}

void TestMdcPlugin::page()
{
    const QResource page(QStringLiteral(":/{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}/maintenance_panel.qml"));
    QVERIFY(page.isValid());
    QCOMPARE(page.compressionAlgorithm(), QResource::ZlibCompression);
    QFile source(QStringLiteral(MDC_SOURCE_DIRECTORY "/plugins/p_device_mdc/qml/maintenance_panel.qml"));
    QVERIFY(source.open(QIODevice::ReadOnly));
    const QByteArray text = source.readAll();
    QVERIFY(!text.isEmpty());
    QCOMPARE(page.uncompressedData(), text);
    const QDir folder(QStringLiteral(":/{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}"));
    QCOMPARE(folder.entryList(), QStringList{"maintenance_panel.qml"});
    for (const char* const placeholder : {"\"{OBJECT_NAME}\"", "\"{OBJECT_ID}\"", "\"{OBJECT_REFERENCE}\""})
        QCOMPARE(text.count(placeholder), 1);
}

void TestMdcPlugin::qmlTypes()
{
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQml 2.15\nimport PlgLibDeviceMdc 1.0\n"
                      "QtObject {\n"
                      "    property BeMaintenanceDeviceMdc be: BeMaintenanceDeviceMdc { name: \"x\" }\n"
                      "    property DMdcChannel channel: DMdcChannel {}\n"
                      "    property int length: be.statusChannelsModel.length\n"
                      "    property int empty: be.statusChannelsModel.isEmpty\n"
                      "    property var types: [DMdcChannel.CeCtUnknown, DMdcChannel.CeCtString,\n"
                      "                         DMdcChannel.CeCtBool]\n"
                      "    property bool unknown: channel.type === DMdcChannel.CeCtUnknown\n"
                      "}\n",
                      QUrl());
    const std::unique_ptr<QObject> object(component.create());
    QVERIFY2(object != nullptr, qPrintable(component.errorString()));
    QCOMPARE(object->property("length").toInt(), 0);
    QVERIFY(object->property("empty").toInt() != 0);
    QCOMPARE(object->property("types").toList(), (QVariantList{0, 1, 2}));
    QVERIFY(object->property("unknown").toBool());
}

// The signal is the contract library's, the command the plug-in's, and who waits is neither.
void TestMdcPlugin::endOfACommand()
{
    const std::unique_ptr<IPlugin> instance(m_root->createInstance(QUuid::createUuid()));
    auto* const object = dynamic_cast<DAbstractPlugin*>(instance.get());
    object->initPluginCommands();
    const auto* const prototype = object->findChild<DAbstractCommand*>();
    QVERIFY(prototype != nullptr);
    QList<bool> ends;
    {
        const QSharedPointer<ICommand> made = prototype->createCommand({});
        auto* const command = dynamic_cast<DAbstractCommand*>(made.data());
        QVERIFY(command != nullptr);
        QSignalSpy spy(command, SIGNAL(sigCommandFinished(bool)));
        QVERIFY(spy.isValid());
        whenCommandFinished(*command, this, [&ends](bool ok) { ends.append(ok); });
        QObject context;
        whenCommandFinished(*command, &context, [&ends](bool ok) { ends.append(!ok); });
        command->orderEnded(true);
        QCOMPARE(spy.size(), 1);
    }
    QCOMPARE(ends, (QList<bool>{true, false}));
    {
        const QSharedPointer<ICommand> made = prototype->createCommand({});
        auto* const command = dynamic_cast<DAbstractCommand*>(made.data());
        {
            QObject context;
            whenCommandFinished(*command, &context, [&ends](bool ok) { ends.append(ok); });
        }
        command->orderEnded(true);
    }
    QVERIFY2(ends.size() == 2, "a context that has gone is told");
}

// Its QML types stay registered, whatever a host asks of Qt's loader.
void TestMdcPlugin::staysInTheProcess()
{
    const QMetaObject* const type = m_root->metaObject();
    QVERIFY(m_loader.unload());
    QCOMPARE(type->className(), "PDeviceMdc");
    qmlTypes();
}

QTEST_GUILESS_MAIN(TestMdcPlugin)
#include "tst_mdc_plugin.moc"
