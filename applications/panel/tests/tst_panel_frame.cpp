// What the frame around the page does: the link, the identification, what was done and what was not.

#include "page_window.h"

#include "applications/panel/action_failure.h"

#include <QSignalSpy>
#include <QTranslator>

class TestPanelFrame : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
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
    void tabs();
};

void TestPanelFrame::initTestCase()
{
    Q_INIT_RESOURCE(translations);
    preparePanels();
}

void TestPanelFrame::cleanup()
{
    const QString complaints = takeComplaints();
    QVERIFY2(complaints.isEmpty(), qPrintable(complaints));
}

void TestPanelFrame::disconnected()
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

void TestPanelFrame::age_data()
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

void TestPanelFrame::age()
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
void TestPanelFrame::identification()
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

void TestPanelFrame::anotherControllerAfterALostLink()
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
void TestPanelFrame::identifiedBeforeAnythingIsRead()
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

void TestPanelFrame::aPollOfTheConnectionBefore()
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
void TestPanelFrame::awaitedValues()
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
void TestPanelFrame::noAgeWithoutValues()
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

void TestPanelFrame::unreadValues()
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

void TestPanelFrame::failures_data()
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

void TestPanelFrame::failures()
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

void TestPanelFrame::aFailureStaysUntilDismissed()
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

void TestPanelFrame::keyboard()
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

void TestPanelFrame::focusFrameFollows()
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

void TestPanelFrame::actionsHaveNames()
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

void TestPanelFrame::tabs()
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

QTEST_MAIN(TestPanelFrame)

#include "tst_panel_frame.moc"
