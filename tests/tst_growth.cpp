// How the time that reading takes grows with what is read: in a straight line, whoever wrote it.

#include "applications/bench/backup/restore_plan.h"
#include "applications/bench/check/unread_names.h"
#include "applications/bench/device_configuration/range_check.h"
#include "applications/bench/device_configuration/register_check.h"
#include "applications/bench/init/planned_configuration.h"
#include "applications/bench/results/tightening_log.h"
#include "applications/simulator/recorded_session.h"
#include "applications/simulator/replay_plan.h"
#include "plugins/p_device_mdc/model/backup_file.h"
#include "plugins/p_device_mdc/model/backup_range.h"
#include "tests/support/platform.h"

#include <lib_host/configuration.h>
#include <lib_utilities/printable_text.h>

#include <QBuffer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <ctime>
#include <functional>

namespace {

using Work = std::function<void()>;
// Work on an input of this size.
using Maker = std::function<Work(int size)>;

QByteArray repeated(int times, const std::function<QByteArray(int)>& piece)
{
    QByteArray text;
    for (int i = 0; i < times; ++i)
        text += piece(i);
    return text;
}

Maker configuration(const std::function<QByteArray(int size)>& text)
{
    return [text](int size) -> Work {
        const auto folder = std::make_shared<QTemporaryDir>();
        QFile file(folder->filePath("bench.json"));
        if (!file.open(QIODevice::WriteOnly))
            return {};
        file.write(text(size));
        file.close();
        return [folder] { loadConfiguration(folder->filePath("bench.json")); };
    };
}

QByteArray bench(const QByteArray& device)
{
    return "{\"version\": 1, \"objects\": [{\"id\": \"{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f22}\", \"name\": "
           "\"mdc\", \"plugin\": \"{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}\", \"driver\": "
           "\"{7d0f6f0e-3c55-4b5d-9a51-6a3b8c0f2d11}\", \"configuration\": " +
           device + "}]}";
}

QByteArray channels(int count, const std::function<QByteArray(int)>& name)
{
    return "{\"channels\": [" +
           repeated(count,
                    [&](int i) {
                        return (i > 0 ? QByteArray(",") : QByteArray()) + "{\"id\": \"" + name(i) +
                               "\", \"value\": [{\"id\": \"register\", \"value\": 7}, {\"id\": "
                               "\"writeRegisterType\", "
                               "\"value\": \"singleRegister\"}]}";
                    }) +
           "]}";
}

Maker channelCheck(QList<Finding> (*check)(const QJsonObject&))
{
    return [check](int size) -> Work {
        const QByteArray text =
            channels(size, [](int i) { return "directionChangf" + QByteArray::number(i); });
        const QJsonObject device = QJsonDocument::fromJson(text).object();
        return [check, device] { check(device); };
    };
}

Maker backup(const std::function<QByteArray(int size)>& lines)
{
    return [lines](int size) -> Work {
        const QByteArray text = "x\nx\nx\nx\nx\n" + lines(size);
        return [text] {
            QBuffer buffer;
            buffer.setData(text);
            buffer.open(QIODevice::ReadOnly);
            readBackup(buffer, nullptr);
        };
    };
}

Maker range(const std::function<QByteArray(int)>& item)
{
    return [item](int size) -> Work {
        const QString text = QString::fromUtf8("\"backup_range\": [1-100]; " + repeated(size, item));
        return [text] {
            checkRangeText("MDC-32", text, {});
            restoreGroups(backupRangeItems(QRegularExpression(backupRangePattern()), text), 1, 100);
        };
    };
}

Maker log(const std::function<QByteArray(int size)>& rest)
{
    return [rest](int size) -> Work {
        const auto folder = std::make_shared<QTemporaryDir>();
        const TighteningLayout layout{TighteningFormat::JsonLines, {}, {}};
        TighteningLine line;
        line.serial = "1907";
        QFile file(folder->filePath("log"));
        if (!file.open(QIODevice::WriteOnly))
            return {};
        file.write(tighteningText(line, layout) + rest(size));
        file.close();
        return [folder, layout] {
            TighteningLog log(folder->filePath("log"), layout, 0, 5);
            QString error;
            log.open(&error);
        };
    };
}

// Under a sanitizer memory that grows is copied each time and kept for a while after it was freed, and under
// Wine it is asked of a server: what that takes is not the reader's, but less than what grows with the square
// would.
double mostGrowth()
{
#ifdef MDC_SANITIZED
    return 25;
#else
    return runsUnderWine() ? 25 : 12;
#endif
}

// Milliseconds of the processor, the least of some attempts.
double timeOf(const Work& work, int attempts)
{
    double least = 1e9;
    for (int i = 0; i < attempts; ++i) {
        const std::clock_t begin = std::clock();
        work();
        least = std::min(least, 1000.0 * static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC);
    }
    return least;
}

} // namespace

Q_DECLARE_METATYPE(Maker)

class TstGrowth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void straightLine_data()
    {
        QTest::addColumn<Maker>("maker");
        QTest::addColumn<int>("size");
        const auto row = [](const char* name, int size, const Maker& maker) {
            QTest::newRow(name) << maker << size;
        };
        const auto number = [](int i) { return QByteArray::number(i); };
        row("channels", 1000, configuration([number](int size) { return bench(channels(size, number)); }));
        row("a key again and again", 10000, configuration([](int size) {
                return "{" + repeated(size, [](int) { return QByteArray("\"k\": 1,\n"); }) + "\"k\": 1}";
            }));
        row("keys that there are not", 1000, configuration([](int size) {
                return "{" + repeated(size, [](int i) { return "\"k" + QByteArray::number(i) + "\": 1,"; }) +
                       "\"version\": 1}";
            }));
        row("lists in lists", 20000,
            configuration([](int size) { return QByteArray(size, '[') + QByteArray(size, ']'); }));
        row("one long text", 100000,
            configuration([](int size) { return bench('"' + QByteArray(size, 'x')); }));
        row("names that are nearly read", 300, channelCheck(&checkUnreadNames));
        row("one register for all", 300, channelCheck(&checkSharedRegisters));
        row("backup lines", 5000, backup([](int size) {
                return repeated(size, [](int i) { return 'A' + QByteArray::number(i + 1) + ",1\n"; });
            }));
        row("backup without line ends", 200000, backup([](int size) { return QByteArray(size, '1'); }));
        row("groups", 500,
            range([](int i) { return "\"preset" + QByteArray::number(i + 1) + "\": [1-20], [30-40]; "; }));
        row("groups of one name", 300, range([](int) { return QByteArray("\"preset1\": [1-65536]; "); }));
        row("quotes", 20000, range([](int) { return QByteArray("\"x"); }));
        row("log of empty lines", 200000, log([](int size) { return QByteArray(size, '\n'); }));
        row("log of one line", 1000000, log([](int size) { return QByteArray(size, 'x') + '\n'; }));
        row("log of other lines", 50000,
            log([](int size) { return repeated(size, [](int) { return QByteArray("{\"v\":2}\n"); }); }));
        row("register list of many channels", 1000, [](int size) -> Work {
            KnownEntries known;
            for (int i = 0; i < size; ++i)
                known.insert(QStringLiteral("channel%1").arg(i), {});
            return [known] {
                PlannedConfiguration plan;
                plan.generations = {1, 2};
                planChannels(plan, commandNeeds(), known, {});
            };
        });
        const auto record = [](const QByteArray& line) -> Maker {
            return [line](int size) -> Work {
                const QByteArray text = "2026-03-01 09:30:00.125 open tcp\n" + line.repeated(size);
                return [text] {
                    QString error;
                    if (const auto session = RecordedSession::parse(text, &error))
                        ReplayPlan(*session).next("x");
                };
            };
        };
        row("record of requests", 2000, record("2026-03-01 09:30:00.125 tx 01 03 17 d5 00 04\n"));
        row("record of one request in pieces", 5000,
            record("2026-03-01 09:30:00.125 tx 01 03\n2026-03-01 09:30:00.125 rx 00 01 02\n"));
        row("record of connections", 5000, record("2026-03-01 09:30:00.125 failed x\n"));
        row("record without line ends", 100000, record("x"));
        row("text that steers", 50000, [](int size) -> Work {
            const QString text(size, QChar(0x202e));
            return [text] { printableText(text); };
        });
        row("list of presets", 3000, [](int size) -> Work {
            const QString text = QString::fromLatin1(repeated(
                                     size, [](int i) { return QByteArray::number(2 * i + 1) + ','; })) +
                                 '1';
            return [text] { presetsFromText(text); };
        });
    }

    // Ten times as much takes twelve times as long at most.
    void straightLine()
    {
        QFETCH(Maker, maker);
        QFETCH(int, size);
        const Work little = maker(size);
        const Work much = maker(10 * size);
        QVERIFY(little && much);
        little();
        // Too little to be measured is no measure.
        constexpr double c_least = 2; // ms
        double one = 1e9;
        double ten = 1e9;
        // What others do at the same time can only make it look slower.
        for (int attempt = 0; attempt < 15; ++attempt) {
            one = std::max(std::min(one, timeOf(little, 3)), c_least);
            ten = std::min(ten, timeOf(much, 1));
            if (ten <= mostGrowth() * one)
                return;
        }
        QFAIL(qPrintable(QString("%1 ms, with ten times as much %2 ms").arg(one).arg(ten)));
    }
};

QTEST_GUILESS_MAIN(TstGrowth)
#include "tst_growth.moc"
