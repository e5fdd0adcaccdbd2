#include "applications/simulator/fault_plan.h"
#include "tests/support/fault_samples.h"
#include "tests/support/markdown_table.h"
#include "tests/support/simulator_names.h"
#include "tests/support/table_gaps.h"

#include <QTest>

Q_DECLARE_METATYPE(FaultKind)

namespace {

constexpr quint8 c_readFunction = 0x03;
constexpr quint8 c_writeFunction = 0x06;

struct ParsedFault
{
    const char* text;
    FaultKind kind;
    int value;
    const char* again; // as toText() writes it
};

// Ways to write one; what each kind is stands in its sample.
constexpr ParsedFault c_parsed[] = {
    {"no-answer", FaultKind::NoAnswer, 0, "no-answer"},
    {"lost@once", FaultKind::Lost, 0, "lost@once"},
    {"late=4000@3", FaultKind::Late, 4000, "late=4000@3"},
    {"twice@2/0x06", FaultKind::Twice, 0, "twice@2/0x06"},
    {"twice@2/6", FaultKind::Twice, 0, "twice@2/0x06"},
    {"cut-header/17", FaultKind::CutHeader, 0, "cut-header/0x11"},
    {"cut-middle@1,3", FaultKind::CutMiddle, 0, "cut-middle@1,3"},
    {"short", FaultKind::Short, 0, "short"},
    {"exception=2@5-7", FaultKind::Exception, 2, "exception=2@5-7"},
    {"exception=0x0B@5-7,9", FaultKind::Exception, 11, "exception=11@5-7,9"},
    {"close@once/0x10", FaultKind::Close, 0, "close@once/0x10"},
    {"reset@4-4", FaultKind::Reset, 0, "reset@4"},
    {"refuse", FaultKind::Refuse, 0, "refuse"},
    {"restart=250@2", FaultKind::Restart, 250, "restart=250@2"},
    {"exception=2@once/0x06#117", FaultKind::Exception, 2, "exception=2@once/0x06#117"},
    {"restart=250#100-199", FaultKind::Restart, 250, "restart=250#100-199"},
    {"lost@2#0", FaultKind::Lost, 0, "lost@2#0"},
    {"twice/3#0xFFFF-65535", FaultKind::Twice, 0, "twice/0x03#65535"},
};

} // namespace

class TestFaultPlan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parsesFault_data();
    void parsesFault();
    void refusesFaultText_data();
    void refusesFaultText();
    void everyFaultNameIsParsed();
    void everyFaultIsParsedAsItsSample();
    void everyFaultIsDocumented();
    void planHits_data();
    void planHits();
    void planHitsRegisters_data();
    void planHitsRegisters();
    void planTakesTheFirstOfSeveral();
    void planKeepsCountingWhenCleared();
    void planRefuses();
    void planKeepsTheNewestHits();
};

void TestFaultPlan::parsesFault_data()
{
    QTest::addColumn<FaultKind>("kind");
    QTest::addColumn<int>("value");
    QTest::addColumn<QString>("again");
    for (const ParsedFault& row : c_parsed)
        QTest::newRow(row.text) << row.kind << row.value << QString::fromLatin1(row.again);
}

void TestFaultPlan::parsesFault()
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

void TestFaultPlan::refusesFaultText_data()
{
    QTest::addColumn<QString>("named"); // what the message must name

    QTest::newRow("") << "no-answer, lost, late";
    QTest::newRow("slow") << "\"slow\" is not one of " + faultNames().join(QStringLiteral(", "));
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

void TestFaultPlan::refusesFaultText()
{
    QFETCH(QString, named);
    FaultPlan plan;
    QString error;
    QVERIFY(!plan.add(QString::fromLatin1(QTest::currentDataTag()), &error));
    QVERIFY2(error.contains(named), qPrintable(error));
    QVERIFY(plan.faults().isEmpty());
    QVERIFY(!Fault::parse(QString::fromLatin1(QTest::currentDataTag())).has_value());
}

void TestFaultPlan::everyFaultNameIsParsed()
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

void TestFaultPlan::everyFaultIsParsedAsItsSample()
{
    for (const FaultSample& sample : c_faultSamples) {
        QString error;
        const auto fault = Fault::parse(QString::fromLatin1(sample.fault), &error);
        QVERIFY2(fault.has_value(), qPrintable(error));
        QCOMPARE(fault->kind, sample.kind);
        QCOMPARE(fault->value, sample.value);
        QCOMPARE(fault->toText(), QString::fromLatin1(sample.fault));
    }
    const QString gaps = faultSampleGaps(&FaultSample::bend);
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

void TestFaultPlan::everyFaultIsDocumented()
{
    const QString page = QStringLiteral(MDC_SOURCE_DIRECTORY "/docs/simulator.md");
    QStringList rows;
    const QList<QStringList> table = markdownTable(page, QStringLiteral("## Faults"));
    for (const QStringList& cells : table) {
        const QString name = faultName(cells.first());
        rows.append(name);
        for (const FaultDescription& fault : faultDescriptions()) {
            // "late=ms"
            const QString written =
                fault.valueName == nullptr
                    ? QString::fromLatin1(fault.name)
                    : QStringLiteral("%1=%2").arg(QLatin1String(fault.name), QLatin1String(fault.valueName));
            if (name == QLatin1String(fault.name))
                QCOMPARE(cells.first(), written);
        }
    }
    const QString gaps = tableGaps(QStringLiteral("docs/simulator.md, Faults"), faultNames(), rows);
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

void TestFaultPlan::planHits_data()
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

void TestFaultPlan::planHits()
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

void TestFaultPlan::planHitsRegisters_data()
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

void TestFaultPlan::planHitsRegisters()
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

void TestFaultPlan::planTakesTheFirstOfSeveral()
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

void TestFaultPlan::planKeepsCountingWhenCleared()
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

void TestFaultPlan::planRefuses()
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

void TestFaultPlan::planKeepsTheNewestHits()
{
    FaultPlan plan;
    QVERIFY(plan.add(QStringLiteral("twice")));
    for (int i = 0; i < FaultPlan::c_maximumHits + 5; ++i)
        QVERIFY(plan.next(c_readFunction).has_value());
    QCOMPARE(plan.hits().size(), FaultPlan::c_maximumHits);
    QCOMPARE(plan.hits().first().request, qint64(6));
    QCOMPARE(plan.hitCount(), qint64(FaultPlan::c_maximumHits + 5));
}

QTEST_GUILESS_MAIN(TestFaultPlan)
#include "tst_fault_plan.moc"
