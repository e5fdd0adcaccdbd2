// What the frame around the page does: the link, the identification, what was done and what was not.

#include "page_window.h"

#include "applications/panel/action_failure.h"

#include <QGuiApplication>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTranslator>

#include <algorithm>
#include <cmath>

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
    void unreadableIdentification(); // docs/security.md
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
    void pagesAreMadeWhenTheyAreChosen();
    void aPageThatCannotBeMade();
    void oneIdentification();
    void identifiedOnceAtTheStart();
    void acknowledged_data();
    void acknowledged();
    void acknowledgementEndsWithTheLink();
    void failureTakesTheAcknowledgementBack();
    void pressedAgainWhileUnderWay();
    void heldKeys_data();
    void heldKeys();
    void lockState_data();
    void lockState();
    void lockStateIsForgotten();
    void fieldTellsWhatIsWrong_data();
    void fieldTellsWhatIsWrong();
    void enterApplies();
    void technicalDetails_data();
    void technicalDetails();
    void mirroredOnce();
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
    const QStringList texts{"idColumn.idTitleCommand", "idColumn.idDeviceInfo.idDeviceInfoRow_0.idValue",
                            channelValue(2) + ".idFrameChannelText.idChannelText",
                            c_commands + ".idRowSetLock.idFrameLabelSetLock.idLabelSetLock"};
    QTRY_VERIFY(window.item(texts.at(1)) != nullptr);
    const QVariant colour = window.item(texts.first())->property("color");
    const auto areAll = [&](bool ofThisColour) {
        return std::all_of(texts.cbegin(), texts.cend(), [&](const QString& name) {
            return (window.item(name)->property("color") == colour) == ofThisColour;
        });
    };
    QVERIFY(areAll(true));
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
    QVERIFY(areAll(false));
    QVERIFY(!window.item(c_lock)->isEnabled());
    window.press(c_lock);
    QCoreApplication::processEvents();
    QCOMPARE(host.actions, QStringList());

    host.connectDriver(true);
    QTRY_VERIFY(window.page().isComplete());
    QVERIFY(!window.isShown("idReason"));
    QVERIFY(areAll(true));
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

// Generation 1's registers are no guess to switch a tool by.
void TestPanelFrame::unreadableIdentification()
{
    PageHost host;
    host.identityNames = QStringList{"controllerModel", "version"};
    host.model = "????";
    host.serialNumber = ""; // the value of the second one
    Window window(host);
    QTRY_COMPARE(window.text("idReason.idTitle"), QString("panel_reason_unidentified"));
    QVERIFY(window.text("idReason.idDetail").contains("no known controller"));
    QVERIFY(!window.item(c_lock)->isEnabled());
    QCOMPARE(host.counts.value("getRegister"), 0);
    host.model = "MDC-32";
    host.serialNumber = "4.01.2";
    QTRY_VERIFY(window.page().isComplete());
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
    // One is on its way; those behind it are not sent by another link.
    QTRY_VERIFY(!host.runs.isEmpty());
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
    QVERIFY(left->isVisible());
    QQuickItem* const tab = findItem(window.rootObject(), "panel_shell.idTabs.idTab_1");
    QVERIFY(tab != nullptr);
    QCOMPARE(tab->property("text").toString(), QString("right"));
    QTRY_VERIFY(tab->mapToScene({0, 0}).x() > 0);
    window.press(*tab);
    QTRY_VERIFY(!left->isVisible());
    QQuickItem* const right = window.pages().at(1)->item();
    QVERIFY(right->isVisible());
    QTRY_VERIFY(window.pages().at(1)->isComplete());
    QCOMPARE(right->width(), window.rootObject()->width() - 4 * c_unit);

    PanelDevice strange = device;
    strange.kind = QUuid::createUuid();
    request.devices = {device, strange};
    QVERIFY(PanelWindow(request).error().contains("no maintenance page"));
    request.devices = {strange};
    QVERIFY(PanelWindow(request).error().contains("no maintenance page"));
}

// Fifty pages at once would keep whoever opens the window waiting for seconds.
void TestPanelFrame::pagesAreMadeWhenTheyAreChosen()
{
    PageHost host;
    PanelRequest request;
    for (const char* const name : {"one", "two", "three"})
        request.devices.append({PDeviceMdc::getPluginId(), host.device.objectUuid(), name, "MDC-7"});
    PanelWindow window(request);
    window.show();
    const auto made = [&window] {
        QVector<bool> result;
        for (const std::unique_ptr<PanelPage>& page : window.pages())
            result.append(page != nullptr);
        return result;
    };
    QCOMPARE(made(), QVector<bool>({true, false, false}));
    QTRY_VERIFY(window.pages().at(0)->isComplete());
    QCOMPARE(host.counts.value("getInfo"), 1);
    window.rootObject()->setProperty("currentIndex", 2);
    QCOMPARE(made(), QVector<bool>({true, false, true}));
    const PanelPage* const third = window.pages().at(2).get();
    QVERIFY(third->item()->isVisible() && !window.pages().at(0)->item()->isVisible());
    QTRY_VERIFY(third->isComplete());
    QCOMPARE(host.counts.value("getInfo"), 2);
    window.rootObject()->setProperty("currentIndex", 0);
    QVERIFY(window.pages().at(0)->item()->isVisible() && !third->item()->isVisible());
    window.rootObject()->setProperty("currentIndex", 2);
    QCOMPARE(window.pages().at(2).get(), third);
    QVERIFY(third->isComplete());
    QCOMPARE(host.counts.value("getInfo"), 2);
}

// Whose resources are good, and the page in them is not.
void TestPanelFrame::aPageThatCannotBeMade()
{
    PageHost host;
    PanelRequest request;
    const PanelDevice good{PDeviceMdc::getPluginId(), host.device.objectUuid(), "good", "MDC-7"};
    PanelDevice broken = good;
    broken.kind = QUuid(QStringLiteral("{0b2f4a5e-6d1c-4c1b-9b70-51f3c7d2a9e8}"));
    broken.name = "broken";
    request.devices = {good, broken};
    PanelWindow window(request);
    QCOMPARE(window.error(), QString());
    window.show();
    QQuickItem* const problem = findItem(window.rootObject(), "panel_shell.idProblem");
    QVERIFY(!problem->isVisible());
    window.rootObject()->setProperty("currentIndex", 1);
    QVERIFY(problem->isVisible());
    const QString text = problem->property("text").toString();
    QVERIFY2(text.contains("\"broken\" cannot be shown"), qPrintable(text));
    QVERIFY(!window.pages().at(0)->item()->isVisible());
    window.rootObject()->setProperty("currentIndex", 0);
    QVERIFY(!problem->isVisible());
    QTRY_VERIFY(window.pages().at(0)->isComplete());

    request.devices = {broken, good};
    QVERIFY(PanelWindow(request).error().contains("cannot be shown"));
}

// The page's own request is the frame's identification: where commands are let through, the page shows what
// the controller has told.
void TestPanelFrame::oneIdentification()
{
    PageHost host;
    host.identifies = false;
    Window window(host);
    QTRY_VERIFY(!window.text("idReason.idDetail").isEmpty());
    QTRY_VERIFY(host.runs.isEmpty());
    host.identifies = true;
    QTRY_VERIFY(window.item(c_lock)->isEnabled());
    QCOMPARE(window.backend()->property("deviceInfo").toList().size(), 2);
}

void TestPanelFrame::identifiedOnceAtTheStart()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(host.counts.value("getInfo"), 1);
    QCOMPARE(window.backend()->property("deviceInfo").toList().size(), 2);
}

void TestPanelFrame::acknowledged_data()
{
    QTest::addColumn<QString>("button");
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("done");
    QTest::newRow("locked") << c_lock << "en"
                            << "Locked";
    QTest::newRow("unlocked") << c_unlock << "en"
                              << "Unlocked";
    QTest::newRow("fastening") << c_fastening << "en"
                               << "Fastening";
    QTest::newRow("loosening") << c_loosening << "en"
                               << "Loosening";
    QTest::newRow("program") << c_apply << "en"
                             << "Program 7 set";
    QTest::newRow("locked, in French") << c_lock << "fr"
                                       << "Verrouillé";
    QTest::newRow("loosening, in French") << c_loosening << "fr"
                                          << "Dévissage";
    QTest::newRow("program, in French") << c_apply << "fr"
                                        << "Programme 7 choisi";
}

// The button says that its action is under way, and then that it was done, and when.
void TestPanelFrame::acknowledged()
{
    QFETCH(QString, button);
    QFETCH(QString, language);
    QFETCH(QString, done);
    QTranslator translators[2];
    QVERIFY(translators[0].load(":/translations/panel_" + language + ".qm"));
    QVERIFY(translators[1].load(":/translations/p_device_mdc_" + language + ".qm"));
    for (QTranslator& translator : translators)
        QVERIFY(QCoreApplication::installTranslator(&translator));
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    window.item(c_field)->setProperty("text", "7");
    const QQuickItem* const item = window.item(button);
    QCOMPARE(item->property("note").toString(), QString());
    host.held = button == c_apply ? "setProgram" : button.startsWith(c_locks) ? "setLock" : "setDirection";
    window.press(button);
    QVERIFY(item->property("running").toBool());
    const QString underWay = item->property("note").toString();
    QCOMPARE(underWay, QString(language == "en" ? "Under way…" : "En cours…"));
    QTRY_COMPARE(host.runs.size(), 1);
    QVERIFY(item->property("running").toBool());
    host.endFirst(true, {{"doneOk", true}});
    QTRY_VERIFY(!item->property("running").toBool());
    const QString note = item->property("note").toString();
    QVERIFY2(QRegularExpression("^" + done + ", [0-9]{2}:[0-9]{2}:[0-9]{2}$").match(note).hasMatch(),
             qPrintable(note));
    const QList<QQuickItem*> shown = shownItems(window.item(button));
    QVERIFY(std::any_of(shown.cbegin(), shown.cend(), [&](const QQuickItem* inside) {
        return inside->property("text").toString() == note;
    }));
}

// Behind a lost link there may be another controller, or one that somebody else has changed.
void TestPanelFrame::acknowledgementEndsWithTheLink()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    window.press(c_lock);
    QTRY_VERIFY(window.item(c_lock)->property("note").toString().startsWith("panel_action_done"));
    host.connectDriver(false);
    QTRY_VERIFY(!window.page().isWaiting());
    host.connectDriver(true);
    QTRY_COMPARE(window.item(c_lock)->property("note").toString(), QString());
}

void TestPanelFrame::failureTakesTheAcknowledgementBack()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    window.press(c_lock);
    QTRY_VERIFY(window.item(c_lock)->property("note").toString().startsWith("panel_action_done"));
    // Of a row's buttons one has the last word.
    window.press(c_unlock);
    QTRY_VERIFY(window.item(c_unlock)->property("note").toString().startsWith("panel_action_done"));
    QCOMPARE(window.item(c_lock)->property("note").toString(), QString());
    host.outcome = {false, IMessenger::CeEcRefused, "refused", {}};
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed: refused"));
    window.press(c_lock);
    QTRY_VERIFY(window.isShown("idFailure"));
    QCOMPARE(window.item(c_lock)->property("note").toString(), QString());
    QCOMPARE(window.item(c_unlock)->property("note").toString(), QString());
}

void TestPanelFrame::pressedAgainWhileUnderWay()
{
    PageHost host;
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    host.held = "setLock";
    window.press(c_lock);
    window.press(c_lock);
    QTRY_COMPARE(host.runs.size(), 1);
    window.press(c_lock);
    const auto noteOf = [&](const QString& button) {
        return window.item(button)->property("note").toString();
    };
    QCOMPARE(noteOf(c_lock), QString("panel_action_under_way"));
    QCOMPARE(noteOf(c_unlock), QString());
    // Whoever presses the other one must not take it for done.
    window.press(c_unlock);
    QCOMPARE(noteOf(c_unlock), QString("panel_action_not_sent"));
    QVERIFY(window.item(c_unlock)->property("refused").toBool());
    QCOMPARE(noteOf(c_lock), QString("panel_action_under_way"));
    // Both buttons of the lock say that they wait; those of other actions do not.
    QVERIFY(window.item(c_lock)->property("held").toBool());
    QVERIFY(window.item(c_unlock)->property("held").toBool());
    QVERIFY(!window.item(c_loosening)->property("held").toBool());
    host.held.clear();
    host.endFirst(true);
    QTRY_VERIFY(!window.item(c_lock)->property("held").toBool());
    QVERIFY(noteOf(c_lock).startsWith("panel_action_done"));
    QCOMPARE(noteOf(c_unlock), QString("panel_action_not_sent"));
    // What is pressed next comes next, whatever was waiting.
    window.press(c_loosening);
    QTRY_COMPARE(host.actions.last(), QString("setDirection direction=1"));
    QCOMPARE(host.actions, (QStringList{"setLock lock=1", "setDirection direction=1"}));
    window.press(c_unlock);
    QVERIFY(!window.item(c_unlock)->property("refused").toBool());
    QTRY_COMPARE(host.actions.last(), QString("setLock lock=0"));
}

void TestPanelFrame::heldKeys_data()
{
    QTest::addColumn<QString>("focus");
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("action");
    QTest::newRow("return on a button") << c_lock << int(Qt::Key_Return) << "setLock lock=1";
    QTest::newRow("enter on a button") << c_lock << int(Qt::Key_Enter) << "setLock lock=1";
    QTest::newRow("space on a button") << c_lock << int(Qt::Key_Space) << "setLock lock=1";
    QTest::newRow("return in the field") << c_field << int(Qt::Key_Return) << "setProgram program=5";
    QTest::newRow("enter in the field") << c_field << int(Qt::Key_Enter) << "setProgram program=5";
}

// A key that is held comes again and again, each time pressed and released.
void TestPanelFrame::heldKeys()
{
    QFETCH(QString, focus);
    QFETCH(int, key);
    QFETCH(QString, action);
    PageHost host;
    Window window(host);
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    window.item(c_field)->setProperty("text", "5");
    window.item(focus)->forceActiveFocus();
    const auto send = [&](QEvent::Type type, bool again) {
        QKeyEvent event(type, key, Qt::NoModifier, key == Qt::Key_Space ? " " : "\r", again);
        QCoreApplication::sendEvent(&window.window, &event);
    };
    send(QEvent::KeyPress, false);
    for (int i = 0; i < 20; ++i) {
        send(QEvent::KeyRelease, true);
        send(QEvent::KeyPress, true);
        // Each would find the action before it ended.
        QTRY_VERIFY(!window.page().isWaiting());
    }
    send(QEvent::KeyRelease, false);
    QTRY_VERIFY(!window.page().isWaiting());
    QCOMPARE(host.actions, QStringList(action));
}

void TestPanelFrame::lockState_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("french");
    QTest::newRow("0") << 0 << "Unlocked"
                       << "Déverrouillé";
    QTest::newRow("1") << 1 << "Locked"
                       << "Verrouillé";
    QTest::newRow("2") << 2 << "Loosening locked"
                       << "Dévissage verrouillé";
    QTest::newRow("3") << 3 << "Fastening locked"
                       << "Vissage verrouillé";
    QTest::newRow("a value without a meaning") << 7 << "7"
                                               << "7";
}

void TestPanelFrame::lockState()
{
    QFETCH(int, value);
    for (const QString& language : {QString("en"), QString("fr")}) {
        QTranslator translators[2];
        QVERIFY(translators[0].load(":/translations/panel_" + language + ".qm"));
        QVERIFY(translators[1].load(":/translations/p_device_mdc_" + language + ".qm"));
        for (QTranslator& translator : translators)
            QVERIFY(QCoreApplication::installTranslator(&translator));
        PageHost host;
        host.addChannel("lock");
        host.values["lock"] = value;
        Window window(host);
        QTRY_VERIFY(window.page().isComplete());
        QVERIFY(window.isShown("idState_0"));
        QCOMPARE(window.text("idState_0.idName"),
                 QString(language == "en" ? "Tool lock" : "Verrouillage de l’outil"));
        QFETCH(QString, english);
        QFETCH(QString, french);
        QCOMPARE(window.text("idState_0.idText"), language == "en" ? english : french);
    }
    // A configuration without the channel has no row for it.
    PageHost without;
    Window window(without);
    QTRY_VERIFY(window.page().isComplete());
    QVERIFY(!window.isShown("idState_0"));
    QVERIFY(!without.asked.contains("lock"));
}

// The last known one stays while there is no link, and goes with the other values when another controller
// may be there; one that cannot be read counts among the values that could not.
void TestPanelFrame::lockStateIsForgotten()
{
    PageHost host;
    host.addChannel("lock");
    host.values["lock"] = 1;
    Window window(host);
    window.root()->setProperty("updatePeriod", 5);
    QTRY_VERIFY(window.page().isComplete());
    QCOMPARE(window.text("idState_0.idText"), QString("BeMaintenance_lock_both"));
    host.values["lock"] = 0;
    QTRY_COMPARE(window.text("idState_0.idText"), QString("BeMaintenance_lock_none"));
    host.connectDriver(false);
    QTRY_VERIFY(!window.page().isWaiting());
    QCOMPARE(window.text("idState_0.idText"), QString("BeMaintenance_lock_none"));
    host.reads = false;
    host.connectDriver(true);
    QTRY_COMPARE(window.root()->property("unreadValues").toInt(), 4);
    QCOMPARE(window.text("idState_0.idText"), QString());
    host.reads = true;
    QTRY_COMPARE(window.root()->property("unreadValues").toInt(), 0);
    QTRY_COMPARE(window.text("idState_0.idText"), QString("BeMaintenance_lock_none"));
}

void TestPanelFrame::fieldTellsWhatIsWrong_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<bool>("byKey");
    QTest::addColumn<QString>("problem");
    for (const bool byKey : {false, true}) {
        const char* const how = byKey ? "Enter" : "the button";
        const auto row = [&](const char* typed, const char* problem) {
            QTest::newRow(qPrintable(QString("\"%1\" and %2").arg(typed, how))) << typed << byKey << problem;
        };
        row("", "maintenance_panel_Program_missing");
        row("0", "maintenance_panel_Program_impossible");
        row("000", "maintenance_panel_Program_impossible");
        row("4", "");
    }
}

void TestPanelFrame::fieldTellsWhatIsWrong()
{
    QFETCH(QString, typed);
    QFETCH(bool, byKey);
    QFETCH(QString, problem);
    PageHost host;
    Window window(host);
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    const auto reasonShown = [&](const QString& text) {
        const QList<QQuickItem*> shown = shownItems(window.root());
        return std::any_of(shown.cbegin(), shown.cend(), [&](const QQuickItem* item) {
            return item->objectName() == "idFieldProblem" && item->property("text").toString() == text;
        });
    };
    window.press(c_field);
    window.type(typed);
    QVERIFY(!reasonShown(problem));
    if (byKey)
        QTest::keyClick(&window.window, Qt::Key_Return);
    else
        window.press(c_apply);
    QCOMPARE(window.item(c_field)->property("problem").toString(), problem);
    QCOMPARE(reasonShown(problem), !problem.isEmpty());
    window.press(c_lock);
    QTRY_VERIFY(host.actions.contains("setLock lock=1"));
    QCOMPARE(host.actions.size(), problem.isEmpty() ? 2 : 1);
    // Gone with the next key.
    window.press(c_field);
    window.type("3");
    QVERIFY(!reasonShown(problem));
    QCOMPARE(window.item(c_field)->property("problem").toString(), QString());
}

void TestPanelFrame::enterApplies()
{
    PageHost host;
    Window window(host);
    QVERIFY(QTest::qWaitForWindowActive(&window.window));
    QTRY_VERIFY(window.page().isComplete());
    QVERIFY(window.item(c_field)->property("inputMethodHints").toUInt() & Qt::ImhDigitsOnly);
    window.press(c_field);
    window.type("012");
    QTest::keyClick(&window.window, Qt::Key_Return);
    QTRY_COMPARE(host.actions, QStringList("setProgram program=12"));
    QTRY_VERIFY(!window.page().isWaiting());
    QTest::keyClick(&window.window, Qt::Key_Enter);
    QTRY_COMPARE(host.actions.size(), 2);
}

void TestPanelFrame::technicalDetails_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<QString>("mark");
    QTest::newRow("English") << "en"
                             << "Technical details: ";
    QTest::newRow("French") << "fr"
                            << "Détails techniques : ";
}

// They are the log's, in its language, and are marked as such.
void TestPanelFrame::technicalDetails()
{
    QFETCH(QString, language);
    QTranslator translator;
    QVERIFY(translator.load(":/translations/panel_" + language + ".qm"));
    QVERIFY(QCoreApplication::installTranslator(&translator));
    PageHost host;
    host.outcome = {false, IMessenger::CeEcRefused, "refused the write", {}};
    Window window(host);
    QTRY_VERIFY(window.page().isComplete());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock failed"));
    window.press(c_lock);
    QTRY_VERIFY(window.isShown("idFailure.idDetailMark"));
    QTEST(window.text("idFailure.idDetailMark") + ' ', "mark");
    QVERIFY(window.isShown("idFailure.idDetail"));
    QVERIFY(!window.isShown("idReason.idDetailMark"));
    host.identifies = false;
    host.connectDriver(false);
    host.connectDriver(true);
    QTRY_VERIFY(window.isShown("idReason.idDetailMark"));
}

// From right to left everything stands the other way round: mirrored twice it would stand as before.
void TestPanelFrame::mirroredOnce()
{
    const auto restore = qScopeGuard([] { QGuiApplication::setLayoutDirection(Qt::LayoutDirectionAuto); });
    PageHost host;
    host.addChannel("lock");
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    QMap<QString, QRectF> before;
    const QString row = "idColumn.idDeviceInfo.idDeviceInfoRow_0";
    const QStringList names{c_lock,
                            c_unlock,
                            c_field,
                            c_commands + ".idRowSetLock.idGlyphSetLock",
                            row + ".idName",
                            row + ".idValue",
                            channelItem(0) + ".idChannelRow.idChannelGlyph",
                            channelItem(0) + ".idChannelRow.idFrameChannelName.idChannelName",
                            channelValue(1) + ".idChannelLed",
                            "idTitle",
                            "idLink",
                            "idState_0.idName",
                            "idView.idScrollBar"};
    for (const Qt::LayoutDirection direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        QGuiApplication::setLayoutDirection(direction);
        Window window(host, "mdc", false, {600, 400});
        QTRY_VERIFY(window.page().isComplete());
        QTRY_VERIFY(window.item(row) != nullptr);
        for (const QString& name : names) {
            QVERIFY2(window.item(name) != nullptr, qPrintable(name));
            const QRectF place = sceneRect(*window.item(name));
            if (direction == Qt::LeftToRight) {
                before.insert(name, place);
                continue;
            }
            const qreal mirrored = window.window.width() - before.value(name).right();
            QTRY_VERIFY2(std::abs(sceneRect(*window.item(name)).left() - mirrored) <= 1,
                         qPrintable(QString("%1 at %2, not %3").arg(name).arg(place.left()).arg(mirrored)));
        }
    }
}

QTEST_MAIN(TestPanelFrame)

#include "tst_panel_frame.moc"
