#include "command_bench.h"

#include <QPointer>
#include <QSharedPointer>
#include <QTest>

// The rows of every command that the plug-in has.
class TestMdcCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandHasRows_data() { addCommands(); }
    void everyCommandHasRows();
    void rowsAreOfCommands();
    void declarations_data() { addCommands(); }
    void declarations();
    void copies_data() { addCommands(); }
    void copies();
    void executes_data();
    void executes();
    void refusedInstruction_data() { addCommands(); }
    void refusedInstruction();
    void replies_data();
    void replies();
    void resultsAfterTheEnd_data();
    void resultsAfterTheEnd();

private:
    static void addCommands();
};

void TestMdcCommands::addCommands()
{
    QTest::addColumn<QString>("command");
    const QStringList commands = pluginCommands();
    for (const QString& command : commands)
        QTest::newRow(qPrintable(command)) << command;
}

void TestMdcCommands::everyCommandHasRows()
{
    QFETCH(QString, command);
    const QString objection = objectionTo(rowsOf(command), command);
    QVERIFY2(objection.isEmpty(), qPrintable(objection));
}

void TestMdcCommands::rowsAreOfCommands()
{
    const QStringList commands = pluginCommands();
    const QStringList known = knownRows().keys();
    for (const QString& command : known)
        QVERIFY2(commands.contains(command),
                 qPrintable(QStringLiteral("there are rows of \"%1\", which is no command").arg(command)));
}

void TestMdcCommands::declarations()
{
    QFETCH(QString, command);
    const CommandRows rows = rowsOf(command);
    PDeviceMdc device;
    device.initPluginCommands();
    QCOMPARE(device.getFunctionDescription(command), rows.description);
    const auto entries = [&](const QString& kind) {
        QStringList texts;
        const QVariantList list = device.getCommandParameters(command).value(kind).toList();
        for (const QVariant& item : list) {
            const QVariantMap entry = item.toMap();
            texts.append(entry.value("id").toString() + '|' + entry.value("type").toString() + '|' +
                         entry.value("description").toString() + '|' + typedText(entry.value("default")));
        }
        return texts;
    };
    QCOMPARE(entries("parameters"), rows.parameters);
    QCOMPARE(entries("results"), rows.results);

    const DAbstractCommand* const declared = device.commandPrototype(command);
    QCOMPARE(declared->commandName(), command);
    QCOMPARE(declared->stopCommandName(), rows.stopName);
    QVERIFY(declared->isValid());
    QCOMPARE(declared->isRecurrent(), !rows.stopName.isEmpty());
    QCOMPARE(declared->commandArguments(), QVariantMap());
}

void TestMdcCommands::copies()
{
    QFETCH(QString, command);
    PDeviceMdc device;
    device.initPluginCommands();
    const QVariantMap arguments{{"key", 7}};
    QSharedPointer<ICommand> copy = device.commandPrototype(command)->createCommand(arguments);
    QCOMPARE(copy->commandArguments(), arguments);
    const QPointer<QObject> object = dynamic_cast<QObject*>(copy.data());
    QVERIFY(!object.isNull());
    QCOMPARE(QByteArray(object->metaObject()->className()), rowsOf(command).className);
    QCOMPARE(object->parent(), &device);
    copy.clear();
    QVERIFY2(object.isNull(), "the pointer owns the command although it has a parent");
}

void TestMdcCommands::executes_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("index");
    const QStringList commands = pluginCommands();
    for (const QString& command : commands) {
        int index = 0;
        const QList<ExecutionRow> rows = rowsOf(command).executions;
        for (const ExecutionRow& row : rows)
            QTest::addRow("%s: %s", qPrintable(command), row.title) << command << index++;
    }
}

void TestMdcCommands::executes()
{
    QFETCH(QString, command);
    QFETCH(int, index);
    const ExecutionRow row = rowsOf(command).executions.at(index);
    Bench bench(command, row.arguments, row.parent);
    if (row.softwareVersion.isValid())
        bench.device().setProperty("softwareVersion", row.softwareVersion, false);
    bench.order().setOpen(row.isOpen);
    QCOMPARE(bench.command().commandExecute(), row.ok);
    QCOMPARE(bench.order().sent(), row.sent);
    QCOMPARE(bench.order().published(), QStringList());
    QCOMPARE(bench.logged(), row.logged);
}

// Whether the instruction was taken is not this command's to judge: its order knows.
void TestMdcCommands::refusedInstruction()
{
    QFETCH(QString, command);
    Bench bench(command, rowsOf(command).arguments);
    bench.identify(1, 3000, "MDC-32");
    bench.order().setTakesInstructions(false);
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.order().published().isEmpty());
}

void TestMdcCommands::replies_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("index");
    const QStringList commands = pluginCommands();
    for (const QString& command : commands) {
        int index = 0;
        const QList<ReplyRow> rows = rowsOf(command).replies;
        for (const ReplyRow& row : rows)
            QTest::addRow("%s: %s", qPrintable(command), row.title) << command << index++;
    }
}

void TestMdcCommands::replies()
{
    QFETCH(QString, command);
    QFETCH(int, index);
    const ReplyRow row = rowsOf(command).replies.at(index);
    Bench bench(command, rowsOf(command).arguments);
    bench.device().setProperty("softwareVersion", 1, false);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent().size(), 1);
    QCOMPARE(bench.reply(row.reply), row.ok);
    QCOMPARE(bench.order().published(), row.published);
    QCOMPARE(bench.logged(), row.logged);
    QCOMPARE(bench.order().sent().size(), 1 + row.sentMore);
}

// A command whose order has ended cannot publish any more; most say so, some do not look.
void TestMdcCommands::resultsAfterTheEnd_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("index");
    const QStringList commands = pluginCommands();
    for (const QString& command : commands) {
        int index = 0;
        const QList<LateReplyRow> rows = rowsOf(command).lateReplies;
        for (const LateReplyRow& row : rows) {
            Q_UNUSED(row)
            QTest::addRow(index == 0 ? "%s" : "%s, %d", qPrintable(command), index + 1) << command << index;
            ++index;
        }
    }
}

void TestMdcCommands::resultsAfterTheEnd()
{
    QFETCH(QString, command);
    QFETCH(int, index);
    const LateReplyRow row = rowsOf(command).lateReplies.at(index);
    Bench bench(command, rowsOf(command).arguments);
    bench.device().setProperty("softwareVersion", 1, false);
    QVERIFY(bench.command().commandExecute());
    bench.order().setOpen(false);
    QCOMPARE(bench.reply(row.reply), row.ok);
    QCOMPARE(bench.order().published(), QStringList());
}

QTEST_GUILESS_MAIN(TestMdcCommands)
#include "tst_mdc_commands.moc"
