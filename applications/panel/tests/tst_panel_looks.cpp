// How the page looks and is reached: sizes, colours, keyboard, and what readers of the screen find.

#include "page_window.h"

#include <QAccessible>
#include <QQmlComponent>
#include <QQmlEngine>

#include <algorithm>
#include <cmath>
#include <memory>

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
    row("doubtfulColor", "doubtfulSurfaceColor");
    // Icons, lamps and outlines.
    row("accentColor", "backgroundColor", 3);
    row("toolStatusIn", "backgroundColor", 3);
    row("toolStatusInactive", "backgroundColor", 3);
    row("buttonBorderColor", "backgroundColor", 3);
}

// As the accessibility guidelines of the web reckon it.
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

QTEST_MAIN(TestPanelLooks)

#include "tst_panel_looks.moc"
