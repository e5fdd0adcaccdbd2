#include "plugins/p_driver_modbus/source/d_cmd_read.h"
#include "plugins/p_driver_modbus/source/modbus_link.h"
#include "plugins/p_driver_modbus/source/p_driver_modbus.h"
#include "plugins/p_driver_modbus/source/poll_schedule.h"
#include "tests/support/fake_order.h"
#include "tests/support/full_server.h"
#include "tests/support/process_watch.h"
#include "tests/support/scripted_peer.h"

#include <QJsonArray>
#include <QPluginLoader>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

// The driver instance against a peer that does as it is told, over TCP on the loopback.
class TestModbusDriver : public QObject
{
    Q_OBJECT

    QStringList m_table; // fault × instruction → outcome, printed at the end

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void faults_data();
    void faults();
    void exceptionThatDecidesNothing_data();
    void exceptionThatDecidesNothing();
    void declarations();
    void foreignParent();
    void builtPluginLoads();
    void refusedConfiguration();
    void refusedArguments_data();
    void refusedArguments();
    void everyRegisterType_data();
    void everyRegisterType();
    void firstConnectionIsWaitedFor();
    void firstConnectionIsWaitedForUntilItFails();
    void failsAtOnceWhileThereIsNoConnection();
    void deadlineBeforeThereIsAConnection_data();
    void deadlineBeforeThereIsAConnection();
    void pausesGrowBetweenAttempts();
    void comesBackByItself();
    void waitingRequestsFailWithTheLink();
    void waitingRequestEndsByItsOwnDeadline();
    void defaultDeadline();
    void writesGoFirst();
    void queueIsBounded();
    void waitingRequestIsWithdrawn();
    void answerToAWithdrawnRequestIsDropped();
    void chatterClosesTheLink();
    void listening();
    void listeningSkipsWhatIsLate();
    void pollNearItsCallersDeadline();
    void listenersShareAPoll();
    void listenersKeepTheirIntervals();
    void listenerIsNotStarvedByOthers();
    void listeningSurvivesAnOutage();
    void stopWhileAPollIsOut();
    void instanceGoesWithRequestsOut();
    void instanceGoesWhenItTellsOfItsLink_data();
    void instanceGoesWhenItTellsOfItsLink();
    void instanceGoesWhenItStartsAfresh();
    void startsAfresh();
    void pausesBetweenFrames();
    void settlesAfterConnecting();
    void statisticsAndTrace();
    void worksWithAnotherMakesServer();
};

namespace {

constexpr int c_timeout = 250;
// A poll has that at least, however soon its caller gives up.
constexpr int c_pollTimeout = 500;

const QString c_objectId = QStringLiteral("{11111111-2222-3333-4444-555555555555}");

QVariantMap readArguments(int address, int size = 1, const QString& type = QStringLiteral("holdingRegisters"))
{
    return {{"register", address}, {"registerType", type}, {"dataSize", size}};
}

QVariantMap writeArguments(int address, const QVariant& data,
                           const QString& type = QStringLiteral("singleRegister"))
{
    return {{"register", address}, {"registerType", type}, {"data", data}};
}

QVariantMap listenArguments(int address, int interval, int size = 1)
{
    QVariantMap arguments = readArguments(address, size);
    arguments.insert("recurrentInterval", interval);
    return arguments;
}

// An instance and, unless a test says otherwise, its peer.
class Bench
{
public:
    Bench() { listening = peer.listen(); }

    // A command belongs to its order, which may outlive the driver in a test, but is its child.
    void start(const QJsonObject& more = {})
    {
        driver = std::make_unique<PDriverModbus>(QUuid(c_objectId));
        QJsonObject configuration{{"transport", "tcp"}, {"port", peer.port()}};
        for (auto it = more.constBegin(); it != more.constEnd(); ++it)
            configuration.insert(it.key(), it.value());
        const QJsonObject object{
            {"id", c_objectId}, {"name", "controller"}, {"configuration", configuration}};
        driver->setMainConfig(
            QSharedPointer<QJsonObject>::create(QJsonObject{{"objects", QJsonArray{object}}}));
        driver->initPluginCommands();
    }

    bool isConnected() const { return driver->getProperty(QStringLiteral("connected"), nullptr).toBool(); }

    int statistic(const char* name) const
    {
        return driver->getProperty(QStringLiteral("statistics"), nullptr)
            .toMap()
            .value(QLatin1String(name))
            .toInt();
    }

    std::unique_ptr<FakeOrder> run(const QString& command, const QVariantMap& arguments,
                                   int timeout = c_timeout)
    {
        auto order = std::make_unique<FakeOrder>(driver.get(), command, arguments, timeout);
        QObject::connect(driver.get(), &DAbstractPlugin::sigAboutToBeDestroyed, order.get(),
                         [raw = order.get()] { raw->dropCommand(); });
        order->execute();
        return order;
    }

    int received(quint8 function) const
    {
        int count = 0;
        for (const QByteArray& request : peer.requests)
            count += static_cast<quint8>(request.at(1)) == function ? 1 : 0;
        return count;
    }

    ScriptedPeer peer;
    std::unique_ptr<PDriverModbus> driver;
    bool listening = false;
};

const char* codeName(IMessenger::EnErrorCode code)
{
    switch (code) {
    case IMessenger::CeEcNone:
        return "ok";
    case IMessenger::CeEcTimeout:
        return "timeout";
    case IMessenger::CeEcNotConnected:
        return "not connected";
    case IMessenger::CeEcRefused:
        return "refused";
    case IMessenger::CeEcUncertain:
        return "uncertain";
    case IMessenger::CeEcInvalidArguments:
        return "invalid arguments";
    case IMessenger::CeEcQueueFull:
        return "queue full";
    default:
        return "other";
    }
}

} // namespace

Q_DECLARE_METATYPE(ScriptedPeer::Fault)

void TestModbusDriver::initTestCase()
{
    // The link tells on stderr of each connection it makes and loses: hundreds here.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
}

void TestModbusDriver::cleanupTestCase()
{
    std::printf("fault                   instruction        outcome          after\n");
    for (const QString& line : qAsConst(m_table))
        std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void TestModbusDriver::faults_data()
{
    QTest::addColumn<ScriptedPeer::Fault>("fault");
    QTest::addColumn<bool>("refuseConnection");
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<int>("code");
    // By the deadline, or clearly before it.
    QTest::addColumn<bool>("prompt");

    struct Case
    {
        const char* name;
        ScriptedPeer::Fault fault;
        IMessenger::EnErrorCode readCode;
        IMessenger::EnErrorCode writeCode;
        bool prompt;
    };
    const QList<Case> cases{
        {"no answer", ScriptedPeer::NoAnswer, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"late answer", ScriptedPeer::LateAnswer, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"exception", ScriptedPeer::Exception, IMessenger::CeEcRefused, IMessenger::CeEcRefused, true},
        {"half a frame", ScriptedPeer::HalfFrame, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"header only", ScriptedPeer::HeaderOnly, IMessenger::CeEcTimeout, IMessenger::CeEcUncertain, false},
        {"close", ScriptedPeer::Close, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"reset", ScriptedPeer::Reset, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"refused connection", ScriptedPeer::None, IMessenger::CeEcNotConnected, IMessenger::CeEcNotConnected,
         true},
        {"length 0", ScriptedPeer::LengthZero, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"length too large", ScriptedPeer::LengthTooLarge, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"wrong unit", ScriptedPeer::WrongUnit, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain,
         true},
        {"wrong function", ScriptedPeer::WrongFunction, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"wrong protocol", ScriptedPeer::WrongProtocol, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"wrong transaction", ScriptedPeer::WrongTransaction, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"flood of others' frames", ScriptedPeer::Flood, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"short, then good", ScriptedPeer::TooShortThenGood, IMessenger::CeEcNotConnected,
         IMessenger::CeEcUncertain, true},
        {"too long", ScriptedPeer::TooLong, IMessenger::CeEcNotConnected, IMessenger::CeEcUncertain, true},
        {"answer twice", ScriptedPeer::Duplicate, IMessenger::CeEcNone, IMessenger::CeEcNone, true},
    };
    for (const Case& entry : cases) {
        for (const char* instruction : {"read", "write", "listen", "deviceInformation"}) {
            const bool write = qstrcmp(instruction, "write") == 0;
            QTest::addRow("%s, %s", entry.name, instruction)
                << entry.fault << (qstrcmp(entry.name, "refused connection") == 0) << QString(instruction)
                << static_cast<int>(write ? entry.writeCode : entry.readCode) << entry.prompt;
        }
    }
}

void TestModbusDriver::faults()
{
    QFETCH(ScriptedPeer::Fault, fault);
    QFETCH(bool, refuseConnection);
    QFETCH(QString, instruction);
    QFETCH(int, code);
    QFETCH(bool, prompt);

    Bench bench;
    QVERIFY(bench.listening);
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    if (refuseConnection) {
        bench.peer.refuse();
        QTRY_VERIFY(!bench.isConnected());
        // The attempt that is made at once has failed as well.
        QTRY_COMPARE(bench.statistic("failedOpenings"), 1);
    }
    const bool listens = instruction == "listen";
    const int allowed = listens ? c_pollTimeout : c_timeout;
    bench.peer.lateBy = allowed + 50;
    bench.peer.setFault(fault);

    QVariantMap arguments = readArguments(5101, 2);
    if (instruction == "write")
        arguments = writeArguments(5001, 7);
    else if (listens)
        arguments = listenArguments(5101, prompt ? c_timeout : allowed + 100, 2);
    else if (instruction == "deviceInformation")
        arguments.clear();
    const std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments, allowed);

    const bool succeeds = code == IMessenger::CeEcNone;
    IMessenger::EnErrorCode told = IMessenger::CeEcNone;
    QString message;
    qint64 after = 0;
    if (!listens) {
        QTRY_VERIFY(order->ended());
        told = order->code;
        message = order->message;
        after = order->endedAfter;
        QCOMPARE(order->ok, succeeds);
    } else if (succeeds) {
        QTRY_COMPARE(order->updates.size(), 1);
        after = order->updateTimes.first();
    } else {
        QTRY_COMPARE(order->failures.size(), 1);
        told = order->failures.first().code;
        message = order->failures.first().message;
        after = order->failureTimes.first();
    }
    m_table.append(QStringLiteral("%1%2%3%4 ms")
                       .arg(QString(QTest::currentDataTag()).section(',', 0, -2), -24)
                       .arg(instruction, -19)
                       .arg(QLatin1String(codeName(told)), -17)
                       .arg(after));
    QCOMPARE(static_cast<int>(told), code);
    QCOMPARE(message.isEmpty(), succeeds);
    if (!succeeds)
        QVERIFY2(message.contains(QStringLiteral("127.0.0.1:%1").arg(bench.peer.port())),
                 qPrintable(message));
    if (code == IMessenger::CeEcRefused)
        QVERIFY2(message.contains("illegal data address (2)"), qPrintable(message));
    // An answer that is none has not lost the connection.
    const bool invalid = prompt && !succeeds && code != IMessenger::CeEcRefused && !refuseConnection &&
                         fault != ScriptedPeer::Close && fault != ScriptedPeer::Reset;
    QCOMPARE(message.contains("the answer to the ") && message.contains(" is not valid: "), invalid);
    QVERIFY2(!invalid || !message.contains("lost"), qPrintable(message));
    QVERIFY2(isInTime(after, allowed), qPrintable(QString::number(after)));
    if (prompt)
        QVERIFY2(after < allowed / 2, qPrintable(QString::number(after)));
    else
        QVERIFY2(after >= allowed - 1, qPrintable(QString::number(after)));
    if (instruction == "write" && !refuseConnection)
        QCOMPARE(bench.received(0x06), 1);
    if (instruction == "write" && code == IMessenger::CeEcRefused)
        QCOMPARE(order->values(), QVariantList{0});
    else if (instruction == "write" && !succeeds)
        QCOMPARE(order->updates.size(), 0);

    // Afterwards the link works, and whatever still came of the fault is nobody's answer.
    if (refuseConnection)
        QVERIFY(bench.peer.listen());
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(6101, 2));
    QTRY_VERIFY(next->ended());
    QVERIFY2(next->ok, qPrintable(next->message));
    QCOMPARE(next->values(), (QVariantList{6101, 6102}));
    // A late answer has had its time by now, or comes before this: there is no second outcome.
    if (fault == ScriptedPeer::LateAnswer) {
        const std::unique_ptr<FakeOrder> later = bench.run("read", readArguments(1, 1), c_timeout);
        bench.peer.setFault(ScriptedPeer::None);
        QTRY_VERIFY(later->ended());
        QCOMPARE(later->values(), QVariantList{1});
    }
    QCOMPARE(order->endCount, listens ? 0 : 1);
    if (instruction == "write")
        QCOMPARE(bench.received(0x06), refuseConnection ? 0 : 1);
    if (listens) {
        // It has gone on, or does at its next poll.
        QTRY_VERIFY_WITH_TIMEOUT(!order->updates.isEmpty(), 10 * c_timeout);
        QCOMPARE(order->values(), (QVariantList{5101, 5102}));
        QCOMPARE(order->failures.size(), succeeds ? 0 : 1);
        order->stop();
    }
}

void TestModbusDriver::exceptionThatDecidesNothing_data()
{
    QTest::addColumn<int>("exception");
    QTest::addColumn<bool>("uncertain");
    QTest::newRow("device failure") << 4 << true;
    QTest::newRow("acknowledge") << 5 << true;
    QTest::newRow("busy") << 6 << false;
    QTest::newRow("gateway path") << 10 << false;
    QTest::newRow("gateway target") << 11 << true;
}

void TestModbusDriver::exceptionThatDecidesNothing()
{
    QFETCH(int, exception);
    QFETCH(bool, uncertain);
    Bench bench;
    bench.start();
    bench.peer.exceptionCode = exception;
    bench.peer.setFault(ScriptedPeer::Exception, 2);
    const std::unique_ptr<FakeOrder> write = bench.run("write", writeArguments(1, 1));
    const std::unique_ptr<FakeOrder> read = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(2));
    QTRY_VERIFY(write->ended() && read->ended() && next->ended());
    QCOMPARE(write->code, uncertain ? IMessenger::CeEcUncertain : IMessenger::CeEcRefused);
    QCOMPARE(write->updates.isEmpty(), uncertain);
    QVERIFY2(write->message.contains(QStringLiteral("(%1)").arg(exception)), qPrintable(write->message));
    QCOMPARE(write->message.endsWith("the write may have been done"), uncertain);
    QCOMPARE(read->code, IMessenger::CeEcRefused);
    // It is an answer all the same: the connection stays.
    QVERIFY(next->ok);
    QCOMPARE(bench.statistic("connections"), 1);
}

void TestModbusDriver::declarations()
{
    Bench bench;
    bench.start();
    QCOMPARE(bench.driver->getFunctions(true),
             (QStringList{"read", "write", "listen", "deviceInformation", "stopListening"}));
    QCOMPARE(bench.driver->pluginName(), QStringLiteral("Plugin Driver Modbus"));
    QCOMPARE(bench.driver->pluginUuid(), QUuid("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}"));
    QVERIFY(bench.driver->pluginType() == IPlugin::CeTypeDriver);
    QCOMPARE(bench.driver->compatibilityString(), QStringLiteral("Plugin Driver Modbus 1.0"));
    const auto ids = [&bench](const char* command, const char* section) {
        QStringList result;
        const QVariantList entries = bench.driver->getCommandParameters(command).value(section).toList();
        for (const QVariant& entry : entries)
            result.append(entry.toMap().value("id").toString() + ":" +
                          entry.toMap().value("type").toString());
        return result.join(' ');
    };
    QCOMPARE(ids("read", "parameters"), QStringLiteral("register:ui16 registerType:strg dataSize:ui16"));
    QCOMPARE(ids("write", "parameters"),
             QStringLiteral("register:ui16 registerType:strg dataSize:ui16 data:vart"));
    // What is declared as default is what an absent argument means: as many as "data" has, for a write.
    const auto defaultSize = [&bench](const char* command) {
        return bench.driver->commandPrototype(command)
            ->createCommand({})
            .dynamicCast<DAbstractCommand>()
            ->getParameterValue("dataSize", {});
    };
    QCOMPARE(defaultSize("read"), QVariant(1));
    QCOMPARE(defaultSize("listen"), QVariant(1));
    QVERIFY(!defaultSize("write").isValid());
    QCOMPARE(ids("listen", "parameters"),
             QStringLiteral("register:ui16 registerType:strg dataSize:ui16 recurrentInterval:ui16"));
    QCOMPARE(ids("deviceInformation", "parameters"), QString());
    QCOMPARE(ids("read", "results"), QStringLiteral("values:varL"));
    QCOMPARE(ids("write", "results"), QStringLiteral("values:varL"));
    QCOMPARE(ids("listen", "results"), QStringLiteral("values:varL"));
    QCOMPARE(ids("deviceInformation", "results"), QStringLiteral("deviceInformation:varM"));
    for (const QString& name : bench.driver->commandNames())
        QVERIFY(!bench.driver->getFunctionDescription(name).isEmpty());
    const std::unique_ptr<IPlugin> other(bench.driver->createInstance(QUuid::createUuid()));
    QVERIFY(other->objectUuid() != bench.driver->objectUuid());
    QCOMPARE(other->getProperty("connected", nullptr), QVariant(false));
    QVERIFY(!other->getProperty("statistics", nullptr).isValid());
}

void TestModbusDriver::foreignParent()
{
    QObject parent;
    DCmdRead command(readArguments(1), &parent);
    QVERIFY(!command.commandExecute());
}

void TestModbusDriver::builtPluginLoads()
{
    QPluginLoader loader(QStringLiteral(MDC_DRIVER_FILE));
    QCOMPARE(loader.metaData().value("className").toString(), QStringLiteral("PDriverModbus"));
    QCOMPARE(loader.metaData().value("IID").toString(), QStringLiteral("org.mdcbench.PDriverModbus"));
    const auto* const root = qobject_cast<IPlugin*>(loader.instance());
    QVERIFY2(root != nullptr, qPrintable(loader.errorString()));
    QVERIFY(root->objectUuid().isNull());
    QCOMPARE(root->pluginUuid(), PDriverModbus::getPluginId());
}

void TestModbusDriver::refusedConfiguration()
{
    Bench bench;
    bench.start({{"prot", 1502}, {"unitId", 300}});
    const QStringList errors = bench.driver->getProperty("configurationErrors", nullptr).toStringList();
    QCOMPARE(errors.size(), 2);
    QVERIFY(errors.at(0).startsWith("\"unitId\": 300"));
    QVERIFY(errors.at(1).startsWith("\"prot\": 1502"));
    for (const char* instruction : {"read", "write", "listen", "deviceInformation"}) {
        const std::unique_ptr<FakeOrder> order = bench.run(instruction, writeArguments(1, 1));
        QVERIFY(order->ended());
        QCOMPARE(order->code, IMessenger::CeEcInvalidArguments);
        QVERIFY2(order->message.contains("\"unitId\": 300") && order->message.contains("\"prot\": 1502"),
                 qPrintable(order->message));
    }
    QCOMPARE(bench.peer.connections, 0);
    QVERIFY(!bench.isConnected());
}

void TestModbusDriver::refusedArguments_data()
{
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QString>("error");
    QTest::newRow("read, size") << "read" << readArguments(1, 126) << "\"dataSize\" is 126";
    QTest::newRow("write, value") << "write" << writeArguments(1, 65536) << "\"data\" is 65536";
    QTest::newRow("listen, type") << "listen" << readArguments(1, 1, "x") << "\"registerType\" is \"x\"";
    QTest::newRow("listen, interval 0") << "listen" << listenArguments(1, 0) << "\"recurrentInterval\" is 0";
    QTest::newRow("listen, interval 65536")
        << "listen" << listenArguments(1, 65536) << "\"recurrentInterval\" is 65536";
}

void TestModbusDriver::refusedArguments()
{
    QFETCH(QString, instruction);
    QFETCH(QVariantMap, arguments);
    QFETCH(QString, error);
    Bench bench;
    bench.start();
    FakeOrder order(bench.driver.get(), instruction, arguments);
    QVERIFY(!order.execute());
    QCOMPARE(order.endCount, 1);
    QCOMPARE(order.code, IMessenger::CeEcInvalidArguments);
    QVERIFY2(order.message.startsWith(error), qPrintable(order.message));
    QCOMPARE(bench.statistic("sent"), 0);
}

void TestModbusDriver::everyRegisterType_data()
{
    QTest::addColumn<QString>("instruction");
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QByteArray>("sent"); // unit and protocol data unit
    QTest::addColumn<QVariantList>("values");
    const auto row = [](const char* name, const char* instruction, const QVariantMap& arguments,
                        const char* sent, const QVariantList& values) {
        QTest::newRow(name) << instruction << arguments << QByteArray::fromHex(sent) << values;
    };
    row("holding", "read", readArguments(16, 2, "holdingRegisters"), "01 03 0010 0002", {16, 17});
    row("single", "read", readArguments(16, 1, "singleRegister"), "01 03 0010 0001", {16});
    row("input", "read", readArguments(16, 1, "inputRegisters"), "01 04 0010 0001", {16});
    row("coils", "read", readArguments(16, 4, "coils"), "01 01 0010 0004", {1, 0, 1, 0});
    row("discrete", "read", readArguments(16, 3, "discreteInputs"), "01 02 0010 0003", {1, 0, 1});
    row("125 registers", "read", readArguments(0, 125), "01 03 0000 007d", [] {
        QVariantList list;
        for (int i = 0; i < 125; ++i)
            list.append(i);
        return list;
    }());
    row("write one holding register with 0x10", "write", writeArguments(16, 5, "holdingRegisters"),
        "01 10 0010 0001 02 0005", {1});
    row("write two", "write", writeArguments(16, QVariantList{5, 6}, "holdingRegisters"),
        "01 10 0010 0002 04 0005 0006", {1});
    row("write single", "write", writeArguments(16, 5), "01 06 0010 0005", {1});
    row("write coil", "write", writeArguments(16, true, "coils"), "01 05 0010 ff00", {1});
    row("identification", "deviceInformation", {}, "01 11", {});
}

void TestModbusDriver::everyRegisterType()
{
    QFETCH(QString, instruction);
    QFETCH(QVariantMap, arguments);
    QFETCH(QByteArray, sent);
    QFETCH(QVariantList, values);
    Bench bench;
    bench.start();
    const std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments);
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
    QCOMPARE(bench.peer.requests, QList<QByteArray>{sent});
    QCOMPARE(order->updates.size(), 1);
    QCOMPARE(order->values(), values);
    if (instruction == "deviceInformation") {
        const QVariantMap information = order->updates.first().value("deviceInformation").toMap();
        QCOMPARE(information.value("info").toByteArray().toHex(), QByteArray("0102030405060708090a0b0c0d"));
    }
}

void TestModbusDriver::firstConnectionIsWaitedFor()
{
    Bench bench;
    bench.start({{"unitId", 0}, {"addressOffset", -1}});
    QVERIFY(!bench.isConnected());
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(5101));
    QVERIFY(!order->ended());
    QTRY_VERIFY(order->ended());
    QVERIFY2(order->ok, qPrintable(order->message));
    QCOMPARE(order->values(), QVariantList{5100});
    QCOMPARE(bench.peer.requests, QList<QByteArray>{QByteArray::fromHex("00 03 13ec 0001")});
}

void TestModbusDriver::firstConnectionIsWaitedForUntilItFails()
{
    Bench bench;
    bench.peer.refuse();
    bench.start();
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(5101));
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcNotConnected);
    QVERIFY2(order->message.startsWith(
                 QStringLiteral("not connected to 127.0.0.1:%1: Connection refused").arg(bench.peer.port())),
             qPrintable(order->message));
    QVERIFY(order->endedAfter < c_timeout / 2);
}

void TestModbusDriver::failsAtOnceWhileThereIsNoConnection()
{
    Bench bench;
    bench.peer.refuse();
    bench.start();
    QTRY_COMPARE(bench.statistic("failedOpenings"), 1);
    for (const char* instruction : {"read", "write", "deviceInformation"}) {
        const std::unique_ptr<FakeOrder> order = bench.run(instruction, writeArguments(1, 1));
        // Told from the event loop, though: a caller has its identifier first.
        QVERIFY(!order->ended());
        QCoreApplication::processEvents();
        QVERIFY(order->ended());
        QCOMPARE(order->code, IMessenger::CeEcNotConnected);
        QCOMPARE(order->updates.size(), 0);
    }
    QCOMPARE(bench.statistic("sent"), 0);
}

void TestModbusDriver::deadlineBeforeThereIsAConnection_data()
{
    QTest::addColumn<bool>("settles");
    QTest::addColumn<QString>("reason");
    QTest::newRow("settling") << true << "the pause of 5000 ms after connecting is not over";
    QTest::newRow("first connection not answered") << false << "no answer to the first attempt yet";
}

// Nothing was sent because there is no connection to send it on: that is what the caller is told.
void TestModbusDriver::deadlineBeforeThereIsAConnection()
{
    QFETCH(bool, settles);
    QFETCH(QString, reason);
    Bench bench;
    const FullServer full;
    if (!settles && full.port == 0)
        QSKIP("the system accepts connections for a server that does not");
    const int port = settles ? bench.peer.port() : full.port;
    bench.start({{"port", port}, {"connectTimeout", 10000}, {"settleDelay", settles ? 5000 : 0}});
    if (settles)
        QTRY_COMPARE(bench.statistic("connections"), 1);
    const std::unique_ptr<FakeOrder> read = bench.run("read", readArguments(1), 150);
    const std::unique_ptr<FakeOrder> write = bench.run("write", writeArguments(1, 1), 150);
    for (const FakeOrder* const order : {read.get(), write.get()}) {
        QTRY_VERIFY(order->ended());
        QCOMPARE(order->code, IMessenger::CeEcNotConnected);
        QCOMPARE(order->message, QStringLiteral("not connected to 127.0.0.1:%1: %2").arg(port).arg(reason));
        QVERIFY2(order->endedAfter >= 149 && order->endedAfter <= 200,
                 qPrintable(QString::number(order->endedAfter)));
    }
    QCOMPARE(bench.peer.requests.size(), 0);
}

void TestModbusDriver::pausesGrowBetweenAttempts()
{
    Bench bench;
    bench.peer.setCloseOnConnect(true);
    QElapsedTimer clock;
    clock.start();
    bench.start();
    // At once, then after a quarter of a second, a half and one, each up to a fifth shorter.
    QTRY_COMPARE(bench.peer.connections, 2);
    QVERIFY2(clock.elapsed() < 200, qPrintable(QString::number(clock.elapsed())));
    QTRY_COMPARE(bench.peer.connections, 5);
    QVERIFY2(clock.elapsed() >= 1400, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(clock.elapsed() < 2200, qPrintable(QString::number(clock.elapsed())));
    bench.peer.setCloseOnConnect(false);
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    // A proper answer ends the row of failures: the next loss is met at once again.
    bench.peer.setFault(ScriptedPeer::Close);
    clock.start();
    const std::unique_ptr<FakeOrder> lost = bench.run("read", readArguments(1));
    QTRY_VERIFY(lost->ended());
    QTRY_VERIFY(bench.isConnected());
    QVERIFY(clock.elapsed() < 200);
}

void TestModbusDriver::comesBackByItself()
{
    Bench bench;
    bench.peer.refuse();
    bench.start();
    QTRY_VERIFY(bench.statistic("failedOpenings") >= 2);
    QVERIFY(bench.peer.listen());
    QTRY_VERIFY(bench.isConnected());
    QSignalSpy spy(bench.driver.get(), &DAbstractPlugin::sigPropertyChanged);
    bench.peer.refuse();
    QTRY_VERIFY(!bench.isConnected());
    QCOMPARE(spy.first().at(0).toString(), QStringLiteral("connected"));
    QCOMPARE(spy.first().at(1).toBool(), false);
    QCOMPARE(spy.first().at(2).toBool(), false);
    QVERIFY(bench.peer.listen());
    QTRY_VERIFY(bench.isConnected());
    QCOMPARE(bench.statistic("reconnects"), 1);
}

void TestModbusDriver::waitingRequestsFailWithTheLink()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(50);
    bench.peer.setFault(ScriptedPeer::Close);
    const std::unique_ptr<FakeOrder> sent = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> waitingWrite = bench.run("write", writeArguments(1, 1));
    const std::unique_ptr<FakeOrder> waitingRead = bench.run("read", readArguments(2));
    QTRY_VERIFY(sent->ended() && waitingWrite->ended() && waitingRead->ended());
    QCOMPARE(sent->code, IMessenger::CeEcNotConnected);
    // Nothing of it was sent, so there is nothing uncertain about it.
    QCOMPARE(waitingWrite->code, IMessenger::CeEcNotConnected);
    QCOMPARE(waitingRead->code, IMessenger::CeEcNotConnected);
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> next = bench.run("read", readArguments(3));
    QTRY_VERIFY(next->ended());
    QVERIFY(next->ok);
    QCOMPARE(bench.peer.requests.size(), 2);
}

void TestModbusDriver::waitingRequestEndsByItsOwnDeadline()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(180);
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> waiting = bench.run("write", writeArguments(1, 1), 100);
    QTRY_VERIFY(first->ended());
    QVERIFY(first->ok);
    QVERIFY(waiting->ended());
    QCOMPARE(waiting->code, IMessenger::CeEcTimeout);
    QVERIFY2(waiting->endedAfter >= 99 && waiting->endedAfter <= 130,
             qPrintable(QString::number(waiting->endedAfter)));
    QVERIFY2(waiting->message.contains("was not sent"), qPrintable(waiting->message));
    QCOMPARE(bench.received(0x06), 0);
}

void TestModbusDriver::defaultDeadline()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setFault(ScriptedPeer::NoAnswer);
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1), -1);
    QTRY_VERIFY(order->ended());
    QCOMPARE(order->code, IMessenger::CeEcTimeout);
    QVERIFY2(order->endedAfter >= 2999 && order->endedAfter <= 3150,
             qPrintable(QString::number(order->endedAfter)));
}

void TestModbusDriver::writesGoFirst()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(20);
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> listener = bench.run("listen", listenArguments(2, 10000));
    const std::unique_ptr<FakeOrder> read = bench.run("read", readArguments(3));
    const std::unique_ptr<FakeOrder> write = bench.run("write", writeArguments(4, 1));
    const std::unique_ptr<FakeOrder> secondWrite = bench.run("write", writeArguments(5, 1));
    QTRY_COMPARE(listener->updates.size(), 1);
    QList<int> order;
    for (const QByteArray& request : qAsConst(bench.peer.requests))
        order.append(request.at(3));
    QCOMPARE(order, (QList<int>{1, 4, 5, 3, 2}));
    QVERIFY(first->ok && read->ok && write->ok && secondWrite->ok);
}

void TestModbusDriver::queueIsBounded()
{
    Bench bench;
    bench.start({{"queueCapacity", 2}});
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(50);
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> second = bench.run("read", readArguments(2));
    const std::unique_ptr<FakeOrder> third = bench.run("write", writeArguments(3, 1));
    const std::unique_ptr<FakeOrder> fourth = bench.run("write", writeArguments(4, 1));
    QTRY_VERIFY(fourth->ended());
    QCOMPARE(fourth->code, IMessenger::CeEcQueueFull);
    QTRY_VERIFY(first->ended() && second->ended() && third->ended());
    QVERIFY(first->ok && second->ok && third->ok);
    QCOMPARE(bench.peer.requests.size(), 3);
}

void TestModbusDriver::waitingRequestIsWithdrawn()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(50);
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    std::unique_ptr<FakeOrder> destroyed = bench.run("write", writeArguments(2, 1));
    const std::unique_ptr<FakeOrder> ended = bench.run("write", writeArguments(3, 1));
    const std::unique_ptr<FakeOrder> last = bench.run("read", readArguments(4));
    destroyed.reset();
    ended->finish(false, IMessenger::CeEcStopped, "stopped");
    QTRY_VERIFY(last->ended());
    QVERIFY(first->ok && last->ok);
    QCOMPARE(ended->endCount, 1);
    QCOMPARE(bench.received(0x06), 0);
    QCOMPARE(bench.peer.requests.size(), 2);
}

void TestModbusDriver::answerToAWithdrawnRequestIsDropped()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(50);
    std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> second = bench.run("read", readArguments(2));
    QTRY_COMPARE(bench.peer.requests.size(), 1);
    first.reset();
    QTRY_VERIFY(second->ended());
    QCOMPARE(second->values(), QVariantList{2});
    QCOMPARE(bench.statistic("answered"), 2);
    // A peer that never answers the withdrawn one does not hold up the next one for ever.
    bench.peer.setFault(ScriptedPeer::NoAnswer);
    std::unique_ptr<FakeOrder> silent = bench.run("read", readArguments(3), 100);
    QTRY_COMPARE(bench.peer.requests.size(), 3);
    silent.reset();
    QTRY_COMPARE(bench.statistic("timedOut"), 1);
    QTRY_VERIFY(bench.isConnected());
}

void TestModbusDriver::chatterClosesTheLink()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setFault(ScriptedPeer::Chatter);
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    QTRY_COMPARE(bench.statistic("reconnects"), 1);
    QTRY_VERIFY(bench.isConnected());
    bench.peer.chatter("x");
    QTRY_COMPARE(bench.statistic("reconnects"), 2);
    QCOMPARE(bench.statistic("malformed"), 2);
    // A connection that was closed is gone at the other end as well.
    QTRY_COMPARE(bench.peer.openConnections(), 1);
}

void TestModbusDriver::listening()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    constexpr int c_interval = 40;
    bench.peer.setAnswerDelay(c_interval / 2);
    const std::unique_ptr<FakeOrder> order = bench.run("listen", listenArguments(5101, c_interval, 2));
    constexpr int c_polls = 20;
    QTRY_VERIFY(order->updates.size() > c_polls);
    // From start to start: the time that an answer takes is not added to the interval. A machine that stalls
    // moves polls or has them skipped, so some in a row that it leaves alone have to show it.
    constexpr int c_row = 10;
    qint64 off = 0;
    const auto keepsTime = [&] {
        const QList<qint64>& times = bench.peer.requestTimes;
        off = times.last();
        for (int i = c_row; i < times.size(); ++i)
            off = std::min(off, qAbs(times.at(i) - times.at(i - c_row) - qint64{c_row} * c_interval));
        return off <= c_row * c_interval / 20;
    };
    QTRY_VERIFY2(keepsTime(), qPrintable(QString::number(off)));
    order->stop();
    QVERIFY(order->ok);
    for (const QVariantMap& update : qAsConst(order->updates))
        QCOMPARE(update, (QVariantMap{{"values", QVariantList{5101, 5102}}}));
    QCOMPARE(bench.driver->schedule()->rangeCount(), 0);
    // Nothing is sent once it has been stopped.
    QTRY_COMPARE(bench.statistic("sent"), bench.statistic("answered"));
    const auto sent = bench.peer.requests.size();
    const std::unique_ptr<FakeOrder> other = bench.run("listen", listenArguments(7, 2 * c_interval));
    QTRY_VERIFY(other->updates.size() >= 3);
    for (auto i = sent; i < bench.peer.requests.size(); ++i)
        QCOMPARE(bench.peer.requests.at(i), QByteArray::fromHex("01 03 0007 0001"));
    other->stop();
}

void TestModbusDriver::listeningSkipsWhatIsLate()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(110);
    const std::unique_ptr<FakeOrder> order = bench.run("listen", listenArguments(1, 20));
    QTRY_VERIFY(order->updates.size() >= 3);
    // Every answer takes five intervals: none is waiting, and the missed ones are counted.
    QVERIFY2(bench.peer.requests.size() <= order->updates.size() + 1,
             qPrintable(QString::number(bench.peer.requests.size())));
    QVERIFY2(bench.statistic("skippedPolls") >= 10,
             qPrintable(QString::number(bench.statistic("skippedPolls"))));
    QCOMPARE(order->failures.size(), 0);
    order->stop();
}

void TestModbusDriver::pollNearItsCallersDeadline()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(60);
    // The second poll starts some 50 ms before its caller gives up, and needs more.
    const std::unique_ptr<FakeOrder> order = bench.run("listen", listenArguments(1, 250), 240);
    QTRY_VERIFY(order->updates.size() >= 3);
    QCOMPARE(order->failures.size(), 0);
    QCOMPARE(bench.statistic("reconnects"), 0);
    order->stop();
}

void TestModbusDriver::listenersShareAPoll()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> first = bench.run("listen", listenArguments(1, 50));
    const std::unique_ptr<FakeOrder> second = bench.run("listen", listenArguments(1, 50));
    const std::unique_ptr<FakeOrder> other = bench.run("listen", listenArguments(1, 50, 2));
    QCOMPARE(bench.driver->schedule()->rangeCount(), 2);
    QTRY_VERIFY(first->updates.size() >= 5 && other->updates.size() >= 5);
    QVERIFY(qAbs(first->updates.size() - second->updates.size()) <= 1);
    int shared = 0;
    for (const QByteArray& request : qAsConst(bench.peer.requests))
        shared += request == QByteArray::fromHex("01 03 0001 0001") ? 1 : 0;
    QVERIFY(qAbs(shared - static_cast<int>(first->updates.size())) <= 1);
    first->stop();
    other->stop();
    QCOMPARE(bench.driver->schedule()->rangeCount(), 1);
    const auto before = second->updates.size();
    QTRY_VERIFY(second->updates.size() > before + 2);
    second->stop();
    QCOMPARE(bench.driver->schedule()->rangeCount(), 0);
}

void TestModbusDriver::listenersKeepTheirIntervals()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> slow = bench.run("listen", listenArguments(1, 150));
    QTRY_COMPARE(slow->updates.size(), 1);
    const std::unique_ptr<FakeOrder> fast = bench.run("listen", listenArguments(1, 30));
    QTRY_VERIFY(fast->updates.size() >= 30);
    const double ratio =
        static_cast<double>(fast->updates.size()) / static_cast<double>(slow->updates.size());
    QVERIFY2(ratio > 3.5 && ratio < 6.0, qPrintable(QString::number(ratio)));
    // Without the fast one, the slow one's interval is the range's.
    fast->stop();
    const auto requests = bench.peer.requests.size();
    const auto before = slow->updates.size();
    QTRY_VERIFY(slow->updates.size() >= before + 3);
    QVERIFY(bench.peer.requests.size() - requests <= 5);
    slow->stop();
}

void TestModbusDriver::listenerIsNotStarvedByOthers()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    constexpr int c_interval = 150;
    constexpr int c_updates = 6;
    const std::unique_ptr<FakeOrder> slow = bench.run("listen", listenArguments(1, c_interval));
    std::unique_ptr<FakeOrder> other;
    int changes = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] {
        ++changes;
        if (other != nullptr)
            other->stop();
        other = changes % 2 == 0 ? nullptr : bench.run("listen", listenArguments(1, c_interval - 10));
    });
    timer.start(c_interval / 3);
    QTRY_VERIFY(slow->updates.size() >= c_updates);
    timer.stop();
    QVERIFY2(changes >= c_updates, qPrintable(QString::number(changes)));
    const QList<qint64> reads = bench.peer.requestTimes;
    for (int i = 1; i < reads.size(); ++i)
        QVERIFY2(reads.at(i) - reads.at(i - 1) <= c_interval + c_interval / 3,
                 qPrintable(QString::number(reads.at(i) - reads.at(i - 1))));
    const qint64 span = slow->updateTimes.at(c_updates - 1) - slow->updateTimes.first();
    QVERIFY2(span <= qint64{c_interval} * c_updates, qPrintable(QString::number(span)));
    if (other != nullptr)
        other->stop();
    slow->stop();
}

void TestModbusDriver::listeningSurvivesAnOutage()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    const std::unique_ptr<FakeOrder> order = bench.run("listen", listenArguments(5101, 20));
    QTRY_VERIFY(!order->updates.isEmpty());
    bench.peer.refuse();
    QTRY_COMPARE(order->failures.size(), 1);
    QCOMPARE(order->failures.first().code, IMessenger::CeEcNotConnected);
    // Many polls are due in that time, and the outage is told once.
    QTRY_VERIFY(bench.statistic("failedOpenings") >= 3);
    QCOMPARE(order->failures.size(), 1);
    const auto before = order->updates.size();
    QVERIFY(bench.peer.listen());
    QTRY_VERIFY(order->updates.size() > before + 2);
    QCOMPARE(order->failures.size(), 1);
    // A second outage is told again.
    bench.peer.setFault(ScriptedPeer::Exception);
    QTRY_COMPARE(order->failures.size(), 2);
    QCOMPARE(order->failures.last().code, IMessenger::CeEcRefused);
    QCOMPARE(order->endCount, 0);
    order->stop();
}

void TestModbusDriver::stopWhileAPollIsOut()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setAnswerDelay(60);
    const std::unique_ptr<FakeOrder> order = bench.run("listen", listenArguments(1, 20));
    QTRY_COMPARE(bench.peer.requests.size(), 1);
    order->stop();
    // The same range anew, while the first poll's answer is still to come.
    const std::unique_ptr<FakeOrder> second = bench.run("listen", listenArguments(1, 20));
    QTRY_COMPARE(second->updates.size(), 1);
    QCOMPARE(order->updates.size(), 0);
    second->stop();
    QCOMPARE(second->endCount, 1);
    QCOMPARE(bench.driver->schedule()->rangeCount(), 0);
}

void TestModbusDriver::instanceGoesWithRequestsOut()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setFault(ScriptedPeer::NoAnswer, -1);
    const std::unique_ptr<FakeOrder> write = bench.run("write", writeArguments(1, 1));
    QTRY_COMPARE(bench.peer.requests.size(), 1);
    const std::unique_ptr<FakeOrder> read = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> listener = bench.run("listen", listenArguments(1, 20));
    bench.driver.reset();
    QCOMPARE(write->endCount, 1);
    QCOMPARE(write->code, IMessenger::CeEcUncertain);
    QCOMPARE(read->endCount, 1);
    QCOMPARE(read->code, IMessenger::CeEcNotConnected);
    QVERIFY2(read->message.contains("the driver instance is ended"), qPrintable(read->message));
    QCOMPARE(listener->endCount, 1);
    QCOMPARE(listener->code, IMessenger::CeEcInternal);
    // The connection is closed, not left behind.
    QTRY_COMPARE(bench.peer.openConnections(), 0);
}

void TestModbusDriver::instanceGoesWhenItTellsOfItsLink_data()
{
    QTest::addColumn<bool>("connected");
    QTest::newRow("connected") << true;
    QTest::newRow("lost") << false;
}

// Whoever is told of a property may remove the instance there and then.
void TestModbusDriver::instanceGoesWhenItTellsOfItsLink()
{
    QFETCH(bool, connected);
    Bench bench;
    bench.start();
    const std::unique_ptr<FakeOrder> waiting = bench.run("read", readArguments(1));
    int told = 0;
    connect(bench.driver.get(), &DAbstractPlugin::sigPropertyChanged, this,
            [&](const QString& name, const QVariant& value) {
                if (name != "connected")
                    return;
                ++told;
                if (value.toBool() == connected)
                    bench.driver.reset();
            });
    if (!connected) {
        QTRY_COMPARE(told, 1);
        QTRY_VERIFY(waiting->ended());
        bench.peer.refuse();
    }
    QTRY_VERIFY(bench.driver == nullptr);
    // An instance on its way out tells no more.
    QCOMPARE(told, connected ? 1 : 2);
    QTRY_COMPARE(waiting->endCount, 1);
    QTRY_COMPARE(bench.peer.openConnections(), 0);
}

void TestModbusDriver::instanceGoesWhenItStartsAfresh()
{
    Bench bench;
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    connect(bench.driver.get(), &DAbstractPlugin::sigPropertyChanged, this,
            [&](const QString& name, const QVariant&) {
                if (name == "connected")
                    bench.driver.reset();
            });
    bench.driver->initPluginCommands();
    QVERIFY(bench.driver == nullptr);
    QTRY_COMPARE(bench.peer.openConnections(), 0);

    // The same from the outcome of a request that the old link still has.
    bench.start();
    QTRY_VERIFY(bench.isConnected());
    bench.peer.setFault(ScriptedPeer::NoAnswer);
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    connect(order.get(), &FakeOrder::orderEnded, this, [&bench] { bench.driver.reset(); });
    bench.driver->initPluginCommands();
    QVERIFY(bench.driver == nullptr);
    QCOMPARE(order->endCount, 1);
    QTRY_COMPARE(bench.peer.openConnections(), 0);
}

void TestModbusDriver::startsAfresh()
{
    Bench bench;
    bench.start({{"unitId", 300}});
    QVERIFY(!bench.driver->getProperty("configurationErrors", nullptr).toStringList().isEmpty());
    bench.driver->setInPluginConfig("unitId", 5);
    bench.driver->initPluginCommands();
    QVERIFY(bench.driver->getProperty("configurationErrors", nullptr).toStringList().isEmpty());
    QCOMPARE(bench.driver->getProperty("address", nullptr).toString(),
             QStringLiteral("127.0.0.1:%1").arg(bench.peer.port()));
    const std::unique_ptr<FakeOrder> order = bench.run("deviceInformation", {});
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    QCOMPARE(bench.peer.requests, QList<QByteArray>{QByteArray::fromHex("0511")});
}

void TestModbusDriver::pausesBetweenFrames()
{
    Bench bench;
    bench.start({{"interFrameDelay", 60}});
    const std::unique_ptr<FakeOrder> first = bench.run("read", readArguments(1));
    const std::unique_ptr<FakeOrder> second = bench.run("read", readArguments(2));
    QTRY_VERIFY(second->ended());
    QVERIFY(first->ok && second->ok);
    const qint64 pause = bench.peer.requestTimes.at(1) - bench.peer.requestTimes.at(0);
    QVERIFY2(pause >= 59 && pause < 150, qPrintable(QString::number(pause)));
}

void TestModbusDriver::settlesAfterConnecting()
{
    Bench bench;
    bench.start({{"settleDelay", 150}});
    const std::unique_ptr<FakeOrder> order = bench.run("read", readArguments(1));
    QTRY_COMPARE(bench.peer.connections, 1);
    QVERIFY(!bench.isConnected());
    QTRY_VERIFY(order->ended());
    QVERIFY(order->ok);
    QVERIFY2(order->endedAfter >= 149 && order->endedAfter < 300,
             qPrintable(QString::number(order->endedAfter)));
}

void TestModbusDriver::statisticsAndTrace()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("frames.txt");
    Bench bench;
    bench.start({{"frameTrace", path}});
    const std::unique_ptr<FakeOrder> good = bench.run("read", readArguments(1));
    QTRY_VERIFY(good->ended());
    bench.peer.setFault(ScriptedPeer::Exception);
    const std::unique_ptr<FakeOrder> refused = bench.run("read", readArguments(1));
    QTRY_VERIFY(refused->ended());
    bool found = false;
    const QVariantMap map = bench.driver->getProperty("statistics", &found).toMap();
    QVERIFY(found);
    QCOMPARE(bench.driver->getProperty("statistics", QVariant(1)).toMap(), map);
    QCOMPARE(map.value("sent").toInt(), 2);
    QCOMPARE(map.value("answered").toInt(), 1);
    QCOMPARE(map.value("refused").toInt(), 1);
    QCOMPARE(map.value("connections").toInt(), 1);
    QCOMPARE(map.value("roundTrips").toInt(), 2);
    QVERIFY(map.value("roundTripMinimum").toDouble() > 0);
    QVERIFY(map.value("roundTripMedian").toDouble() <= map.value("roundTripPercentile99").toDouble());

    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
    QCOMPARE(lines.size(), 4);
    QVERIFY2(lines.at(0).endsWith(" tx 01 03 00 01 00 01"), lines.at(0).constData());
    QVERIFY2(lines.at(1).contains(" rx ") && lines.at(1).endsWith(" 00 00 00 05 01 03 02 00 01"),
             lines.at(1).constData());
    QVERIFY2(lines.at(3).endsWith(" 00 00 00 03 01 83 02"), lines.at(3).constData());
}

void TestModbusDriver::worksWithAnotherMakesServer()
{
    QProcess server;
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QProcess probe;
    probe.start("/usr/bin/python3", {"-c", "import pymodbus"});
    if (!probe.waitForFinished() || probe.exitCode() != 0)
        QSKIP("/usr/bin/python3 has no pymodbus");
    server.start("/usr/bin/python3",
                 {MDC_SOURCE_DIRECTORY "/plugins/p_driver_modbus/tests/pymodbus_server.py"});
    QTRY_VERIFY_WITH_TIMEOUT(server.canReadLine() || server.state() == QProcess::NotRunning, 20000);
    const int port = server.readLine().trimmed().toInt();
    QVERIFY(port > 0);
    {
        Bench bench;
        bench.start({{"port", port}});
        const auto run = [&bench](const QString& instruction, const QVariantMap& arguments) {
            std::unique_ptr<FakeOrder> order = bench.run(instruction, arguments, 3000);
            [&order] { QTRY_VERIFY(order->ended()); }();
            return order;
        };
        QCOMPARE(run("read", readArguments(100, 3))->values(), (QVariantList{100, 101, 102}));
        QCOMPARE(run("read", readArguments(0, 125))->values().size(), 125);
        QCOMPARE(run("read", readArguments(7, 1, "inputRegisters"))->values(), QVariantList{7});
        QCOMPARE(run("read", readArguments(3, 10, "discreteInputs"))->values(),
                 (QVariantList{1, 0, 0, 1, 0, 0, 1, 0, 0, 1}));
        QCOMPARE(run("write", writeArguments(10, 4711))->values(), QVariantList{1});
        QCOMPARE(run("read", readArguments(10))->values(), QVariantList{4711});
        QCOMPARE(run("write", writeArguments(11, QVariantList{1, 65535}, "holdingRegisters"))->values(),
                 QVariantList{1});
        QCOMPARE(run("read", readArguments(11, 2))->values(), (QVariantList{1, 65535}));
        QCOMPARE(run("write", writeArguments(1, true, "coils"))->values(), QVariantList{1});
        QCOMPARE(run("read", readArguments(0, 3, "coils"))->values(), (QVariantList{1, 1, 0}));
        const std::unique_ptr<FakeOrder> outside = run("read", readArguments(5000));
        QCOMPARE(outside->code, IMessenger::CeEcRefused);
        QVERIFY2(outside->message.endsWith("illegal data address (2)"), qPrintable(outside->message));
        const std::unique_ptr<FakeOrder> refusedWrite = run("write", writeArguments(5000, 1));
        QCOMPARE(refusedWrite->code, IMessenger::CeEcRefused);
        QCOMPARE(refusedWrite->values(), QVariantList{0});
        const std::unique_ptr<FakeOrder> information = run("deviceInformation", {});
        QVERIFY2(information->ok || information->code == IMessenger::CeEcRefused,
                 qPrintable(information->message));
        QCOMPARE(bench.statistic("malformed"), 0);
        QCOMPARE(bench.statistic("reconnects"), 0);
    }
    server.kill();
    QVERIFY(server.waitForFinished());
}

QTEST_GUILESS_MAIN(TestModbusDriver)
#include "tst_modbus_driver.moc"
