// The maintenance page on the built plug-ins and a simulated controller, over Modbus, in this process and
// in the bench's.

#include "applications/panel/panel_window.h"
#include "applications/simulator/platform.h"
#include "applications/simulator/simulated_controller.h"
#include "tests/support/bench_fixture.h"
#include "tests/support/bench_program.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QJsonValueRef>
#include <QProcess>
#include <QProcessEnvironment>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSet>
#include <QSignalSpy>
#include <QSize>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString c_program = QStringLiteral(MDC_BINARY_DIRECTORY "/bin/mdc-bench");
constexpr int c_programTimeout = 60000; // ms; a sanitized program takes some seconds

PanelDevice panelDevice(const DAbstractPlugin& device, const QString& reference)
{
    return {device.pluginUuid(), device.objectUuid(), device.getName(), reference};
}

PanelRequest requestFor(const QList<PanelDevice>& devices)
{
    PanelRequest request;
    request.devices = devices;
    return request;
}

// The channel's description with another "size", if it has this id.
QJsonObject withSize(QJsonObject channel, const QString& id, int size)
{
    if (channel.value("id") != QJsonValue(id))
        return channel;
    QJsonArray entries = channel.value("value").toArray();
    for (QJsonValueRef entry : entries) {
        if (entry.toObject().value("id") == QJsonValue("size"))
            entry = QJsonObject{{"id", "size"}, {"value", size}};
    }
    channel.insert("value", entries);
    return channel;
}

void applyProgram(PanelWindow& window, const QString& typed)
{
    QQuickItem* const field = window.itemNamed("idInputProgram");
    field->setProperty("text", QString());
    window.press(*field);
    for (const QChar character : typed)
        QTest::keyClick(&window, character.toLatin1());
    window.press(*window.itemNamed("idButtonApply"));
}

// As in "6002 = 5".
QStringList writeTexts(const SimulatedController& controller)
{
    QStringList texts;
    const QList<ControllerWrite> writes = controller.writes();
    for (const ControllerWrite& write : writes)
        texts.append(write.toText().section(": ", 1));
    return texts;
}

// The fixture's controller and its page, shown and complete.
class Bench
{
public:
    bool start(const QString& profile)
    {
        if (!fixture.start(profile, Transport::Tcp) ||
            !QTest::qWaitFor([&] { return fixture.driver()->getProperty("connected", false).toBool(); }))
            return false;
        window = std::make_unique<PanelWindow>(
            requestFor({panelDevice(*fixture.device(), fixture.profile().reference)}));
        window->show();
        return QTest::qWaitFor([&] { return page().isComplete(); });
    }

    PanelPage& page() { return *window->pages().front(); }
    SimulatedController& controller() { return fixture.simulator().controller(); }
    void press(const char* ending) { window->press(*window->itemNamed(QString(ending))); }
    QString text(const QString& ending)
    {
        const QQuickItem* const item = window->itemNamed(ending);
        return item == nullptr ? QString("no such item") : item->property("text").toString();
    }
    // Those since the last call.
    QStringList takeWrites()
    {
        QStringList texts = writeTexts(controller());
        controller().clearWrites();
        return texts;
    }

    BenchFixture fixture;
    std::unique_ptr<PanelWindow> window; // gone before the host
};

struct Ended
{
    int exitCode = -1;
    QString output;
};

void start(QProcess& process, const QStringList& arguments, const QString& variable = QString())
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (!variable.isEmpty())
        environment.insert(variable.section('=', 0, 0), variable.section('=', 1));
    for (const char* const name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
        environment.remove(QLatin1String(name));
    // A sanitized program would tell which leaks of Qt it passes over.
    environment.insert("LSAN_OPTIONS", environment.value("LSAN_OPTIONS") + ":print_suppressions=0");
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(c_program, arguments);
    process.closeWriteChannel();
}

Ended end(QProcess& process)
{
    if (!process.waitForFinished(c_programTimeout)) {
        process.kill();
        process.waitForFinished();
        return {-1, "did not end: " + QString::fromUtf8(process.readAll())};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAll())};
}

Ended runProgram(const QStringList& arguments, const QString& variable = QString())
{
    QProcess process;
    start(process, arguments, variable);
    return end(process);
}

// Colours of a picture; of an empty one few.
int colours(const QImage& image)
{
    QSet<QRgb> found;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            found.insert(image.pixel(x, y));
    }
    return static_cast<int>(found.size());
}

} // namespace

class TestPanelChain : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void actionsReachTheRegisters_data();
    void actionsReachTheRegisters();
    void typedPrograms_data();
    void typedPrograms();
    void refusedAndUncertain();
    void everyGenerationIsReadRight_data();
    void everyGenerationIsReadRight();
    void lampFollowsTheMotor();
    void linkLostAndBack();
    void aSecondDevice();
    void lockStateOfTheBundledConfiguration_data();
    void lockStateOfTheBundledConfiguration();
    void uncertainLockIsFollowed();
    void anotherHostOfTheSameDevice();
    void pictures_data();
    void pictures();
    void pressesWhatIsOutOfSight();
    void scaledPictures_data();
    void scaledPictures();
    void pictureProblems_data();
    void pictureProblems();
    void windowEndsOnInterrupt();
    void otherSubcommandsDoWithoutQuick();
    void fiftyTimes();
};

void TestPanelChain::initTestCase()
{
    QQuickWindow::setSceneGraphBackend(QSGRendererInterface::Software);
    QQuickStyle::setStyle(":/applications/Kivora/gui/style");
}

void TestPanelChain::actionsReachTheRegisters_data()
{
    QTest::addColumn<QString>("profile");
    QTest::addColumn<int>("base"); // address of the first register to write, less 1
    QTest::newRow("generation 1, first layout") << "mdc26-gen1v1" << 5000;
    QTest::newRow("generation 1") << "mdc26-gen1v2" << 5000;
    QTest::newRow("generation 2") << "mdc32-gen2" << 6000;
}

void TestPanelChain::actionsReachTheRegisters()
{
    QFETCH(QString, profile);
    QFETCH(int, base);
    Bench bench;
    QVERIFY2(bench.start(profile), qPrintable(bench.fixture.error()));
    const auto write = [&](int offset, int value) {
        return QStringList(QString("%1 = %2").arg(base + offset).arg(value));
    };
    QCOMPARE(bench.takeWrites(), QStringList());

    applyProgram(*bench.window, "7");
    QTRY_COMPARE(bench.controller().currentPreset(), quint16(7));
    QTRY_COMPARE(bench.text("idChannelItem_2.idChannelRow.idChannelValue.idFrameChannelText.idChannelText"),
                 QString("7"));
    QCOMPARE(bench.takeWrites(), write(2, 7));

    bench.press("idButtonLoosening");
    QTRY_COMPARE(bench.controller().direction(), quint16(1));
    QTRY_COMPARE(bench.text("idChannelItem_0.idChannelRow.idChannelValue.idFrameChannelText.idChannelText"),
                 QString("Loosening"));
    QCOMPARE(bench.takeWrites(), write(1, 1));
    bench.press("idButtonFastening");
    QTRY_COMPARE(bench.controller().direction(), quint16(0));
    QCOMPARE(bench.takeWrites(), write(1, 0));

    bench.press("idButtonLock");
    QTRY_VERIFY(!bench.page().isWaiting());
    QCOMPARE(bench.takeWrites(), write(4, 1));
    bench.press("idButtonUnlock");
    QTRY_VERIFY(!bench.page().isWaiting());
    QCOMPARE(bench.takeWrites(), write(4, 0));
    QCOMPARE(bench.text("idFailure.idTitle"), QString("no such item"));
}

void TestPanelChain::typedPrograms_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QStringList>("writes");
    QTest::addColumn<int>("program");
    QTest::newRow("1") << "1"
                       << "1" << QStringList("6002 = 1") << 1;
    QTest::newRow("255") << "255"
                         << "255" << QStringList("6002 = 255") << 255;
    QTest::newRow("the controller has one less")
        << "256"
        << "256" << QStringList("6002 = 256: refused with exception 3") << 7;
    QTest::newRow("0") << "0"
                       << "0" << QStringList() << 7;
    // The sign cannot be typed.
    QTest::newRow("negative") << "-3"
                              << "3" << QStringList("6002 = 3") << 3;
    QTest::newRow("only a sign") << "-"
                                 << "" << QStringList() << 7;
    QTest::newRow("text") << "abc"
                          << "" << QStringList() << 7;
    QTest::newRow("empty") << ""
                           << "" << QStringList() << 7;
}

// On a controller with 255 programs of 4 registers, the seventh of which is chosen.
void TestPanelChain::typedPrograms()
{
    QFETCH(QString, typed);
    QFETCH(QStringList, writes);
    QFETCH(int, program);
    ChainOptions options;
    options.changeDevice = [](QJsonObject configuration) {
        QJsonArray channels = configuration.value("channels").toArray();
        for (QJsonValueRef channel : channels)
            channel = withSize(withSize(channel.toObject(), "presetsV2", 255), "currentPresetV2", 4);
        configuration.insert("channels", channels);
        return configuration;
    };
    BenchFixture bench;
    QVERIFY2(bench.start(options), qPrintable(bench.error()));
    Simulator& simulator = bench.simulator();
    simulator.controller().setValue("currentPreset", 7);
    PanelWindow window(requestFor({panelDevice(*bench.device(), bench.profile().reference)}));
    QCOMPARE(window.error(), QString());
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    const PanelPage& page = *window.pages().front();
    QTRY_VERIFY(page.isComplete());

    applyProgram(window, typed);
    QTEST(window.itemNamed("idInputProgram")->property("text").toString(), "shown");
    // The lock goes after whatever the field has sent.
    window.press(*window.itemNamed("idButtonLock"));
    writes.append("6004 = 1");
    QTRY_COMPARE(writeTexts(simulator.controller()), writes);
    QTRY_VERIFY(page.isComplete());
    QCOMPARE(simulator.controller().currentPreset(), quint16(program));
    QCOMPARE(window.itemNamed("idFailure.idTitle") != nullptr, typed == "256");
    QTRY_COMPARE(
        window.itemNamed("idChannelItem_2.idChannelRow.idChannelValue.idFrameChannelText.idChannelText")
            ->property("text")
            .toString(),
        QString::number(program));
}

void TestPanelChain::refusedAndUncertain()
{
    Bench bench;
    QVERIFY2(bench.start("mdc32-gen2"), qPrintable(bench.fixture.error()));
    // The controller has 50 programs.
    applyProgram(*bench.window, "255");
    QTRY_VERIFY(bench.text("idFailure.idTitle").endsWith("panel_failure_failed"));
    QCOMPARE(bench.text("idFailure.idText"), QString("panel_reason_refused"));
    QCOMPARE(bench.controller().currentPreset(), quint16(1));
    QCOMPARE(bench.takeWrites().size(), 1);

    const auto fault = Fault::parse("close@once/0x06");
    QVERIFY(fault);
    bench.fixture.simulator().faults().add(*fault);
    bench.press("idButtonLock");
    QTRY_VERIFY(bench.text("idFailure.idTitle").endsWith("panel_failure_uncertain"));
    QCOMPARE(bench.text("idFailure.idText"), QString("panel_reason_uncertain"));
    // Once, whatever became of it: nobody sends a lock twice for the operator.
    QTRY_VERIFY(bench.page().isComplete());
    QCOMPARE(bench.takeWrites(), QStringList("6004 = 1"));
}

void TestPanelChain::everyGenerationIsReadRight_data()
{
    QTest::addColumn<QString>("profile");
    QTest::addColumn<QString>("model");
    QTest::newRow("mdc26-gen1v1") << "mdc26-gen1v1"
                                  << "MDC-26";
    QTest::newRow("mdc22-gen1v2") << "mdc22-gen1v2"
                                  << "MDC-22";
    QTest::newRow("mdc32-gen2") << "mdc32-gen2"
                                << "MDC-32";
}

// Also the very first poll asks for the generation's own registers: the others would be refused.
void TestPanelChain::everyGenerationIsReadRight()
{
    QFETCH(QString, profile);
    Bench bench;
    QVERIFY2(bench.start(profile), qPrintable(bench.fixture.error()));
    QCOMPARE(bench.page().item()->property("unreadValues").toInt(), 0);
    QTRY_VERIFY(!bench.text("idDeviceInfoRow_0.idValue").isEmpty());
    QTEST(bench.text("idDeviceInfoRow_0.idValue"), "model");
    const QVariantMap statistics = bench.fixture.driver()->getProperty("statistics", QVariant()).toMap();
    QCOMPARE(statistics.value("refused").toInt(), 0);
}

void TestPanelChain::lampFollowsTheMotor()
{
    Bench bench;
    QVERIFY2(bench.start("mdc32-gen2"), qPrintable(bench.fixture.error()));
    bench.page().item()->setProperty("updatePeriod", 20);
    const QQuickItem* const lamp =
        bench.window->itemNamed("idChannelItem_1.idChannelRow.idChannelValue.idChannelLed");
    QVERIFY(lamp != nullptr && !lamp->property("lit").toBool());
    bench.controller().setMotorRunning(true);
    QTRY_VERIFY(lamp->property("lit").toBool());
    bench.controller().setValue("motorRun", 2);
    QTRY_VERIFY(!lamp->property("lit").toBool());
}

void TestPanelChain::linkLostAndBack()
{
    Bench bench;
    QVERIFY2(bench.start("mdc32-gen2"), qPrintable(bench.fixture.error()));
    bench.controller().setValue("currentPreset", 9);
    const QString program = "idChannelItem_2.idChannelRow.idChannelValue.idFrameChannelText.idChannelText";
    QTRY_COMPARE(bench.text(program), QString("9"));
    bench.fixture.simulator().restart(300);
    QTRY_VERIFY(!bench.page().isConnected());
    QCOMPARE(bench.text("idReason.idTitle"), QString("panel_reason_no_link"));
    QCOMPARE(bench.text(program), QString("9"));
    QCOMPARE(bench.text("idDeviceInfoRow_0.idValue"), QString("MDC-32"));
    bench.controller().setValue("currentPreset", 11);
    QTRY_VERIFY_WITH_TIMEOUT(bench.page().isComplete(), 20000);
    QTRY_COMPARE(bench.text(program), QString("11"));
    bench.takeWrites();
    bench.press("idButtonLock");
    QTRY_VERIFY(!bench.page().isWaiting());
    QCOMPARE(bench.takeWrites(), QStringList("6004 = 1"));
}

void TestPanelChain::aSecondDevice()
{
    ChainOptions options;
    options.changeBench = [](QJsonObject root) {
        QJsonArray objects = root.value("objects").toArray();
        QJsonObject second = objects.last().toObject();
        second.insert("id", "{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f33}");
        second.insert("name", "the \"other\" one");
        objects.append(second);
        root.insert("objects", objects);
        return root;
    };
    BenchFixture bench;
    QVERIFY2(bench.start(options), qPrintable(bench.error()));
    DHost& host = bench.host();
    Simulator& simulator = bench.simulator();
    QList<PanelDevice> devices;
    for (const char* const name : {"mdc", "the \"other\" one"}) {
        const DAbstractPlugin* const device = host.findObject(name);
        QVERIFY(device != nullptr);
        devices.append(panelDevice(*device, simulator.controller().profile().reference));
    }
    PanelWindow window(requestFor(devices));
    QCOMPARE(window.error(), QString());
    window.show();
    for (int i = 0; i < 2; ++i) {
        window.rootObject()->setProperty("currentIndex", i);
        QTRY_VERIFY(window.pages().at(static_cast<std::size_t>(i))->isComplete());
    }
    // One goes; the other one's page goes on.
    QVERIFY(host.removeInstance(devices.first().uuid));
    QVERIFY(!window.pages().at(0)->isConnected());
    window.pages().at(1)->awaitValues();
    QTRY_VERIFY(window.pages().at(1)->isComplete());
}

void TestPanelChain::lockStateOfTheBundledConfiguration_data()
{
    QTest::addColumn<QString>("profile");
    QTest::newRow("generation 1") << "mdc26-gen1v2";
    QTest::newRow("generation 2") << "mdc32-gen2";
}

void TestPanelChain::lockStateOfTheBundledConfiguration()
{
    QFETCH(QString, profile);
    Bench bench;
    QVERIFY2(bench.start(profile), qPrintable(bench.fixture.error()));
    QCOMPARE(bench.text("idState_0.idText"), QString("BeMaintenance_lock_none"));
    bench.press("idButtonLock");
    QTRY_COMPARE(bench.text("idState_0.idText"), QString("BeMaintenance_lock_both"));
    bench.controller().setValue("lock", 3);
    QTRY_COMPARE(bench.text("idState_0.idText"), QString("BeMaintenance_lock_fastening"));
    QCOMPARE(bench.page().item()->property("unreadValues").toInt(), 0);
}

// "Check its state before you try again": the page shows it once the controller is back.
void TestPanelChain::uncertainLockIsFollowed()
{
    Bench bench;
    QVERIFY2(bench.start("mdc32-gen2"), qPrintable(bench.fixture.error()));
    const auto fault = Fault::parse("close@once/0x06");
    QVERIFY(fault);
    bench.fixture.simulator().faults().add(*fault);
    bench.press("idButtonLock");
    QTRY_VERIFY(bench.text("idFailure.idTitle").endsWith("panel_failure_uncertain"));
    QTRY_VERIFY_WITH_TIMEOUT(bench.page().isComplete(), 20000);
    const bool isLocked = bench.controller().value("lock").value_or(0) == 1;
    QTRY_COMPARE(bench.text("idState_0.idText"),
                 QString(isLocked ? "BeMaintenance_lock_both" : "BeMaintenance_lock_none"));
    QVERIFY(bench.window->itemNamed("idFailure.idTitle") != nullptr);
}

// What somebody else does to the controller shows within two periods of the page.
void TestPanelChain::anotherHostOfTheSameDevice()
{
    Bench bench;
    QVERIFY2(bench.start("mdc32-gen2"), qPrintable(bench.fixture.error()));
    const QTemporaryDir folder;
    const QString configuration = folder.filePath("bench.json");
    QFile file(configuration);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(QJsonDocument(bench.fixture.configuration()).toJson());
    file.close();

    const QString lock = "idState_0.idText";
    const QString direction = "idChannelItem_0.idChannelRow.idChannelValue.idFrameChannelText.idChannelText";
    const QString program = "idChannelItem_2.idChannelRow.idChannelValue.idFrameChannelText.idChannelText";
    struct Step
    {
        QStringList arguments;
        QString item;
        QString shown;
        const char* channel;
        quint16 value;
    };
    const QList<Step> steps{
        {{"setLock", "lock=1"}, lock, "BeMaintenance_lock_both", "lock", 1},
        {{"setDirection", "direction=1"}, direction, "Loosening", "direction", 1},
        {{"setProgram", "program=8"}, program, "8", "currentPreset", 8},
        {{"setLock", "lock=0"}, lock, "BeMaintenance_lock_none", "lock", 0},
    };
    for (const Step& step : steps) {
        QVERIFY2(bench.text(step.item) != step.shown, qPrintable(step.shown));
        QSignalSpy periods(bench.page().item(), SIGNAL(updateData()));
        QProcess other;
        // The simulated controller is in this process: the other host is waited for with the event loop.
        start(other, QStringList{"--config", configuration, "run"} + step.arguments);
        QTRY_VERIFY_WITH_TIMEOUT(bench.controller().value(step.channel) == step.value, c_programTimeout);
        periods.clear();
        QTRY_COMPARE(bench.text(step.item), step.shown);
        QVERIFY2(periods.size() <= 2, qPrintable(QString::number(periods.size())));
        QTRY_COMPARE_WITH_TIMEOUT(other.state(), QProcess::NotRunning, c_programTimeout);
        QVERIFY2(other.exitCode() == 0, other.readAll().constData());
    }
    // The page goes on as before: nothing of it was asked or told by the other one.
    QVERIFY(bench.page().isConnected());
    bench.press("idButtonLock");
    QTRY_COMPARE(bench.text(lock), QString("BeMaintenance_lock_both"));
}

void TestPanelChain::pictures_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("as it is") << QStringList() << QSize(600, 800) << 0;
    QTest::newRow("wide, dark, French")
        << QStringList{"--size", "1280x800", "--dark", "--language", "fr"} << QSize(1280, 800) << 0;
    QTest::newRow("on a serial line") << QStringList{"--simulate", "rtu"} << QSize(600, 800) << 0;
    QTest::newRow("pressed") << QStringList{"--press", "idButtonLoosening"} << QSize(600, 800) << 0;
    QTest::newRow("refused") << QStringList{"--press", "idButtonLock", "--fault", "exception=2/0x06"}
                             << QSize(600, 800) << 0;
    QTest::newRow("link lost") << QStringList{"--press", "idButtonLock", "--fault", "restart=60000/0x06"}
                               << QSize(600, 800) << 0;
    QTest::newRow("no value can be read")
        << QStringList{"--fault", "exception=2/0x03"} << QSize(600, 800) << 5;
    QTest::newRow("nor after a press")
        << QStringList{"--fault", "exception=2/0x03", "--press", "idButtonLock"} << QSize(600, 800) << 5;
    QTest::newRow("one value could not be read at first")
        << QStringList{"--fault", "exception=2@once/0x03"} << QSize(600, 800) << 0;
}

void TestPanelChain::pictures()
{
    QFETCH(QStringList, arguments);
    QFETCH(QSize, size);
    if (arguments.contains("rtu") && !hasPseudoTerminals())
        QSKIP("a serial line is a pseudo-terminal");
    const QTemporaryDir folder;
    const QString path = folder.filePath("page.png");
    const Ended ended = runProgram(QStringList{"panel", "--screenshot", path} + arguments);
    QTEST(ended.exitCode, "exitCode");
    const QImage image(path);
    QCOMPARE(image.size(), size);
    QVERIFY2(colours(image) > 50, qPrintable(ended.output));
    QCOMPARE(ended.output.contains("without all its values"), ended.exitCode == 5);
    if (!arguments.contains("--fault"))
        QCOMPARE(ended.output, QString());
}

// What the picture is to be pressed on is scrolled to, as a person would: the failure is gone from it.
void TestPanelChain::pressesWhatIsOutOfSight()
{
    const QTemporaryDir folder;
    const auto picture = [&](const char* name, const QStringList& presses) {
        const QString path = folder.filePath(name);
        QStringList arguments{"panel",      "--screenshot", path,      "--size",          "320x400",
                              "--language", "fr",           "--fault", "exception=2/0x06"};
        for (const QString& press : presses)
            arguments += {"--press", press};
        const Ended ended = runProgram(arguments);
        return ended.exitCode == 0 ? QImage(path) : QImage();
    };
    const QImage none = picture("none.png", {});
    const QImage failed = picture("failed.png", {"idButtonLoosening"});
    const QImage dismissed = picture("dismissed.png", {"idButtonLoosening", "idFailure.idButton"});
    QVERIFY(!none.isNull() && !failed.isNull() && !dismissed.isNull());
    const QColor red("#fdecea");
    const auto isRed = [&](const QImage& image) { return image.pixelColor(image.width() / 2, 62) == red; };
    QVERIFY(!isRed(none) && isRed(failed) && !isRed(dismissed));
}

void TestPanelChain::scaledPictures_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QSize>("size");
    // What a person sets, and what a screen says of itself.
    QTest::newRow("1.25") << "QT_SCALE_FACTOR=1.25" << QSize(750, 1000);
    QTest::newRow("1.5") << "QT_SCALE_FACTOR=1.5" << QSize(900, 1200);
    QTest::newRow("2") << "QT_SCALE_FACTOR=2" << QSize(1200, 1600);
    QTest::newRow("a screen of 120 dots per inch") << "QT_FONT_DPI=120" << QSize(750, 1000);
    QTest::newRow("a screen of 192 dots per inch") << "QT_FONT_DPI=192" << QSize(1200, 1600);
}

// The page is as large on every screen, and as sharp as the screen.
void TestPanelChain::scaledPictures()
{
    QFETCH(QString, variable);
    const QTemporaryDir folder;
    const QString path = folder.filePath("page.png");
    const Ended ended = runProgram({"panel", "--screenshot", path, "--press", "idButtonLock"}, variable);
    QVERIFY2(ended.exitCode == 0, qPrintable(ended.output));
    const QImage image(path);
    QTEST(image.size(), "size");
    // Drawn that large, not made larger: a line between two pixels of before is there.
    const QImage half = image.scaled(image.size() / 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    const QImage doubled = half.scaled(image.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QVERIFY(doubled != image.convertToFormat(doubled.format()));
    QVERIFY2(colours(image) > 50, qPrintable(ended.output));
}

void TestPanelChain::pictureProblems_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("said");
    QTest::newRow("no folder") << QStringList{"--screenshot", "%1/none/page.png"} << 1 << "cannot be written";
    QTest::newRow("a folder") << QStringList{"--screenshot", "%1"} << 1 << "cannot be written";
    QTest::newRow("no such item") << QStringList{"--screenshot", "%1/page.png", "--press", "idNothing"} << 1
                                  << "no visible item whose name ends with \"idNothing\"";
    QTest::newRow("press without a picture") << QStringList{"--press", "idButtonLock"} << 2 << "--screenshot";
    QTest::newRow("size") << QStringList{"--screenshot", "%1/page.png", "--size", "600"} << 2
                          << "--size takes width and height";
    QTest::newRow("size out of bounds")
        << QStringList{"--screenshot", "%1/page.png", "--size", "100000x5"} << 2 << "200 to 8000";
    QTest::newRow("no such object") << QStringList{"--screenshot", "%1/page.png", "--object", "x"} << 2
                                    << "x";
    QTest::newRow("a driver") << QStringList{"--screenshot", "%1/page.png", "--object", "modbus"} << 2
                              << "no such device";
}

void TestPanelChain::pictureProblems()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, said);
    const QTemporaryDir folder;
    arguments.replaceInStrings("%1", folder.path());
    const Ended ended = runProgram(QStringList("panel") + arguments);
    QTEST(ended.exitCode, "exitCode");
    QVERIFY2(ended.output.contains(said), qPrintable(ended.output));
    QVERIFY(!QFile::exists(folder.filePath("page.png")));
}

void TestPanelChain::windowEndsOnInterrupt()
{
    MDC_SKIP_WITHOUT_CTRL_C();
    QProcess process;
    start(process, {"-v", "panel"});
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += process.readAll()).contains("client 127.0.0.1") ||
                                 process.state() == QProcess::NotRunning,
                             c_programTimeout);
    QCOMPARE(process.state(), QProcess::Running);
    QVERIFY(pressCtrlC(process.processId()));
    QCOMPARE(end(process).exitCode, 130);
}

// It would double the time that each of their calls takes.
void TestPanelChain::otherSubcommandsDoWithoutQuick()
{
    if (!canPressCtrlC())
        QSKIP("there is no ldd: scripts/windows/check_package.py reads what programs need");
    QProcess libraries;
    libraries.start("ldd", {c_program});
    QVERIFY(libraries.waitForFinished());
    const QByteArray list = libraries.readAll();
    QVERIFY(list.contains("libQt5Core"));
    QVERIFY2(!list.contains("Quick") && !list.contains("libQt5Gui"), list.constData());
}

// The plug-in loaded, its types registered, the page shown and closed, the process ended.
void TestPanelChain::fiftyTimes()
{
    const QTemporaryDir folder;
    for (int i = 0; i < 25; ++i) {
        QProcess processes[2];
        for (QProcess& process : processes)
            start(process, {"panel", "--size", "320x240", "--screenshot",
                            folder.filePath(QString("%1.png").arg(&process - processes))});
        for (QProcess& process : processes) {
            const Ended ended = end(process);
            QVERIFY2(ended.exitCode == 0, qPrintable(ended.output));
        }
    }
}

QTEST_MAIN(TestPanelChain)

#include "tst_panel_chain.moc"
