#include "tests/support/fake_host.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonObject>
#include <QMessageLogContext>
#include <QPair>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <QUuid>

#include <functional>
#include <memory>

namespace {

const QUuid c_device("{66666666-0000-0000-0000-000000000001}");
const QUuid c_driver("{66666666-0000-0000-0000-000000000002}");

class Plugin : public DAbstractPlugin
{
    Q_OBJECT

public:
    explicit Plugin(const QUuid& objectUuid)
        : DAbstractPlugin(c_device, "Kind", CeTypeDevice, 1, objectUuid, nullptr, false)
    {}
    void initPluginCommands() override { initAbstractCommands(); }
    IPlugin* createInstance(const QUuid& objectUuid) const override { return new Plugin(objectUuid); }
    QString pluginSubTypeName() const override { return {}; }
};

// A host whose device, once it is there, has a driver, once that is there.
class BackendHost : public FakeHost
{
    Q_OBJECT

public:
    BackendHost() { setDriver(c_device, c_driver); }
    void add(const QUuid& uuid) { FakeHost::add(std::make_unique<Plugin>(uuid)); }
};

// One element of a list of lists: QVariantList would take its elements instead.
QVariant record(const QVariantList& fields)
{
    return fields;
}

class Backend : public DAbstractPluginBackend
{
    Q_OBJECT

public:
    explicit Backend(QObject* parent = nullptr)
        : DAbstractPluginBackend("Module", parent)
    {}
    void applyTreatmentReply(int index, const QString& commandName, const QVariantMap& reply) override
    {
        applied.append(record({index, commandName, reply}));
        if (onApply)
            onApply();
        if (deleteOnReply)
            delete this;
    }
    bool onReply(quint64 id, const QVariantMap& reply)
    {
        answers.append(record({id, reply}));
        return true;
    }
    bool onError(quint64 id, IMessenger::EnErrorCode code, const QVariantMap& map)
    {
        errors.append(record({id, int(code), map}));
        return true;
    }

    QVariantList applied;
    QVariantList answers;
    QVariantList errors;
    bool deleteOnReply = false;
    std::function<void()> onApply;
};

// A backend of the device, complete.
std::unique_ptr<Backend> completeBackend()
{
    auto backend = std::make_unique<Backend>();
    backend->classBegin();
    backend->setObjectId(c_device.toString());
    backend->componentComplete();
    return backend;
}

} // namespace

class tst_Backend : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneAtATime();
    void releaseOfFailures();
    void nothingRunsInsideQueueTreatment();
    void queueIsBounded();
    void notTwiceAtATime();
    void emptyName();
    void handlerQueuesMore();
    void handlerOpensAnEventLoop();
    void keepsTheDeviceOfATreatment();
    void tellsARepeatedFailureOnce();
    void deletedWhileWaiting();
    void deletedByItsReply();
    void withoutHost();
    void instruction();
    void instructionAgain();
    void lostLinkDropsWhatWaits_data();
    void lostLinkDropsWhatWaits(); // docs/security.md
    void connectionFollowsTheDriver();
    void driverComesLate();
    void driverGoesAndComesBack();
    void instanceGoesAndComesBack();
    void instanceComesLate();
    void anotherObjectId();
    void configuration();
    void madeByQml();
};

void tst_Backend::oneAtATime()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QSignalSpy released(backend.get(), &DAbstractPluginBackend::treatmentReleased);
    QVERIFY(!backend->hasPendingTreatments());
    QVERIFY(backend->queueTreatment(0, "getRegister", {{"channel", "a"}}));
    QVERIFY(backend->queueTreatment(200, "setProgram", {{"program", 12}}));
    QVERIFY(backend->hasPendingTreatments());
    QTRY_COMPARE(host.runs.size(), 1);
    QCOMPARE(host.runs.first().uuid, c_device);
    QCOMPARE(host.runs.first().command, QString("getRegister"));
    QCOMPARE(host.runs.first().arguments, (QVariantMap{{"channel", "a"}}));
    host.endFirst(true, {{"values", 5}});
    QCOMPARE(backend->applied, (QVariantList{record({0, "getRegister", QVariantMap{{"values", 5}}})}));
    QCOMPARE(released.size(), 1);
    QCOMPARE(released.first(), (QVariantList{0, "getRegister", true}));
    QVERIFY(host.runs.isEmpty()); // the next one follows from the event loop
    QTRY_COMPARE(host.runs.size(), 1);
    QCOMPARE(host.runs.first().command, QString("setProgram"));
    QVERIFY(backend->hasPendingTreatments());
    host.endFirst(true);
    QVERIFY(!backend->hasPendingTreatments());
    QCOMPARE(released.last(), (QVariantList{200, "setProgram", true}));
}

void tst_Backend::releaseOfFailures()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QSignalSpy released(backend.get(), &DAbstractPluginBackend::treatmentReleased);
    QStringList ends;
    connect(backend.get(), &DAbstractPluginBackend::treatmentEnded, backend.get(),
            [&](int index, const QString& command, const DOrderOutcome& outcome) {
                QVERIFY(released.isEmpty());
                ends.append(QString("%1 %2 %3 %4 %5")
                                .arg(index)
                                .arg(command)
                                .arg(outcome.errorCode)
                                .arg(outcome.errorMessage, outcome.results.keys().join(' ')));
            });
    backend->queueTreatment(3, "setLock", {});
    QTRY_COMPARE(host.runs.size(), 1);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("setLock.*too late"));
    host.endFirst(false, {{"doneOk", false}});
    QVERIFY(backend->applied.isEmpty());
    QCOMPARE(released.first(), (QVariantList{3, "setLock", false}));
    QCOMPARE(ends, QStringList(QString("3 setLock %1 too late doneOk").arg(IMessenger::CeEcTimeout)));
    QVERIFY(!backend->hasPendingTreatments());
}

void tst_Backend::nothingRunsInsideQueueTreatment()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    backend->queueTreatment(0, "a", {});
    QVERIFY(host.runs.isEmpty());
    QTRY_COMPARE(host.runs.size(), 1);
}

void tst_Backend::queueIsBounded()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    for (int i = 0; i < DAbstractPluginBackend::c_queueCapacity; ++i)
        QVERIFY(backend->queueTreatment(i, "a", {}));
    QVERIFY(!backend->queueTreatment(999, "a", {}));
    QTRY_COMPARE(host.runs.size(), 1); // it waits no more
    QVERIFY(backend->queueTreatment(999, "a", {}));
    QVERIFY(!backend->queueTreatment(1000, "a", {}));
}

// The same index and command: another one's, and one without a name, are taken.
void tst_Backend::notTwiceAtATime()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QVERIFY(backend->queueTreatment(7, "getInfo", {}) && backend->queueTreatment(7, "getInfo", {}));
    QTRY_COMPARE(host.runs.size(), 1);
    host.endFirst(true);
    QTRY_COMPARE(host.runs.size(), 1);
    host.endFirst(true);
    backend->setTakesOnce(true);
    QSignalSpy queued(backend.get(), &DAbstractPluginBackend::treatmentQueued);
    QVERIFY(backend->queueTreatment(100, "setLock", {{"lock", 1}}));
    QCOMPARE(queued.size(), 1);
    QCOMPARE(queued.first(), (QVariantList{100, "setLock", QVariantMap{{"lock", 1}}}));
    QVERIFY2(!backend->queueTreatment(100, "setLock", {{"lock", 0}}), "it waits");
    QTRY_COMPARE(host.runs.size(), 1);
    QVERIFY2(!backend->queueTreatment(100, "setLock", {{"lock", 0}}), "it runs");
    QCOMPARE(queued.size(), 1);
    QVERIFY(backend->queueTreatment(101, "setLock", {}));
    QVERIFY(backend->queueTreatment(100, "setProgram", {}));
    QCOMPARE(queued.size(), 3);
    bool takenAtTheEnd = false;
    connect(backend.get(), &DAbstractPluginBackend::treatmentEnded, backend.get(), [&](int index) {
        if (index == 100 && !takenAtTheEnd)
            takenAtTheEnd = backend->queueTreatment(100, "setLock", {});
    });
    host.endFirst(true);
    QVERIFY(takenAtTheEnd);
    // Who taps twice switches twice.
    QVERIFY(backend->queueTreatment(4, "", {}) && backend->queueTreatment(4, "", {}));
}

void tst_Backend::emptyName()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QSignalSpy released(backend.get(), &DAbstractPluginBackend::treatmentReleased);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("Module.*treatment 4 names no command"));
    QVERIFY(backend->queueTreatment(4, "", {{"value", true}}));
    QVERIFY(backend->queueTreatment(5, "next", {}));
    QTRY_COMPARE(host.runs.size(), 1);
    QCOMPARE(released.size(), 1);
    QCOMPARE(released.first(), (QVariantList{4, "", false}));
    QVERIFY(backend->applied.isEmpty());
    QCOMPARE(host.runs.first().command, QString("next"));
}

void tst_Backend::handlerQueuesMore()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    connect(backend.get(), &DAbstractPluginBackend::treatmentReleased, backend.get(),
            [&](int index) { backend->queueTreatment(index + 1, "a", {}); });
    backend->queueTreatment(0, "a", {});
    for (int i = 0; i < 3; ++i) {
        QTRY_COMPARE(host.runs.size(), 1);
        host.endFirst(true);
    }
    QCOMPARE(backend->applied.size(), 3);
    QCOMPARE(backend->applied.last().toList().first(), QVariant(2));
}

// What comes next waits until the handler of the reply before it has returned.
void tst_Backend::handlerOpensAnEventLoop()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QSignalSpy released(backend.get(), &Backend::treatmentReleased);
    QVERIFY(backend->queueTreatment(1, "one", {}));
    QVERIFY(backend->queueTreatment(2, "two", {}));
    QTRY_COMPARE(host.runs.size(), 1);
    backend->onApply = [&] {
        QVERIFY(backend->hasPendingTreatments());
        QEventLoop loop;
        QTimer::singleShot(0, &loop, &QEventLoop::quit);
        loop.exec();
        QVERIFY(host.runs.isEmpty());
        QCOMPARE(released.size(), 0);
    };
    host.endFirst(true);
    backend->onApply = nullptr;
    QCOMPARE(released.size(), 1);
    QTRY_COMPARE(host.runs.size(), 1);
    QCOMPARE(host.runs.first().command, QString("two"));
}

// A command meant for one controller is not sent to another one that the page shows meanwhile.
void tst_Backend::keepsTheDeviceOfATreatment()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QVERIFY(backend->queueTreatment(1, "setLock", {}));
    backend->setObjectId(c_driver.toString());
    QVERIFY(backend->queueTreatment(2, "setLock", {}));
    QTRY_COMPARE(host.runs.size(), 1);
    QCOMPARE(host.runs.first().uuid, c_device);
    host.endFirst(true);
    QTRY_COMPARE(host.runs.size(), 1);
    QCOMPARE(host.runs.first().uuid, c_driver);
}

// A page polls every half second: the log has a failure once, until it is another one or over.
void tst_Backend::tellsARepeatedFailureOnce()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    const auto run = [&](int index, bool ok) {
        QVERIFY(backend->queueTreatment(index, "getRegister", {}));
        QTRY_COMPARE(host.runs.size(), 1);
        host.endFirst(ok);
    };
    static QStringList s_warnings;
    s_warnings.clear();
    const QtMessageHandler before =
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
            if (type == QtWarningMsg)
                s_warnings.append(message);
        });
    const QList<QPair<int, bool>> treatments{{0, false}, {0, false}, {1, false},
                                             {0, false}, {0, true},  {0, false}};
    for (const auto& [index, ok] : treatments)
        run(index, ok);
    qInstallMessageHandler(before);
    const QString text("Module : treatment %1 getRegister failed: too late");
    QCOMPARE(s_warnings, QStringList({text.arg(0), text.arg(1), text.arg(0)}));
}

void tst_Backend::deletedWhileWaiting()
{
    BackendHost host;
    host.add(c_device);
    auto backend = completeBackend();
    backend->queueTreatment(0, "a", {});
    QTRY_COMPARE(host.runs.size(), 1);
    backend.reset();
    QVERIFY(host.runs.first().context.isNull());
    host.endFirst(true);
    host.remove(c_device);
}

void tst_Backend::deletedByItsReply()
{
    BackendHost host;
    host.add(c_device);
    QPointer<Backend> backend = completeBackend().release();
    backend->deleteOnReply = true;
    backend->queueTreatment(0, "a", {});
    backend->queueTreatment(1, "a", {});
    QTRY_COMPARE(host.runs.size(), 1);
    host.endFirst(true);
    QVERIFY(backend.isNull());
    QVERIFY(host.runs.isEmpty());
}

void tst_Backend::withoutHost()
{
    const auto backend = completeBackend();
    QSignalSpy released(backend.get(), &DAbstractPluginBackend::treatmentReleased);
    QVERIFY(!backend->isConnected());
    QCOMPARE(backend->sendAnInstruction("getInfo", {}, {}, -1, {}), quint64(0));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("no host is running"));
    QVERIFY(backend->queueTreatment(1, "a", {}));
    QTRY_COMPARE(released.size(), 1);
    QCOMPARE(released.first(), (QVariantList{1, "a", false}));
}

void tst_Backend::instruction()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    Backend* const raw = backend.get();
    backend->queueTreatment(0, "waiting", {});
    const quint64 first = backend->sendAnInstruction("getInfo", {{"reference", "MDC"}},
                                                     {raw, &Backend::onReply}, -1, {raw, &Backend::onError});
    QVERIFY(first != 0);
    QCOMPARE(host.runs.size(), 1); // past the queue
    QCOMPARE(host.runs.first().uuid, c_device);
    QCOMPARE(host.runs.first().arguments, (QVariantMap{{"reference", "MDC"}}));
    host.endFirst(true, {{"deviceInformation", QVariantList{1}}});
    QCOMPARE(backend->answers,
             (QVariantList{record({first, QVariantMap{{"deviceInformation", QVariantList{1}}}})}));
    QVERIFY(backend->errors.isEmpty());

    const quint64 second =
        backend->sendAnInstruction("getInfo", {}, {raw, &Backend::onReply}, -1, {raw, &Backend::onError});
    host.endFirst(false);
    QCOMPARE(backend->answers.size(), 1);
    QCOMPARE(backend->errors, (QVariantList{record({second, int(IMessenger::CeEcTimeout),
                                                    QVariantMap{{"errorCode", int(IMessenger::CeEcTimeout)},
                                                                {"errorMessage", "too late"}}})}));
    backend->sendAnInstruction("getInfo", {}, {raw, &Backend::onReply}, -1, {});
    host.endFirst(false); // nobody wants to hear of it
    QCOMPARE(backend->answers.size(), 1);
}

void tst_Backend::instructionAgain()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    Backend* const raw = backend.get();
    QSignalSpy ended(raw, &DAbstractPluginBackend::instructionEnded);
    QCOMPARE(backend->repeatInstruction("getInfo"), quint64(0));
    QCOMPARE(backend->runningInstruction("getInfo"), quint64(0));
    const quint64 first = backend->sendAnInstruction("getInfo", {{"reference", "MDC"}},
                                                     {raw, &Backend::onReply}, -1, {raw, &Backend::onError});
    QCOMPARE(backend->runningInstruction("getInfo"), first);
    QCOMPARE(backend->runningInstruction("other"), quint64(0));
    host.endFirst(false);
    QCOMPARE(backend->runningInstruction("getInfo"), quint64(0));
    QCOMPARE(ended.size(), 1);
    QCOMPARE(ended.first().at(0).toULongLong(), first);
    QVERIFY(!ended.first().at(2).value<DOrderOutcome>().ok);
    QCOMPARE(backend->errors.size(), 1);

    const quint64 second = backend->repeatInstruction("getInfo");
    QVERIFY(second != 0 && second != first);
    QCOMPARE(backend->repeatInstruction("other"), quint64(0));
    QCOMPARE(host.runs.first().command, QString("getInfo"));
    QCOMPARE(host.runs.first().arguments, (QVariantMap{{"reference", "MDC"}}));
    int answersWhenTold = -1;
    connect(raw, &DAbstractPluginBackend::instructionEnded, raw,
            [&] { answersWhenTold = static_cast<int>(backend->answers.size()); });
    host.endFirst(true, {{"deviceInformation", 5}});
    QVERIFY2(answersWhenTold == 1, "the callback comes first");
    QCOMPARE(ended.size(), 2);
    QCOMPARE(backend->answers, (QVariantList{record({second, QVariantMap{{"deviceInformation", 5}}})}));

    // The earlier one of two ends while the later one goes on.
    const quint64 third = backend->repeatInstruction("getInfo");
    const quint64 fourth = backend->repeatInstruction("getInfo");
    QVERIFY(third != fourth);
    host.endFirst(false);
    QCOMPARE(backend->runningInstruction("getInfo"), fourth);
}

void tst_Backend::lostLinkDropsWhatWaits_data()
{
    QTest::addColumn<bool>("counts"); // its connections
    QTest::addColumn<bool>("tells");  // of the loss, before the next treatment
    QTest::newRow("a driver that counts and tells") << true << true;
    QTest::newRow("a driver that has not told yet") << true << false;
    QTest::newRow("a driver that does not count") << false << true;
}

// What a person has pressed for one controller is not written to the one behind the next link.
void tst_Backend::lostLinkDropsWhatWaits()
{
    QFETCH(bool, counts);
    QFETCH(bool, tells);
    BackendHost host;
    host.add(c_device);
    host.add(c_driver);
    DAbstractPlugin* const driver = host.findInstance(c_driver);
    const auto count = [&](int connections) {
        if (counts)
            driver->setProperty("statistics", QVariantMap{{"connections", connections}}, false);
    };
    const auto connect = [&](int connections) {
        count(connections);
        driver->setProperty("connected", true, false);
    };
    count(0);
    const auto backend = completeBackend();
    QStringList ends;
    QObject::connect(backend.get(), &DAbstractPluginBackend::treatmentEnded, backend.get(),
                     [&ends](int index, const QString&, const DOrderOutcome& outcome) {
                         ends.append(
                             QString("%1 %2 %3").arg(index).arg(outcome.errorCode).arg(outcome.errorMessage));
                     });
    // What waits for the first link is of none that was lost.
    QVERIFY(backend->queueTreatment(1, "read", {}));
    connect(1);
    QTRY_COMPARE(host.runs.size(), 1);
    QVERIFY(backend->queueTreatment(2, "write", {}));
    QVERIFY(backend->queueTreatment(3, "read", {}));
    if (tells)
        driver->setProperty("connected", false, false);
    connect(2);
    const QRegularExpression notSent("not sent: the connection was lost");
    QTest::ignoreMessage(QtWarningMsg, notSent);
    QTest::ignoreMessage(QtWarningMsg, notSent);
    host.endFirst(true);
    QTRY_COMPARE(ends.size(), 3);
    QVERIFY(host.runs.isEmpty());
    for (const int at : {1, 2})
        QCOMPARE(ends.at(at), QString("%1 %2 not sent: the connection was lost while it waited")
                                  .arg(at + 1)
                                  .arg(IMessenger::CeEcNotConnected));
    QVERIFY(backend->queueTreatment(4, "read", {}));
    QTRY_COMPARE(host.runs.size(), 1);
    host.endFirst(true);
}

void tst_Backend::connectionFollowsTheDriver()
{
    BackendHost host;
    host.add(c_driver);
    host.findInstance(c_driver)->setProperty("connected", true, false);
    host.add(c_device);
    const auto backend = completeBackend();
    QVERIFY(backend->isConnected());
    QSignalSpy changed(backend.get(), &DAbstractPluginBackend::isConnectedChanged);
    host.findInstance(c_driver)->setProperty("connected", false, false);
    QVERIFY(!backend->isConnected());
    host.findInstance(c_driver)->setProperty("other", true, false);
    QVERIFY(!backend->isConnected());
    host.findInstance(c_driver)->setProperty("connected", true, false);
    QVERIFY(backend->isConnected());
    QCOMPARE(changed.size(), 2);
}

void tst_Backend::driverComesLate()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QVERIFY(!backend->isConnected());
    host.add(c_driver);
    QVERIFY(!backend->isConnected());
    host.findInstance(c_driver)->setProperty("connected", true, false);
    QVERIFY(backend->isConnected());
}

void tst_Backend::driverGoesAndComesBack()
{
    BackendHost host;
    host.add(c_driver);
    host.add(c_device);
    const auto backend = completeBackend();
    QSignalSpy initialized(backend.get(), &DAbstractPluginBackend::abstractBackendInitialized);
    host.findInstance(c_driver)->setProperty("connected", true, false);
    QVERIFY(backend->isConnected());
    host.remove(c_driver);
    QVERIFY(!backend->isConnected());
    host.add(c_driver);
    host.findInstance(c_driver)->setProperty("connected", true, false);
    QVERIFY(backend->isConnected());
    QVERIFY(initialized.isEmpty());
}

void tst_Backend::instanceGoesAndComesBack()
{
    BackendHost host;
    host.add(c_driver);
    host.add(c_device);
    host.findInstance(c_driver)->setProperty("connected", true, false);
    const auto backend = completeBackend();
    QSignalSpy initialized(backend.get(), &DAbstractPluginBackend::abstractBackendInitialized);
    host.remove(c_device);
    QVERIFY(!backend->isConnected());
    QVERIFY(backend->configuration().isNull());
    host.findInstance(c_driver)->setProperty("connected", false, false);
    host.findInstance(c_driver)->setProperty("connected", true, false);
    QVERIFY(!backend->isConnected());
    host.add(c_device);
    // The page stands already: building it again would double its rows.
    QVERIFY(initialized.isEmpty());
    QVERIFY(backend->isConnected());
    backend->queueTreatment(0, "a", {});
    QTRY_COMPARE(host.runs.size(), 1);
}

void tst_Backend::instanceComesLate()
{
    BackendHost host;
    Backend backend;
    QSignalSpy initialized(&backend, &DAbstractPluginBackend::abstractBackendInitialized);
    backend.setObjectId(c_device.toString());
    QVERIFY(initialized.isEmpty());
    backend.componentComplete();
    QVERIFY(initialized.isEmpty());
    host.add(c_driver);
    QVERIFY(initialized.isEmpty());
    host.add(c_device);
    QCOMPARE(initialized.size(), 1);
}

void tst_Backend::anotherObjectId()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QSignalSpy initialized(backend.get(), &DAbstractPluginBackend::abstractBackendInitialized);
    backend->setObjectId("nonsense");
    QVERIFY(initialized.isEmpty());
    backend->queueTreatment(0, "a", {});
    QTRY_COMPARE(host.runs.size(), 1);
    QVERIFY(host.runs.last().uuid.isNull());
    backend->setObjectId(c_device.toString());
    QVERIFY(initialized.isEmpty());
}

void tst_Backend::configuration()
{
    BackendHost host;
    host.add(c_device);
    const auto backend = completeBackend();
    QVERIFY(backend->configuration().isNull());
    host.findInstance(c_device)->setInPluginConfig("channels", QJsonArray{"a"});
    QVERIFY(!backend->configuration().isNull());
    QCOMPARE(*backend->configuration(), (QVariantMap{{"channels", QVariantList{"a"}}}));
}

void tst_Backend::madeByQml()
{
    BackendHost host;
    host.add(c_driver);
    host.add(c_device);
    host.findInstance(c_driver)->setProperty("connected", true, false);
    qmlRegisterType<Backend>("BackendTest", 1, 0, "Backend");
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData("import QtQml 2.15\nimport BackendTest 1.0\n"
                      "Backend { property int initialized: 0; name: \"mdc\"; reference: \"MDC\"\n"
                      "objectId: \"{66666666-0000-0000-0000-000000000001}\"\n"
                      "onAbstractBackendInitialized: initialized += 1 }",
                      QUrl());
    const std::unique_ptr<QObject> object(component.create());
    QVERIFY2(object != nullptr, qPrintable(component.errorString()));
    QCOMPARE(object->property("initialized"), QVariant(1));
    QCOMPARE(object->property("isConnected"), QVariant(true));
    const auto* const backend = qobject_cast<Backend*>(object.get());
    QVERIFY(backend != nullptr);
    QCOMPARE(backend->name(), QString("mdc"));
    QCOMPARE(backend->reference(), QString("MDC"));
    QCOMPARE(backend->objectId(), c_device.toString());
}

QTEST_GUILESS_MAIN(tst_Backend)
#include "tst_backend.moc"
