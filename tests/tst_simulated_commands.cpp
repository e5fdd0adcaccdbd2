#include "applications/simulator/channel_meaning.h"
#include "plugins/p_device_mdc/model/channel_names.h"
#include "plugins/p_device_mdc/model/command_needs.h"
#include "tests/support/bench_fixture.h"
#include "tests/support/table_gaps.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

#include <algorithm>

// Every command of the device plug-in meets a controller on which it has its effect: a channel that the
// simulator knows no meaning of is registers that hold what is written, and each test of the command would
// pass on them.
class tst_SimulatedCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCommandHasAMeaning();
    void everyChannelOfACommandHasAMeaning_data();
    void everyChannelOfACommandHasAMeaning();
    void everyChannelOfACommandIsBundled_data();
    void everyChannelOfACommandIsBundled();
    void everyActionChangesWhatCanBeRead();
};

namespace {

const ChannelMeaning* meaningOf(const QString& channel)
{
    const QList<ChannelMeaning>& all = channelMeanings();
    const auto found = std::find_if(all.cbegin(), all.cend(), [&channel](const ChannelMeaning& one) {
        return channel == QLatin1String(one.name);
    });
    return found == all.cend() ? nullptr : &*found;
}

// Those that the command names itself.
QList<NeededChannel> channelsOf(const CommandNeeds& needs)
{
    QList<NeededChannel> channels;
    for (const NeededChannel& channel : needs.channels) {
        if (channel.chosenBy != ChosenBy::Order)
            channels.append(channel);
    }
    return channels;
}

} // namespace

void tst_SimulatedCommands::everyCommandHasAMeaning()
{
    BenchFixture bench;
    QVERIFY2(bench.start(ChainOptions()), qPrintable(bench.error()));
    QStringList meant;
    for (const CommandNeeds& needs : commandNeeds()) {
        if (!channelsOf(needs).isEmpty())
            meant.append(needs.command);
    }
    const QString gaps = tableGaps(
        "channelMeanings(), by command", bench.device()->commandNames(), meant,
        {{"getInfo", "no channel: the answer is the profile's block, which a test of profiles holds"},
         {"getRegister", "the channel is the order's: a status of another command, or one without a meaning"},
         {"backup", "no channel: all registers of the range, whose values differ from each other"}});
    QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
}

void tst_SimulatedCommands::everyChannelOfACommandHasAMeaning_data()
{
    QTest::addColumn<QString>("channel");
    QTest::addColumn<bool>("isWritten");
    QTest::addColumn<bool>("isRead");
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& channel : channelsOf(needs))
            QTest::addRow("%s: %s", qPrintable(needs.command), qPrintable(channel.name))
                << channel.name << channel.entries.contains(ChannelEntry::WriteType)
                << channel.entries.contains(ChannelEntry::ReadType);
    }
}

void tst_SimulatedCommands::everyChannelOfACommandHasAMeaning()
{
    using Kind = ChannelMeaning::Kind;
    QFETCH(QString, channel);
    QFETCH(bool, isWritten);
    QFETCH(bool, isRead);
    const ChannelMeaning* const meaning = meaningOf(channel);
    QVERIFY2(meaning != nullptr, qPrintable("channelMeanings() has no row for " + channel));
    const bool canBeWritten = meaning->kind == Kind::Action || meaning->kind == Kind::Setting;
    QVERIFY2(!isWritten || canBeWritten, qPrintable(channel + " is written, and nothing to be written"));
    QVERIFY2(isWritten || meaning->kind != Kind::Action, qPrintable(channel + " is read, and an action"));
    QVERIFY2(!isWritten || isRead || meaning->kind == Kind::Action,
             qPrintable(channel + " is only written: as a setting it has no register to be read from"));
}

void tst_SimulatedCommands::everyChannelOfACommandIsBundled_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("channel");
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const NeededChannel& channel : channelsOf(needs)) {
            if (channel.chosenBy != ChosenBy::Generation)
                continue;
            for (int generation = 1; generation <= lastGeneration(); ++generation)
                QTest::addRow("%s: %s%s", qPrintable(needs.command), qPrintable(channel.name),
                              qPrintable(generationSuffix(generation)))
                    << QStringLiteral("register_map_generation%1.json").arg(generation)
                    << channel.name + generationSuffix(generation);
        }
    }
}

void tst_SimulatedCommands::everyChannelOfACommandIsBundled()
{
    QFETCH(QString, file);
    QFETCH(QString, channel);
    QFile map(QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations/") + file);
    QVERIFY2(map.open(QIODevice::ReadOnly), qPrintable(map.fileName()));
    const QJsonArray channels = QJsonDocument::fromJson(map.readAll()).object().value("channels").toArray();
    QVERIFY(!channels.isEmpty());
    const bool isThere =
        std::any_of(channels.begin(), channels.end(), [&channel](const QJsonValue& described) {
            return described.toObject().value("id").toString() == channel;
        });
    QVERIFY2(isThere, qPrintable(file + " has no channel " + channel));
}

void tst_SimulatedCommands::everyActionChangesWhatCanBeRead()
{
    for (const ChannelMeaning& meaning : channelMeanings()) {
        const bool isAction = meaning.kind == ChannelMeaning::Kind::Action;
        QVERIFY2((meaning.changes != nullptr) == isAction, meaning.name);
        const ChannelMeaning* const changed = isAction ? meaningOf(meaning.changes) : nullptr;
        QVERIFY2(!isAction || (changed != nullptr && (changed->kind == ChannelMeaning::Kind::Status ||
                                                      changed->kind == ChannelMeaning::Kind::Setting)),
                 meaning.name);
    }
}

QTEST_GUILESS_MAIN(tst_SimulatedCommands)
#include "tst_simulated_commands.moc"
