#include "applications/simulator/controller_profile.h"
#include "applications/simulator/delivery_queue.h"
#include "applications/simulator/device_object.h"
#include "applications/simulator/fault_plan.h"
#include "applications/simulator/modbus_frames.h"
#include "applications/simulator/register_layout.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulated_server.h"
#include "applications/simulator/tests/sample_configuration.h"
#include "applications/simulator/tightening_cycles.h"
#include "applications/simulator/tightening_event.h"

#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <memory>

using RegisterType = QModbusDataUnit::RegisterType;
Q_DECLARE_METATYPE(FaultKind)
Q_DECLARE_METATYPE(FrameScan)
Q_DECLARE_METATYPE(Delivery::Ending)
using Words = QVector<quint16>;

namespace {

constexpr quint8 c_readFunction = 0x03;
constexpr quint8 c_writeFunction = 0x06;

ControllerProfile profileOfGeneration(int generation)
{
    return *ControllerProfile::byName(generation == 1 ? QStringLiteral("mdc22-gen1v2")
                                                      : QStringLiteral("mdc32-gen2"));
}

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

} // namespace

class TestSimulatorModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void identificationBlocks_data();
    void identificationBlocks();
    void profilesAreDistinct();

    void parsesFault_data();
    void parsesFault();
    void refusesFaultText_data();
    void refusesFaultText();
    void everyFaultNameIsParsed();
    void planHits_data();
    void planHits();
    void planHitsRegisters_data();
    void planHitsRegisters();
    void planTakesTheFirstOfSeveral();
    void planKeepsCountingWhenCleared();
    void planRefuses();
    void planKeepsTheNewestHits();

    void takesTcpFrame_data();
    void takesTcpFrame();
    void takesRtuRequest_data();
    void takesRtuRequest();
    void takesRtuResponse_data();
    void takesRtuResponse();
    void checksum();
    void exceptionAnswers();
    void touchesRegisters_data();
    void touchesRegisters();
    void bendsAnswer_data();
    void bendsAnswer();
    void shortAnswers_data();
    void shortAnswers();
    void deliversInOrder();

    void reads_data();
    void reads();
    void writes_data();
    void writes();
    void writesAllOrNothing();
    void alarmIsReset();
    void storedProgramsDiffer();
    void storedProgramIsRewritten();
    void registerTypesFollowTheEntry();
    void otherChannelsAreDefined();
    void addressIsTakenTo16Bits();
    void layoutOfProfile_data();
    void layoutOfProfile();
    void locksShow_data();
    void locksShow();
    void programFifteenRegisterByRegister_data();
    void programFifteenRegisterByRegister();
    void eventWords_data();
    void eventWords();
    void eventIsAFunctionOfItsCount_data();
    void eventIsAFunctionOfItsCount();
    void eventsAreConsistent();
    void postsEvents_data();
    void postsEvents();
    void eventCountWraps();
    void thousandCycles();
    void lockStopsCycles_data();
    void lockStopsCycles();
    void oneCycleAtATime();
    void cyclesInTime();
    void cyclesAtAnInterval();
    void badKeyListIsSaid_data();
    void badKeyListIsSaid();
    void missingEntryIsSaid_data();
    void missingEntryIsSaid();
    void wrongEntryIsSaid_data();
    void wrongEntryIsSaid();
    void parametersFillTheRange_data();
    void parametersFillTheRange();
    void parametersStartTheSame();
    void badBackupRangeIsSaid_data();
    void badBackupRangeIsSaid();
    void torqueUnitOfProfile_data();
    void torqueUnitOfProfile();
    void writeLogKeepsTheNewest();
    void decodesWrite_data();
    void decodesWrite();
    void findsDeviceObject_data();
    void findsDeviceObject();
};

void TestSimulatorModel::identificationBlocks_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("name"); // in the configuration

    const auto row = [](const char* profile, const char* block, int generation, const char* title,
                        const char* name) {
        QTest::newRow(profile) << bytes(block) << generation << title << name;
    };
    row("mdc26-gen1v1", "0100 0100 0400 DC05 7D00 03 07", 1, "MDC-26 generation 1", "MDgen1V1");
    row("mdc26-gen1v2", "0100 0100 0400 C409 7D00 03 07", 1, "MDC-26 generation 1", "MDC-26");
    row("mdc22-gen1v2", "0100 0300 0D00 210C 2A00 0F 07 13", 1, "MDC-22 generation 1", "MDC-22");
    row("mdc32-gen1v2", "0100 0200 0600 810C 7D00 03 07", 1, "MDC-32 generation 1", "MDC-32");
    row("mdc32-gen2", "0100 0200 0700 AC0F 2A00 0F 07 13", 2, "MDC-32 generation 2", "MDgen2");
    row("mdc22-gen2", "0100 0300 1100 0410 2A00 0F 07 13", 2, "MDC-22 generation 2", "MDgen2");
    row("mdc26-gen2", "0100 0100 0400 6B10 2A00 01 07 13 00000000", 2, "MDC-26 generation 2", "MDgen2");
    row("bm-gen1v1", "0100 0100 0500 CE04 2A00 0A 07 13 00000000", 1, "BM generation 1", "MDgen1V1");
    row("bm-firmware2-gen1v1", "0100 0100 0500 2409 2A00 0A 07 13 00000000", 1, "BM generation 1", "BM");
    row("bm-gen2", "0100 0100 0600 CD10 2A00 0A 07 13 00000000", 2, "BM generation 2", "MDgen2");
    row("unknown-gen1v2", "0100 0900 0D00 280A 2A00 0F 07 13", 1, "Unknown generation 1", "????");
    row("nameless-gen1v2", "0100 0100 0400 8C0A 2A00 07 07 13 00000000", 1, "Nameless generation 1", "");
    row("unreadable-gen1v2", "0100 0200 0700 810C", 1, "Unreadable generation 1", "????");
}

void TestSimulatorModel::identificationBlocks()
{
    QFETCH(QByteArray, block);
    QFETCH(int, generation);
    QFETCH(QString, title);
    QFETCH(QString, name);
    const auto profile = ControllerProfile::byName(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(profile.has_value());
    QCOMPARE(profile->identificationBlock().toHex(), block.toHex());
    QCOMPARE(profile->generation(), generation);
    QCOMPARE(profile->title(), title);
    QCOMPARE(profile->configurationName(), name);
}

void TestSimulatorModel::profilesAreDistinct()
{
    QSet<QString> names;
    QSet<QByteArray> blocks;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles) {
        names.insert(profile.name);
        blocks.insert(profile.identificationBlock());
        QVERIFY2(!profile.description.isEmpty(), qPrintable(profile.name));
        QVERIFY2(!profile.reference.isEmpty(), qPrintable(profile.name));
    }
    QCOMPARE(profiles.size(), 13);
    QCOMPARE(names.size(), profiles.size());
    QCOMPARE(blocks.size(), profiles.size());
    QVERIFY(!ControllerProfile::byName(QStringLiteral("mdc99-gen9")).has_value());
}

void TestSimulatorModel::parsesFault_data()
{
    QTest::addColumn<FaultKind>("kind");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("again");

    QTest::newRow("no-answer") << FaultKind::NoAnswer << 0 << "no-answer";
    QTest::newRow("lost@once") << FaultKind::Lost << 0 << "lost@once";
    QTest::newRow("late=4000@3") << FaultKind::Late << 4000 << "late=4000@3";
    QTest::newRow("twice@2/0x06") << FaultKind::Twice << 0 << "twice@2/0x06";
    QTest::newRow("twice@2/6") << FaultKind::Twice << 0 << "twice@2/0x06";
    QTest::newRow("cut-header/17") << FaultKind::CutHeader << 0 << "cut-header/0x11";
    QTest::newRow("cut-middle@1,3") << FaultKind::CutMiddle << 0 << "cut-middle@1,3";
    QTest::newRow("short") << FaultKind::Short << 0 << "short";
    QTest::newRow("exception=2@5-7") << FaultKind::Exception << 2 << "exception=2@5-7";
    QTest::newRow("exception=0x0B@5-7,9") << FaultKind::Exception << 11 << "exception=11@5-7,9";
    QTest::newRow("close@once/0x10") << FaultKind::Close << 0 << "close@once/0x10";
    QTest::newRow("reset@4-4") << FaultKind::Reset << 0 << "reset@4";
    QTest::newRow("refuse") << FaultKind::Refuse << 0 << "refuse";
    QTest::newRow("restart=250@2") << FaultKind::Restart << 250 << "restart=250@2";
    QTest::newRow("exception=2@once/0x06#117") << FaultKind::Exception << 2 << "exception=2@once/0x06#117";
    QTest::newRow("restart=250#100-199") << FaultKind::Restart << 250 << "restart=250#100-199";
    QTest::newRow("lost@2#0") << FaultKind::Lost << 0 << "lost@2#0";
    QTest::newRow("twice/3#0xFFFF-65535") << FaultKind::Twice << 0 << "twice/0x03#65535";
}

void TestSimulatorModel::parsesFault()
{
    QFETCH(FaultKind, kind);
    QFETCH(int, value);
    QFETCH(QString, again);
    QString error;
    const auto fault = Fault::parse(QString::fromLatin1(QTest::currentDataTag()), &error);
    QVERIFY2(fault.has_value(), qPrintable(error));
    QCOMPARE(fault->kind, kind);
    QCOMPARE(fault->value, value);
    QCOMPARE(fault->toText(), again);
    const auto reread = Fault::parse(again, &error);
    QVERIFY2(reread.has_value(), qPrintable(error));
    QCOMPARE(reread->toText(), again);
}

void TestSimulatorModel::refusesFaultText_data()
{
    QTest::addColumn<QString>("named"); // what the message must name

    QTest::newRow("") << "no-answer, lost, late";
    QTest::newRow("slow") << "\"slow\" is not one of no-answer, lost, late, twice, cut-header, cut-middle, "
                             "short, exception, close, reset, refuse, restart";
    QTest::newRow("Late=5") << "\"Late\" is not one of";
    QTest::newRow("late") << "\"late=ms\" from 1 to 3600000";
    QTest::newRow("late=") << "from 1 to";
    QTest::newRow("late=0") << "from 1 to";
    QTest::newRow("late=3600001") << "from 1 to";
    QTest::newRow("late= 5") << "from 1 to";
    QTest::newRow("late=+5") << "from 1 to";
    QTest::newRow("exception=256") << "from 1 to 255";
    QTest::newRow("exception=99999999999") << "from 1 to 255";
    QTest::newRow("close=1") << "close takes no value";
    QTest::newRow("close=") << "close takes no value";
    QTest::newRow("close@") << "\"once\" or request numbers";
    QTest::newRow("close@0") << "\"once\" or request numbers";
    QTest::newRow("close@7-5") << "\"once\" or request numbers";
    QTest::newRow("close@5-") << "\"once\" or request numbers";
    QTest::newRow("close@-5") << "\"once\" or request numbers";
    QTest::newRow("close@1,,2") << "\"once\" or request numbers";
    QTest::newRow("close@twice") << "\"once\" or request numbers";
    QTest::newRow("close/0") << "function code from 1 to 127";
    QTest::newRow("close/128") << "function code from 1 to 127";
    QTest::newRow("close/") << "function code from 1 to 127";
    QTest::newRow("close/3@1") << "name[=value][@when][/function][#register]";
    QTest::newRow("close#1/3") << "name[=value][@when][/function][#register]";
    QTest::newRow("close#1@3") << "name[=value][@when][/function][#register]";
    QTest::newRow("close#1#2") << "name[=value][@when][/function][#register]";
    QTest::newRow("close#") << "a register from 0 to 65535";
    QTest::newRow("close#x") << "a register from 0 to 65535";
    QTest::newRow("close#65536") << "a register from 0 to 65535";
    QTest::newRow("close#-1") << "a register from 0 to 65535";
    QTest::newRow("close#1,3") << "a register from 0 to 65535";
    QTest::newRow("close#9-5") << "from one to another";
    QTest::newRow("close@1@2") << "name[=value][@when][/function]";
}

void TestSimulatorModel::refusesFaultText()
{
    QFETCH(QString, named);
    FaultPlan plan;
    QString error;
    QVERIFY(!plan.add(QString::fromLatin1(QTest::currentDataTag()), &error));
    QVERIFY2(error.contains(named), qPrintable(error));
    QVERIFY(plan.faults().isEmpty());
    QVERIFY(!Fault::parse(QString::fromLatin1(QTest::currentDataTag())).has_value());
}

void TestSimulatorModel::everyFaultNameIsParsed()
{
    for (const FaultDescription& one : faultDescriptions()) {
        Fault fault;
        fault.kind = one.kind;
        fault.value = one.valueName != nullptr ? one.minimum : 0;
        const auto reread = Fault::parse(fault.toText());
        QVERIFY2(reread.has_value(), one.name);
        QCOMPARE(reread->kind, one.kind);
        QVERIFY2(*one.meaning != '\0', one.name);
    }
}

void TestSimulatorModel::planHits_data()
{
    QTest::addColumn<QString>("fault");
    // One letter per request: r reads, w writes; capital: hit.
    QTest::addColumn<QString>("requests");

    QTest::newRow("lasting") << "no-answer"
                             << "RWRW";
    QTest::newRow("once") << "no-answer@once"
                          << "Rwr";
    QTest::newRow("third") << "no-answer@3"
                           << "rrRrr";
    QTest::newRow("several") << "no-answer@2-3,5"
                             << "rRRrRr";
    QTest::newRow("first of 1-1") << "no-answer@1-1"
                                  << "Rr";
    QTest::newRow("overlapping") << "no-answer@2-4,3"
                                 << "rRRRr";
    QTest::newRow("only writes") << "no-answer/0x06"
                                 << "rWrWr";
    QTest::newRow("next write") << "no-answer@once/6"
                                << "rrWrw";
    QTest::newRow("second write") << "no-answer@2/6"
                                  << "rwrrWrw";
    QTest::newRow("other function") << "no-answer/0x10"
                                    << "rwrw";
}

void TestSimulatorModel::planHits()
{
    QFETCH(QString, fault);
    QFETCH(QString, requests);
    FaultPlan plan;
    QVERIFY(plan.add(fault));
    QString seen;
    for (const QChar request : requests) {
        const bool reads = request.toLower() == QLatin1Char('r');
        const auto hit = plan.next(reads ? c_readFunction : c_writeFunction);
        const QChar letter = reads ? QLatin1Char('r') : QLatin1Char('w');
        seen += hit ? letter.toUpper() : letter;
        if (hit)
            QCOMPARE(plan.hits().last().request, qint64(seen.size()));
    }
    QCOMPARE(seen, requests);
    QCOMPARE(plan.requestCount(), qint64(requests.size()));
    QCOMPARE(plan.hitCount(), qint64(plan.hits().size()));
}

void TestSimulatorModel::planHitsRegisters_data()
{
    QTest::addColumn<QString>("fault");
    // Requests of which each reads or writes some registers: "r61+60" from 61 on 60, "w7" one, "r" none.
    // A capital: hit.
    QTest::addColumn<QString>("requests");

    QTest::newRow("the block that holds it") << "lost#117"
                                             << "r1+60 R61+60 r121+60 R61+60";
    QTest::newRow("first of the block") << "lost#61"
                                        << "r1+60 R61+60";
    QTest::newRow("last of the block") << "lost#60"
                                       << "R1+60 r61+60";
    QTest::newRow("once") << "lost@once#117"
                          << "r1+60 R61+60 r61+60";
    QTest::newRow("the second time") << "lost@2#117"
                                     << "w117 w116 r1+60 W117 w117";
    QTest::newRow("only written") << "lost/6#117"
                                  << "r61+60 r117 w116 W117 w118";
    QTest::newRow("one of several") << "lost#100-199"
                                    << "w99 W100 W199 w200 R1+100 r1+99 r200+1 R150+1";
    QTest::newRow("without an address") << "lost#0-65535"
                                        << "r R0+1 W65535";
    // Only "refuse" as such refuses without a request.
    QTest::newRow("refuse at a register") << "refuse#5"
                                          << "r1+4 R1+5";
}

void TestSimulatorModel::planHitsRegisters()
{
    QFETCH(QString, fault);
    QFETCH(QString, requests);
    FaultPlan plan;
    QVERIFY(plan.add(fault));
    QVERIFY(!plan.isRefusing());
    const QStringList parts = requests.split(QLatin1Char(' '));
    QStringList seen;
    for (const QString& part : parts) {
        const QString text = part.toLower();
        const QStringList numbers = text.mid(1).split(QLatin1Char('+'));
        std::optional<TouchedRegisters> touched;
        if (!numbers.first().isEmpty())
            touched =
                TouchedRegisters{numbers.first().toInt(), numbers.value(1, QStringLiteral("1")).toInt()};
        const bool reads = text.startsWith(QLatin1Char('r'));
        const auto hit = plan.next(reads ? c_readFunction : c_writeFunction, touched);
        seen += hit ? text.left(1).toUpper() + text.mid(1) : text;
        if (hit) {
            QCOMPARE(plan.hits().last().registers->first, touched->first);
            QCOMPARE(plan.hits().last().registers->count, touched->count);
        }
    }
    QCOMPARE(seen.join(QLatin1Char(' ')), requests);
}

void TestSimulatorModel::planTakesTheFirstOfSeveral()
{
    FaultPlan plan;
    QVERIFY(plan.add(QStringLiteral("twice@1")));
    QVERIFY(plan.add(QStringLiteral("close@once")));
    QVERIFY(plan.add(QStringLiteral("lost@3")));
    QCOMPARE(plan.next(c_readFunction)->kind, FaultKind::Twice);
    // The one-shot has waited; the numbered one has counted.
    QCOMPARE(plan.next(c_readFunction)->kind, FaultKind::Close);
    QCOMPARE(plan.next(c_readFunction)->kind, FaultKind::Lost);
    QVERIFY(!plan.next(c_readFunction).has_value());
    QVERIFY(plan.faults().isEmpty());
}

void TestSimulatorModel::planKeepsCountingWhenCleared()
{
    FaultPlan plan;
    QVERIFY(plan.add(QStringLiteral("no-answer")));
    QVERIFY(plan.next(c_readFunction).has_value());
    plan.clear();
    QVERIFY(!plan.next(c_readFunction).has_value());
    QCOMPARE(plan.requestCount(), qint64(2));
    QCOMPARE(plan.hitCount(), qint64(1));
    // A number counts from where its fault was added.
    QVERIFY(plan.add(QStringLiteral("twice@2")));
    QVERIFY(!plan.next(c_readFunction).has_value());
    QVERIFY(plan.next(c_readFunction).has_value());
    QCOMPARE(plan.hits().last().request, qint64(4));
    QCOMPARE(plan.hits().last().function, c_readFunction);
}

void TestSimulatorModel::planRefuses()
{
    FaultPlan plan;
    int changes = 0;
    plan.setRefusalObserver([&changes] { ++changes; });
    QVERIFY(plan.add(QStringLiteral("refuse")));
    QVERIFY(plan.isRefusing());
    // Who is connected already is not hit.
    QVERIFY(!plan.next(c_readFunction).has_value());
    plan.clear();
    QVERIFY(!plan.isRefusing());
    QCOMPARE(changes, 2);

    QVERIFY(plan.add(QStringLiteral("refuse@2")));
    QVERIFY(!plan.next(c_readFunction).has_value());
    QVERIFY(!plan.isRefusing());
    QVERIFY(plan.next(c_readFunction).has_value());
    QVERIFY(plan.isRefusing());
    // The numbered fault is over, what it did is not.
    QVERIFY(plan.faults().isEmpty());
    QVERIFY(plan.isRefusing());
    plan.clear();
    QVERIFY(!plan.isRefusing());
    QCOMPARE(changes, 4);
}

void TestSimulatorModel::planKeepsTheNewestHits()
{
    FaultPlan plan;
    QVERIFY(plan.add(QStringLiteral("twice")));
    for (int i = 0; i < FaultPlan::c_maximumHits + 5; ++i)
        QVERIFY(plan.next(c_readFunction).has_value());
    QCOMPARE(plan.hits().size(), FaultPlan::c_maximumHits);
    QCOMPARE(plan.hits().first().request, qint64(6));
    QCOMPARE(plan.hitCount(), qint64(FaultPlan::c_maximumHits + 5));
}

void TestSimulatorModel::takesTcpFrame_data()
{
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<FrameScan>("scan");
    QTest::addColumn<QByteArray>("rest");

    const QByteArray read = bytes("0001 0000 0006 01 03 1771 0001");
    QTest::newRow("nothing") << QByteArray() << FrameScan::Incomplete << QByteArray();
    QTest::newRow("whole") << read << FrameScan::Complete << QByteArray();
    QTest::newRow("one short") << read.chopped(1) << FrameScan::Incomplete << read.chopped(1);
    QTest::newRow("one more") << read + '\x02' << FrameScan::Complete << QByteArray(1, '\x02');
    QTest::newRow("two") << read + read << FrameScan::Complete << read;
    QTest::newRow("length not there") << read.left(5) << FrameScan::Incomplete << read.left(5);
    QTest::newRow("shortest") << bytes("0001 0000 0002 01 11") << FrameScan::Complete << QByteArray();
    QTest::newRow("length 1") << bytes("0001 0000 0001 01") << FrameScan::Garbage
                              << bytes("0001 0000 0001 01");
    QTest::newRow("length 0") << bytes("0001 0000 0000") << FrameScan::Garbage << bytes("0001 0000 0000");
    QTest::newRow("longest") << bytes("0001 0000 00FE") + QByteArray(254, '\x01') << FrameScan::Complete
                             << QByteArray();
    QTest::newRow("too long") << bytes("0001 0000 00FF") << FrameScan::Garbage << bytes("0001 0000 00FF");
    QTest::newRow("protocol") << bytes("0001 0001") << FrameScan::Garbage << bytes("0001 0001");
    QTest::newRow("http") << QByteArray("GET / HTTP/1.1") << FrameScan::Garbage
                          << QByteArray("GET / HTTP/1.1");
}

void TestSimulatorModel::takesTcpFrame()
{
    QFETCH(QByteArray, buffer);
    QFETCH(FrameScan, scan);
    QFETCH(QByteArray, rest);
    const QByteArray all = buffer;
    QByteArray frame;
    QCOMPARE(takeTcpFrame(buffer, &frame), scan);
    QCOMPARE(buffer.toHex(), rest.toHex());
    QCOMPARE((frame + buffer).toHex(), all.toHex());
}

void TestSimulatorModel::takesRtuRequest_data()
{
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<FrameScan>("scan");
    QTest::addColumn<QByteArray>("rest");

    const QByteArray read = bytes("01 03 0000 000A C5CD");
    QTest::newRow("unit only") << bytes("01") << FrameScan::Incomplete << bytes("01");
    QTest::newRow("read") << read << FrameScan::Complete << QByteArray();
    QTest::newRow("one short") << read.chopped(1) << FrameScan::Incomplete << read.chopped(1);
    QTest::newRow("one more") << read + '\x01' << FrameScan::Complete << QByteArray(1, '\x01');
    QTest::newRow("wrong sum") << bytes("01 03 0000 000A C5CE") << FrameScan::Garbage
                               << bytes("01 03 0000 000A C5CE");
    QTest::newRow("server id") << bytes("01 11 C02C") << FrameScan::Complete << QByteArray();
    QTest::newRow("block write") << bytes("01 10 0001 0002 04 000A 0102 9230") << FrameScan::Complete
                                 << QByteArray();
}

void TestSimulatorModel::takesRtuRequest()
{
    QFETCH(QByteArray, buffer);
    QFETCH(FrameScan, scan);
    QFETCH(QByteArray, rest);
    QByteArray frame;
    QCOMPARE(takeRtuRequest(buffer, &frame), scan);
    QCOMPARE(buffer.toHex(), rest.toHex());
}

void TestSimulatorModel::takesRtuResponse_data()
{
    QTest::addColumn<QByteArray>("pdu");

    QTest::newRow("read") << bytes("01 03 04 0001 0002");
    QTest::newRow("write") << bytes("01 06 1771 0001");
    QTest::newRow("exception") << bytes("01 83 02");
    QTest::newRow("server id 12") << bytes("01 11 0C") + QByteArray(12, '\x05');
    QTest::newRow("server id 17") << bytes("01 11 11") + QByteArray(17, '\x05');
}

void TestSimulatorModel::takesRtuResponse()
{
    QFETCH(QByteArray, pdu);
    const quint16 sum = rtuChecksum(pdu);
    const QByteArray whole = pdu + static_cast<char>(sum & 0xFF) + static_cast<char>(sum >> 8);
    QByteArray frame;
    for (int size = 0; size < whole.size(); ++size) {
        QByteArray part = whole.left(size);
        QCOMPARE(takeRtuResponse(part, &frame), FrameScan::Incomplete);
    }
    QByteArray more = whole + "x";
    QCOMPARE(takeRtuResponse(more, &frame), FrameScan::Complete);
    QCOMPARE(frame.toHex(), whole.toHex());
    QCOMPARE(more, QByteArray("x"));
}

void TestSimulatorModel::checksum()
{
    // The published check value of this polynomial.
    QCOMPARE(rtuChecksum("123456789"), quint16(0x4B37));
    QCOMPARE(rtuChecksum(QByteArray()), quint16(0xFFFF));
}

void TestSimulatorModel::touchesRegisters_data()
{
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("count"); // 0: none

    QTest::newRow("coils") << bytes("01 0001 0010") << 1 << 16;
    QTest::newRow("discrete inputs") << bytes("02 0001 0010") << 1 << 16;
    QTest::newRow("registers") << bytes("03 FFFF 007D") << 65535 << 125;
    QTest::newRow("input registers") << bytes("04 0000 0001") << 0 << 1;
    QTest::newRow("write a coil") << bytes("05 0007 FF00") << 7 << 1;
    QTest::newRow("write a register") << bytes("06 0075 0102") << 117 << 1;
    QTest::newRow("write coils") << bytes("0F 0013 000A 02 CD01") << 19 << 10;
    QTest::newRow("write registers") << bytes("10 0001 0002 04 000A 0102") << 1 << 2;
    QTest::newRow("none of them") << bytes("03 0001 0000") << 0 << 0;
    QTest::newRow("too short") << bytes("03 0001 00") << 0 << 0;
    QTest::newRow("nothing") << QByteArray() << 0 << 0;
    QTest::newRow("identification") << bytes("11") << 0 << 0;
    QTest::newRow("mask write") << bytes("16 0001 0000 0001") << 0 << 0;
}

void TestSimulatorModel::touchesRegisters()
{
    QFETCH(QByteArray, pdu);
    QFETCH(int, first);
    QFETCH(int, count);
    const auto touched = touchedRegisters(pdu);
    QCOMPARE(touched.has_value(), count > 0);
    if (touched) {
        QCOMPARE(touched->first, first);
        QCOMPARE(touched->count, count);
    }
}

void TestSimulatorModel::exceptionAnswers()
{
    QCOMPARE(tcpExceptionAnswer(bytes("0107 0000 0006 01 03 1771 0001"), 2).toHex(),
             bytes("0107 0000 0003 01 83 02").toHex());
    QCOMPARE(rtuExceptionAnswer(bytes("0A 01 04A1 0001 AC63"), 2).toHex(), bytes("0A 81 02 B053").toHex());
}

void TestSimulatorModel::bendsAnswer_data()
{
    QTest::addColumn<QByteArray>("bent");
    QTest::addColumn<int>("delay");
    QTest::addColumn<Delivery::Ending>("ending");
    using Ending = Delivery::Ending;

    QTest::newRow("no-answer") << QByteArray() << 0 << Ending::Open;
    QTest::newRow("late=50") << QByteArray("1234567abcd") << 50 << Ending::Open;
    QTest::newRow("twice") << QByteArray("1234567abcd1234567abcd") << 0 << Ending::Open;
    QTest::newRow("cut-header") << QByteArray("1234567") << 0 << Ending::Open;
    QTest::newRow("cut-middle") << QByteArray("1234567ab") << 0 << Ending::Open;
    QTest::newRow("close") << QByteArray() << 0 << Ending::Close;
    QTest::newRow("reset") << QByteArray() << 0 << Ending::Reset;
    // These act on the request; a refusal leaves open connections alone.
    QTest::newRow("lost") << QByteArray("1234567abcd") << 0 << Ending::Open;
    QTest::newRow("exception=2") << QByteArray("1234567abcd") << 0 << Ending::Open;
    QTest::newRow("refuse") << QByteArray("1234567abcd") << 0 << Ending::Open;
    QTest::newRow("restart=5") << QByteArray("1234567abcd") << 0 << Ending::Open;
}

void TestSimulatorModel::bendsAnswer()
{
    QFETCH(QByteArray, bent);
    QFETCH(int, delay);
    QFETCH(Delivery::Ending, ending);
    const auto fault = Fault::parse(QString::fromLatin1(QTest::currentDataTag()));
    QVERIFY(fault.has_value());
    const Delivery delivery = bendAnswer(*fault, "1234567abcd", c_tcpHeaderSize);
    QCOMPARE(delivery.bytes, bent);
    QCOMPARE(delivery.delay, delay);
    QCOMPARE(delivery.ending, ending);
}

void TestSimulatorModel::shortAnswers_data()
{
    QTest::addColumn<int>("headerSize");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QByteArray>("shortened");
    // The check sums are another program's.
    QTest::newRow("tcp, two registers") << c_tcpHeaderSize << bytes("0001 0000 0007 01 03 04 0011 0022")
                                        << bytes("0001 0000 0005 01 03 02 0011");
    QTest::newRow("tcp, one register")
        << c_tcpHeaderSize << bytes("0001 0000 0005 01 04 02 0011") << bytes("0001 0000 0003 01 04 00");
    QTest::newRow("tcp, coils") << c_tcpHeaderSize << bytes("0001 0000 0004 01 01 01 03")
                                << bytes("0001 0000 0003 01 01 00");
    QTest::newRow("tcp, write") << c_tcpHeaderSize << bytes("0001 0000 0006 01 06 1772 0003")
                                << bytes("0001 0000 0005 01 06 1772 00");
    QTest::newRow("tcp, identification")
        << c_tcpHeaderSize << bytes("0001 0000 0005 01 11 02 AABB") << bytes("0001 0000 0004 01 11 01 AA");
    QTest::newRow("tcp, exception") << c_tcpHeaderSize << bytes("0001 0000 0003 01 83 02")
                                    << bytes("0001 0000 0003 01 83 02");
    QTest::newRow("rtu, two registers")
        << c_rtuHeaderSize << bytes("01 03 04 0011 0022 2A2F") << bytes("01 03 02 0011 7848");
    QTest::newRow("rtu, write") << c_rtuHeaderSize << bytes("01 06 1772 0003 6C64")
                                << bytes("01 06 1772 00 8DEC");
}

void TestSimulatorModel::shortAnswers()
{
    QFETCH(int, headerSize);
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, shortened);
    const auto fault = Fault::parse(QStringLiteral("short"));
    QVERIFY(fault.has_value());
    QCOMPARE(bendAnswer(*fault, answer, headerSize).bytes.toHex(), shortened.toHex());
}

void TestSimulatorModel::deliversInOrder()
{
    DeliveryQueue queue;
    QByteArray out;
    connect(&queue, &DeliveryQueue::due, this, [&out](const Delivery& delivery) { out += delivery.bytes; });
    queue.add({"a", 0, Delivery::Ending::Open});
    QCOMPARE(out, QByteArray("a"));
    QElapsedTimer clock;
    clock.start();
    queue.add({"b", 80, Delivery::Ending::Open});
    queue.add({"c", 0, Delivery::Ending::Open});
    queue.add({"d", 10, Delivery::Ending::Open});
    QCOMPARE(out, QByteArray("a"));
    QTRY_COMPARE(out, QByteArray("abcd"));
    QVERIFY2(clock.elapsed() >= 80, qPrintable(QString::number(clock.elapsed())));
    queue.add({"e", 20, Delivery::Ending::Open});
    queue.clear();
    queue.add({"f", 0, Delivery::Ending::Open});
    QCOMPARE(out, QByteArray("abcdf"));
}

void TestSimulatorModel::reads_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("count");
    QTest::addColumn<quint8>("exception");
    QTest::addColumn<Words>("values");

    const quint8 illegal = SimulatedController::c_illegalAddress;
    QTest::newRow("1: status") << 1 << 5101 << 4 << quint8(0) << Words{0, 1, 1, 77};
    QTest::newRow("1: one status") << 1 << 5104 << 1 << quint8(0) << Words{77};
    QTest::newRow("1: before the status") << 1 << 5100 << 1 << illegal << Words{};
    QTest::newRow("1: into the status") << 1 << 5100 << 2 << illegal << Words{};
    QTest::newRow("1: over the end") << 1 << 5106 << 2 << illegal << Words{};
    QTest::newRow("1: to write") << 1 << 5001 << 5 << quint8(0) << Words{0, 1, 0, 0, 1};
    QTest::newRow("1: locks") << 1 << 5105 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("1: event") << 1 << 5201 << 12 << quint8(0) << Words(12, 0);
    QTest::newRow("1: over the event") << 1 << 5201 << 13 << illegal << Words{};
    QTest::newRow("1: before the event") << 1 << 5200 << 12 << illegal << Words{};
    QTest::newRow("1: behind those to write") << 1 << 5005 << 2 << illegal << Words{};
    QTest::newRow("1: other generation") << 1 << 6101 << 1 << illegal << Words{};
    QTest::newRow("1: register 0") << 1 << 0 << 1 << illegal << Words{};
    QTest::newRow("1: register 0 and on") << 1 << 0 << 2 << illegal << Words{};
    QTest::newRow("1: first program") << 1 << 1 << 3 << quint8(0) << Words{1, 105, 59};
    QTest::newRow("1: last programmed") << 1 << 600 << 1 << quint8(0) << Words{319};
    QTest::newRow("1: over the programs") << 1 << 600 << 4 << quint8(0) << Words{319, 0, 49306, 53307};
    QTest::newRow("1: last parameter") << 1 << 620 << 1 << quint8(0) << Words{55788};
    QTest::newRow("1: over the parameters") << 1 << 620 << 2 << illegal << Words{};
    QTest::newRow("1: behind the parameters") << 1 << 621 << 1 << illegal << Words{};
    QTest::newRow("2: status") << 2 << 6101 << 4 << quint8(0) << Words{0, 1, 1, 77};
    QTest::newRow("2: to write") << 2 << 6001 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("2: locks to write") << 2 << 6004 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("2: between those to write") << 2 << 6003 << 1 << illegal << Words{};
    QTest::newRow("2: locks") << 2 << 6105 << 2 << quint8(0) << Words{0, 1};
    QTest::newRow("2: over the locks") << 2 << 6106 << 2 << illegal << Words{};
    QTest::newRow("2: event") << 2 << 6201 << 16 << quint8(0) << Words(16, 0);
    QTest::newRow("2: over the event") << 2 << 6201 << 17 << illegal << Words{};
    // The third register is a number, the seventh and eighth are 0.25 × 140 = 35.0.
    QTest::newRow("2: float of a program")
        << 2 << 41 + 2 << 7 << quint8(0) << Words{96, 107, 118, 129, 0x420C, 0x0000, 162};
    QTest::newRow("2: alarm reset keeps its place") << 2 << 5003 << 1 << quint8(0) << Words{0};
    QTest::newRow("2: other generation") << 2 << 5101 << 1 << illegal << Words{};
    QTest::newRow("2: last programmed") << 2 << 2000 << 1 << quint8(0) << Words{279};
    QTest::newRow("2: parameters") << 2 << 2001 << 2 << quint8(0) << Words{0, 14610};
    QTest::newRow("2: last parameter") << 2 << 2040 << 1 << quint8(0) << Words{35576};
    QTest::newRow("2: behind the parameters") << 2 << 2041 << 1 << illegal << Words{};
    QTest::newRow("2: last address") << 2 << 65535 << 2 << illegal << Words{};
    QTest::newRow("2: nothing") << 2 << 6101 << 0 << illegal << Words{};
}

void TestSimulatorModel::reads()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, count);
    QFETCH(quint8, exception);
    QFETCH(Words, values);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    QCOMPARE(controller.problems(), QStringList());
    controller.setMotorRunning(true);
    controller.raiseAlarm(77);
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(address), count, &read),
             exception);
    QCOMPARE(read, values);
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, static_cast<quint16>(address), count, &read),
             SimulatedController::c_illegalAddress);
}

void TestSimulatorModel::writes_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("value");
    QTest::addColumn<quint8>("exception");
    QTest::addColumn<int>("direction");
    QTest::addColumn<int>("preset");

    const quint8 address = SimulatedController::c_illegalAddress;
    const quint8 value = SimulatedController::c_illegalValue;
    for (const int generation : {1, 2}) {
        const int base = generation == 1 ? 5000 : 6000;
        const int last = generation == 1 ? 30 : 50;
        const auto row = [generation](const char* name) -> QTestData& {
            return QTest::addRow("%d: %s", generation, name) << generation;
        };
        row("direction 0") << base + 1 << 0 << quint8(0) << 0 << 1;
        row("direction 1") << base + 1 << 1 << quint8(0) << 1 << 1;
        row("direction 2") << base + 1 << 2 << value << 0 << 1;
        row("direction 65535") << base + 1 << 65535 << value << 0 << 1;
        row("program 0") << base + 2 << 0 << value << 0 << 1;
        row("program 1") << base + 2 << 1 << quint8(0) << 0 << 1;
        row("last program") << base + 2 << last << quint8(0) << 0 << last;
        row("program too many") << base + 2 << last + 1 << value << 0 << 1;
        row("alarm reset 0") << 5003 << 0 << value << 0 << 1;
        row("alarm reset 2") << 5003 << 2 << value << 0 << 1;
        row("alarm reset 1") << 5003 << 1 << quint8(0) << 0 << 1;
        for (int status = 101; status <= 106; ++status)
            row(qPrintable(QStringLiteral("status %1").arg(status)))
                << base + status << 1 << address << 0 << 1;
        row("event") << base + 201 << 1 << address << 0 << 1;
        row("undefined") << base << 1 << address << 0 << 1;
        row("other generation") << 11000 - base + 1 << 1 << address << 0 << 1;
    }
}

void TestSimulatorModel::writes()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, value);
    QFETCH(quint8, exception);
    QFETCH(int, direction);
    QFETCH(int, preset);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    const Words words{static_cast<quint16>(value)};
    const auto place = static_cast<quint16>(address);
    QCOMPARE(controller.checkWrite(QModbusDataUnit::HoldingRegisters, place, words), exception);
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, place, words), exception);
    QCOMPARE(int(controller.direction()), direction);
    QCOMPARE(int(controller.currentPreset()), preset);
    Words read;
    const bool isReadable = controller.read(QModbusDataUnit::HoldingRegisters, place, 1, &read) == 0;
    if (exception == 0) {
        QVERIFY(isReadable);
        QCOMPARE(read, words);
    }
    QCOMPARE(controller.write(QModbusDataUnit::InputRegisters, place, words),
             SimulatedController::c_illegalAddress);
}

void TestSimulatorModel::writesAllOrNothing()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    QCOMPARE(controller.write(holding, 5001, {1, 99}), SimulatedController::c_illegalValue);
    QCOMPARE(controller.direction(), quint16(0));
    QCOMPARE(controller.write(holding, 5001, {7, 99, 1, 1, 0, 0}), SimulatedController::c_illegalAddress);
    QCOMPARE(controller.write(holding, 5001, {}), SimulatedController::c_illegalValue);
    controller.raiseAlarm(5);
    QCOMPARE(controller.write(holding, 5001, {1, 9, 1}), SimulatedController::c_accepted);
    QCOMPARE(controller.direction(), quint16(1));
    QCOMPARE(controller.currentPreset(), quint16(9));
    QCOMPARE(controller.alarm(), quint16(0));
    QCOMPARE(controller.write(holding, 65535, {1, 1}), SimulatedController::c_illegalAddress);
}

void TestSimulatorModel::alarmIsReset()
{
    for (const int generation : {1, 2}) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
        QSignalSpy changes(&controller, &SimulatedController::valueChanged);
        controller.raiseAlarm(12);
        QCOMPARE(controller.alarm(), quint16(12));
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 5003, {2}),
                 SimulatedController::c_illegalValue);
        QCOMPARE(controller.alarm(), quint16(12));
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 5003, {1}), quint8(0));
        QCOMPARE(controller.alarm(), quint16(0));
        QCOMPARE(changes.size(), 2);
        QCOMPARE(changes.last().first().toString(), QStringLiteral("alarm"));
    }
}

void TestSimulatorModel::storedProgramsDiffer()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    QCOMPARE(controller.presetCount(), 50);
    QCOMPARE(controller.presetSize(), 40);
    QSet<Words> programs;
    for (int program = 1; program <= 50; ++program) {
        Words words;
        const int first = (program - 1) * 40 + 1;
        QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(first), 40, &words),
                 quint8(0));
        programs.insert(words);
    }
    QCOMPARE(programs.size(), 50);
}

void TestSimulatorModel::storedProgramIsRewritten()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    // The first registers of program 15.
    const Words trigger{1, 100, 0, 1, 0, 3};
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 281, trigger), quint8(0));
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 281, 6, &read), quint8(0));
    QCOMPARE(read, trigger);
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 620, {1, 2}),
             SimulatedController::c_illegalAddress);
}

void TestSimulatorModel::registerTypesFollowTheEntry()
{
    const QJsonArray channels{
        writeEntry("directionChange", 10, "coils"), readEntry("direction", 11, "discreteInputs"),
        readEntry("motorRun", 12, "coils"), readEntry("alarm", 33, "inputRegisters"),
        writeEntry("presetChange", 14, "holdingRegisters"),
        readEntry("currentPreset", 15, "singleRegister", 20), writeEntry("alarmReset", 16),
        writeEntry("lockChange", 17, "coils"), readEntry("lock", 18, "coils"), writeEntry("lockScreen", 19),
        readEntry("screenLock", 22, "inputRegisters"),
        // At the very end: the last block of a table.
        readEntry("eventData", 65524, "inputRegisters", 12), readEntry("presets", 1, "inputRegisters", 1),
        readEntry("torqueUnit", 34, "inputRegisters")};
    // The range lies elsewhere, in the same table.
    SimulatedController controller(configurationOf(channels, "[30001-30002]"), profileOfGeneration(1));
    QCOMPARE(controller.problems(), QStringList());
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 10, {1}), quint8(2));
    QCOMPARE(controller.write(QModbusDataUnit::Coils, 10, {1}), quint8(0));
    QCOMPARE(controller.write(QModbusDataUnit::Coils, 12, {1}), quint8(2));
    controller.setMotorRunning(true);
    controller.raiseAlarm(300);
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::DiscreteInputs, 11, 1, &read), quint8(0));
    QCOMPARE(read, Words{1});
    QCOMPARE(controller.read(QModbusDataUnit::Coils, 12, 1, &read), quint8(0));
    QCOMPARE(read, Words{1});
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 33, 1, &read), quint8(0));
    QCOMPARE(read, Words{300});
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 33, 1, &read), quint8(2));
    QVERIFY(controller.tighten());
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 65524, 12, &read), quint8(0));
    QCOMPARE(read.first(), quint16(1));
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 65524, 1, &read), quint8(2));
    QVERIFY(controller.setTorqueUnit(2));
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 34, 1, &read), quint8(0));
    QCOMPARE(read, Words{2});
    QCOMPARE(controller.write(QModbusDataUnit::InputRegisters, 34, {1}), quint8(2));
    QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 30001, {1, 2}), quint8(0));
    // Programs that are only read.
    QCOMPARE(controller.read(QModbusDataUnit::InputRegisters, 1, 12, &read), quint8(0));
    QCOMPARE(controller.write(QModbusDataUnit::InputRegisters, 1, {1}), quint8(2));
}

void TestSimulatorModel::otherChannelsAreDefined()
{
    QJsonArray channels = sampleChannels();
    channels.append(readEntry("counters", 7000, "holdingRegisters", 3));
    channels.append(writeEntry("lampChange", 7010));
    channels.append(writeEntry("keyGen1V1", 7011));
    channels.append(readEntry("countersV2", 8000, "holdingRegisters", 5));
    SimulatedController first(configurationOf(channels), profileOfGeneration(1));
    QCOMPARE(first.problems(), QStringList());
    const auto holding = QModbusDataUnit::HoldingRegisters;
    Words read;
    QCOMPARE(first.read(holding, 7000, 3, &read), quint8(0));
    QCOMPARE(first.read(holding, 7000, 4, &read), quint8(2));
    QCOMPARE(first.write(holding, 7000, {1}), quint8(2));
    QCOMPARE(first.write(holding, 7010, {65535, 2}), quint8(0));
    QCOMPARE(first.read(holding, 8000, 1, &read), quint8(2));
    SimulatedController second(configurationOf(channels), profileOfGeneration(2));
    QCOMPARE(second.read(holding, 8000, 5, &read), quint8(0));
    QCOMPARE(second.read(holding, 7000, 1, &read), quint8(2));
    QCOMPARE(second.read(holding, 7011, 1, &read), quint8(2));
}

void TestSimulatorModel::addressIsTakenTo16Bits()
{
    QJsonArray channels = without(sampleChannels(), QStringLiteral("direction"));
    channels.append(readEntry("direction", 65536 + 5101));
    SimulatedController controller(configurationOf(channels), profileOfGeneration(1));
    QCOMPARE(controller.problems(), QStringList());
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 5101, 1, &read), quint8(0));
}

void TestSimulatorModel::layoutOfProfile_data()
{
    QTest::addColumn<int>("firmware");
    QTest::addColumn<bool>("isBm");
    QTest::addColumn<bool>("isFirst");

    QTest::newRow("999") << 999 << false << false;
    QTest::newRow("1000") << 1000 << false << true;
    QTest::newRow("1999") << 1999 << false << true;
    QTest::newRow("2000") << 2000 << false << false;
    QTest::newRow("3999") << 3999 << false << false;
    QTest::newRow("4000") << 4000 << false << false;
    QTest::newRow("BM 999") << 999 << true << true;
    QTest::newRow("BM 2500") << 2500 << true << true;
    QTest::newRow("BM 4000") << 4000 << true << false;
}

void TestSimulatorModel::layoutOfProfile()
{
    QFETCH(int, firmware);
    QFETCH(bool, isBm);
    QFETCH(bool, isFirst);
    ControllerProfile profile =
        *ControllerProfile::byName(isBm ? QStringLiteral("bm-gen1v1") : QStringLiteral("mdc26-gen2"));
    profile.firmware = static_cast<quint16>(firmware);
    QCOMPARE(profile.hasFirstRegisterLayout(), isFirst);
    // A serial byte of 10 makes no BM of the other blocks.
    profile.layout = ControllerProfile::Layout::Bytes13;
    QCOMPARE(profile.hasFirstRegisterLayout(), firmware >= 1000 && firmware < 2000);
}

void TestSimulatorModel::locksShow_data()
{
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("isDefined");
    QTest::addColumn<QString>("status");

    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles) {
        const auto row = [&profile](const char* name) -> QTestData& {
            return QTest::newRow(qPrintable(profile.name + QLatin1Char(' ') + QLatin1String(name)));
        };
        const bool isFirst = profile.name.endsWith(QLatin1String("gen1v1"));
        const bool isSecond = profile.name.endsWith(QLatin1String("gen1v2"));
        const int base = isFirst || isSecond ? 5000 : 6000;
        for (const int value : {0, 1, 2, 3, 4, 65535})
            row(qPrintable(QStringLiteral("lock %1").arg(value))) << base + 4 << value << true << "lock";
        for (const int value : {0, 2, 3}) {
            const QString text = QString::number(value);
            row(qPrintable("lockScreen " + text)) << 5005 << value << isSecond << "screenLock";
            row(qPrintable("lockScreenGen1V1 " + text)) << 5006 << value << isFirst << "screenLock";
            row(qPrintable("lockScreenV2 " + text)) << 6005 << value << (base == 6000) << "screenLock";
        }
    }
}

void TestSimulatorModel::locksShow()
{
    QFETCH(int, address);
    QFETCH(int, value);
    QFETCH(bool, isDefined);
    QFETCH(QString, status);
    const auto profile = ControllerProfile::byName(QString(QTest::currentDataTag()).section(' ', 0, 0));
    QVERIFY(profile.has_value());
    SimulatedController controller(sampleConfiguration(), *profile);
    QCOMPARE(controller.problems(), QStringList());
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const quint16 before = *controller.value(status);
    QCOMPARE(int(before), status == QLatin1String("lock") ? 0 : 1);
    const Words words{static_cast<quint16>(value)};
    const auto place = static_cast<quint16>(address);
    QCOMPARE(controller.write(holding, place, words),
             isDefined ? SimulatedController::c_accepted : SimulatedController::c_illegalAddress);
    QCOMPARE(*controller.value(status), isDefined ? words.first() : before);
    Words read;
    const int statusPlace = (profile->generation() == 1 ? 5105 : 6105) + (status == "lock" ? 0 : 1);
    QCOMPARE(controller.read(holding, static_cast<quint16>(statusPlace), 1, &read), quint8(0));
    QCOMPARE(read.first(), *controller.value(status));
    QCOMPARE(controller.read(holding, place, 1, &read) == SimulatedController::c_accepted, isDefined);
}

void TestSimulatorModel::programFifteenRegisterByRegister_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("first");
    QTest::addColumn<Words>("before");

    QTest::newRow("generation 1") << 1 << 14 * 20 + 1 << Words{1, 175, 577, 588, 599, 610};
    QTest::newRow("generation 2") << 2 << 14 * 40 + 1 << Words{1, 175, 577, 588, 599, 610};
}

void TestSimulatorModel::programFifteenRegisterByRegister()
{
    QFETCH(int, generation);
    QFETCH(int, first);
    QFETCH(Words, before);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const Words trigger{1, 100, 0, 1, 0, 3};
    for (const Words& written : {trigger, before}) {
        for (int i = 0; i < written.size(); ++i) {
            const auto place = static_cast<quint16>(first + i);
            Words read;
            QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
            QCOMPARE(read, Words{written == before ? trigger[i] : before[i]});
            QCOMPARE(controller.write(holding, place, {written[i]}), quint8(0));
            QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
            QCOMPARE(read, Words{written[i]});
        }
    }
    // The neighbours were left alone.
    Words read;
    QCOMPARE(controller.read(holding, static_cast<quint16>(first + 6), 1, &read), quint8(0));
    QCOMPARE(controller.read(holding, static_cast<quint16>(first - 1), 1, &read), quint8(0));
    SimulatedController untouched(sampleConfiguration(), profileOfGeneration(generation));
    Words other;
    QCOMPARE(untouched.read(holding, static_cast<quint16>(first - 1), 1, &other), quint8(0));
    QCOMPARE(read, other);
}

void TestSimulatorModel::eventWords_data()
{
    QTest::addColumn<QJsonArray>("keys");
    QTest::addColumn<bool>("described");
    QTest::addColumn<int>("size");
    QTest::addColumn<Words>("words");

    QTest::newRow("names") << sampleEventNames() << false << 12
                           << Words{7, 3, 1, 1, 1250, 9075, 350, 1275, 1175, 1375, 2, 400};
    // 12.5 is 0x41480000, 90.75 is 0x42B58000, 12.75 is 0x414C0000.
    QTest::newRow("descriptors") << sampleEventDescriptors() << true << 16
                                 << Words{7,   3,      1,      1,   0x4148, 0x0000, 0x42B5, 0x8000,
                                          350, 0x414C, 0x0000, 313, 625,    938,    1250,   2};
    QTest::newRow("unknown names are 0")
        << QJsonArray{"temperature", "Torque", "torque"} << false << 3 << Words{0, 0, 1250};
    QTest::newRow("a name twice") << QJsonArray{"program", "program"} << false << 2 << Words{3, 3};
    QTest::newRow("gaps are 0") << QJsonArray{descriptor("program", 6202, 6202, "int"),
                                              descriptor("duration", 6204, 6204, "int")}
                                << true << 5 << Words{0, 3, 0, 350, 0};
    QTest::newRow("int over two registers")
        << QJsonArray{descriptor("torque", 6201, 6202, "int")} << true << 2 << Words{1250, 0};
    QTest::newRow("list of a single number")
        << QJsonArray{descriptor("torque", 6201, 6203, "list")} << true << 3 << Words{1250, 0, 0};
    QTest::newRow("trace cut short") << QJsonArray{descriptor("torqueTrace", 6201, 6202, "list")} << true << 2
                                     << Words{313, 625};
    QTest::newRow("count as float") << QJsonArray{descriptor("eventCountNo", 6201, 6202, "float")} << true
                                    << 2 << Words{0x40E0, 0x0000};
}

void TestSimulatorModel::eventWords()
{
    QFETCH(QJsonArray, keys);
    QFETCH(bool, described);
    QFETCH(int, size);
    QFETCH(Words, words);
    QString error;
    const auto layout =
        described ? layoutOfDescriptors(keys, 6201, size, &error) : layoutOfNames(keys, size, &error);
    QVERIFY2(layout.has_value(), qPrintable(error));
    TighteningEvent event;
    event.count = 7;
    event.program = 3;
    event.direction = 1;
    event.isOk = true;
    event.errorCode = 2;
    event.duration = 350;
    event.speed = 400;
    event.torque = 12.5;
    event.angle = 90.75;
    event.targetTorque = 12.75;
    event.minimumTorque = 11.75;
    event.maximumTorque = 13.75;
    QCOMPARE(encodeEvent(*layout, size, event), words);
    QCOMPARE(event.toText(),
             QStringLiteral("event 7: program 3, loosening, 12.50 Nm, 90.75 degrees, 350 ms, OK"));
}

void TestSimulatorModel::eventIsAFunctionOfItsCount_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("program");
    QTest::addColumn<int>("direction");
    QTest::addColumn<uint>("seed");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("errorCode");
    QTest::addColumn<int>("speed");

    // Computed apart from the code.
    QTest::newRow("count 1, program 1, direction 0, seed 1")
        << 1 << 1 << 0 << 1u << "event 1: program 1, fastening, 5.75 Nm, 250.25 degrees, 994 ms, OK" << 0
        << 390;
    QTest::newRow("count 2, program 1, direction 0, seed 1")
        << 2 << 1 << 0 << 1u << "event 2: program 1, fastening, 4.50 Nm, 61.75 degrees, 1536 ms, OK" << 0
        << 350;
    QTest::newRow("count 65535, program 30, direction 1, seed 1")
        << 65535 << 30 << 1 << 1u
        << "event 65535: program 30, loosening, 12.75 Nm, 212.00 degrees, 1461 ms, OK" << 0 << 340;
    QTest::newRow("count 0, program 1, direction 0, seed 1")
        << 0 << 1 << 0 << 1u << "event 0: program 1, fastening, 6.00 Nm, 95.25 degrees, 794 ms, OK" << 0
        << 440;
    QTest::newRow("count 1, program 1, direction 0, seed 2")
        << 1 << 1 << 0 << 2u << "event 1: program 1, fastening, 5.50 Nm, 198.75 degrees, 450 ms, OK" << 0
        << 490;
    QTest::newRow("count 12, program 1, direction 0, seed 1")
        << 12 << 1 << 0 << 1u << "event 12: program 1, fastening, 7.50 Nm, 149.25 degrees, 333 ms, NOK" << 2
        << 370;
    QTest::newRow("count 28, program 1, direction 0, seed 1")
        << 28 << 1 << 0 << 1u << "event 28: program 1, fastening, 3.00 Nm, 154.75 degrees, 1371 ms, NOK" << 1
        << 350;
}

void TestSimulatorModel::eventIsAFunctionOfItsCount()
{
    QFETCH(int, count);
    QFETCH(int, program);
    QFETCH(int, direction);
    QFETCH(uint, seed);
    const auto event = TighteningEvent::ofCount(static_cast<quint16>(count), static_cast<quint16>(program),
                                                static_cast<quint16>(direction), seed);
    QTEST(event.toText(), "text");
    QTEST(int(event.errorCode), "errorCode");
    QTEST(int(event.speed), "speed");
}

// Over many counts: the result agrees with the torque, and the figures are exact in hundredths.
void TestSimulatorModel::eventsAreConsistent()
{
    int notOk = 0;
    QSet<quint16> errors;
    for (int count = 0; count < 2000; ++count) {
        const auto event = TighteningEvent::ofCount(static_cast<quint16>(count), 4, 0, 1);
        QCOMPARE(event.targetTorque, 6.0);
        QCOMPARE(event.isOk, event.torque >= 5.0 && event.torque <= 7.0);
        QCOMPARE(int(event.errorCode), event.isOk ? 0 : (event.torque < 5.0 ? 1 : 2));
        QVERIFY(event.angle >= 30 && event.angle <= 360);
        QVERIFY(event.duration >= 200 && event.duration <= 2000);
        for (const double number : {event.torque, event.angle}) {
            QCOMPARE(static_cast<double>(static_cast<float>(number) * 100.0F), number * 100);
            QCOMPARE(number * 4, static_cast<double>(static_cast<int>(number * 4)));
        }
        notOk += event.isOk ? 0 : 1;
        errors.insert(event.errorCode);
    }
    QVERIFY2(notOk > 100 && notOk < 300, qPrintable(QString::number(notOk)));
    QCOMPARE(errors, (QSet<quint16>{0, 1, 2}));
}

void TestSimulatorModel::postsEvents_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("size");

    QTest::newRow("generation 1") << 1 << 5201 << 12;
    QTest::newRow("generation 2") << 2 << 6201 << 16;
}

void TestSimulatorModel::postsEvents()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, size);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    controller.setValue(QStringLiteral("currentPreset"), 9);
    controller.setValue(QStringLiteral("direction"), 1);
    controller.setEventSeed(42);
    QList<TighteningEvent> events;
    connect(&controller, &SimulatedController::eventPosted, this, [&](const TighteningEvent& event) {
        // Nobody hears of an event that cannot be read yet, nor of a motor that runs on.
        Words read;
        QCOMPARE(controller.read(holding, static_cast<quint16>(address), 1, &read), quint8(0));
        QCOMPARE(read.first(), event.count);
        QVERIFY(!controller.isMotorRunning());
        events.append(event);
    });

    QVERIFY(controller.startCycle());
    QVERIFY(controller.isCycleRunning());
    QVERIFY(controller.isMotorRunning());
    Words read;
    QCOMPARE(controller.read(holding, static_cast<quint16>(address), size, &read), quint8(0));
    QCOMPARE(read, Words(size, 0));
    // What is chosen during the run is for the next one.
    controller.setValue(QStringLiteral("currentPreset"), 10);
    controller.setValue(QStringLiteral("direction"), 0);
    QVERIFY(controller.finishCycle());
    QVERIFY(!controller.isCycleRunning());
    QVERIFY(!controller.finishCycle());
    QVERIFY(controller.tighten());
    QCOMPARE(events.size(), 2);
    QCOMPARE(events.at(0).toText(), TighteningEvent::ofCount(1, 9, 1, 42).toText());
    QCOMPARE(events.at(1).toText(), TighteningEvent::ofCount(2, 10, 0, 42).toText());
    QCOMPARE(controller.lastEvent().toText(), events.at(1).toText());

    QCOMPARE(controller.read(holding, static_cast<quint16>(address), size, &read), quint8(0));
    const auto layout = generation == 1
                            ? layoutOfNames(sampleEventNames(), size, nullptr)
                            : layoutOfDescriptors(sampleEventDescriptors(), address, size, nullptr);
    QCOMPARE(read, encodeEvent(*layout, size, TighteningEvent::ofCount(2, 10, 0, 42)));
    QCOMPARE(controller.write(holding, static_cast<quint16>(address), {1}), quint8(2));
}

void TestSimulatorModel::eventCountWraps()
{
    for (const int generation : {1, 2}) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
        const auto shown = [&controller, generation] {
            Words read;
            controller.read(QModbusDataUnit::HoldingRegisters, generation == 1 ? 5201 : 6201, 1, &read);
            return read;
        };
        controller.setEventCount(65534);
        QCOMPARE(shown(), Words{65534});
        for (const quint16 count : {quint16(65535), quint16(0), quint16(1)}) {
            QVERIFY(controller.tighten());
            QCOMPARE(controller.eventCount(), count);
            QCOMPARE(shown(), Words{count});
        }
    }
}

void TestSimulatorModel::thousandCycles()
{
    for (const int generation : {1, 2}) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(generation));
        QSignalSpy changes(&controller, &SimulatedController::valueChanged);
        QSet<quint16> counts;
        QSet<QString> values;
        connect(&controller, &SimulatedController::eventPosted, this, [&](const TighteningEvent& event) {
            counts.insert(event.count);
            values.insert(event.toText().section(QStringLiteral(": "), 1));
        });
        for (int i = 0; i < 1000; ++i)
            QVERIFY(controller.tighten());
        QCOMPARE(controller.eventCount(), quint16(1000));
        QCOMPARE(counts.size(), 1000);
        QVERIFY2(values.size() > 990, qPrintable(QString::number(values.size())));
        // The motor, on and off.
        QCOMPARE(changes.size(), 2000);
        QCOMPARE(controller.writes().size(), 0);
    }
}

void TestSimulatorModel::lockStopsCycles_data()
{
    QTest::addColumn<int>("lock");
    QTest::addColumn<int>("direction");
    QTest::addColumn<QString>("error");

    QTest::newRow("unlocked, fastening") << 0 << 0 << "";
    QTest::newRow("unlocked, loosening") << 0 << 1 << "";
    QTest::newRow("both, fastening") << 1 << 0 << "fastening is locked (lock = 1)";
    QTest::newRow("both, loosening") << 1 << 1 << "loosening is locked (lock = 1)";
    QTest::newRow("loosening, fastening") << 2 << 0 << "";
    QTest::newRow("loosening, loosening") << 2 << 1 << "loosening is locked (lock = 2)";
    QTest::newRow("fastening, fastening") << 3 << 0 << "fastening is locked (lock = 3)";
    QTest::newRow("fastening, loosening") << 3 << 1 << "";
    QTest::newRow("no such lock, fastening") << 4 << 0 << "";
    QTest::newRow("no such lock, loosening") << 65535 << 1 << "";
}

void TestSimulatorModel::lockStopsCycles()
{
    QFETCH(int, lock);
    QFETCH(int, direction);
    QFETCH(QString, error);
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    const auto holding = QModbusDataUnit::HoldingRegisters;
    QCOMPARE(controller.write(holding, 6001, {static_cast<quint16>(direction)}), quint8(0));
    QCOMPARE(controller.write(holding, 6004, {static_cast<quint16>(lock)}), quint8(0));
    QString text;
    QCOMPARE(controller.tighten(&text), error.isEmpty());
    QCOMPARE(text, error);
    QCOMPARE(int(controller.eventCount()), error.isEmpty() ? 1 : 0);
    QVERIFY(!controller.isMotorRunning());
    // A lock that comes during the run does not end it.
    QCOMPARE(controller.write(holding, 6004, {0}), quint8(0));
    QVERIFY(controller.startCycle());
    QCOMPARE(controller.write(holding, 6004, {1}), quint8(0));
    QVERIFY(controller.finishCycle());
    QCOMPARE(int(controller.eventCount()), error.isEmpty() ? 2 : 1);
}

void TestSimulatorModel::oneCycleAtATime()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    QVERIFY(controller.startCycle());
    QString text;
    QVERIFY(!controller.startCycle(&text));
    QCOMPARE(text, QStringLiteral("a tightening cycle is running"));
    QVERIFY(!controller.tighten());
    QVERIFY(controller.finishCycle());
    QCOMPARE(controller.eventCount(), quint16(1));

    SimulatedController eventless(configurationOf(without(sampleChannels(), QStringLiteral("eventData"))),
                                  profileOfGeneration(1));
    QVERIFY(!eventless.tighten(&text));
    QCOMPARE(text, QStringLiteral("the configuration describes no event block"));
    QVERIFY(!eventless.finishCycle());
    eventless.setEventCount(5);
    QCOMPARE(eventless.eventCount(), quint16(5));
}

void TestSimulatorModel::cyclesInTime()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    TighteningCycles cycles(controller);
    cycles.setMotorTime(60);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(cycles.tighten());
    QVERIFY(controller.isMotorRunning());
    QVERIFY(!cycles.isActive());
    QString text;
    QVERIFY(!cycles.tighten(&text));
    QVERIFY2(text.contains(QStringLiteral("running")), qPrintable(text));
    QTRY_COMPARE(controller.eventCount(), quint16(1));
    QVERIFY2(clock.elapsed() >= 60, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(!controller.isMotorRunning());
    // Without motor time the event comes with the event loop.
    cycles.setMotorTime(0);
    QVERIFY(cycles.tighten());
    QCOMPARE(controller.eventCount(), quint16(1));
    QTRY_COMPARE(controller.eventCount(), quint16(2));
    QVERIFY(cycles.tighten());
}

void TestSimulatorModel::cyclesAtAnInterval()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
    TighteningCycles cycles(controller);
    QSignalSpy refusals(&cycles, &TighteningCycles::refused);
    // More motor time than the interval has: it is shortened, no cycle is lost.
    cycles.setMotorTime(100000);
    cycles.start(4);
    QVERIFY(cycles.isActive());
    QTRY_VERIFY(controller.eventCount() >= 5);
    QCOMPARE(refusals.size(), 0);
    controller.setValue(QStringLiteral("lock"), 1);
    QTRY_COMPARE(refusals.size(), 1);
    QCOMPARE(refusals.first().first().toString(), QStringLiteral("fastening is locked (lock = 1)"));
    QVERIFY(!controller.isCycleRunning());
    controller.setValue(QStringLiteral("lock"), 0);
    const quint16 before = controller.eventCount();
    QTRY_VERIFY(controller.eventCount() > before);
    // Said once for the whole lock, and again for the next.
    QCOMPARE(refusals.size(), 1);
    controller.setValue(QStringLiteral("lock"), 3);
    QTRY_COMPARE(refusals.size(), 2);
    controller.setValue(QStringLiteral("lock"), 0);
    QTRY_VERIFY(controller.isCycleRunning());
    const quint16 running = controller.eventCount();
    cycles.stop();
    QVERIFY(!cycles.isActive());
    QTRY_COMPARE(controller.eventCount(), quint16(running + 1));
}

void TestSimulatorModel::badKeyListIsSaid_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QJsonValue>("keys");
    QTest::addColumn<QString>("named");

    const QJsonValue missing(QJsonValue::Undefined);
    const QString plain = QStringLiteral("eventDataKeys");
    const auto row = [](const char* name, const QString& list, const QJsonValue& keys, const char* named) {
        QTest::newRow(name) << list << keys << named;
    };
    QJsonArray names = sampleEventNames();
    row("no names", plain, missing, "is no list of names");
    row("names of an object", plain, QJsonObject(), "is no list of names");
    names.removeLast();
    row("a name too few", plain, names, "has 11 names for 12 registers");
    row("a name too many", plain, names + QJsonValue("a") + QJsonValue("b"), "has 13 names for 12 registers");
    row("no name at all", plain, QJsonArray(), "has 0 names for 12 registers");
    row("an empty name", plain, names + QJsonValue(""), "entry 12 is no name");
    row("a number as name", plain, names + QJsonValue(5), "entry 12 is no name");
    row("descriptors for names", plain, sampleEventDescriptors(), "entry 1 is no name");

    for (const bool isEvent : {true, false}) {
        const QString list = isEvent ? QStringLiteral("eventDataKeysV2") : QStringLiteral("presetDataKeysV2");
        const int first = isEvent ? 6201 : 1;
        const int last = isEvent ? 6216 : 40;
        const auto described = [&](const char* name, const QJsonValue& keys, const QString& named) {
            QTest::newRow(qPrintable(list + ' ' + name)) << list << keys << named;
        };
        const auto one = [](const char* name, int start, int end, const char* type) {
            return QJsonArray{descriptor(name, start, end, type)};
        };
        if (isEvent)
            described("missing", missing, "is no list of descriptors");
        described("a text", "x", "is no list of descriptors");
        described("names for descriptors", QJsonArray{"torque"}, "entry 1 (\"\") has no \"parameter_name\"");
        described("no name", one("", first, first, "int"), "has no \"parameter_name\"");
        described("type", one("a", first, first, "Int"),
                  "entry 1 (\"a\") has the type \"Int\", which is not one of int, list, float");
        described("before the block", one("a", first - 1, first, "list"),
                  QStringLiteral("is at %1 to %2, which is not in the block's %2 to %3")
                      .arg(first - 1)
                      .arg(first)
                      .arg(last));
        described("behind the block", one("a", last, last + 1, "float"), "which is not in the block's");
        described("backwards", one("a", first + 1, first, "list"), "which is not in the block's");
        described("float of one", one("a", first, first, "float"), "is a float of 1 registers");
        described("float of three", one("a", first, first + 2, "float"), "is a float of 3 registers");
        described("overlap",
                  QJsonArray{descriptor("a", first, first + 2, "list"),
                             descriptor("b", first + 2, first + 3, "float")},
                  QStringLiteral("entry 2 (\"b\") overlaps \"a\" at %1").arg(first + 2));
        QJsonObject broken = descriptor("a", first, first, "int");
        broken.remove(QStringLiteral("end_address"));
        described("no end", QJsonArray{broken}, "has no \"start_address\" and \"end_address\"");
        broken.insert(QStringLiteral("end_address"), first + 0.5);
        described("end with a fraction", QJsonArray{broken}, "has no \"start_address\" and \"end_address\"");
    }
}

void TestSimulatorModel::badKeyListIsSaid()
{
    QFETCH(QString, list);
    QFETCH(QJsonValue, keys);
    QFETCH(QString, named);
    QJsonObject configuration = sampleConfiguration();
    QJsonObject parameters = configuration.value(QStringLiteral("parameters")).toObject();
    parameters.insert(list, keys);
    configuration.insert(QStringLiteral("parameters"), parameters);
    const int generation = list.endsWith(QLatin1String("V2")) ? 2 : 1;
    SimulatedController controller(configuration, profileOfGeneration(generation));
    QCOMPARE(controller.problems().size(), 1);
    const QString problem = controller.problems().first();
    QVERIFY2(problem.startsWith(QStringLiteral("parameter \"%1\" ").arg(list)), qPrintable(problem));
    QVERIFY2(problem.contains(named), qPrintable(problem));
    // The registers are there all the same.
    Words read;
    const auto holding = QModbusDataUnit::HoldingRegisters;
    QCOMPARE(controller.read(holding, generation == 1 ? 5201 : 6201, 12, &read), quint8(0));
    QCOMPARE(read, Words(12, 0));
    QCOMPARE(controller.read(holding, 1, 20, &read), quint8(0));
    QCOMPARE(controller.tighten(), list.startsWith(QLatin1String("preset")));
    // It is of no concern to the other generation.
    SimulatedController other(configuration, profileOfGeneration(3 - generation));
    QCOMPARE(other.problems(), QStringList());
    QVERIFY(other.tighten());
}

void TestSimulatorModel::missingEntryIsSaid_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("problems");

    QTest::newRow("directionChange") << 1 << 5001 << 1;
    QTest::newRow("presetChange") << 1 << 5002 << 1;
    QTest::newRow("alarmReset") << 1 << 5003 << 1;
    QTest::newRow("direction") << 1 << 5101 << 1;
    QTest::newRow("motorRun") << 1 << 5102 << 1;
    QTest::newRow("alarm") << 1 << 5104 << 1;
    // Registers of the range that nothing else takes are plain ones.
    QTest::newRow("presets") << 1 << 0 << 1;
    QTest::newRow("torqueUnit") << 1 << 0 << 1;
    QTest::newRow("torqueUnitV2") << 2 << 0 << 1;
    // Its size is the programs' size: they go with it.
    QTest::newRow("currentPreset") << 1 << 5103 << 2;
    QTest::newRow("lock") << 1 << 5105 << 1;
    QTest::newRow("screenLock") << 1 << 5106 << 1;
    QTest::newRow("lockChange") << 1 << 5004 << 1;
    QTest::newRow("lockScreen") << 1 << 5005 << 1;
    QTest::newRow("eventData") << 1 << 5201 << 1;
    QTest::newRow("lockChangeV2") << 2 << 6004 << 1;
    QTest::newRow("lockScreenV2") << 2 << 6005 << 1;
    QTest::newRow("eventDataV2") << 2 << 6201 << 1;
    QTest::newRow("directionChangeV2") << 2 << 6001 << 1;
    QTest::newRow("directionV2") << 2 << 6101 << 1;
    QTest::newRow("currentPresetV2") << 2 << 6103 << 2;
}

void TestSimulatorModel::missingEntryIsSaid()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, problems);
    const QString missing = QString::fromLatin1(QTest::currentDataTag());
    SimulatedController controller(configurationOf(without(sampleChannels(), missing)),
                                   profileOfGeneration(generation));
    QCOMPARE(controller.problems().size(), problems);
    QVERIFY2(controller.problems().first().contains(QLatin1Char('"') + missing + QLatin1Char('"')),
             qPrintable(controller.problems().first()));
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(address), 1, &read),
             SimulatedController::c_illegalAddress);
    const bool hasPrograms = problems == 1 && missing != QLatin1String("presets");
    QCOMPARE(controller.presetCount() > 0, hasPrograms);
    QCOMPARE(controller.setTorqueUnit(1), !missing.startsWith(QLatin1String("torqueUnit")));
    // Writing what shows in a status that is missing still works.
    if (missing == QLatin1String("direction"))
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 5001, {1}), quint8(0));
    SimulatedController other(configurationOf(without(sampleChannels(), missing)),
                              profileOfGeneration(3 - generation));
    QCOMPARE(other.problems().size(), missing == QLatin1String("alarmReset") ? 1 : 0);
}

void TestSimulatorModel::wrongEntryIsSaid_data()
{
    QTest::addColumn<QJsonObject>("entry");
    QTest::addColumn<QString>("named");

    QTest::newRow("no register") << channel("direction", {{QStringLiteral("readRegisterType"),
                                                           QStringLiteral("holdingRegisters")}})
                                 << "\"direction\" has no \"register\"";
    QTest::newRow("negative register") << readEntry("direction", -1) << "\"direction\" has no \"register\"";
    QTest::newRow("no type") << channel("direction", {{QStringLiteral("register"), 5}})
                             << "\"readRegisterType\" is \"\", which is not one of holdingRegisters";
    QTest::newRow("unknown type") << readEntry("direction", 5, "words") << "\"words\", which is not one of";
    QTest::newRow("write to inputs") << writeEntry("directionChange", 5, "inputRegisters")
                                     << "\"inputRegisters\", which is not one of singleRegister";
    QTest::newRow("taken") << readEntry("direction", 5102) << "register 5102 is taken already";
    QTest::newRow("taken by a program") << readEntry("direction", 600) << "register 600 is taken already";
    QTest::newRow("event without size") << readEntry("eventData", 7000) << "\"eventData\" has no \"size\"";
    QTest::newRow("event over the end")
        << readEntry("eventData", 65525, "holdingRegisters", 12) << "\"eventData\" has no \"size\"";
    QTest::newRow("event of bits") << readEntry("eventData", 7000, "coils", 12)
                                   << "\"eventData\": an event needs registers";
    QTest::newRow("event over a status")
        << readEntry("eventData", 5100, "holdingRegisters", 12) << "register 5101 is taken already";
    QTest::newRow("no programs") << readEntry("presets", 1) << "\"presets\" has no \"size\"";
    QTest::newRow("programs without type")
        << channel("presets", {{QStringLiteral("size"), 30}}) << "unknown \"readRegisterType\" \"\"";
    QTest::newRow("too many programs")
        << readEntry("presets", 1, "holdingRegisters", 4000) << "4000 programs of 20 registers do not fit";
}

void TestSimulatorModel::wrongEntryIsSaid()
{
    QFETCH(QJsonObject, entry);
    QFETCH(QString, named);
    QJsonArray channels = without(sampleChannels(), entry[QStringLiteral("id")].toString());
    channels.append(entry);
    SimulatedController controller(configurationOf(channels), profileOfGeneration(1));
    QCOMPARE(controller.problems().size(), 1);
    QVERIFY2(controller.problems().first().contains(named), qPrintable(controller.problems().first()));
}

void TestSimulatorModel::parametersFillTheRange_data()
{
    QTest::addColumn<QString>("range");
    QTest::addColumn<int>("first"); // plain registers, all that there are between the channels' own
    QTest::addColumn<int>("last");

    QTest::newRow("behind the programs") << "[1-700]" << 603 << 700;
    QTest::newRow("only a piece of it") << "[650-660]" << 650 << 660;
    QTest::newRow("the second range is not one") << "[650-660], [670-680]" << 650 << 660;
    QTest::newRow("to the last address") << "[5300-65535]" << 5300 << 65535;
    QTest::newRow("beyond the last address") << "[65000-66000]" << 65000 << 65535;
    QTest::newRow("the later of two") << "[610-612]; \"backup_range\": [650-660]" << 650 << 660;
}

void TestSimulatorModel::parametersFillTheRange()
{
    QFETCH(QString, range);
    QFETCH(int, first);
    QFETCH(int, last);
    SimulatedController controller(configurationOf(sampleChannels(), qPrintable(range)),
                                   profileOfGeneration(1));
    QCOMPARE(controller.problems(), QStringList());
    const auto holding = QModbusDataUnit::HoldingRegisters;
    Words read;
    for (const int address : {first, last}) {
        const auto place = static_cast<quint16>(address);
        QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
        for (const quint16 value : {quint16(0), quint16(65535)}) {
            QCOMPARE(controller.write(holding, place, {value}), quint8(0));
            QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
            QCOMPARE(read, Words{value});
        }
    }
    int defined = 0;
    for (int address = first; address <= last; ++address)
        defined += controller.read(holding, static_cast<quint16>(address), 1, &read) == 0 ? 1 : 0;
    QCOMPARE(defined, last - first + 1);
    if (last < 65535)
        QCOMPARE(controller.read(holding, static_cast<quint16>(last + 1), 1, &read), quint8(2));
    // The channels' own registers stay what they are.
    QCOMPARE(controller.write(holding, 5101, {1}), quint8(2));
    QCOMPARE(controller.read(holding, 600, 1, &read), quint8(0));
    QCOMPARE(read, Words{319});
}

void TestSimulatorModel::parametersStartTheSame()
{
    Words all[2];
    for (Words& words : all) {
        SimulatedController controller(sampleConfiguration(), profileOfGeneration(2));
        QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 2001, 40, &words), quint8(0));
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 2002, {1, 2, 3}), quint8(0));
    }
    QCOMPARE(all[0], all[1]);
    QSet<quint16> values;
    for (const quint16 value : qAsConst(all[0]))
        values.insert(value);
    QCOMPARE(values.size(), 40);
    QVERIFY(std::any_of(values.cbegin(), values.cend(), [](quint16 value) { return value > 0x7FFF; }));
}

void TestSimulatorModel::badBackupRangeIsSaid_data()
{
    QTest::addColumn<QJsonValue>("text");
    QTest::addColumn<QString>("named");

    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << "\"MDC-22_config\" is missing";
    QTest::newRow("no text") << QJsonValue(5) << "\"MDC-22_config\" is no text";
    const QString invalid = QStringLiteral("\"MDC-22_config\" has no valid \"backup_range\"");
    QTest::newRow("empty") << QJsonValue("") << invalid;
    QTest::newRow("no range") << QJsonValue("\"preset1\": [1-20]") << invalid;
    QTest::newRow("from 0") << QJsonValue("\"backup_range\": [0-99]") << invalid;
    QTest::newRow("single") << QJsonValue("\"backup_range\": [5-5]") << invalid;
    QTest::newRow("too many") << QJsonValue("\"backup_range\": [1-2000000000]") << invalid;
}

void TestSimulatorModel::badBackupRangeIsSaid()
{
    QFETCH(QJsonValue, text);
    QFETCH(QString, named);
    QJsonObject configuration = sampleConfiguration();
    QJsonObject parameters = configuration.value(QStringLiteral("parameters")).toObject();
    if (text.isUndefined())
        parameters.remove(QStringLiteral("MDC-22_config"));
    else
        parameters.insert(QStringLiteral("MDC-22_config"), text);
    configuration.insert(QStringLiteral("parameters"), parameters);
    SimulatedController controller(configuration, profileOfGeneration(1));
    QCOMPARE(controller.problems().size(), 1);
    QVERIFY2(controller.problems().first().contains(named), qPrintable(controller.problems().first()));
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 603, 1, &read), quint8(2));
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 601, 1, &read), quint8(0));
}

void TestSimulatorModel::torqueUnitOfProfile_data()
{
    QTest::addColumn<int>("address");

    // By the firmware's number, unlike the screen lock.
    QTest::newRow("mdc26-gen1v1") << 602;
    QTest::newRow("mdc26-gen1v2") << 601;
    QTest::newRow("mdc32-gen1v2") << 601;
    QTest::newRow("bm-gen1v1") << 602;
    QTest::newRow("bm-firmware2-gen1v1") << 601;
    QTest::newRow("unknown-gen1v2") << 601;
    QTest::newRow("nameless-gen1v2") << 601;
    QTest::newRow("unreadable-gen1v2") << 601;
    QTest::newRow("mdc32-gen2") << 2001;
    QTest::newRow("bm-gen2") << 2001;
}

void TestSimulatorModel::torqueUnitOfProfile()
{
    QFETCH(int, address);
    SimulatedController controller(sampleConfiguration(),
                                   *ControllerProfile::byName(QString::fromLatin1(QTest::currentDataTag())));
    QCOMPARE(controller.problems(), QStringList());
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const auto place = static_cast<quint16>(address);
    Words read;
    QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
    QCOMPARE(read, Words{0});
    QCOMPARE(controller.write(holding, place, {2}), quint8(0));
    QCOMPARE(controller.torqueUnit(), quint16(2));
    QCOMPARE(controller.write(holding, place, {3}), SimulatedController::c_illegalValue);
    QSignalSpy changes(&controller, &SimulatedController::valueChanged);
    QVERIFY(controller.setTorqueUnit(7));
    QCOMPARE(changes.size(), 1);
    QCOMPARE(controller.read(holding, place, 1, &read), quint8(0));
    QCOMPARE(read, Words{7});
}

void TestSimulatorModel::writeLogKeepsTheNewest()
{
    SimulatedController controller(sampleConfiguration(), profileOfGeneration(1));
    int noted = 0;
    connect(&controller, &SimulatedController::writeNoted, this, [&noted] { ++noted; });
    ControllerWrite write;
    write.transport = QStringLiteral("tcp");
    for (int i = 0; i < SimulatedController::c_maximumWrites + 3; ++i) {
        write.address = static_cast<quint16>(i);
        write.values = {1, 2};
        write.exception = i % 2 == 0 ? 0 : 2;
        controller.noteWrite(write);
    }
    QCOMPARE(noted, SimulatedController::c_maximumWrites + 3);
    QCOMPARE(controller.writes().size(), SimulatedController::c_maximumWrites);
    QCOMPARE(controller.writes().first().toText(), QStringLiteral("tcp: 3 = 1 2: refused with exception 2"));
    QCOMPARE(controller.acceptedWriteCount() + controller.refusedWriteCount(),
             qint64(SimulatedController::c_maximumWrites + 3));
    controller.clearWrites();
    QCOMPARE(controller.writes().size(), 0);
    QCOMPARE(controller.acceptedWriteCount(), qint64(0));
}

void TestSimulatorModel::decodesWrite_data()
{
    QTest::addColumn<QByteArray>("pdu");
    QTest::addColumn<bool>("writes");
    QTest::addColumn<RegisterType>("table");
    QTest::addColumn<int>("address");
    QTest::addColumn<Words>("values");
    const auto holding = QModbusDataUnit::HoldingRegisters;
    const auto coils = QModbusDataUnit::Coils;
    const auto none = QModbusDataUnit::Invalid;

    QTest::newRow("read") << bytes("03 0001 0001") << false << none << 0 << Words{};
    QTest::newRow("register") << bytes("06 1389 0102") << true << holding << 5001 << Words{258};
    QTest::newRow("register, short") << bytes("06 1389 01") << false << none << 0 << Words{};
    QTest::newRow("register, long") << bytes("06 1389 0102 03") << false << none << 0 << Words{};
    QTest::newRow("coil on") << bytes("05 0007 FF00") << true << coils << 7 << Words{1};
    QTest::newRow("coil off") << bytes("05 0007 0000") << true << coils << 7 << Words{0};
    QTest::newRow("coil neither") << bytes("05 0007 0001") << false << none << 0 << Words{};
    QTest::newRow("registers") << bytes("10 0001 0002 04 000A 0102") << true << holding << 1
                               << Words{10, 258};
    QTest::newRow("registers, short") << bytes("10 0001 0002 04 000A 01") << false << none << 0 << Words{};
    QTest::newRow("registers, long") << bytes("10 0001 0002 04 000A 0102 00") << false << none << 0
                                     << Words{};
    QTest::newRow("registers, count") << bytes("10 0001 0003 04 000A 0102") << false << none << 0 << Words{};
    QTest::newRow("registers, none") << bytes("10 0001 0000 00") << false << none << 0 << Words{};
    QTest::newRow("coils") << bytes("0F 0013 000A 02 CD01") << true << coils << 19
                           << Words{1, 0, 1, 1, 0, 0, 1, 1, 1, 0};
    QTest::newRow("coils, short") << bytes("0F 0013 000A 02 CD") << false << none << 0 << Words{};
}

void TestSimulatorModel::decodesWrite()
{
    QFETCH(QByteArray, pdu);
    QFETCH(bool, writes);
    QFETCH(RegisterType, table);
    QFETCH(int, address);
    QFETCH(Words, values);
    const QModbusRequest request(static_cast<QModbusPdu::FunctionCode>(pdu.at(0)), pdu.mid(1));
    const auto write = decodeWrite(request);
    QCOMPARE(write.has_value(), writes);
    if (!write)
        return;
    QCOMPARE(write->table, table);
    QCOMPARE(int(write->address), address);
    QCOMPARE(write->values, values);
}

void TestSimulatorModel::findsDeviceObject_data()
{
    QTest::addColumn<QStringList>("devices");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("found");
    QTest::addColumn<QString>("error");

    const QStringList one{QStringLiteral("left")};
    const QStringList two{QStringLiteral("left"), QStringLiteral("right")};
    QTest::newRow("the only one") << one << ""
                                  << "left"
                                  << "";
    QTest::newRow("by name") << two << "right"
                             << "right"
                             << "";
    QTest::newRow("several") << two << ""
                             << ""
                             << "--object: left, right";
    QTest::newRow("unknown") << two << "top"
                             << ""
                             << "no device \"top\"; there is left, right";
    QTest::newRow("a driver's name") << one << "modbus"
                                     << ""
                                     << "no device \"modbus\"; there is left";
    QTest::newRow("none") << QStringList() << ""
                          << ""
                          << "no object of the kind {5b1e07c4";
}

void TestSimulatorModel::findsDeviceObject()
{
    QFETCH(QStringList, devices);
    QFETCH(QString, name);
    QFETCH(QString, found);
    QFETCH(QString, error);
    QJsonArray objects{
        QJsonObject{{QStringLiteral("name"), QStringLiteral("modbus")},
                    {QStringLiteral("plugin"), QStringLiteral("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}")}}};
    for (const QString& device : devices) {
        objects.append(QJsonObject{
            {QStringLiteral("name"), device},
            {QStringLiteral("plugin"), QStringLiteral("{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}")}});
    }
    QString text;
    const auto object = findDeviceObject({{QStringLiteral("objects"), objects}}, name, &text);
    QCOMPARE(object.has_value(), !found.isEmpty());
    if (object)
        QCOMPARE(object->value(QStringLiteral("name")).toString(), found);
    QVERIFY2(text.contains(error), qPrintable(text));
}

QTEST_GUILESS_MAIN(TestSimulatorModel)
#include "tst_simulator_model.moc"
