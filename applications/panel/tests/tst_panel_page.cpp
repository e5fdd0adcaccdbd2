// The maintenance page in its frame, on a host without a controller.

#include "page_host.h"

#include "applications/panel/action_failure.h"
#include "applications/panel/page_text.h"
#include "applications/panel/panel_window.h"

#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <QAccessible>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTranslator>
#include <QtTest>

#include <cmath>
#include <malloc.h>

namespace {

const QString c_root = "maintenance_panel_device_mdc";

QQuickItem* findItem(QQuickItem* from, const QString& name)
{
    if (from->objectName() == name)
        return from;
    const QList<QQuickItem*> children = from->childItems();
    for (QQuickItem* const child : children) {
        if (QQuickItem* const found = findItem(child, name))
            return found;
    }
    return nullptr;
}

// What the page's own items are called, without the root's name; what Qt Quick makes inside its items
// has no name.
void collectNames(const QQuickItem* from, QStringList* names)
{
    if (from->objectName().startsWith(c_root + '.'))
        names->append(from->objectName().mid(c_root.size() + 1));
    const QList<QQuickItem*> children = from->childItems();
    for (const QQuickItem* const child : children)
        collectNames(child, names);
}

// What the QML engine has complained of.
QStringList g_complaints;
QtMessageHandler g_handler = nullptr;

void watchMessages(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type != QtDebugMsg &&
        (message.contains("qrc:") || message.contains("QML") || message.contains("QString")))
        g_complaints.append(message);
    g_handler(type, context, message);
}

class Window
{
public:
    explicit Window(PageHost& pageHost, const QString& name = "mdc", bool dark = false,
                    const QSize& size = {600, 800})
        : window(request(pageHost, name, dark, size))
    {
        window.show();
    }

    PanelPage& page() { return *window.pages().front(); }
    QQuickItem* root() { return page().item(); }
    QObject* backend() { return page().backend(); }
    // By the name without the root's.
    QQuickItem* item(const QString& name) { return findItem(root(), c_root + '.' + name); }
    QString text(const QString& name) { return item(name)->property("text").toString(); }
    bool isShown(const QString& name) { return item(name) != nullptr && item(name)->isVisible(); }
    void press(const QString& name) { window.press(*item(name)); }
    void type(const QString& text)
    {
        for (const QChar character : text)
            QTest::keyClick(&window, character.toLatin1());
    }

    PanelWindow window;

private:
    static PanelRequest request(PageHost& host, const QString& name, bool dark, const QSize& size)
    {
        PanelRequest request;
        request.devices = {{PDeviceMdc::getPluginId(), host.device.objectUuid(), name, "MDC-7"}};
        request.dark = dark;
        request.size = size;
        return request;
    }
};

const QString c_commands = "idColumn.idRowCommandMain";
const QString c_program = c_commands + ".idRowSetProgram.idColumnSetProgram";
const QString c_field = c_program + ".idFrameProgram.idInputProgram";
const QString c_apply = c_program + ".idButtonApply";
const QString c_lock = c_commands + ".idRowSetLock.idButtonsSetLock.idButtonLock";

QString channelItem(int row)
{
    return QString("idColumn.idRepeater.idChannelItem_%1").arg(row);
}

QString channelValue(int row)
{
    return channelItem(row) + ".idChannelRow.idChannelValue";
}

} // namespace

class TestPanelPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void jsonSafeTexts_data();
    void jsonSafeTexts();
    void placeholders();
    void namesDoNoHarm_data();
    void namesDoNoHarm();
    void everyItemHasItsName();
    void sizesFollowTheUnit();
    void programField_data();
    void programField();
    void buttons_data();
    void buttons();
    void noValueBeforeTheFirst();
    void lampIsStrict_data();
    void lampIsStrict();
    void groupGaps_data();
    void groupGaps();
    void groupsFollowAReset();
    void pollsOnlyWhileShown();
    void disconnected();
    void age_data();
    void age();
    void identification();
    void anotherControllerAfterALostLink();
    void unreadValues();
    void failures_data();
    void failures();
    void aFailureStaysUntilDismissed();
    void keyboard();
    void accessibleNames();
    void smallWindow();
    void darkAndLight_data();
    void darkAndLight();
    void contrast_data();
    void contrast();
    void tabs();
    void openedAndClosed();
    void eightHours();
};

void TestPanelPage::initTestCase()
{
    QQuickWindow::setSceneGraphBackend(QSGRendererInterface::Software);
    QQuickStyle::setStyle(":/applications/Kivora/gui/style");
    g_handler = qInstallMessageHandler(watchMessages);
}

void TestPanelPage::cleanup()
{
    const QStringList complaints = std::exchange(g_complaints, {});
    QVERIFY2(complaints.isEmpty(), qPrintable(complaints.join('\n')));
}

void TestPanelPage::jsonSafeTexts_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("safe");
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("plain") << "Bench 7 (left)"
                           << "Bench 7 (left)";
    QTest::newRow("quote") << "a\"b"
                           << "a\\u0022b";
    QTest::newRow("backslash") << "a\\"
                               << "a\\u005c";
    QTest::newRow("line breaks") << "a\r\nb"
                                 << "a\\u000d\\u000ab";
    QTest::newRow("line separators") << QString("a%1b%2").arg(QChar(0x2028)).arg(QChar(0x2029))
                                     << "a\\u2028b\\u2029";
    QTest::newRow("null") << QString(QChar(0)) << "\\u0000";
    QTest::newRow("letters of a language") << "Müller 漢字"
                                           << "Müller 漢字";
    QTest::newRow("beyond 16 bits") << QString::fromUcs4(U"😀") << "\\ud83d\\ude00";
    QTest::newRow("half a character") << QString(QChar(0xd83d)) << "\\ud83d";
    QTest::newRow("script") << "'+evil()+'"
                            << "'+evil()+'";
}

void TestPanelPage::jsonSafeTexts()
{
    QFETCH(QString, text);
    QTEST(jsonSafe(text), "safe");
    if (QTest::currentDataTag() == QByteArray("half a character"))
        return; // no JSON text can hold it
    const QByteArray document = "{\"a\": \"" + jsonSafe(text).toUtf8() + "\"}";
    QCOMPARE(QJsonDocument::fromJson(document).object().value("a").toString(), text);
}

void TestPanelPage::placeholders()
{
    const PageValues values{"{OBJECT_ID}", "{u}", "\"{OBJECT_NAME}"};
    QCOMPARE(filledPage("a{OBJECT_NAME}b{OBJECT_ID}{OBJECT_REFERENCE}{OBJECT_NAME}{OBJECT_OTHER}", values),
             QByteArray("a{OBJECT_ID}b{u}\\u0022{OBJECT_NAME}{OBJECT_ID}{OBJECT_OTHER}"));
    QCOMPARE(filledPage("", values), QByteArray());
}

void TestPanelPage::namesDoNoHarm_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("quotes") << R"(a "b" 'c')";
    QTest::newRow("backslashes") << R"(C:\new\table\)";
    QTest::newRow("another object") << "\"; objectId: \"{0}";
    QTest::newRow("script") << "\" + Qt.quit() + \"";
    QTest::newRow("end of the object") << "\" } Component.onCompleted: Qt.quit() //";
    QTest::newRow("lines") << "one\ntwo\r\n\u2028three";
    QTest::newRow("placeholder") << "{OBJECT_ID}";
    QTest::newRow("markup") << "<b>bold</b><img src='x'>";
    QTest::newRow("long") << QString(5000, 'x');
}

void TestPanelPage::namesDoNoHarm()
{
    QFETCH(QString, name);
    PageHost host;
    Window window(host, name);
    QCOMPARE(window.window.error(), QString());
    QCOMPARE(window.backend()->property("name").toString(), name);
    QCOMPARE(window.backend()->property("objectId").toString(), host.device.objectUuid().toString());
    QCOMPARE(window.root()->property("name").toString(), name);
    QCOMPARE(window.text("idTitle"), name);
}

void TestPanelPage::everyItemHasItsName()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(window.root()->objectName(), c_root);
    QStringList names;
    collectNames(window.item("idColumn"), &names);
    // ListView keeps its rows in no particular order.
    names.sort();
    QStringList expected{"idColumn", "idColumn.idDeviceInfo",  "idColumn.idTitleCommand",
                         c_commands, "idColumn.idTitleStatus", "idColumn.idRepeater"};
    for (int row = 0; row < 2; ++row) {
        const QString info = QString("idColumn.idDeviceInfo.idDeviceInfoRow_%1").arg(row);
        expected += {info, info + ".idName", info + ".idFiller", info + ".idValue"};
    }
    const auto addCommand = [&](const QString& command, const QStringList& rest) {
        const QString row = c_commands + ".idRow" + command;
        expected += {row, row + ".idGlyph" + command, row + ".idFrameLabel" + command,
                     row + ".idFrameLabel" + command + ".idLabel" + command};
        for (const QString& name : rest)
            expected.append(row + '.' + name);
    };
    addCommand("SetProgram",
               {"idColumnSetProgram", "idColumnSetProgram.idFrameProgram",
                "idColumnSetProgram.idFrameProgram.idInputProgram", "idColumnSetProgram.idButtonApply"});
    addCommand("SetLock",
               {"idButtonsSetLock", "idButtonsSetLock.idButtonLock", "idButtonsSetLock.idButtonUnlock"});
    addCommand("SetDirection", {"idButtonsSetDirection", "idButtonsSetDirection.idButtonFastening",
                                "idButtonsSetDirection.idButtonLoosening"});
    for (int row = 0; row < 3; ++row) {
        const QString item = channelItem(row);
        const QString line = item + ".idChannelRow";
        expected += {item,
                     line,
                     line + ".idChannelGlyph",
                     line + ".idFrameChannelName",
                     line + ".idFrameChannelName.idChannelName",
                     channelValue(row),
                     channelValue(row) + ".idFrameChannelText",
                     channelValue(row) + ".idFrameChannelText.idChannelText",
                     channelValue(row) + ".idChannelLed"};
    }
    expected.sort();
    QCOMPARE(names, expected);

    QCOMPARE(window.text(channelItem(0) + ".idChannelRow.idFrameChannelName.idChannelName"),
             QString("The direction"));
    QCOMPARE(window.text(channelValue(0) + ".idFrameChannelText.idChannelText"), QString("Fastening"));
    QCOMPARE(window.text(channelValue(2) + ".idFrameChannelText.idChannelText"), QString("3"));
    QCOMPARE(window.text("idColumn.idDeviceInfo.idDeviceInfoRow_1.idName"), QString("Serial"));
    QCOMPARE(window.text("idColumn.idDeviceInfo.idDeviceInfoRow_1.idValue"), QString("17"));
    QCOMPARE(window.text("idColumn.idTitleCommand"), QString("maintenance_panel_Controller_commands"));
    QCOMPARE(window.text("idColumn.idTitleStatus"), QString("maintenance_panel_Controller_Status"));
}

void TestPanelPage::sizesFollowTheUnit()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    constexpr qreal unit = 8;
    const auto height = [&](const QString& name) { return window.item(name)->height(); };
    const qreal width = window.root()->width();
    QCOMPARE(window.item("idColumn")->width(), width);
    QTRY_COMPARE(height("idColumn.idDeviceInfo"), 2 * 3 * unit);
    QCOMPARE(height("idColumn.idDeviceInfo.idDeviceInfoRow_0"), 3 * unit);
    QCOMPARE(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_0")->property("spacing").toReal(), 10.0);
    QCOMPARE(window.item(c_commands)->property("spacing").toReal(), 4 * unit);
    QCOMPARE(height(c_commands + ".idRowSetProgram"), 10 * unit);
    QCOMPARE(height(c_commands + ".idRowSetLock"), 5 * unit);
    QCOMPARE(height(c_commands + ".idRowSetDirection"), 5 * unit);
    QCOMPARE(window.item(c_commands + ".idRowSetProgram.idFrameLabelSetProgram")->width(), width / 2);
    QCOMPARE(window.item(c_commands + ".idRowSetLock.idFrameLabelSetLock")->width(), width * 0.3);
    QCOMPARE(window.item(c_commands + ".idRowSetDirection.idFrameLabelSetDirection")->width(), width * 0.3);
    const QQuickItem* const buttons = window.item(c_commands + ".idRowSetLock.idButtonsSetLock");
    QCOMPARE(window.item(c_lock)->width(), buttons->width() / 2);
    // Each row is as wide as the page, no more.
    QCOMPARE(buttons->x() + buttons->width(), width);
    QCOMPARE(height(channelItem(0) + ".idChannelRow"), 5 * unit);
    const QQuickItem* const lamp = window.item(channelValue(1) + ".idChannelLed");
    QCOMPARE(lamp->width(), lamp->height());
    QCOMPARE(lamp->x() + lamp->width() / 2, window.item(channelValue(1))->width() / 2);
}

void TestPanelPage::programField_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QStringList>("actions");
    QTest::newRow("1") << "1"
                       << "1" << QStringList{"setProgram program=1"};
    QTest::newRow("255") << "255"
                         << "255" << QStringList{"setProgram program=255"};
    QTest::newRow("largest") << "2147483647"
                             << "2147483647" << QStringList{"setProgram program=2147483647"};
    QTest::newRow("0") << "0"
                       << "0" << QStringList();
    QTest::newRow("zeros") << "00"
                           << "00" << QStringList();
    QTest::newRow("negative") << "-1"
                              << "1" << QStringList{"setProgram program=1"};
    QTest::newRow("text") << "abc"
                          << "" << QStringList();
    QTest::newRow("digits among text") << "a1b2"
                                       << "12" << QStringList{"setProgram program=12"};
    QTest::newRow("fraction") << "1.5"
                              << "15" << QStringList{"setProgram program=15"};
    QTest::newRow("empty") << ""
                           << "" << QStringList();
}

void TestPanelPage::programField()
{
    QFETCH(QString, typed);
    QFETCH(QStringList, actions);
    PageHost host;
    Window window(host);
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    window.press(c_field);
    QVERIFY(window.item(c_field)->hasActiveFocus());
    window.type(typed);
    QTEST(window.text(c_field), "shown");
    window.press(c_apply);
    // A page command runs after whatever the page queued before; then everything has been run.
    window.press(c_lock);
    QTRY_VERIFY(host.actions.contains("setLock lock=1"));
    QCOMPARE(host.actions, actions + QStringList("setLock lock=1"));
}

void TestPanelPage::buttons_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("action");
    const QString direction = c_commands + ".idRowSetDirection.idButtonsSetDirection.";
    QTest::newRow("lock") << c_lock << "setLock lock=1";
    QTest::newRow("unlock") << c_commands + ".idRowSetLock.idButtonsSetLock.idButtonUnlock"
                            << "setLock lock=0";
    QTest::newRow("fastening") << direction + "idButtonFastening"
                               << "setDirection direction=0";
    QTest::newRow("loosening") << direction + "idButtonLoosening"
                               << "setDirection direction=1";
}

void TestPanelPage::buttons()
{
    QFETCH(QString, button);
    QFETCH(QString, action);
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    window.press(button);
    QTRY_COMPARE(host.actions, QStringList(action));
    QVERIFY(!window.isShown("idFailure"));
}

void TestPanelPage::noValueBeforeTheFirst()
{
    PageHost host;
    host.identifies = false;
    Window window(host);
    QTRY_VERIFY(!window.text("idReason.idDetail").isEmpty());
    const QString text = channelValue(0) + ".idFrameChannelText.idChannelText";
    QVERIFY(window.isShown(channelValue(0) + ".idFrameChannelText"));
    QVERIFY(!window.isShown(text));
}

void TestPanelPage::lampIsStrict_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("lit");
    QTest::newRow("1") << QVariant(1) << true;
    QTest::newRow("1 of 16 bits") << QVariant::fromValue<quint16>(1) << true;
    QTest::newRow("0") << QVariant(0) << false;
    QTest::newRow("2") << QVariant(2) << false;
    QTest::newRow("-1") << QVariant(-1) << false;
    QTest::newRow("65535") << QVariant(65535) << false;
    QTest::newRow("true") << QVariant(true) << false;
    QTest::newRow("text") << QVariant("1") << false;
    QTest::newRow("list") << QVariant(QVariantList{1}) << false;
    QTest::newRow("nothing") << QVariant() << false;
}

void TestPanelPage::lampIsStrict()
{
    QFETCH(QVariant, value);
    PageHost host;
    host.values["motorRun"] = value;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    const QQuickItem* const lamp = window.item(channelValue(1) + ".idChannelLed");
    QVERIFY(lamp->isVisible());
    QVERIFY(!window.isShown(channelValue(1) + ".idFrameChannelText"));
    QVERIFY(!window.isShown(channelValue(0) + ".idChannelLed"));
    QTEST(lamp->property("lit").toBool(), "lit");
    const QColor colour = lamp->property("statusColor").value<QColor>();
    QCOMPARE(colour == QColor("#1f9d4d"), lamp->property("lit").toBool());
    QCOMPARE(colour == QColor("#76869a"), !lamp->property("lit").toBool());
}

void TestPanelPage::groupGaps_data()
{
    QTest::addColumn<QStringList>("channels");
    QTest::addColumn<QString>("gaps"); // a digit per row, in units
    QTest::newRow("text, text, lamp, text")
        << QStringList{"direction", "currentPreset", "motorRun", "direction"} << "0011";
    QTest::newRow("all alike") << QStringList{"direction", "currentPreset", "direction"} << "000";
    QTest::newRow("one") << QStringList{"motorRun"} << "0";
    QTest::newRow("none") << QStringList() << "";
    QTest::newRow("by turns") << QStringList{"motorRun", "direction", "motorRun", "direction"} << "0111";
    QTest::newRow("without a type") << QStringList{"alarm", "direction-", "direction", "other"} << "0011";
}

void TestPanelPage::groupGaps()
{
    QFETCH(QStringList, channels);
    PageHost host(channels);
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QString gaps;
    for (int row = 0; row < channels.size(); ++row) {
        const qreal gap = window.item(channelItem(row) + ".idChannelRow")->y();
        QCOMPARE(window.item(channelItem(row))->height(), 40 + gap);
        gaps += QString::number(gap / 8);
    }
    QTEST(gaps, "gaps");
    QCOMPARE(window.item(channelItem(static_cast<int>(channels.size()))), nullptr);
}

void TestPanelPage::groupsFollowAReset()
{
    PageHost host({"direction", "motorRun"});
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(window.item(channelItem(1) + ".idChannelRow")->y(), 8.0);
    PageHost other({"motorRun", "motorRun", "direction"});
    host.device.setInPluginConfig("channels",
                                  other.device.getInPluginConfig("channels", QJsonValue(), nullptr));
    QVERIFY(QMetaObject::invokeMethod(window.backend(), "resetBackend"));
    QTRY_VERIFY(window.item(channelItem(2)) != nullptr);
    QCOMPARE(window.item(channelItem(1) + ".idChannelRow")->y(), 0.0);
    QCOMPARE(window.item(channelItem(2) + ".idChannelRow")->y(), 8.0);
}

void TestPanelPage::pollsOnlyWhileShown()
{
    PageHost host;
    Window window(host);
    window.root()->setProperty("updatePeriod", 5);
    QTRY_VERIFY(host.counts.value("getRegister") > 30);
    QSignalSpy updates(window.root(), SIGNAL(updateData()));
    host.connectDriver(false);
    QTRY_VERIFY(!window.page().backend()->hasPendingTreatments());
    updates.clear();
    QObject* const timer = window.root()->findChild<QObject*>(c_root + ".idUpdateTimer");
    QVERIFY(timer != nullptr && !timer->property("running").toBool());
    host.connectDriver(true);
    QTRY_VERIFY(updates.size() > 3);
    window.root()->setVisible(false);
    QVERIFY(!timer->property("running").toBool());
    window.root()->setVisible(true);
    QVERIFY(timer->property("running").toBool());
}

void TestPanelPage::disconnected()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(window.text("idLink.idText"), QString("panel_link_connected"));
    QVERIFY(!window.isShown("idReason"));
    const QString shape = window.item("idLink.idGlyph")->property("name").toString();
    const qreal round = window.item("idLink")->property("radius").toReal();

    host.connectDriver(false);
    QCOMPARE(window.text("idLink.idText"), QString("panel_link_disconnected"));
    QVERIFY(window.item("idLink.idGlyph")->property("name").toString() != shape);
    QVERIFY(window.item("idLink")->property("radius").toReal() != round);
    QVERIFY(window.isShown("idReason"));
    QCOMPARE(window.text("idReason.idTitle"), QString("panel_reason_no_link"));
    QVERIFY(window.text("idReason.idText").contains("panel_age_of_values"));
    // The values of before, greyed; nothing can be pressed.
    QCOMPARE(window.text(channelValue(2) + ".idFrameChannelText.idChannelText"), QString("3"));
    QCOMPARE(window.text("idColumn.idDeviceInfo.idDeviceInfoRow_0.idValue"), QString("MDC-26"));
    QVERIFY(window.item("idView.idHolder")->opacity() < 1);
    QVERIFY(!window.item(c_lock)->isEnabled());
    window.press(c_lock);
    QCoreApplication::processEvents();
    QCOMPARE(host.actions, QStringList());

    host.connectDriver(true);
    QTRY_VERIFY(window.page().isComplete());
    QVERIFY(!window.isShown("idReason"));
    QCOMPARE(window.item("idView.idHolder")->opacity(), 1.0);
    window.press(c_lock);
    QTRY_COMPARE(host.actions, QStringList("setLock lock=1"));
}

void TestPanelPage::age_data()
{
    QTest::addColumn<double>("milliseconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("now") << 0.0 << "0 s";
    QTest::newRow("a clock set back") << -5000.0 << "0 s";
    QTest::newRow("a second") << 1999.0 << "1 s";
    QTest::newRow("nearly a minute") << 59999.0 << "59 s";
    QTest::newRow("a minute") << 60000.0 << "1 min";
    QTest::newRow("nearly an hour") << 3599999.0 << "59 min";
    QTest::newRow("an hour") << 3600000.0 << "1 h";
    QTest::newRow("two days") << 172800000.0 << "48 h";
}

void TestPanelPage::age()
{
    class Texts : public QTranslator
    {
    public:
        QString translate(const char*, const char* id, const char*, int) const override
        {
            return QMap<QString, QString>{{"panel_age_seconds", "%1 s"},
                                          {"panel_age_minutes", "%1 min"},
                                          {"panel_age_hours", "%1 h"},
                                          {"panel_age_of_values", "old: %1"}}
                .value(id);
        }
        bool isEmpty() const override { return false; }
    };
    Texts texts;
    QVERIFY(QCoreApplication::installTranslator(&texts));
    QFETCH(double, milliseconds);
    QFETCH(QString, text);
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QVariant found;
    QVERIFY(QMetaObject::invokeMethod(window.root(), "age", Q_RETURN_ARG(QVariant, found),
                                      Q_ARG(QVariant, milliseconds)));
    QCOMPARE(found.toString(), text);
    // It grows while there is no connection.
    host.connectDriver(false);
    const double now = window.root()->property("now").toDouble();
    window.root()->setProperty("valuesTime", now - milliseconds);
    QVERIFY(window.text("idReason.idText").endsWith("old: " + text));
}

// Which registers are meant is known only once the controller has told its generation.
void TestPanelPage::identification()
{
    PageHost host;
    host.identifies = false;
    Window window(host);
    QVERIFY(window.isShown("idReason"));
    QCOMPARE(window.text("idReason.idTitle"), QString("panel_reason_identifying"));
    QTRY_COMPARE(window.text("idReason.idTitle"), QString("panel_reason_unidentified"));
    QCOMPARE(window.text("idReason.idDetail"), QString("no identity"));
    QVERIFY(!window.item(c_lock)->isEnabled());
    QCOMPARE(host.counts.value("getRegister"), 0);
    // It is asked again.
    host.identifies = true;
    QTRY_VERIFY(window.page().isComplete());
    QVERIFY(!window.isShown("idReason"));
    QVERIFY(window.item(c_lock)->isEnabled());
}

void TestPanelPage::anotherControllerAfterALostLink()
{
    PageHost host;
    host.connectDriver(false);
    host.identifies = false;
    Window window(host);
    QCOMPARE(window.text("idReason.idTitle"), QString("panel_reason_no_link"));
    QVERIFY(!window.text("idReason.idText").contains("panel_age_of_values"));
    // What the page asked by itself has failed by now.
    QTRY_COMPARE(host.counts.value("getInfo"), 1);
    QVERIFY(window.backend()->property("deviceInfo").toList().isEmpty());
    host.identifies = true;
    host.connectDriver(true);
    QTRY_VERIFY(window.page().isComplete());
    QTRY_COMPARE(window.backend()->property("deviceInfo").toList().size(), 2);
    const int asked = host.counts.value("getInfo");
    host.connectDriver(false);
    host.connectDriver(true);
    QTRY_VERIFY(host.counts.value("getInfo") >= asked + 2);
    QTRY_VERIFY(window.page().isComplete());
}

void TestPanelPage::unreadValues()
{
    PageHost host;
    Window window(host);
    window.root()->setProperty("updatePeriod", 5);
    QTRY_VERIFY(window.page().isComplete());
    QVERIFY(!window.isShown("idUnread"));
    host.reads = false;
    QTRY_COMPARE(window.root()->property("unreadValues").toInt(), 3);
    QVERIFY(window.isShown("idUnread"));
    QVERIFY(!window.isShown("idFailure"));
    QVERIFY(window.item(c_lock)->isEnabled());
    host.reads = true;
    QTRY_COMPARE(window.root()->property("unreadValues").toInt(), 0);
    QVERIFY(!window.isShown("idUnread"));
}

void TestPanelPage::failures_data()
{
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("code");
    QTest::addColumn<QVariantMap>("results");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, IMessenger::EnErrorCode code, const char* reason) {
        const bool uncertain = code == IMessenger::CeEcUncertain;
        QTest::newRow(name) << false << static_cast<int>(code) << QVariantMap()
                            << (uncertain ? "panel_failure_uncertain" : "panel_failure_failed") << reason;
    };
    QTest::newRow("done") << true << 0 << QVariantMap() << ""
                          << "";
    QTest::newRow("says that it is done") << true << 0 << QVariantMap{{"doneOk", true}} << ""
                                          << "";
    QTest::newRow("says that it is not done")
        << true << 0 << QVariantMap{{"doneOk", false}} << "panel_failure_failed"
        << "panel_reason_refused";
    row("timeout", IMessenger::CeEcTimeout, "panel_reason_timeout");
    row("not connected", IMessenger::CeEcNotConnected, "panel_reason_not_connected");
    row("refused", IMessenger::CeEcRefused, "panel_reason_refused");
    row("uncertain", IMessenger::CeEcUncertain, "panel_reason_uncertain");
    row("queue full", IMessenger::CeEcQueueFull, "panel_reason_queue_full");
    row("stopped", IMessenger::CeEcStopped, "panel_reason_stopped");
    row("unknown command", IMessenger::CeEcUnknownCommand, "panel_reason_other");
    row("internal", IMessenger::CeEcInternal, "panel_reason_other");
}

void TestPanelPage::failures()
{
    QFETCH(bool, ok);
    QFETCH(int, code);
    QFETCH(QVariantMap, results);
    QFETCH(QString, title);
    const DOrderOutcome outcome{ok, static_cast<IMessenger::EnErrorCode>(code), "the detail", results};
    const ActionFailure failure = actionFailure("setLock", outcome);
    QCOMPARE(failure.title, title);
    QTEST(failure.reason, "reason");
    QCOMPARE(failure.uncertain, code == IMessenger::CeEcUncertain);

    PageHost host;
    host.outcome = outcome;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    if (!ok)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed: the detail"));
    window.press(c_lock);
    QTRY_COMPARE(host.actions, QStringList("setLock lock=1"));
    QTRY_VERIFY(!window.page().backend()->hasPendingTreatments());
    QCOMPARE(window.isShown("idFailure"), !title.isEmpty());
    if (title.isEmpty())
        return;
    QVERIFY(window.text("idFailure.idTitle").endsWith(title));
    QTEST(window.text("idFailure.idText"), "reason");
    QCOMPARE(window.text("idFailure.idDetail"), QString("the detail"));
    QCOMPARE(window.item("idFailure.idGlyph")->property("name").toString(),
             QString(failure.uncertain ? "uncertain" : "failed"));
}

void TestPanelPage::aFailureStaysUntilDismissed()
{
    PageHost host;
    host.outcome = {false, IMessenger::CeEcUncertain, "first", {}};
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed: first"));
    window.press(c_lock);
    QTRY_VERIFY(window.isShown("idFailure"));
    // Neither a later success nor a lost link takes it away; a later failure replaces it.
    host.outcome = {true, IMessenger::CeEcNone, QString(), {}};
    window.press(c_lock);
    QTRY_COMPARE(host.actions.size(), 2);
    host.connectDriver(false);
    host.connectDriver(true);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(window.text("idFailure.idDetail"), QString("first"));
    host.outcome = {false, IMessenger::CeEcRefused, "second", {}};
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed: second"));
    window.press(c_lock);
    QTRY_COMPARE(window.text("idFailure.idDetail"), QString("second"));
    window.press("idFailure.idButton");
    QVERIFY(!window.isShown("idFailure"));
}

void TestPanelPage::keyboard()
{
    PageHost host;
    Window window(host, "mdc", false, {600, 300});
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    QStringList order;
    for (int i = 0; i < 6; ++i) {
        QTest::keyClick(&window.window, Qt::Key_Tab);
        const QQuickItem* const focus = window.window.activeFocusItem();
        QVERIFY(focus != nullptr);
        order.append(focus->objectName().section('.', -1));
        // In sight, however small the window is.
        const QQuickItem* const view = window.item("idView");
        const qreal top = focus->mapToItem(view, QPointF(0, 0)).y();
        QVERIFY2(top >= 0 && top + focus->height() <= view->height(), qPrintable(order.last()));
    }
    QCOMPARE(order, (QStringList{"idInputProgram", "idButtonApply", "idButtonLock", "idButtonUnlock",
                                 "idButtonFastening", "idButtonLoosening"}));
    QTest::keyClick(&window.window, Qt::Key_Space);
    QTRY_COMPARE(host.actions, QStringList("setDirection direction=1"));
    QTest::keyClick(&window.window, Qt::Key_Backtab);
    QTest::keyClick(&window.window, Qt::Key_Return);
    QTRY_COMPARE(host.actions.last(), QString("setDirection direction=0"));
}

void TestPanelPage::accessibleNames()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    const auto name = [&](const QString& item) {
        const QAccessibleInterface* const found = QAccessible::queryAccessibleInterface(window.item(item));
        return found == nullptr ? QString("none") : found->text(QAccessible::Name);
    };
    QCOMPARE(name(c_field), QString("maintenance_panel_Set_program"));
    QCOMPARE(name(c_apply), QString("maintenance_panel_Apply"));
    QCOMPARE(name(c_lock), QString("maintenance_panel_Lock"));
    QCOMPARE(name("idLink"), QString("panel_link_connected"));
    QCOMPARE(name(channelValue(1) + ".idChannelLed"), QString("panel_indicator_on"));
    host.connectDriver(false);
    QVERIFY(name("idReason").startsWith("panel_reason_no_link"));
}

void TestPanelPage::smallWindow()
{
    PageHost host;
    Window window(host, "mdc", false, {400, 300});
    QTRY_VERIFY(window.page().isComplete());
    const QQuickItem* const view = window.item("idView");
    const auto sizes = [&] { return qMakePair(view->property("contentHeight").toReal(), view->height()); };
    QVERIFY(sizes().first > sizes().second);
    QVERIFY(window.isShown("idView.idScrollBar"));
    QVERIFY(window.item("idView.idScrollBar")->property("size").toReal() < 1);
    window.window.resize(600, 900);
    QTRY_VERIFY(sizes().first <= sizes().second);
}

void TestPanelPage::darkAndLight_data()
{
    QTest::addColumn<bool>("dark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
}

void TestPanelPage::darkAndLight()
{
    QFETCH(bool, dark);
    PageHost host;
    Window window(host, "mdc", dark);
    QTRY_VERIFY(window.page().isComplete());
    const QColor ground = window.window.rootObject()->property("color").value<QColor>();
    QCOMPARE(ground.lightnessF() < 0.5, dark);
    for (const QString& name :
         {QString("idTitle"), QString("idColumn.idTitleCommand"), QString("idColumn.idTitleStatus"), c_field,
          c_commands + ".idRowSetLock.idFrameLabelSetLock.idLabelSetLock",
          QString("idColumn.idDeviceInfo.idDeviceInfoRow_0.idValue"),
          channelValue(0) + ".idFrameChannelText.idChannelText"}) {
        const QColor colour = window.item(name)->property("color").value<QColor>();
        QVERIFY2(qAbs(colour.lightnessF() - ground.lightnessF()) > 0.6, qPrintable(name));
    }
}

void TestPanelPage::contrast_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("ground");
    QTest::addColumn<double>("least");
    const auto row = [](const char* text, const char* ground, double least = 4.5) {
        QTest::newRow(qPrintable(QString("%1 on %2").arg(text, ground))) << text << ground << least;
    };
    row("textColor", "backgroundColor");
    row("textColor", "surfaceColor");
    row("textColor", "buttonColor");
    row("textColor", "buttonPressedColor");
    row("textColor", "badSurfaceColor");
    row("textColor", "doubtfulSurfaceColor");
    row("secondaryTextColor", "backgroundColor");
    row("secondaryTextColor", "surfaceColor");
    row("secondaryTextColor", "badSurfaceColor");
    row("secondaryTextColor", "doubtfulSurfaceColor");
    row("goodColor", "backgroundColor");
    row("badColor", "backgroundColor");
    row("badColor", "badSurfaceColor");
    row("doubtfulColor", "doubtfulSurfaceColor");
    // Icons, lamps and outlines.
    row("accentColor", "backgroundColor", 3);
    row("toolStatusIn", "backgroundColor", 3);
    row("toolStatusInactive", "backgroundColor", 3);
    row("buttonBorderColor", "backgroundColor", 3);
}

// As the accessibility guidelines of the web reckon it.
void TestPanelPage::contrast()
{
    QFETCH(QString, text);
    QFETCH(QString, ground);
    QFETCH(double, least);
    PageHost host;
    for (const bool dark : {false, true}) {
        Window window(host, "mdc", dark);
        QQmlComponent component(window.window.engine());
        component.setData(
            "import QtQml 2.15; import \"widgets\"; QtObject { property QtObject style: Style }",
            QUrl("qrc:/applications/Kivora/gui/contrast.qml"));
        const std::unique_ptr<QObject> made(component.create());
        QVERIFY2(made != nullptr, qPrintable(component.errorString()));
        const QObject* const style = made->property("style").value<QObject*>();
        const auto luminance = [&](const QString& name) {
            const QColor colour = style->property(qPrintable(name)).value<QColor>();
            const auto linear = [](double part) {
                return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
            };
            return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
                   0.0722 * linear(colour.blueF());
        };
        const double one = luminance(text);
        const double other = luminance(ground);
        const double ratio = (std::max(one, other) + 0.05) / (std::min(one, other) + 0.05);
        QVERIFY2(ratio >= least, qPrintable(QString("%1 : 1, dark %2").arg(ratio).arg(dark)));
    }
}

void TestPanelPage::tabs()
{
    PageHost host;
    PanelRequest request;
    const PanelDevice device{PDeviceMdc::getPluginId(), host.device.objectUuid(), "left", "MDC-7"};
    PanelDevice second = device;
    second.name = "right";
    request.devices = {device, second};
    PanelWindow window(request);
    QCOMPARE(window.error(), QString());
    window.show();
    QCOMPARE(window.pages().size(), std::size_t(2));
    QQuickItem* const left = window.pages().at(0)->item();
    QQuickItem* const right = window.pages().at(1)->item();
    QVERIFY(left->isVisible() && !right->isVisible());
    QQuickItem* const tab = findItem(window.rootObject(), "panel_shell.idTabs.idTab_1");
    QVERIFY(tab != nullptr);
    QCOMPARE(tab->property("text").toString(), QString("right"));
    QTRY_VERIFY(tab->mapToScene({0, 0}).x() > 0);
    window.press(*tab);
    QTRY_VERIFY(right->isVisible() && !left->isVisible());
    QTRY_VERIFY(window.pages().at(1)->isComplete());
    QCOMPARE(right->width(), window.rootObject()->width() - 32);

    PanelDevice strange = device;
    strange.kind = QUuid::createUuid();
    request.devices = {strange};
    QVERIFY(PanelWindow(request).error().contains("no maintenance page"));
}

void TestPanelPage::openedAndClosed()
{
    PageHost host;
    QPointer<QObject> backend;
    QPointer<QObject> channel;
    for (int i = 0; i < 200; ++i) {
        Window window(host);
        // Closed at every stage: at once, in the middle, and with all values.
        if (i % 3 == 1)
            QCoreApplication::processEvents();
        while (i % 10 == 2 && !window.page().isComplete())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        backend = window.backend();
    }
    QVERIFY(backend.isNull());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(host.findChildren<QObject*>().size(), 0);
    QVERIFY(QGuiApplication::allWindows().isEmpty());
    // What was under way when its page went is dropped.
    QCoreApplication::processEvents();
}

void TestPanelPage::eightHours()
{
    constexpr int c_refreshes = 8 * 3600 * 2; // two a second
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    window.root()->setProperty("updatePeriod", 1000000000);
    const auto refresh = [&](int i) {
        host.values["direction"] = i % 2;
        host.values["motorRun"] = i % 3;
        host.values["currentPreset"] = i % 1000;
        QMetaObject::invokeMethod(window.root(), "updateData");
        while (window.page().backend()->hasPendingTreatments())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    };
    const auto objects = [&] { return window.window.findChildren<QObject*>().size(); };
    const auto heap = [&] {
        window.window.engine()->collectGarbage();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return static_cast<qint64>(mallinfo2().uordblks);
    };
    for (int i = 0; i < 2000; ++i)
        refresh(i);
    const int objectsBefore = objects();
    const qint64 heapBefore = heap();
    const int readBefore = host.counts.value("getRegister");
    for (int i = 0; i < c_refreshes; ++i)
        refresh(i);
    QCOMPARE(host.counts.value("getRegister") - readBefore, 3 * c_refreshes);
    QCOMPARE(objects(), objectsBefore);
    const qint64 growth = heap() - heapBefore;
    QVERIFY2(growth < 200000, qPrintable(QString("the heap has grown by %1 bytes").arg(growth)));
}

QTEST_MAIN(TestPanelPage)

#include "tst_panel_page.moc"
