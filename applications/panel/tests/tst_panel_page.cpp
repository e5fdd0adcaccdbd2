// The maintenance page in its frame, on a host without a controller.

#include "page_host.h"

#include "applications/panel/action_failure.h"
#include "applications/panel/page_text.h"
#include "applications/panel/panel_window.h"
#include "tests/support/live_objects.h"

#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <QAbstractItemModel>
#include <QAccessible>
#include <QAnimationDriver>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSet>
#include <QSignalSpy>
#include <QTranslator>
#include <QtTest>

#include <algorithm>
#include <cmath>
#include <malloc.h>
#include <memory>

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

// Whether the page's own text declares it, rather than the inside of one of its components.
bool isOfThePage(const QObject* object)
{
    const QQmlContext* const context = QQmlEngine::contextForObject(object);
    return context != nullptr && context->baseUrl().path().endsWith("/maintenance_panel.qml");
}

// The page's items whose names are not made of the name of the item around them and a suffix.
void collectUnnamed(const QQuickItem* from, const QString& around, int* seen, QStringList* unnamed)
{
    const QList<QQuickItem*> children = from->childItems();
    for (const QQuickItem* const child : children) {
        QString name = around;
        // A Repeater stands beside the rows that it makes.
        if (isOfThePage(child)) {
            ++*seen;
            name = child->objectName();
            if (!name.startsWith(around + '.') || name.endsWith('.'))
                unnamed->append(QString("%1 \"%2\" in %3")
                                    .arg(child->metaObject()->className(), child->objectName(), around));
        }
        collectUnnamed(child, name, seen, unnamed);
    }
}

// All objects below an item: those it owns and those it shows.
void collectObjects(QObject* from, QSet<QObject*>* objects)
{
    if (from == nullptr || objects->contains(from))
        return;
    objects->insert(from);
    for (QObject* const child : from->children())
        collectObjects(child, objects);
    if (const auto* const item = qobject_cast<QQuickItem*>(from)) {
        const QList<QQuickItem*> children = item->childItems();
        for (QQuickItem* const child : children)
            collectObjects(child, objects);
    }
}

QList<QObject*> channelsOf(const QObject* backend)
{
    QList<QObject*> channels;
    const auto* const model = backend->property("statusChannelsModel").value<QAbstractItemModel*>();
    for (int row = 0; row < model->rowCount(); ++row)
        channels.append(model->index(row, 0).data(Qt::UserRole).value<QObject*>());
    return channels;
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

// The time of QML's timers and animations, which passes when the test says so: that of a driver of
// animations, which is used as long as an animation runs.
class SimulatedTime : public QAnimationDriver
{
public:
    bool start(QQmlEngine& engine)
    {
        install();
        QQmlComponent component(&engine);
        component.setData("import QtQuick 2.15\nNumberAnimation { running: true; loops: Animation.Infinite; "
                          "duration: 60000; from: 0; to: 1; property: \"value\"; "
                          "target: QtObject { property real value } }",
                          QUrl("qrc:/simulated_time.qml"));
        m_animation.reset(component.create());
        return m_animation != nullptr && QTest::qWaitFor([this] { return isRunning(); });
    }
    void pass(int milliseconds)
    {
        m_elapsed += milliseconds;
        advance();
    }
    qint64 elapsed() const override { return m_elapsed; }

protected:
    void start() override
    {
        m_elapsed = 0;
        QAnimationDriver::start();
    }

private:
    qint64 m_elapsed = 0;
    std::unique_ptr<QObject> m_animation;
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
    void noItemIsWithoutName();
    void looks();
    void texts_data();
    void texts();
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
    void rowsComeAndGo();
    void pollsOnlyWhileShown();
    void disconnected();
    void age_data();
    void age();
    void identification();
    void anotherControllerAfterALostLink();
    void identifiedBeforeAnythingIsRead();
    void aPollOfTheConnectionBefore();
    void awaitedValues();
    void noAgeWithoutValues();
    void unreadValues();
    void failures_data();
    void failures();
    void aFailureStaysUntilDismissed();
    void keyboard();
    void focusFrameFollows();
    void actionsHaveNames();
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
    Q_INIT_RESOURCE(translations);
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

void TestPanelPage::noItemIsWithoutName()
{
    PageHost host({"direction", "motorRun", "alarm-"});
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_1") != nullptr);
    QQuickItem* const column = window.item("idColumn");
    const auto unnamed = [&] {
        int seen = 0;
        QStringList found;
        collectUnnamed(column, column->objectName(), &seen, &found);
        return seen > 50 ? found : QStringList("the page's items have not been found");
    };
    QVERIFY2(unnamed().isEmpty(), qPrintable(unnamed().join('\n')));
    // One without a name is found, at every depth.
    QQmlComponent component(window.window.engine());
    component.setData("import QtQuick 2.15\nItem {}",
                      QUrl("qrc:/plugins/p_device_mdc/qml/maintenance_panel.qml"));
    for (const QString& place : {QString("idColumn"), channelValue(2)}) {
        const std::unique_ptr<QObject> made(component.create());
        qobject_cast<QQuickItem*>(made.get())->setParentItem(window.item(place));
        QCOMPARE(unnamed().size(), 1);
    }
    QCOMPARE(unnamed(), QStringList());
}

// Fonts, icons, gaps and places.
void TestPanelPage::looks()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_1") != nullptr);
    const auto font = [&](const QString& name) { return window.item(name)->property("font").value<QFont>(); };
    QQmlComponent component(window.window.engine());
    component.setData(
        "import QtQml 2.15; import \"widgets\"; QtObject { property font label: Style.fontLabel }",
        QUrl("qrc:/applications/Kivora/gui/looks.qml"));
    const std::unique_ptr<QObject> style(component.create());
    QVERIFY2(style != nullptr, qPrintable(component.errorString()));
    const QFont label = style->property("label").value<QFont>();
    for (const QString& name : {QString("idColumn.idTitleCommand"), QString("idColumn.idTitleStatus"),
                                c_field, channelValue(0) + ".idFrameChannelText.idChannelText"})
        QVERIFY2(font(name) == label, qPrintable(name));
    const QString info = "idColumn.idDeviceInfo.idDeviceInfoRow_1";
    QVERIFY(font(info + ".idName").bold());
    QVERIFY(!font(info + ".idValue").bold());
    for (int row = 0; row < 3; ++row) {
        QVERIFY(font(channelItem(row) + ".idChannelRow.idFrameChannelName.idChannelName").bold());
        QCOMPARE(window.item(channelItem(row) + ".idChannelRow.idChannelGlyph")->property("name").toString(),
                 QString("icon-tighteningfromdata"));
    }
    for (const char* const command : {"Program", "Lock", "Direction"})
        QCOMPARE(window.item(c_commands + QString(".idRowSet%1.idGlyphSet%1").arg(command))
                     ->property("name")
                     .toString(),
                 QString("icon-uploadsettings"));

    // The value stands at the right end.
    const QQuickItem* const value = window.item(info + ".idValue");
    QTRY_COMPARE(value->x() + value->width(), window.root()->width());
    // Row by row, in their order, with the frame's gap.
    const qreal spacing = window.root()->property("spacing").toReal();
    QVERIFY(spacing > 0);
    QCOMPARE(window.item("idColumn")->property("spacing").toReal(), spacing);
    QStringList parts{"idColumn.idDeviceInfo", "idColumn.idTitleCommand", c_commands,
                      "idColumn.idTitleStatus"};
    for (int row = 0; row < 3; ++row)
        parts.append(channelItem(row));
    for (int i = 1; i < parts.size(); ++i) {
        const QQuickItem* const above = window.item(parts.at(i - 1));
        QTRY_COMPARE(window.item(parts.at(i))->y(), above->y() + above->height() + spacing);
    }
    // The rows of commands.
    const QStringList rows{"idRowSetProgram", "idRowSetLock", "idRowSetDirection"};
    for (int i = 1; i < rows.size(); ++i) {
        const QQuickItem* const above = window.item(c_commands + '.' + rows.at(i - 1));
        QCOMPARE(window.item(c_commands + '.' + rows.at(i))->y(), above->y() + above->height() + 32);
    }
    // The button below the field, half of the row each.
    const QQuickItem* const frame = window.item(c_program + ".idFrameProgram");
    QCOMPARE(frame->height(), 40.0);
    QCOMPARE(window.item(c_apply)->height(), 40.0);
    QCOMPARE(window.item(c_apply)->y(), 40.0);
    // In the middle.
    const auto middle = [](const QQuickItem* item) {
        return item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    };
    const auto isCentred = [&](const QString& inner, const QString& outer, bool alsoAcross) {
        const QPointF away = middle(window.item(inner)) - middle(window.item(outer));
        return std::abs(away.y()) <= 0.5 && (!alsoAcross || std::abs(away.x()) <= 0.5);
    };
    QVERIFY(isCentred(channelValue(0) + ".idFrameChannelText.idChannelText", channelValue(0), true));
    QVERIFY(isCentred(channelValue(1) + ".idChannelLed", channelValue(1), true));
    for (const QString& row : rows) {
        const QString command = row.mid(5); // without "idRow"
        const QString path = c_commands + '.' + row;
        QVERIFY(isCentred(path + ".idGlyph" + command, path, false));
        QVERIFY(isCentred(path + ".idFrameLabel" + command + ".idLabel" + command, path, false));
    }
    QVERIFY(
        isCentred(channelItem(2) + ".idChannelRow.idChannelGlyph", channelItem(2) + ".idChannelRow", false));
    const QQuickItem* const field = window.item(c_field);
    QCOMPARE(field->property("horizontalAlignment").toInt(), int(Qt::AlignHCenter));
    QCOMPARE(field->property("verticalAlignment").toInt(), int(Qt::AlignVCenter));
    QCOMPARE(field->size(), frame->size());
    // A name is as far from its icon in every row.
    QVERIFY(window.item(channelItem(0) + ".idChannelRow.idFrameChannelName")->x() > 0);
}

void TestPanelPage::texts_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("English")
        << "en"
        << QStringList{
               "Controller commands", "Set program", "Apply",     "Set lock",         "Lock", "Unlock",
               "Set direction",       "Fastening",   "Loosening", "Controller Status"};
    QTest::newRow("French") << "fr"
                            << QStringList{"Commandes du contrôleur",
                                           "Choisir le programme",
                                           "Appliquer",
                                           "Verrouillage de l’outil",
                                           "Verrouiller",
                                           "Déverrouiller",
                                           "Sens de rotation",
                                           "Vissage",
                                           "Dévissage",
                                           "État du contrôleur"};
}

void TestPanelPage::texts()
{
    QFETCH(QString, language);
    QTranslator translator;
    QVERIFY(translator.load(":/translations/p_device_mdc_" + language + ".qm"));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    PageHost host;
    Window window(host);
    const QString direction = c_commands + ".idRowSetDirection.";
    const QString lock = c_commands + ".idRowSetLock.";
    QStringList found;
    for (const QString& name :
         {QString("idColumn.idTitleCommand"),
          c_commands + ".idRowSetProgram.idFrameLabelSetProgram.idLabelSetProgram", c_apply,
          lock + "idFrameLabelSetLock.idLabelSetLock", c_lock, lock + "idButtonsSetLock.idButtonUnlock",
          direction + "idFrameLabelSetDirection.idLabelSetDirection",
          direction + "idButtonsSetDirection.idButtonFastening",
          direction + "idButtonsSetDirection.idButtonLoosening", QString("idColumn.idTitleStatus")})
        found.append(window.text(name));
    QTEST(found, "expected");
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

// Rows that come after a collection of garbage are given their colours and names like the first ones.
void TestPanelPage::rowsComeAndGo()
{
    PageHost host({"direction", "motorRun"});
    Window window(host, "mdc", true);
    QTRY_VERIFY(window.page().isComplete());
    const QString text = channelValue(0) + ".idFrameChannelText.idChannelText";
    const QVariant colour = window.item(text)->property("color");
    for (int i = 0; i < 20; ++i) {
        window.window.engine()->collectGarbage();
        QVERIFY(QMetaObject::invokeMethod(window.backend(), "resetBackend"));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        window.window.engine()->collectGarbage();
        QTRY_COMPARE(window.item(text)->property("color"), colour);
        QTRY_COMPARE(window.item(channelValue(1) + ".idChannelLed")->property("label").toString(),
                     QString("The motorRun"));
    }
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

// Which registers are read is known only from the controller that is there now.
void TestPanelPage::identifiedBeforeAnythingIsRead()
{
    PageHost host;
    Window window(host);
    window.root()->setProperty("updatePeriod", 5);
    QTRY_VERIFY(window.page().isComplete());
    const QString model = "idColumn.idDeviceInfo.idDeviceInfoRow_0.idValue";
    QTRY_VERIFY(window.item(model) != nullptr);
    QCOMPARE(window.text(model), QString("MDC-26"));
    host.connectDriver(false);
    QTRY_VERIFY(!window.page().isWaiting());
    host.forgetRuns();
    host.model = "MDC-32";
    host.connectDriver(true);
    QTRY_VERIFY(host.order.contains("getRegister"));
    QCOMPARE(host.order.first(), QString("getInfo"));
    QTRY_COMPARE(window.text(model), QString("MDC-32"));
    QCOMPARE(window.item("idColumn.idDeviceInfo")->property("count").toInt(), 2);
}

void TestPanelPage::aPollOfTheConnectionBefore()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    window.root()->setProperty("updatePeriod", 1000000000);
    host.holdReads();
    QMetaObject::invokeMethod(window.root(), "updateData");
    QTRY_VERIFY(host.order.last() == "getRegister");
    host.connectDriver(false);
    host.connectDriver(true);
    QTRY_VERIFY(window.root()->property("identified").toBool());
    host.reads = false;
    for (int row = 0; row < 3; ++row)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("getRegister failed"));
    host.endHeldReads();
    QTRY_VERIFY(!window.page().isWaiting());
    QVERIFY2(!window.page().isAnswered(), "nothing has been read on the new connection");
    QCOMPARE(window.root()->property("unreadValues").toInt(), 0);
    host.reads = true;
    QMetaObject::invokeMethod(window.root(), "updateData");
    QTRY_VERIFY(window.page().isComplete());
}

// Values that are awaited are those that are asked for from then on.
void TestPanelPage::awaitedValues()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    window.root()->setProperty("updatePeriod", 1000000000);
    host.holdReads();
    QMetaObject::invokeMethod(window.root(), "updateData");
    QTRY_VERIFY(host.order.last() == "getRegister");
    window.page().awaitValues();
    host.endHeldReads();
    QTRY_VERIFY(!window.page().isWaiting());
    QVERIFY(!window.page().isAnswered());
    QMetaObject::invokeMethod(window.root(), "updateData");
    QTRY_VERIFY(window.page().isAnswered());
}

// The rows begin anew with an identified controller; what was read before is not on the page any more.
void TestPanelPage::noAgeWithoutValues()
{
    PageHost host;
    Window window(host);
    window.root()->setProperty("updatePeriod", 5);
    QTRY_VERIFY(window.page().isComplete());
    host.connectDriver(false);
    QTRY_VERIFY(!window.page().isWaiting());
    QVERIFY(window.text("idReason.idText").contains("panel_age_of_values"));
    host.reads = false;
    host.connectDriver(true);
    QTRY_COMPARE(window.root()->property("unreadValues").toInt(), 3);
    QVERIFY(window.isShown("idUnread"));
    QCOMPARE(window.text("idUnread.idText"), QString());
    QVERIFY2(window.page().isAnswered() || window.page().isWaiting(), "asked in vain");
    QVERIFY(!window.page().isComplete());
    host.reads = true;
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
    QVERIFY(window.text("idUnread.idText").contains("panel_age_of_values"));
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
    const ActionFailure failure = actionFailure("Tool lock", outcome);
    QCOMPARE(failure.title, title);
    QTEST(failure.reason, "reason");
    QCOMPARE(failure.uncertain, code == IMessenger::CeEcUncertain);
    // As far as a title goes without a translation, which names the action.
    QCOMPARE(actionFailure(QString(), outcome).title, title);

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

void TestPanelPage::focusFrameFollows()
{
    PageHost host;
    Window window(host);
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    QVERIFY(!window.isShown("idFocusFrame"));
    window.press(c_field);
    QVERIFY(window.isShown("idFocusFrame"));
    const auto place = [&](const QString& name) {
        const QQuickItem* const item = window.item(name);
        return item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
    };
    const QRectF before = place(c_field);
    QCOMPARE(place("idFocusFrame"), before);
    window.window.resize(900, 500);
    QTRY_VERIFY(place(c_field) != before);
    QCOMPARE(place("idFocusFrame"), place(c_field));
    window.press(c_lock);
    QVERIFY(!window.isShown("idFocusFrame"));
}

void TestPanelPage::actionsHaveNames()
{
    PageHost host;
    Window window(host);
    const DAbstractPluginBackend& backend = *window.page().backend();
    QCOMPARE(actionName(backend, "setLock"), QString("setLock"));

    QTranslator translators[2];
    QVERIFY(translators[0].load(":/translations/panel_en.qm"));
    QVERIFY(translators[1].load(":/translations/p_device_mdc_en.qm"));
    for (QTranslator& translator : translators)
        QVERIFY(QCoreApplication::installTranslator(&translator));
    const DOrderOutcome refused{false, IMessenger::CeEcRefused, QString(), {}};
    const QMap<QString, QString> names{{"setProgram", "Set program"},
                                       {"setLock", "Tool lock"},
                                       {"setDirection", "Set direction"},
                                       {"", "Switch a value"},
                                       {"another", "another"}};
    for (auto name = names.cbegin(); name != names.cend(); ++name)
        QCOMPARE(actionFailure(actionName(backend, name.key()), refused).title, name.value() + ": not done");

    const QObject silent;
    QCOMPARE(pageInformation(silent, "identification"), QString());
    QCOMPARE(actionName(silent, "setLock"), QString("setLock"));
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
    QCOMPARE(name(channelValue(1) + ".idChannelLed"), QString("The motorRun, panel_indicator_on"));
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
    const auto settle = [] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    };
    const auto openAndClose = [&](int stage, QSet<QObject*>* pageObjects, QList<QPointer<QObject>>* watched) {
        Window window(host);
        // Closed at every stage: at once, in the middle, and with all values.
        if (stage == 1)
            QCoreApplication::processEvents();
        while (stage == 2 && !window.page().isComplete())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        pageObjects->clear();
        collectObjects(window.root(), pageObjects);
        const QList<QObject*> channels = channelsOf(window.backend());
        QCOMPARE(channels.size(), 3);
        for (QObject* const channel : channels)
            pageObjects->insert(channel);
        QVERIFY(pageObjects->contains(window.backend()));
        for (QObject* const object : qAsConst(*pageObjects))
            watched->append(object);
    };
    QSet<QObject*> objects;
    QList<QPointer<QObject>> watched;
    // What Qt Quick keeps from the first time on.
    for (int stage = 0; stage < 3; ++stage)
        openAndClose(stage, &objects, &watched);
    settle();
    watched.clear();
    const LiveObjects live;
    for (int i = 0; i < 200; ++i) {
        openAndClose(i % 3, &objects, &watched);
        QVERIFY2(objects.size() > 100, qPrintable(QString::number(objects.size())));
    }
    // What was under way when its page went is dropped.
    settle();
    QVERIFY(live.made() > 200 * 100);
    const auto alive = std::count_if(watched.cbegin(), watched.cend(),
                                     [](const QPointer<QObject>& object) { return !object.isNull(); });
    QVERIFY2(alive == 0, qPrintable(QString("%1 of %2").arg(alive).arg(watched.size())));
    QVERIFY(QGuiApplication::allWindows().isEmpty());
    QVERIFY2(live.count() < 20, qPrintable(QString("%1 objects more than before").arg(live.count())));
}

// The frame's own timer asks at its own period, in a time that runs as fast as the answers come.
void TestPanelPage::eightHours()
{
    constexpr int c_period = 500; // ms
    constexpr int c_refreshes = 8 * 3600 * 1000 / c_period;
    SimulatedTime time;
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(window.root()->property("updatePeriod").toInt(), c_period);
    QVERIFY(time.start(*window.window.engine()));
    QSignalSpy updates(window.root(), SIGNAL(updateData()));
    int updated = 0;
    const auto refresh = [&](int i) {
        // What the test itself takes down is not to grow either.
        updated += updates.size();
        updates.clear();
        host.forgetRuns();
        host.values["direction"] = i % 2;
        host.values["motorRun"] = i % 3;
        host.values["currentPreset"] = i % 1000;
        time.pass(c_period);
        QCoreApplication::processEvents();
        while (window.page().backend()->hasPendingTreatments())
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    };
    const auto heap = [&] {
        window.window.engine()->collectGarbage();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return static_cast<qint64>(mallinfo2().uordblks);
    };
    const auto objects = [&] {
        QSet<QObject*> found;
        collectObjects(window.root(), &found);
        return found.size();
    };
    for (int i = 0; i < 2000; ++i)
        refresh(i);
    const int objectsBefore = objects();
    QVERIFY(objectsBefore > 100);
    const qint64 heapBefore = heap();
    const int readBefore = host.counts.value("getRegister");
    updated = -updates.size();
    const LiveObjects live;
    for (int i = 0; i < c_refreshes; ++i)
        refresh(i);
    updated += updates.size();
    QVERIFY2(std::abs(updated - c_refreshes) <= 2, qPrintable(QString::number(updated)));
    QCOMPARE(host.counts.value("getRegister") - readBefore, 3 * updated);
    QCOMPARE(window.text(channelValue(2) + ".idFrameChannelText.idChannelText"),
             QString::number((c_refreshes - 1) % 1000));
    const qint64 growth = heap() - heapBefore;
    QCOMPARE(objects(), objectsBefore);
    QVERIFY2(live.count() < 20, qPrintable(QString("%1 objects more than before").arg(live.count())));
    QVERIFY2(growth < 200000, qPrintable(QString("the heap has grown by %1 bytes").arg(growth)));
}

QTEST_MAIN(TestPanelPage)

#include "tst_panel_page.moc"
