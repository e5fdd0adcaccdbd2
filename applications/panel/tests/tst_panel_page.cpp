// The maintenance page in its frame, on a host without a controller.

#include "page_window.h"

#include "applications/panel/page_text.h"
#include "tests/support/live_objects.h"
#include "tests/support/platform.h"

#include <QAbstractItemModel>
#include <QAnimationDriver>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QSet>
#include <QSignalSpy>
#include <QTranslator>

#include <algorithm>
#include <cmath>
#ifdef Q_OS_LINUX
#include <malloc.h>
#endif
#include <memory>

namespace {

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
    void openedAndClosed();
    void eightHours();
};

void TestPanelPage::initTestCase()
{
    Q_INIT_RESOURCE(translations);
    preparePanels();
}

void TestPanelPage::cleanup()
{
    const QString complaints = takeComplaints();
    QVERIFY2(complaints.isEmpty(), qPrintable(complaints));
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
        QCOMPARE(window.item(c_commands + '.' + rows.at(i))->y(), above->y() + above->height() + 4 * c_unit);
    }
    // The button below the field, half of the row each.
    const QQuickItem* const frame = window.item(c_program + ".idFrameProgram");
    QCOMPARE(frame->height(), 5 * c_unit);
    QCOMPARE(window.item(c_apply)->height(), 5 * c_unit);
    QCOMPARE(window.item(c_apply)->y(), 5 * c_unit);
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
    constexpr qreal unit = c_unit;
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
    // On a whole pixel.
    QVERIFY(std::abs(lamp->x() + lamp->width() / 2 - window.item(channelValue(1))->width() / 2) <= 0.5);
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
    // A lamp that is neither on nor off says nothing of it.
    QQuickItem* const lamp = window.item(channelValue(1) + ".idChannelLed");
    const auto words = [&] {
        QString found;
        const QList<QQuickItem*> inside = shownItems(lamp);
        for (const QQuickItem* const item : inside)
            found += item->property("text").toString();
        return found;
    };
    QCOMPARE(words(), QString());
    QCOMPARE(accessibleName(lamp), QString("The motorRun"));
    host.identifies = true;
    QTRY_COMPARE(words(), QString("panel_indicator_on"));
    QCOMPARE(accessibleName(lamp), QString("The motorRun: maintenance_panel_On"));
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
        QCOMPARE(window.item(channelItem(row))->height(), 5 * c_unit + gap);
        gaps += QString::number(gap / c_unit);
    }
    QTEST(gaps, "gaps");
    QCOMPARE(window.item(channelItem(static_cast<int>(channels.size()))), nullptr);
}

void TestPanelPage::groupsFollowAReset()
{
    PageHost host({"direction", "motorRun"});
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(window.item(channelItem(1) + ".idChannelRow")->y(), c_unit);
    PageHost other({"motorRun", "motorRun", "direction"});
    host.device.setInPluginConfig("channels",
                                  other.device.getInPluginConfig("channels", QJsonValue(), nullptr));
    QVERIFY(QMetaObject::invokeMethod(window.backend(), "resetBackend"));
    QTRY_VERIFY(window.item(channelItem(2)) != nullptr);
    QCOMPARE(window.item(channelItem(1) + ".idChannelRow")->y(), 0.0);
    QCOMPARE(window.item(channelItem(2) + ".idChannelRow")->y(), c_unit);
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
        QTRY_VERIFY(
            accessibleName(window.item(channelValue(1) + ".idChannelLed")).startsWith("The motorRun"));
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
    if (runsUnderWine())
        QSKIP("so many readings take more than three minutes under Wine");
    constexpr int c_period = 500; // ms
#ifdef MDC_SANITIZED
    // The sanitizers tell nothing of the heap: eight hours go by where they do not look on.
    constexpr int c_hours = 1;
#else
    constexpr int c_hours = 8;
#endif
    constexpr int c_refreshes = c_hours * 3600 * 1000 / c_period;
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
#ifdef Q_OS_LINUX
        return static_cast<qint64>(mallinfo2().uordblks);
#else
        return qint64(0); // not told
#endif
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
#if defined(Q_OS_LINUX) && !defined(MDC_SANITIZED)
    QVERIFY(heapBefore > 0);
#endif
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
