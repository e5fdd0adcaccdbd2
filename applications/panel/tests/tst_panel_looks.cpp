// How the page looks and is reached: sizes, colours, keyboard, and what readers of the screen find.

#include "page_window.h"

#include "applications/panel/page_text.h"

#include <QAccessible>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QImage>
#include <QMetaEnum>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItemGrabResult>
#include <QQuickView>
#include <QTemporaryDir>
#include <QTranslator>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

namespace {

// As the accessibility guidelines of the web reckon it.
double luminance(const QColor& colour)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrastRatio(const QColor& one, const QColor& other)
{
    const double first = luminance(one);
    const double second = luminance(other);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

bool isText(const QQuickItem& item)
{
    return item.inherits("QQuickText");
}

bool isControl(const QQuickItem& item)
{
    return item.inherits("QQuickAbstractButton") || item.inherits("QQuickTextInput") ||
           item.property("statusColor").isValid();
}

// Of a text what is painted of it, in the window.
QRectF painted(const QQuickItem& item)
{
    if (!isText(item))
        return sceneRect(item);
    return item.mapRectToScene(item.boundingRect().translated(0, item.property("topPadding").toReal()));
}

const QQuickItem* flickableAround(const QQuickItem* item)
{
    while (item != nullptr && !item->inherits("QQuickFlickable"))
        item = item->parentItem();
    return item;
}

bool isInside(const QQuickItem* item, const QQuickItem* ancestor)
{
    while (item != nullptr && item != ancestor)
        item = item->parentItem();
    return item != nullptr;
}

QString described(const QQuickItem& item)
{
    const QRectF place = painted(item);
    return QString("%1 \"%2\" at %3,%4 %5x%6")
        .arg(item.objectName().section('.', -2), item.property("text").toString())
        .arg(place.x())
        .arg(place.y())
        .arg(place.width())
        .arg(place.height());
}

// Texts and controls that are cut off, stand out of the window, or lie on one another.
QStringList faultsOfLayout(Window& window)
{
    constexpr qreal c_tolerance = 2;
    QStringList faults;
    QList<QQuickItem*> items;
    const QList<QQuickItem*> shown = shownItems(window.window.rootObject());
    for (QQuickItem* const item : shown) {
        const bool isEmpty = isText(*item) && item->property("text").toString().isEmpty();
        if ((isText(*item) || isControl(*item)) && !isEmpty)
            items.append(item);
    }
    for (int i = 0; i < items.size(); ++i) {
        const QQuickItem& item = *items.at(i);
        const QRectF place = painted(item);
        if (place.left() < -0.5 || place.right() > window.window.width() + 0.5)
            faults.append("out of the window: " + described(item));
        if (item.property("truncated").toBool())
            faults.append("cut off: " + described(item));
        // Of a button its text, not the note under it.
        const QQuickItem* const around = item.parentItem();
        if (around->inherits("QQuickAbstractButton") && item.objectName() != "idNote" &&
            !sceneRect(*around).adjusted(-0.5, -0.5, 0.5, 0.5).contains(place))
            faults.append("out of its button: " + described(item));
        for (int j = 0; j < i; ++j) {
            const QQuickItem& other = *items.at(j);
            const QRectF common = place & painted(other);
            if (isInside(&item, &other) || isInside(&other, &item) ||
                flickableAround(&item) != flickableAround(&other) || common.width() <= c_tolerance ||
                common.height() <= c_tolerance)
                continue;
            faults.append("on one another: " + described(item) + " and " + described(other));
        }
    }
    return items.size() > 20 ? faults : QStringList("the page's items have not been found");
}

// What the window shows; null when it could not be drawn.
QImage drawn(Window& window)
{
    const QSharedPointer<QQuickItemGrabResult> grabbed = window.window.rootObject()->grabToImage();
    if (grabbed.isNull() || !QTest::qWaitFor([&] { return !grabbed->image().isNull(); }))
        return {};
    return grabbed->image();
}

// The texts of a language, as long as this lives.
class Language
{
public:
    explicit Language(const QString& language)
    {
        for (std::size_t i = 0; i < 2; ++i)
            m_good =
                translators[i].load(
                    QString(":/translations/%1_%2.qm").arg(i == 0 ? "panel" : "p_device_mdc", language)) &&
                QCoreApplication::installTranslator(&translators[i]) && m_good;
    }
    bool isGood() const { return m_good; }

private:
    QTranslator translators[2];
    bool m_good = true;
};

// As long as the device's names and values are.
void giveLongTexts(PageHost& host, const QString& language)
{
    const bool isFrench = language == "fr";
    host.identityNames = isFrench ? QStringList{"Modèle du contrôleur", "Modèle de la visseuse", "Version",
                                                "N° de série de la visseuse", "Version du logiciel"}
                                  : QStringList{"Controller model", "Screwdriver model", "Version",
                                                "Screwdriver S/N", "Software version"};
    host.serialNumber = "AD-BMT3236L";
    host.addChannel("lock");
    host.values["lock"] = 2;
    host.values["direction"] = 1;
    host.values["currentPreset"] = 255;
}

const DOrderOutcome c_refused{false,
                              IMessenger::CeEcRefused,
                              "192.168.100.200:1502 refused the write of 1 register from 6004 with function "
                              "0x06: illegal data address (2)",
                              {}};

} // namespace

class TestPanelLooks : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void smallWindow();
    void darkAndLight_data();
    void darkAndLight();
    void contrast_data();
    void contrast();
    void accessibleNames();
    void nothingOverlaps_data();
    void nothingOverlaps();
    void everyRowByKeyboard_data();
    void everyRowByKeyboard();
    void noticesLeaveRoom_data();
    void noticesLeaveRoom();
    void keepsItsWidth_data();
    void keepsItsWidth();
    void touchTargets();
    void aDragScrollsAnywhere();
    void nothingIsDrawnOutsideWhatScrolls();
    void outlinesAreWhole_data();
    void outlinesAreWhole();
    void lampSaysItsState();
    void titlesStandAboveWhatTheyHead();
    void oneScale();
    void typedNumberIsSeen_data() { contrastOfThePicture_data(); }
    void typedNumberIsSeen();
    void contrastOfThePicture_data();
    void contrastOfThePicture();
    void accessibleTree();
    void withoutOurFrame_data();
    void withoutOurFrame();
};

void TestPanelLooks::initTestCase()
{
    Q_INIT_RESOURCE(translations);
    preparePanels();
}

void TestPanelLooks::cleanup()
{
    const QString complaints = takeComplaints();
    QVERIFY2(complaints.isEmpty(), qPrintable(complaints));
}

void TestPanelLooks::smallWindow()
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

void TestPanelLooks::darkAndLight_data()
{
    QTest::addColumn<bool>("dark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
}

void TestPanelLooks::darkAndLight()
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

void TestPanelLooks::contrast_data()
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
    row("badColor", "buttonColor");
    row("goodColor", "badSurfaceColor");
    row("secondaryTextColor", "buttonColor");
    row("secondaryTextColor", "buttonPressedColor");
    row("doubtfulColor", "doubtfulSurfaceColor");
    // Icons, lamps and outlines.
    row("accentColor", "backgroundColor", 3);
    row("toolStatusIn", "backgroundColor", 3);
    row("toolStatusInactive", "backgroundColor", 3);
    row("buttonBorderColor", "backgroundColor", 3);
    row("buttonBorderColor", "buttonColor", 3);
    row("widgetDisabledBorderColor", "backgroundColor", 3);
    row("widgetDisabledBorderColor", "buttonColor", 3);
    row("accentColor", "buttonColor", 3);
    row("badColor", "backgroundColor", 3);
}

void TestPanelLooks::contrast()
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
        const auto colour = [&](const QString& name) {
            return style->property(qPrintable(name)).value<QColor>();
        };
        QVERIFY(colour(text).isValid() && colour(ground).isValid());
        const double ratio = contrastRatio(colour(text), colour(ground));
        QVERIFY2(ratio >= least, qPrintable(QString("%1 : 1, dark %2").arg(ratio).arg(dark)));
    }
}

void TestPanelLooks::accessibleNames()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    const auto name = [&](const QString& item) { return accessibleName(window.item(item)); };
    QCOMPARE(name(c_field), QString("maintenance_panel_Set_program"));
    QCOMPARE(name(c_apply), QString("maintenance_panel_Apply"));
    QCOMPARE(name(c_lock), QString("maintenance_panel_Lock"));
    QCOMPARE(name("idLink"), QString("panel_link_connected"));
    QCOMPARE(name(channelValue(1) + ".idChannelLed"), QString("The motorRun: maintenance_panel_On"));
    host.connectDriver(false);
    QVERIFY(name("idReason").startsWith("panel_reason_no_link"));
}

void TestPanelLooks::nothingOverlaps_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<int>("width");
    for (const char* const language : {"en", "fr"}) {
        for (const int width : {320, 360, 400, 439, 440, 480, 600, 900, 1400})
            QTest::newRow(qPrintable(QString("%1, %2").arg(language).arg(width))) << language << width;
    }
}

// With all that a page can show at once, and the longest texts.
void TestPanelLooks::nothingOverlaps()
{
    QFETCH(QString, language);
    QFETCH(int, width);
    const Language texts(language);
    QVERIFY(texts.isGood());
    PageHost host;
    giveLongTexts(host, language);
    Window window(host, "Bench 7, left", false, {width, 600});
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_4") != nullptr);
    const auto faults = [&] {
        QStringList found;
        // Layouts are done with the next frame.
        if (!QTest::qWaitFor([&] { return (found = faultsOfLayout(window)).isEmpty(); }, 1000))
            return found.join('\n');
        return QString();
    };
    QCOMPARE(faults(), QString());
    window.item(c_field)->setProperty("text", "255");
    for (const QString& button : {c_apply, c_unlock, c_loosening}) {
        window.press(button);
        QTRY_VERIFY(!window.page().isWaiting());
        QVERIFY(!window.item(button)->property("note").toString().isEmpty());
    }
    QCOMPARE(faults(), QString());
    window.item(c_field)->setProperty("text", "0");
    window.press(c_apply);
    QVERIFY(!window.item(c_field)->property("problem").toString().isEmpty());
    QCOMPARE(faults(), QString());
    host.outcome = c_refused;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setDirection failed"));
    QMetaObject::invokeMethod(window.backend(), "setDirection", Q_ARG(bool, true));
    QTRY_VERIFY(window.isShown("idFailure"));
    QCOMPARE(faults(), QString());
    host.outcome.errorCode = IMessenger::CeEcUncertain;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed"));
    QMetaObject::invokeMethod(window.backend(), "setLock", Q_ARG(bool, true));
    QTRY_COMPARE(window.item("idFailure.idGlyph")->property("name").toString(), QString("uncertain"));
    host.connectDriver(false);
    QCOMPARE(faults(), QString());
}

void TestPanelLooks::everyRowByKeyboard_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("smallest") << QSize(320, 240);
    QTest::newRow("low") << QSize(600, 300);
    QTest::newRow("usual") << QSize(600, 800);
}

// Also those that have nothing that could have the focus.
void TestPanelLooks::everyRowByKeyboard()
{
    QFETCH(QSize, size);
    PageHost host;
    giveLongTexts(host, "en");
    Window window(host, "mdc", false, size);
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_4") != nullptr);
    QStringList left;
    for (int row = 0; row < 5; ++row)
        left.append(QString("idColumn.idDeviceInfo.idDeviceInfoRow_%1").arg(row));
    left += {"idColumn.idTitleCommand", c_field, c_apply, c_unlock, c_loosening, "idColumn.idTitleStatus"};
    for (int row = 0; row < 3; ++row)
        left.append(channelItem(row) + ".idChannelRow");
    left.append("idState_0");
    const QStringList all = left;
    const QRectF view = sceneRect(*window.item("idView"));
    const auto isInSight = [&](const QString& name) {
        const QRectF place = sceneRect(*window.item(name));
        return place.top() >= view.top() - 0.5 && place.bottom() <= view.bottom() + 0.5;
    };
    const auto look = [&] { left.erase(std::remove_if(left.begin(), left.end(), isInSight), left.end()); };
    look();
    for (int i = 0; i < 100 && !left.isEmpty(); ++i) {
        QTest::keyClick(&window.window, Qt::Key_Down);
        look();
    }
    QVERIFY2(left.isEmpty(), qPrintable(left.join('\n')));
    QVERIFY(isInSight(all.last()));
    QTest::keyClick(&window.window, Qt::Key_Home);
    QVERIFY(isInSight(all.first()));
    QTest::keyClick(&window.window, Qt::Key_End);
    QVERIFY(isInSight(all.last()));
    QTest::keyClick(&window.window, Qt::Key_PageUp);
    QTest::keyClick(&window.window, Qt::Key_PageDown);
    QVERIFY(isInSight(all.last()));
    for (int i = 0; i < 100 && !isInSight(all.first()); ++i)
        QTest::keyClick(&window.window, Qt::Key_Up);
    QVERIFY(isInSight(all.first()));
    // The field's own keys stay its own.
    window.item(c_field)->setProperty("text", "12");
    window.item(c_field)->forceActiveFocus();
    QTest::keyClick(&window.window, Qt::Key_Home);
    QCOMPARE(window.item(c_field)->property("cursorPosition").toInt(), 0);
}

void TestPanelLooks::noticesLeaveRoom_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("smallest") << QSize(320, 240);
    QTest::newRow("narrow") << QSize(320, 600);
    QTest::newRow("low") << QSize(600, 300);
    QTest::newRow("usual") << QSize(600, 800);
}

// A third of the height at most; the rest of what they say scrolls, with the keyboard too.
void TestPanelLooks::noticesLeaveRoom()
{
    QFETCH(QSize, size);
    const Language texts("fr");
    PageHost host;
    Window window(host, "mdc", false, size);
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    host.outcome = c_refused;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed"));
    QMetaObject::invokeMethod(window.backend(), "setLock", Q_ARG(bool, true));
    QTRY_VERIFY(window.isShown("idFailure"));
    host.connectDriver(false);
    QVERIFY(window.isShown("idReason"));
    QQuickItem* const notices = window.item("idNotices");
    QVERIFY(notices != nullptr);
    QTRY_VERIFY(notices->height() > 0);
    QVERIFY2(notices->height() <= window.window.height() / 3.0,
             qPrintable(QString::number(notices->height())));
    QTRY_VERIFY(window.item("idView")->y() >= notices->y() + notices->height());
    const auto bottom = [&] { return sceneRect(*window.item("idReason")).bottom(); };
    const auto end = [&] { return sceneRect(*notices).bottom() + 0.5; };
    if (bottom() <= end())
        return;
    for (int i = 0; i < 20 && !notices->hasActiveFocus(); ++i)
        QTest::keyClick(&window.window, Qt::Key_Tab);
    QVERIFY(notices->hasActiveFocus());
    for (int i = 0; i < 100 && bottom() > end(); ++i)
        QTest::keyClick(&window.window, Qt::Key_Down);
    QVERIFY(bottom() <= end());
    // The button to put it away is scrolled to.
    for (int i = 0; i < 20 && window.window.activeFocusItem() != window.item("idFailure.idButton"); ++i)
        QTest::keyClick(&window.window, Qt::Key_Tab);
    const QRectF button = sceneRect(*window.item("idFailure.idButton"));
    QVERIFY(button.bottom() <= end() && button.top() >= sceneRect(*notices).top() - 0.5);
}

void TestPanelLooks::keepsItsWidth_data()
{
    QTest::addColumn<int>("window");
    QTest::addColumn<qreal>("page");
    QTest::newRow("usual") << 600 << 600 - 4 * c_unit;
    QTest::newRow("just as wide") << 900 << 900 - 4 * c_unit;
    QTest::newRow("wider") << 1280 << 900 - 4 * c_unit;
    QTest::newRow("much wider") << 2560 << 900 - 4 * c_unit;
}

void TestPanelLooks::keepsItsWidth()
{
    QFETCH(int, window);
    PageHost host;
    Window shown(host, "mdc", false, {window, 800});
    QTRY_VERIFY(shown.page().isComplete());
    const QRectF page = sceneRect(*shown.root());
    QTEST(page.width(), "page");
    QVERIFY2(std::abs(page.center().x() - window / 2.0) <= 0.5, qPrintable(QString::number(page.x())));
    QCOMPARE(shown.item("idColumn")->width(), page.width());
}

void TestPanelLooks::touchTargets()
{
    constexpr qreal c_least = 44;
    PageHost host;
    host.outcome = c_refused;
    for (const int width : {320, 600}) {
        Window window(host, "mdc", false, {width, 800});
        QTRY_VERIFY(window.page().isComplete());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed"));
        window.press(c_lock);
        QTRY_VERIFY(window.isShown("idFailure"));
        int seen = 0;
        const QList<QQuickItem*> items = shownItems(window.window.rootObject());
        for (const QQuickItem* const item : items) {
            if (!isControl(*item) || item->property("statusColor").isValid())
                continue;
            ++seen;
            QVERIFY2(item->height() >= c_least && item->width() >= c_least, qPrintable(described(*item)));
        }
        QCOMPARE(seen, 7);
    }
    PanelRequest request;
    const PanelDevice device{PDeviceMdc::getPluginId(), host.device.objectUuid(), "left", "MDC-7"};
    request.devices = {device, device};
    PanelWindow window(request);
    QVERIFY(findItem(window.rootObject(), "panel_shell.idTabs.idTab_1")->height() >= c_least);
}

// Wherever the finger is put down.
void TestPanelLooks::aDragScrollsAnywhere()
{
    PageHost host;
    Window window(host, "mdc", false, {600, 300});
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_1") != nullptr);
    QVERIFY(!window.item("idColumn.idDeviceInfo")->property("interactive").toBool());
    QQuickItem* const view = window.item("idView");
    for (const QString& name : {QString("idColumn.idDeviceInfo.idDeviceInfoRow_1"),
                                c_commands + ".idRowSetProgram.idFrameLabelSetProgram"}) {
        const QQuickItem* const list = window.item("idColumn.idDeviceInfo");
        view->setProperty("contentY", 0);
        const QPoint from = sceneRect(*window.item(name)).center().toPoint();
        QTest::mousePress(&window.window, Qt::LeftButton, Qt::NoModifier, from);
        for (int y = 0; y <= 100; y += 10) {
            QTest::mouseMove(&window.window, from - QPoint(0, y), 5);
            QVERIFY(!list->property("dragging").toBool());
        }
        QTest::mouseRelease(&window.window, Qt::LeftButton, Qt::NoModifier, from - QPoint(0, 100));
        QTRY_VERIFY2(view->property("contentY").toReal() > 40, qPrintable(name));
        QTRY_VERIFY(!view->property("moving").toBool());
        // Back again.
        const qreal before = view->property("contentY").toReal();
        const QPoint visible = sceneRect(*window.item(name)).center().toPoint();
        const QPoint down(visible.x(), std::max(visible.y(), qRound(sceneRect(*view).top()) + 5));
        QTest::mousePress(&window.window, Qt::LeftButton, Qt::NoModifier, down);
        for (int y = 0; y <= 100; y += 10) {
            QTest::mouseMove(&window.window, down + QPoint(0, y), 5);
            QVERIFY(!list->property("dragging").toBool());
        }
        QTest::mouseRelease(&window.window, Qt::LeftButton, Qt::NoModifier, down + QPoint(0, 100));
        QTRY_VERIFY2(view->property("contentY").toReal() < before, qPrintable(name));
        QTRY_VERIFY(!view->property("moving").toBool());
    }
}

// What is scrolled out of sight shows neither above nor below.
void TestPanelLooks::nothingIsDrawnOutsideWhatScrolls()
{
    PageHost host;
    giveLongTexts(host, "en");
    Window window(host, "mdc", false, {320, 480});
    QTRY_VERIFY(window.page().isComplete());
    host.outcome = c_refused;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed"));
    QMetaObject::invokeMethod(window.backend(), "setLock", Q_ARG(bool, true));
    QTRY_VERIFY(window.isShown("idFailure"));
    host.connectDriver(false);
    QTRY_VERIFY(!window.page().isWaiting());
    // An age that goes on would be another picture.
    window.root()->setProperty("valuesTime", 0);
    QQuickItem* const view = window.item("idView");
    QQuickItem* const notices = window.item("idNotices");
    const auto hidden = [](const QQuickItem* flickable) {
        return flickable->property("contentHeight").toReal() - flickable->height();
    };
    // Layouts are done with the next frame.
    QTRY_VERIFY(hidden(view) > 100 && hidden(notices) > 50);
    const QRect above(0, 0, 320, qRound(notices->y()));
    const auto picture = [&](qreal contentY, qreal noticesY) {
        view->setProperty("contentY", contentY);
        notices->setProperty("contentY", noticesY);
        return drawn(window);
    };
    const QRect page = sceneRect(*view).toAlignedRect();
    const QRect strips = sceneRect(*notices).toAlignedRect();
    const qreal end = hidden(view);
    const qreal noticesEnd = hidden(notices);
    const QImage first = picture(0, 0);
    QVERIFY(!first.isNull());
    for (const qreal y : {100.0, 200.0, end}) {
        const QImage scrolled = picture(y, 0);
        QVERIFY(scrolled.copy(page) != first.copy(page));
        QVERIFY2(scrolled.copy(above) == first.copy(above), qPrintable(QString("the head, by %1").arg(y)));
        QVERIFY2(scrolled.copy(strips) == first.copy(strips),
                 qPrintable(QString("the notices, by %1").arg(y)));
    }
    const QImage scrolled = picture(0, noticesEnd);
    QVERIFY(scrolled.copy(strips) != first.copy(strips));
    QVERIFY2(scrolled.copy(above) == first.copy(above), "the head, by notices");
    QVERIFY2(scrolled.copy(page) == first.copy(page), "the page, by notices");
}

void TestPanelLooks::outlinesAreWhole_data()
{
    QTest::addColumn<int>("width");
    for (const int width : {320, 321, 399, 439, 440, 577, 600, 601, 1280})
        QTest::newRow(qPrintable(QString::number(width))) << width;
}

// Also the side that ends with the page.
void TestPanelLooks::outlinesAreWhole()
{
    QFETCH(int, width);
    PageHost host;
    Window window(host, "mdc", false, {width, 900});
    QTRY_VERIFY(window.page().isComplete());
    const QImage image = drawn(window);
    for (const QString& name : {c_program + ".idFrameProgram", channelValue(0) + ".idFrameChannelText"}) {
        const QRectF place = sceneRect(*window.item(name));
        const int y = qRound(place.top() + place.height() / 3);
        const auto best = [&](int from) {
            const QColor inside = image.pixelColor(qRound(place.center().x()), y);
            double found = 1;
            for (int x = from - 2; x <= from + 2; ++x)
                found = std::max(found, contrastRatio(image.pixelColor(x, y), inside));
            return found;
        };
        QVERIFY2(best(qRound(place.left())) >= 3, qPrintable(name));
        QVERIFY2(best(qRound(place.right())) >= 3, qPrintable(name));
    }
}

void TestPanelLooks::lampSaysItsState()
{
    PageHost host;
    for (const int value : {0, 1}) {
        host.values["motorRun"] = value;
        Window window(host);
        QTRY_VERIFY(window.page().isComplete());
        QQuickItem* const lamp = window.item(channelValue(1) + ".idChannelLed");
        QStringList words;
        const QList<QQuickItem*> inside = shownItems(lamp);
        for (const QQuickItem* const item : inside) {
            if (!isText(*item))
                continue;
            words.append(item->property("text").toString());
            const QRectF room = sceneRect(*window.item(channelItem(1) + ".idChannelRow"));
            QVERIFY(room.contains(painted(*item)));
        }
        QCOMPARE(words, QStringList(value == 1 ? "panel_indicator_on" : "panel_indicator_off"));
    }
}

// Nearer to it than to what is above them.
void TestPanelLooks::titlesStandAboveWhatTheyHead()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_1") != nullptr);
    const auto check = [&](const QString& above, const QString& title, const QString& below) {
        const QRectF text = painted(*window.item(title));
        const qreal before = text.top() - sceneRect(*window.item(above)).bottom();
        const qreal after = sceneRect(*window.item(below)).top() - text.bottom();
        QVERIFY2(after >= 0 && before >= 2 * after,
                 qPrintable(QString("%1: %2 above and %3 below").arg(title).arg(before).arg(after)));
    };
    check("idColumn.idDeviceInfo", "idColumn.idTitleCommand", c_commands);
    check(c_commands, "idColumn.idTitleStatus", channelItem(0));
}

// Every distance is a half, one or several of the unit; the page itself says that of its identity.
void TestPanelLooks::oneScale()
{
    PageHost host;
    host.outcome = c_refused;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed"));
    window.press(c_lock);
    QTRY_VERIFY(window.isShown("idFailure"));
    int seen = 0;
    const QList<QQuickItem*> items = shownItems(window.window.rootObject());
    for (const QQuickItem* const item : items) {
        for (const char* const property :
             {"spacing", "rowSpacing", "columnSpacing", "padding", "horizontalPadding", "topPadding"}) {
            const QVariant value = item->property(property);
            if (!value.isValid() || value.toReal() == 0 || item->objectName().contains("idDeviceInfoRow_") ||
                item->inherits("QQuickScrollBar"))
                continue;
            ++seen;
            const qreal halves = value.toReal() / (c_unit / 2);
            QVERIFY2(std::abs(halves - std::round(halves)) < 0.001,
                     qPrintable(QString("%1 of %2: %3").arg(property, described(*item)).arg(value.toReal())));
        }
    }
    QVERIFY2(seen > 20, qPrintable(QString::number(seen)));
    QCOMPARE(std::fmod(sceneRect(*window.root()).x(), c_unit), 0.0);
}

void TestPanelLooks::contrastOfThePicture_data()
{
    QTest::addColumn<bool>("dark");
    QTest::addColumn<bool>("connected");
    for (const bool dark : {false, true}) {
        for (const bool connected : {true, false})
            QTest::newRow(qPrintable(
                QString("%1, %2").arg(dark ? "dark" : "light", connected ? "connected" : "greyed out")))
                << dark << connected;
    }
}

// Within the frame around it: what is typed stands out from what lies behind it.
void TestPanelLooks::typedNumberIsSeen()
{
    QFETCH(bool, dark);
    QFETCH(bool, connected);
    PageHost host;
    Window window(host, "mdc", dark, {600, 1000});
    QTRY_VERIFY(window.page().isComplete());
    window.item(c_field)->setProperty("text", "88");
    host.connectDriver(connected);
    QTRY_VERIFY(!window.page().isWaiting());
    const QImage image = drawn(window);
    QVERIFY(!image.isNull());
    constexpr int c_outline = 4;
    const QRect inside = sceneRect(*window.item(c_field))
                             .toAlignedRect()
                             .adjusted(c_outline, c_outline, -c_outline, -c_outline);
    QVERIFY(image.rect().contains(inside));
    const QColor ground = image.pixelColor(inside.topLeft());
    double best = 1;
    for (int y = inside.top(); y <= inside.bottom(); ++y) {
        for (int x = inside.left(); x <= inside.right(); ++x)
            best = std::max(best, contrastRatio(image.pixelColor(x, y), ground));
    }
    QVERIFY2(best >= 4.5, qPrintable(QString("%1 : 1").arg(best)));
}

// What the style says is what is drawn: 4.5 : 1 for each text, 3 : 1 for the outline of each control.
void TestPanelLooks::contrastOfThePicture()
{
    QFETCH(bool, dark);
    QFETCH(bool, connected);
    const Language texts("en");
    PageHost host;
    giveLongTexts(host, "en");
    Window window(host, "mdc", dark, {600, 1000});
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_4") != nullptr);
    window.item(c_field)->setProperty("text", "0");
    window.press(c_apply);
    window.press(c_lock);
    QTRY_VERIFY(window.item(c_lock)->property("note").toString().startsWith("Locked"));
    host.outcome = c_refused;
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setDirection failed"));
    QMetaObject::invokeMethod(window.backend(), "setDirection", Q_ARG(bool, true));
    QTRY_VERIFY(window.isShown("idFailure"));
    host.connectDriver(connected);
    QTRY_VERIFY(!window.page().isWaiting());
    // Under nobody's mouse.
    QTest::mouseMove(&window.window, {1, 1});
    QTRY_VERIFY(sceneRect(*window.item("idState_0")).bottom() < 1000 || !connected);
    const QImage image = drawn(window);
    QVERIFY(!image.isNull());

    const QRectF view = sceneRect(*window.item("idView"));
    const auto isInSight = [&](const QQuickItem* item) {
        return flickableAround(item) != window.item("idView") || view.contains(painted(*item));
    };
    int seenTexts = 0;
    int seenOutlines = 0;
    const QList<QQuickItem*> items = shownItems(window.window.rootObject());
    for (const QQuickItem* const item : items) {
        const bool isWritten = (isText(*item) || item->inherits("QQuickTextInput")) &&
                               !item->property("text").toString().isEmpty();
        if (!isInSight(item))
            continue;
        if (isWritten) {
            ++seenTexts;
            const QRect area = painted(*item).toAlignedRect().intersected(image.rect());
            QHash<QRgb, int> found;
            for (int y = area.top(); y <= area.bottom(); ++y) {
                for (int x = area.left(); x <= area.right(); ++x)
                    ++found[image.pixel(x, y)];
            }
            const QRgb ground = std::max_element(found.cbegin(), found.cend()).key();
            double best = 1;
            for (auto colour = found.cbegin(); colour != found.cend(); ++colour)
                best = std::max(best, contrastRatio(QColor(colour.key()), QColor(ground)));
            QVERIFY2(best >= 4.5, qPrintable(QString("%1 : 1, %2").arg(best).arg(described(*item))));
        }
        const bool isFramed = item->inherits("QQuickAbstractButton") ||
                              item->objectName().endsWith(".idFrameProgram") ||
                              item->objectName().endsWith(".idFrameChannelText");
        if (isFramed) {
            ++seenOutlines;
            const QRectF place = sceneRect(*item);
            const int y = qRound(place.top() + place.height() * 0.7);
            const int left = qRound(place.left());
            const QColor outside = image.pixelColor(left - 3, y);
            double best = 1;
            for (int x = left - 2; x < left + 8; ++x)
                best = std::max(best, contrastRatio(image.pixelColor(x, y), outside));
            QVERIFY2(best >= 3, qPrintable(QString("%1 : 1, %2").arg(best).arg(described(*item))));
        }
    }
    QVERIFY2(seenTexts > 25 && seenOutlines >= 8,
             qPrintable(QString("%1 texts, %2 outlines").arg(seenTexts).arg(seenOutlines)));
}

// As a reader of the screen goes through the window.
void TestPanelLooks::accessibleTree()
{
    const Language texts("en");
    PageHost host;
    host.addChannel("lock");
    host.values["lock"] = 1;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QTRY_VERIFY(window.item("idColumn.idDeviceInfo.idDeviceInfoRow_1") != nullptr);
    QStringList found;
    QStringList unnamed;
    const std::function<void(QAccessibleInterface*)> walk = [&](QAccessibleInterface* node) {
        if (node == nullptr || node->state().invisible)
            return;
        const QString role =
            QMetaEnum::fromType<QAccessible::Role>().valueToKey(static_cast<int>(node->role()));
        const QString name = node->text(QAccessible::Name);
        found.append(role + ": " + name);
        static const QStringList named{"Button",   "EditableText", "Indicator", "Heading",
                                       "ListItem", "StaticText",   "PageTab"};
        if (named.contains(role) && name.isEmpty())
            unnamed.append(node->object() == nullptr ? role : role + ' ' + node->object()->objectName());
        for (int i = 0; i < node->childCount(); ++i)
            walk(node->child(i));
    };
    walk(QAccessible::queryAccessibleInterface(&window.window));
    QVERIFY2(unnamed.isEmpty(), qPrintable(unnamed.join('\n')));
    for (const char* const expected :
         {"Pane: mdc", "Heading: mdc", "StaticText: Connected", "ListItem: Model: MDC-26",
          "ListItem: Serial: 17", "Heading: Controller commands", "EditableText: Set program",
          "Button: Apply", "Button: Lock", "Button: Unlock", "Button: Fastening", "Button: Loosening",
          "Heading: Controller Status", "StaticText: The direction: Fastening", "Indicator: The motorRun: on",
          "StaticText: The currentPreset: 3", "StaticText: Tool lock: Locked"})
        QVERIFY2(found.count(expected) == 1, qPrintable(expected + QString("\n") + found.join('\n')));
}

void TestPanelLooks::withoutOurFrame_data()
{
    QTest::addColumn<QByteArray>("label");
    QTest::addColumn<QColor>("colour");
    QTest::newRow("a text") << QByteArray("Text { color: \"#123456\" }") << QColor("#123456");
    QTest::newRow("no more than it must be")
        << QByteArray("Item { property string text; property font font; height: 20 }") << QColor("black");
}

// In a host with nothing but the components that the page asks for.
void TestPanelLooks::withoutOurFrame()
{
    QFETCH(QByteArray, label);
    QFETCH(QColor, colour);
    const QTemporaryDir folder;
    const auto write = [&](const QString& name, const QByteArray& text) {
        const QString path = folder.filePath("applications/Kivora/gui/" + name);
        QFile file(path);
        return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
               file.write(text) == text.size();
    };
    QVERIFY(write("panels/BasePanelMaintenance.qml",
                  "import QtQuick 2.15\nItem { property string name; property bool connected\n"
                  "property Item contentItem; property real spacing: 4; signal updateData()\n"
                  "width: 400; height: 700; onContentItemChanged: contentItem.parent = this }"));
    QVERIFY(write("widgets/UiLabel.qml", "import QtQuick 2.15\n" + label));
    QVERIFY(write("widgets/UiGlyph.qml",
                  "import QtQuick 2.15\nItem { property string name; width: 20; height: 20 }"));
    QVERIFY(write("widgets/UiLedIndicator.qml",
                  "import QtQuick 2.15\nRectangle { property color statusColor; color: statusColor }"));
    QVERIFY(write("widgets/qmldir", "singleton Style 1.0 Style.qml\n"));
    QVERIFY(write("widgets/Style.qml",
                  "pragma Singleton\nimport QtQuick 2.15\nQtObject { property real baseHeight: 8\n"
                  "property real baseWidth: 8; property font fontLabel\n"
                  "property color widgetDisabledBorderColor: \"grey\"\n"
                  "property color toolStatusIn: \"green\"; property color toolStatusInactive: \"red\" }"));
    PageHost host;
    readNoCompiledPages();
    QQuickView view;
    view.resize(400, 700);
    QFile page(QString(":/%1/maintenance_panel.qml").arg(PDeviceMdc::getPluginId().toString()));
    QVERIFY(page.open(QIODevice::ReadOnly));
    QQmlComponent component(view.engine());
    component.setData(filledPage(page.readAll(), {"mdc", host.device.objectUuid().toString(), "MDC-7"}),
                      QUrl::fromLocalFile(folder.filePath("plugins/p_device_mdc/qml/maintenance_panel.qml")));
    const std::unique_ptr<QObject> made(component.create());
    auto* const root = qobject_cast<QQuickItem*>(made.get());
    QVERIFY2(root != nullptr, qPrintable(component.errorString()));
    root->setParentItem(view.contentItem());
    view.show();
    view.requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(&view));
    QVERIFY(QMetaObject::invokeMethod(root, "updateData"));
    QTRY_COMPARE(host.counts.value("getRegister"), 3);
    const auto item = [&](const QString& name) { return findItem(root, c_root + '.' + name); };
    QTRY_VERIFY(item("idColumn.idDeviceInfo.idDeviceInfoRow_1") != nullptr);

    QStringList stops;
    for (int i = 0; i < 6; ++i) {
        QTest::keyClick(&view, Qt::Key_Tab);
        QVERIFY(view.activeFocusItem() != nullptr);
        stops.append(view.activeFocusItem()->objectName().section('.', -1));
    }
    QCOMPARE(stops, (QStringList{"idInputProgram", "idButtonApply", "idButtonLock", "idButtonUnlock",
                                 "idButtonFastening", "idButtonLoosening"}));
    QVERIFY(item(c_field)->property("selectByMouse").toBool());
    QCOMPARE(accessibleName(item(c_field)), QString("maintenance_panel_Set_program"));
    QCOMPARE(accessibleName(item("idColumn.idTitleStatus")), QString("maintenance_panel_Controller_Status"));
    QCOMPARE(accessibleName(item("idColumn.idDeviceInfo.idDeviceInfoRow_1")), QString("Serial: 17"));
    QTRY_COMPARE(accessibleName(item(channelValue(0) + ".idFrameChannelText.idChannelText")),
                 QString("The direction: Fastening"));
    QTRY_COMPARE(accessibleName(item(channelValue(1) + ".idChannelLed")),
                 QString("The motorRun: maintenance_panel_On"));
    // Titles, values and what is typed have the colour of the host's own labels.
    for (const QString& name : {QString("idColumn.idTitleCommand"), QString("idColumn.idTitleStatus"),
                                c_field, channelValue(0) + ".idFrameChannelText.idChannelText"})
        QCOMPARE(item(name)->property("color").value<QColor>(), colour);
    item(c_field)->forceActiveFocus();
    QTest::keyClick(&view, Qt::Key_Return);
    QCOMPARE(accessibleDescription(item(c_field)), QString("maintenance_panel_Program_missing"));
    QTest::keyClick(&view, Qt::Key_9);
    QTest::keyClick(&view, Qt::Key_Return);
    QTRY_COMPARE(host.actions, QStringList("setProgram program=9"));
}

QTEST_MAIN(TestPanelLooks)

#include "tst_panel_looks.moc"
