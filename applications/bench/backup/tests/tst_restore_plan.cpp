#include "applications/bench/backup/restore_plan.h"

#include <QTest>

namespace {

// Registers 1…count with ten times their number as values.
BackupFile fileOf(int count, int firstPosition = 1)
{
    BackupFile file;
    file.header = {"MDC-32", "123", "4.01.2"};
    file.firstPosition = firstPosition;
    for (int i = 0; i < count; ++i)
        file.values.append(static_cast<quint16>((firstPosition + i) * 10));
    return file;
}

RegisterGroups someGroups()
{
    return {{"preset1", {1, 2}},   {"preset2", {3, 4}}, {"preset10", {5, 6}}, {"extraGeneral", {7}},
            {"extraTool", {9, 8}}, {"presetA", {10}},   {"other", {1, 10}},   {"preset3", {}}};
}

QString writesText(const QList<PlannedWrite>& writes)
{
    QStringList texts;
    for (const PlannedWrite& write : writes)
        texts.append(QString("%1=%2@%3.%4")
                         .arg(write.number)
                         .arg(write.value)
                         .arg(write.place.group)
                         .arg(write.place.position));
    return texts.join(' ');
}

QString stepsText(const QList<RestoreStep>& steps)
{
    QStringList texts;
    for (const RestoreStep& step : steps)
        texts.append(
            QString("%1%2:%3").arg(presetsText({step.presets}), step.withExtras ? "+" : "").arg(step.writes));
    return texts.join(' ');
}

QString numbersText(const QList<int>& numbers)
{
    QStringList texts;
    for (const int number : numbers)
        texts.append(QString::number(number));
    return texts.join(' ');
}

} // namespace

class TstRestorePlan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void presets_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("presets"); // empty: refused
        QTest::addColumn<QString>("words");
        QTest::newRow("one") << "3"
                             << "3"
                             << "preset 3";
        QTest::newRow("several") << "3-7"
                                 << "3-7"
                                 << "presets 3 to 7";
        QTest::newRow("the same twice") << "7-7"
                                        << "7"
                                        << "preset 7";
        QTest::newRow("greatest") << "1-999999999"
                                  << "1-999999999"
                                  << "presets 1 to 999999999";
        QTest::newRow("list") << "3,7"
                              << "3,7"
                              << "presets 3, 7";
        QTest::newRow("list of ranges") << "1-2,5,8-9"
                                        << "1-2,5,8-9"
                                        << "presets 1 to 2, 5, 8 to 9";
        QTest::newRow("any order") << "8,3-5,1"
                                   << "1,3-5,8"
                                   << "presets 1, 3 to 5, 8";
        QTest::newRow("neighbours are one range") << "3,4,5-7"
                                                  << "3-7"
                                                  << "presets 3 to 7";
        QTest::newRow("overlapping") << "3-7,5-9,6"
                                     << "3-9"
                                     << "presets 3 to 9";
        QTest::newRow("twice") << "3,3"
                               << "3"
                               << "preset 3";
        QTest::newRow("zero") << "0"
                              << ""
                              << "";
        QTest::newRow("from zero") << "0-3"
                                   << ""
                                   << "";
        QTest::newRow("zero in a list") << "1,0"
                                        << ""
                                        << "";
        QTest::newRow("backwards") << "7-3"
                                   << ""
                                   << "";
        QTest::newRow("negative") << "-3"
                                  << ""
                                  << "";
        QTest::newRow("open") << "3-"
                              << ""
                              << "";
        QTest::newRow("blanks") << "3 - 7"
                                << ""
                                << "";
        QTest::newRow("blank in a list") << "3, 7"
                                         << ""
                                         << "";
        QTest::newRow("comma in front") << ",3"
                                        << ""
                                        << "";
        QTest::newRow("comma behind") << "3,"
                                      << ""
                                      << "";
        QTest::newRow("word") << "all"
                              << ""
                              << "";
        QTest::newRow("empty") << ""
                               << ""
                               << "";
        QTest::newRow("more than int holds") << "3-99999999999"
                                             << ""
                                             << "";
        QTest::newRow("other digits") << QString::fromUtf8("٣") << ""
                                      << "";
        QTest::newRow("line feed behind") << "3\n"
                                          << ""
                                          << "";
    }

    void presets()
    {
        QFETCH(QString, text);
        QFETCH(QString, presets);
        QFETCH(QString, words);
        const std::optional<QList<PresetRange>> found = presetsFromText(text);
        QCOMPARE(found.has_value(), !presets.isEmpty());
        if (!found)
            return;
        QCOMPARE(presetsText(*found), presets);
        QCOMPARE(choiceText({*found, false}), words);
        QCOMPARE(choiceText({*found, true}), words + " and extras");
        QCOMPARE(choiceText({{}, true}), QString("extras"));
    }

    // What was written beside a plan is put back by another choice than the plan's.
    void choiceOfARegister()
    {
        const RegisterGroups groups{{"preset3", {81, 82}},
                                    {"preset4", {121, 122}},
                                    {"preset9", {321, 82}},
                                    {"extraTool", {2001, 122}}};
        const RestoreChoice choice{{{3, 3}}, false};
        const auto text = [&](int registerNumber) {
            const RestoreChoice wider = widened(choice, groups, registerNumber);
            return presetsText(wider.presets) + (wider.withExtras ? " and extras" : "");
        };
        QCOMPARE(text(81), QString("3"));
        QCOMPARE(text(82), QString("3,9"));
        QCOMPARE(text(121), QString("3-4"));
        QCOMPARE(text(122), QString("3-4 and extras"));
        QCOMPARE(text(2001), QString("3 and extras"));
        QCOMPARE(text(1999), QString("3"));
        QCOMPARE(presetsText(widened({{}, true}, groups, 2001).presets), QString());
    }

    void plan_data()
    {
        QTest::addColumn<QString>("presets"); // empty for none
        QTest::addColumn<bool>("extras");
        QTest::addColumn<int>("registersInFile");
        QTest::addColumn<QString>("writes"); // as planned, also behind a problem
        QTest::addColumn<QString>("groups");
        QTest::addColumn<QString>("missing");
        QTest::addColumn<QString>("problem");
        QTest::addColumn<QString>("steps"); // "+": with extras; and the number of writes
        QTest::newRow("one") << "1" << false << 10 << "1=10@preset1.1 2=20@preset1.2"
                             << "preset1"
                             << ""
                             << ""
                             << "1:2";
        QTest::newRow("numbers, not texts")
            << "1-2" << false << 10 << "1=10@preset1.1 2=20@preset1.2 3=30@preset2.1 4=40@preset2.2"
            << "preset1 preset2"
            << ""
            << ""
            << "1-2:4";
        QTest::newRow("extras in ascending order")
            << "2" << true << 10
            << "3=30@preset2.1 4=40@preset2.2 7=70@extraGeneral.1 8=80@extraTool.2 9=90@extraTool.1"
            << "extraGeneral extraTool preset2"
            << ""
            << ""
            << "2+:5";
        QTest::newRow("gaps are told") << "9-12" << false << 10 << "5=50@preset10.1 6=60@preset10.2"
                                       << "preset10"
                                       << "9 11 12"
                                       << ""
                                       << "9-12:2";
        QTest::newRow("nothing chosen") << "4-6" << false << 10 << ""
                                        << ""
                                        << "4 5 6"
                                        << "no registers of presets 4 to 6; it has presets 1-3, 10"
                                        << "";
        QTest::newRow("a group without registers") << "3" << false << 10 << ""
                                                   << ""
                                                   << ""
                                                   << "no registers of preset 3;"
                                                   << "";
        QTest::newRow("extras alone are written")
            << "4" << true << 10 << "7=70@extraGeneral.1 8=80@extraTool.2 9=90@extraTool.1"
            << "extraGeneral extraTool"
            << "4"
            << ""
            << "4+:3";
        QTest::newRow("beyond the file")
            << "2" << true << 8 << "3=30@preset2.1 4=40@preset2.2 7=70@extraGeneral.1 8=80@extraTool.2"
            << "extraGeneral extraTool preset2"
            << ""
            << "register 9 (extraTool, position 1) is not in the file"
            << "";
        QTest::newRow("a list") << "10,1,4,3" << false << 10
                                << "1=10@preset1.1 2=20@preset1.2 5=50@preset10.1 6=60@preset10.2"
                                << "preset1 preset10"
                                << "4"
                                << ""
                                << "1:2 10:2";
        QTest::newRow("extras come last") << "1,10" << true << 10
                                          << "1=10@preset1.1 2=20@preset1.2 5=50@preset10.1 6=60@preset10.2 "
                                             "7=70@extraGeneral.1 8=80@extraTool.2 9=90@extraTool.1"
                                          << "extraGeneral extraTool preset1 preset10"
                                          << ""
                                          << ""
                                          << "1:2 10+:5";
        // By a number that no group has; presetA reads as 0.
        QTest::newRow("extras without presets")
            << "" << true << 10 << "7=70@extraGeneral.1 8=80@extraTool.2 9=90@extraTool.1"
            << "extraGeneral extraTool"
            << ""
            << ""
            << "4+:3";
    }

    void plan()
    {
        QFETCH(QString, presets);
        QFETCH(bool, extras);
        QFETCH(int, registersInFile);
        QFETCH(QString, problem);
        const RestorePlan plan =
            planRestore(fileOf(registersInFile), someGroups(),
                        {presetsFromText(presets).value_or(QList<PresetRange>()), extras});
        QTEST(writesText(plan.writes), "writes");
        QTEST(plan.groups.join(' '), "groups");
        QTEST(numbersText(plan.missingPresets), "missing");
        QTEST(stepsText(plan.steps), "steps");
        QCOMPARE(plan.problem.isSet(), !problem.isEmpty());
        QVERIFY2(plan.problem.text().contains(problem), qPrintable(plan.problem.text()));
        QCOMPARE(plan.problem.remedy.isEmpty(), problem.isEmpty());
    }

    void planOfOverlappingGroups()
    {
        const RegisterGroups groups{{"preset1", {1, 2, 3}}, {"preset2", {3, 4}}};
        const RestorePlan plan = planRestore(fileOf(10), groups, {{{1, 2}}, false});
        QCOMPARE(writesText(plan.writes),
                 QString("1=10@preset1.1 2=20@preset1.2 3=30@preset1.3 3=30@preset2.1 4=40@preset2.2"));
        // Only of the chosen groups.
        QCOMPARE(writesText(planRestore(fileOf(10), groups, {{{2, 2}}, false}).writes),
                 QString("3=30@preset2.1 4=40@preset2.2"));
    }

    // Each order by itself: the second one writes the shared register once more.
    void planOfAListOfOverlappingGroups()
    {
        const RegisterGroups groups{{"preset1", {1, 2}}, {"preset3", {2, 3}}};
        const RestorePlan plan = planRestore(fileOf(10), groups, {{{1, 1}, {3, 3}}, false});
        QCOMPARE(writesText(plan.writes),
                 QString("1=10@preset1.1 2=20@preset1.2 2=20@preset3.1 3=30@preset3.2"));
    }

    void planOfExtrasThatAreNotThere()
    {
        const RestorePlan plan = planRestore(fileOf(10), {{"preset1", {1, 2}}}, {{}, true});
        QVERIFY(plan.writes.isEmpty() && plan.steps.isEmpty());
        QVERIFY2(plan.problem.text().contains("no registers of extras; it has presets 1"),
                 qPrintable(plan.problem.text()));
        QVERIFY2(plan.problem.remedy.contains("extra"), qPrintable(plan.problem.remedy));
    }

    void planOfImpossibleGroups()
    {
        QList<int> many;
        for (int i = 0; i <= c_restoreRegistersLimit; ++i)
            many.append(1);
        const RestorePlan tooMany = planRestore(fileOf(10), {{"preset1", many}}, {{{1, 1}}, false});
        QVERIFY(tooMany.writes.isEmpty());
        QVERIFY2(tooMany.problem.text().contains("preset 1 have more than"),
                 qPrintable(tooMany.problem.text()));
        QVERIFY(planRestore(fileOf(10), {{"preset1", {0, 1}}}, {{{1, 1}}, false}).problem.isSet());
        // Positions count as the plug-in counts them: by the number of lines.
        QVERIFY(planRestore(fileOf(10, 5), {{"preset1", {12}}}, {{{1, 1}}, false}).problem.isSet());
        QCOMPARE(planRestore(fileOf(10), someGroups(), {{{1, 999999999}}, false}).missingPresets.size(),
                 c_missingPresetsLimit);
    }
};

QTEST_GUILESS_MAIN(TstRestorePlan)
#include "tst_restore_plan.moc"
