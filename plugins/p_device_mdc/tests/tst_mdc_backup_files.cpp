#include "model/backup_file.h"
#include "model/backup_range.h"
#include "model/device_information.h"
#include "tests/support/typed_text.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QVector>

#include <limits>
#ifdef Q_OS_UNIX
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace {

QList<BackupRangeItem> itemsOf(const QString& text)
{
    const QRegularExpression expression(backupRangePattern());
    return backupRangeItems(expression, text);
}

// "name first-last" or "name first-last first-last"; "?" behind an item that is not readable.
QStringList texts(const QList<BackupRangeItem>& items)
{
    QStringList list;
    for (const BackupRangeItem& item : items) {
        QString text = QStringLiteral("%1 %2-%3")
                           .arg(item.name, QString::number(item.span.first), QString::number(item.span.last));
        if (item.secondSpan)
            text += QStringLiteral(" %1-%2").arg(item.secondSpan->first).arg(item.secondSpan->last);
        list.append(item.isReadable ? text : text + '?');
    }
    return list;
}

QString groupTexts(const RegisterGroups& groups)
{
    QStringList list;
    for (auto it = groups.cbegin(); it != groups.cend(); ++it) {
        QStringList numbers;
        for (const int number : it.value())
            numbers.append(QString::number(number));
        list.append(it.key() + QLatin1Char('=') + numbers.join(QLatin1Char(',')));
    }
    return list.join(QLatin1Char(' '));
}

const char* const c_header = "Driver Parameter data file,\nDriver model,MDC-32\nDriver serial,123456\n"
                             "Firmware version,1.2.3\nDate,3/5/2024\n";

BackupReading reading(const QByteArray& bytes, const QString& model = QStringLiteral("MDC-32"))
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    return readBackup(buffer, &model);
}

// A device that takes so many bytes and no more.
class FullDevice : public QIODevice
{
    Q_OBJECT

public:
    explicit FullDevice(qint64 room)
        : m_room(room)
    {
        open(WriteOnly | Unbuffered);
    }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char*, qint64 length) override
    {
        const qint64 taken = qMin(length, m_room);
        m_room -= taken;
        return taken > 0 || length == 0 ? taken : -1;
    }

private:
    qint64 m_room;
};

} // namespace

// What is read of a model's register ranges and of backup files, and how those are written.
class TestMdcBackupFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void items_data();
    void items();
    void backupRanges_data();
    void backupRanges();
    void groups_data();
    void groups();
    void writeLists_data();
    void writeLists();
    void tooManyGroups();
    void limitsOfGroups(); // docs/security.md
    void limitOfLines();   // docs/security.md

    void modelNames_data();
    void modelNames();
    void records_data();
    void records();

    void text();
    void lineNumbers();
    void filePaths_data();
    void filePaths();
    void readings_data();
    void readings(); // docs/security.md
    void everyModel();
    void roundTrips_data();
    void roundTrips();
    void readsWhateverItIsGiven();
    void saves();
    void savesNothingHalf_data();
    void savesNothingHalf(); // docs/security.md
    void writesToAFullDevice();
    void speaksDigitsInAnyLanguage();
};

void TestMdcBackupFiles::items_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");
    const QStringList nothing;
    QTest::newRow("empty") << "" << nothing;
    QTest::newRow("example")
        << R"("backup_range": [1-1500]; "groupA": [12-12]; "groupB": [100-199], [300-399];)"
        << QStringList{"backup_range 1-1500", "groupA 12-12", "groupB 100-199 300-399"};
    QTest::newRow("no semicolons") << R"("a": [1-2] "b": [3-4])" << QStringList{"a 1-2", "b 3-4"};
    QTest::newRow("nothing between") << R"("a": [1-2]"b": [3-4])" << QStringList{"a 1-2", "b 3-4"};
    QTest::newRow("text between") << R"(first "a": [1-2]; then, 12 [7-8] "b": [3-4]. end)"
                                  << QStringList{"a 1-2", "b 3-4"};
    QTest::newRow("names of any characters")
        << R"("pré set;:[1-2], x": [1-2]; " ": [3-4];)" << QStringList{"pré set;:[1-2], x 1-2", "  3-4"};
    QTest::newRow("name over lines") << "\"a\nb\": [1-2]" << QStringList{"a\nb 1-2"};
    QTest::newRow("empty name") << R"("": [1-2])" << nothing;
    QTest::newRow("quote in a name") << R"("a"b": [1-2])" << QStringList{"b 1-2"};
    QTest::newRow("no blank behind the colon") << R"("a":[1-2])" << nothing;
    QTest::newRow("two blanks behind the colon") << R"("a":  [1-2])" << nothing;
    QTest::newRow("tabulator behind the colon") << "\"a\":\t[1-2]" << nothing;
    QTest::newRow("blank before the colon") << R"("a" : [1-2])" << nothing;
    QTest::newRow("blanks in the range") << R"("a": [1 - 2])" << nothing;
    QTest::newRow("no second range without a blank") << R"("a": [1-2],[3-4])" << QStringList{"a 1-2"};
    QTest::newRow("no second range with two blanks") << R"("a": [1-2],  [3-4])" << QStringList{"a 1-2"};
    QTest::newRow("third range is passed over")
        << R"("a": [1-2], [3-4], [5-6]; "b": [7-8])" << QStringList{"a 1-2 3-4", "b 7-8"};
    QTest::newRow("negative") << R"("a": [-1-2]; "b": [1--2])" << nothing;
    QTest::newRow("hexadecimal") << R"("a": [0x1-2])" << nothing;
    QTest::newRow("decimals") << R"("a": [1.0-2])" << nothing;
    QTest::newRow("no end") << R"("a": [1-])" << nothing;
    QTest::newRow("leading zeros are decimal") << R"("a": [010-0020])" << QStringList{"a 10-20"};
    QTest::newRow("largest number") << R"("a": [1-2147483647])" << QStringList{"a 1-2147483647"};
    QTest::newRow("above int") << R"("a": [1-2147483648])" << QStringList{"a 1-0?"};
    QTest::newRow("far above int") << R"("a": [99999999999999999999-5])" << QStringList{"a 0-5?"};
    QTest::newRow("second range above int") << R"("a": [1-2], [3-4294967296])" << QStringList{"a 1-2 3-0?"};
    QTest::newRow("digits of another script") << QStringLiteral("\"a\": [\u0661-\u0662]") << nothing;
}

void TestMdcBackupFiles::items()
{
    QFETCH(QString, text);
    QFETCH(QStringList, expected);
    const QList<BackupRangeItem> items = itemsOf(text);
    QCOMPARE(texts(items), expected);
    for (const BackupRangeItem& item : items) {
        QVERIFY2(text.contains(item.text), qPrintable(item.text));
        QVERIFY(item.text.startsWith('"') && item.text.endsWith(']'));
    }
}

void TestMdcBackupFiles::backupRanges_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("count"); // 0: no range
    const auto row = [](const char* title, const char* text, int first, int count) {
        QTest::newRow(title) << QString::fromLatin1(text) << first << count;
    };
    row("empty", "", 0, 0);
    row("two registers", R"("backup_range": [1-2])", 1, 2);
    row("not from 1 on", R"("backup_range": [5-14])", 5, 10);
    row("from 0 on", R"("backup_range": [0-99])", 0, 0);
    row("one register", R"("backup_range": [5-5])", 0, 0);
    row("backwards", R"("backup_range": [9-5])", 0, 0);
    row("second range is ignored", R"("backup_range": [1-10], [20-30])", 1, 10);
    row("second range does not help", R"("backup_range": [0-10], [20-30])", 0, 0);
    row("the later one", R"("backup_range": [1-10]; "backup_range": [1-20];)", 1, 20);
    row("the later valid one", R"("backup_range": [1-10]; "backup_range": [0-20];)", 1, 10);
    row("the first one is not valid", R"("backup_range": [7-7]; "backup_range": [3-20];)", 3, 18);
    row("other names", R"("Backup_range": [1-10]; "backup_range ": [1-20]; "preset1": [1-9];)", 0, 0);
    row("among groups", R"("preset1": [1-9]; "backup_range": [1-10]; "preset2": [1-9];)", 1, 10);
    row("all addresses", R"("backup_range": [1-65535])", 1, 65535);
    row("more than there are addresses", R"("backup_range": [1-65536])", 0, 0);
    row("millions", R"("backup_range": [1-5000000])", 0, 0);
    row("up to the largest number", R"("backup_range": [1-2147483647])", 0, 0);
    row("above int", R"("backup_range": [1-2147483648])", 0, 0);
    row("both above int", R"("backup_range": [4294967297-4294967306])", 0, 0);
}

void TestMdcBackupFiles::backupRanges()
{
    QFETCH(QString, text);
    QFETCH(int, first);
    QFETCH(int, count);
    const std::optional<BackupRange> range = backupRange(itemsOf(text));
    QCOMPARE(range.has_value(), count > 0);
    if (range) {
        QCOMPARE(range->first, first);
        QCOMPARE(range->count, count);
    }
}

void TestMdcBackupFiles::groups_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("fault");
    QTest::addColumn<QString>("expected"); // the groups, or the item at fault
    const auto row = [](const char* title, const char* text, int fault, const char* expected) {
        QTest::newRow(title) << QString::fromLatin1(text) << fault << QString::fromLatin1(expected);
    };
    // The file has the registers 1 to 10.
    const int good = RestoreGroups::CeNoFault;
    const int differs = RestoreGroups::CeRangeDiffers;
    const int large = RestoreGroups::CeTooLarge;
    row("empty", "", good, "");
    row("one register", R"("groupA": [12-12])", good, "groupA=12");
    row("backwards", R"("x": [5-3])", good, "x=");
    row("two ranges", R"("x": [1-2], [7-8])", good, "x=1,2,7,8");
    row("second one backwards", R"("x": [1-2], [8-7])", good, "x=1,2");
    row("first one backwards", R"("x": [2-1], [7-8])", good, "x=7,8");
    row("ranges in any order", R"("x": [7-8], [1-2])", good, "x=7,8,1,2");
    row("no lower bound", R"("x": [0-1])", good, "x=0,1");
    row("the later one of a name", R"("x": [1-2], [5-6]; "y": [3-3]; "x": [4-4];)", good, "x=4 y=3");
    row("backup range as the file", R"("backup_range": [1-10]; "x": [3-3];)", good, "x=3");
    row("second range of it is ignored", R"("backup_range": [1-10], [20-30]; "x": [3-3];)", good, "x=3");
    row("longer", R"("backup_range": [1-11]; "x": [3-3];)", differs, R"("backup_range": [1-11])");
    row("shorter", R"("backup_range": [1-9]; "x": [3-3];)", differs, R"("backup_range": [1-9])");
    row("begins elsewhere", R"("backup_range": [2-11]; "x": [3-3];)", differs, R"("backup_range": [2-11])");
    row("each valid one counts", R"("backup_range": [1-10]; "backup_range": [1-20];)", differs,
        R"("backup_range": [1-20])");
    row("not valid: not compared", R"("backup_range": [0-99]; "backup_range": [5-5]; "x": [3-3];)", good,
        "x=3");
    row("range above int: not valid", R"("backup_range": [1-2147483648]; "x": [3-3];)", good, "x=3");
    row("range of all of int", R"("backup_range": [1-2147483647]; "x": [3-3];)", differs,
        R"("backup_range": [1-2147483647])");
    row("first number above int", R"("a": [1-1]; "preset1": [4294967297-5])", large,
        R"("preset1": [4294967297-5])");
    row("last number above int", R"("preset1": [1-2147483648])", large, R"("preset1": [1-2147483648])");
    row("second range above int", R"("preset1": [1-2], [3-4294967296])", large,
        R"("preset1": [1-2], [3-4294967296])");
    row("millions", R"("extra": [1-5000000]; "y": [1-1])", large, R"("extra": [1-5000000])");
    row("millions that nobody restores", R"("x": [1-5000000]; "presets": [99999999999-5]; "y": [1-1])", large,
        R"("presets": [99999999999-5])");
    row("millions under other names", R"("x": [1-5000000]; "Extra": [99999999999-5]; "y": [1-1])", good,
        "Extra= x= y=1");
    row("all of int", R"("preset1": [0-2147483647])", large, R"("preset1": [0-2147483647])");
    row("millions in the second range", R"("preset1": [1-1], [1-65537])", large,
        R"("preset1": [1-1], [1-65537])");
    row("a group of no register far up", R"("x": [2147483647-2147483646])", good, "x=");
    row("the largest number", R"("x": [2147483646-2147483647])", good, "x=2147483646,2147483647");
}

void TestMdcBackupFiles::groups()
{
    QFETCH(QString, text);
    QFETCH(int, fault);
    QFETCH(QString, expected);
    const RestoreGroups result = restoreGroups(itemsOf(text), 1, 10);
    QCOMPARE(int(result.fault), fault);
    QCOMPARE(fault == RestoreGroups::CeNoFault ? groupTexts(result.groups) : result.item, expected);
    if (fault != RestoreGroups::CeNoFault)
        QVERIFY(result.groups.isEmpty());
}

void TestMdcBackupFiles::writeLists_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<bool>("extras");
    QTest::addColumn<QList<int>>("expected");
    const auto row = [](const char* title, const char* text, int start, int end, bool extras,
                        const QList<int>& expected) {
        QTest::newRow(title) << QString::fromUtf8(text) << start << end << extras << expected;
    };
    const char* const c_three =
        R"("preset1": [11-12]; "preset2": [1-2]; "preset10": [21-22]; "extraA": [5-6];)";
    row("one preset", c_three, 2, 2, false, {1, 2});
    row("ascending", c_three, 1, 2, false, {1, 2, 11, 12});
    row("two digits are a number", c_three, 3, 10, false, {21, 22});
    row("none in range", c_three, 3, 9, false, {});
    row("none in range, extras", c_three, 3, 9, true, {5, 6});
    row("with extras", c_three, 1, 2, true, {1, 2, 5, 6, 11, 12});
    row("duplicates stay", R"("preset1": [1-3]; "preset2": [2-4]; "extra": [3-3];)", 1, 2, true,
        {1, 2, 2, 3, 3, 3, 4});
    row("no number", R"("presetA": [1-1]; "preset": [2-2]; "preset1a": [3-3];)", 0, 9, false, {1, 2, 3});
    row("no number is never in range", R"("presetA": [1-1]; "preset": [2-2]; "preset1a": [3-3];)", 1, 9,
        false, {});
    row("more than two parts", R"("presetpreset1": [1-1]; "preset1preset": [2-2]; "preset1preset1": [3-3];)",
        0, 9, true, {});
    row("elsewhere in the name", R"("mypreset1": [1-1]; "Preset1": [2-2];)", 0, 9, true, {});
    row("capital letters", R"("Extra": [1-1]; "EXTRA": [2-2]; "extra": [3-3]; "my extra": [4-4];)", 1, 1,
        true, {3});
    row("other names are ignored", R"("groupA": [1-1]; "preset1": [2-2];)", 1, 1, true, {2});
    row("number out of int", R"("preset4294967297": [1-1];)", 1, 9, false, {});
}

void TestMdcBackupFiles::writeLists()
{
    QFETCH(QString, text);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(bool, extras);
    QFETCH(QList<int>, expected);
    const RestoreGroups groups = restoreGroups(itemsOf(text), 1, 10);
    QCOMPARE(int(groups.fault), int(RestoreGroups::CeNoFault));
    const std::optional<QList<int>> list = registersToRestore(groups.groups, start, end, extras);
    QVERIFY(list.has_value());
    QCOMPARE(*list, expected);
}

// Whole address ranges under many names: each is allowed, all of them together are not.
void TestMdcBackupFiles::tooManyGroups()
{
    QString text;
    for (int group = 1; group <= 3; ++group)
        text += QStringLiteral(R"("preset%1": [0-65535]; )").arg(group);
    RestoreGroups groups = restoreGroups(itemsOf(text), 1, 10);
    QCOMPARE(int(groups.fault), int(RestoreGroups::CeNoFault));
    QCOMPARE(registersToRestore(groups.groups, 1, 2, false)->size(), 2 * 65536);
    QVERIFY(!registersToRestore(groups.groups, 1, 3, false));

    for (int group = 4; group <= 16; ++group)
        text += QStringLiteral(R"("preset%1": [0-65535]; )").arg(group);
    groups = restoreGroups(itemsOf(text), 1, 10);
    QCOMPARE(int(groups.fault), int(RestoreGroups::CeTooLarge));
    QCOMPARE(groups.item, QStringLiteral(R"("preset16": [0-65535])"));

    // Of one name as well.
    const QString again = QStringLiteral(R"("preset1": [0-65535]; )");
    QCOMPARE(int(restoreGroups(itemsOf(again.repeated(15)), 1, 10).fault), int(RestoreGroups::CeNoFault));
    QCOMPARE(int(restoreGroups(itemsOf(again.repeated(16)), 1, 10).fault), int(RestoreGroups::CeTooLarge));
}

void TestMdcBackupFiles::limitsOfGroups()
{
    const auto faultOf = [](const QString& text) { return int(restoreGroups(itemsOf(text), 1, 10).fault); };
    const QString range = QStringLiteral(R"("preset1": [0-%1]; )");
    QCOMPARE(faultOf(range.arg(65535)), int(RestoreGroups::CeNoFault));
    QCOMPARE(faultOf(range.arg(65536)), int(RestoreGroups::CeTooLarge));

    const int whole = c_groupRegistersLimit / 65536;
    const int rest = c_groupRegistersLimit % 65536;
    const QString groups = range.arg(65535).repeated(whole);
    QCOMPARE(faultOf(groups + range.arg(rest - 1)), int(RestoreGroups::CeNoFault));
    QCOMPARE(faultOf(groups + range.arg(rest)), int(RestoreGroups::CeTooLarge));

    // Of those that a restore writes.
    const auto areListed = [](const QString& text) {
        return registersToRestore(restoreGroups(itemsOf(text), 1, 10).groups, 1, 2, false).has_value();
    };
    const QString two = QStringLiteral(R"("preset1": [0-65535], [0-65535]; )");
    QVERIFY(areListed(two));
    QVERIFY(!areListed(two + R"("preset2": [1-1];)"));
}

void TestMdcBackupFiles::limitOfLines()
{
    QByteArray text(c_header);
    for (int i = 1; i <= c_backupLinesLimit + 1; ++i) {
        const QByteArray line = 'A' + QByteArray::number(i).rightJustified(4, '0') + ",7\n";
        if (i > c_backupLinesLimit) {
            QCOMPARE(int(reading(text).fault), int(BackupReading::CeNoFault));
            QCOMPARE(reading(text).file.values.size(), c_backupLinesLimit);
        }
        text += line;
    }
    QCOMPARE(int(reading(text).fault), int(BackupReading::CeInconsistent));
    QVERIFY2(reading(text).detail.contains("more than 131072 register lines"),
             qPrintable(reading(text).detail));
}

void TestMdcBackupFiles::modelNames_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("expected"); // null: none
    QTest::newRow("generation 0") << 0 << "1.2.3"
                                  << "MDC-32" << QString();
    QTest::newRow("first firmware") << 1 << "1.50.0"
                                    << "MDC-26"
                                    << "MDgen1V1";
    QTest::newRow("first number alone") << 1 << "1"
                                        << "MDC-26"
                                        << "MDgen1V1";
    QTest::newRow("first number with a zero") << 1 << "01.2"
                                              << "MDC-26"
                                              << "MDgen1V1";
    QTest::newRow("firmware 2") << 1 << "2.50.0"
                                << "MDC-26"
                                << "MDC-26";
    QTest::newRow("firmware 10") << 1 << "10.1.0"
                                 << "MDC-26"
                                 << "MDC-26";
    QTest::newRow("firmware 0") << 1 << "0.31.5"
                                << "MDC-22"
                                << "MDC-22";
    QTest::newRow("no firmware") << 1 << ""
                                 << "????"
                                 << "????";
    QTest::newRow("no number") << 1 << "v1.2"
                               << "MDC-22"
                               << "MDC-22";
    QTest::newRow("no model") << 1 << "3.1.0"
                              << ""
                              << "";
    QTest::newRow("generation 2") << 2 << "1.2.3"
                                  << "MDC-32"
                                  << "MDgen2";
    QTest::newRow("generation 12") << 12 << "4.2.3"
                                   << "MDC-32"
                                   << "MDgen12";
    QTest::newRow("generation 65538 is 2") << 65538 << "4.2.3"
                                           << "MDC-32"
                                           << "MDgen2";
    QTest::newRow("generation 65536 is 0") << 65536 << "4.2.3"
                                           << "MDC-32" << QString();
}

void TestMdcBackupFiles::modelNames()
{
    QFETCH(int, generation);
    QFETCH(QString, version);
    QFETCH(QString, model);
    QFETCH(QString, expected);
    DeviceInformation information;
    information.controllerModel = model;
    information.version = version;
    information.softwareVersion = generation;
    const std::optional<QString> name = configurationModelName(information);
    QCOMPARE(name.has_value(), !expected.isNull());
    if (name)
        QCOMPARE(*name, expected);
}

void TestMdcBackupFiles::records_data()
{
    QTest::addColumn<QVariant>("record");
    QTest::addColumn<QString>("expected"); // empty: none
    const auto entry = [](const char* id, const QVariant& value) {
        return QVariantMap{{"id", id}, {"name", "any"}, {"value", value}};
    };
    QTest::newRow("as it is written")
        << QVariant(deviceInformationRecord({"MDC-32", "MD3202", "4.00.5", "1907150042", 2}))
        << "MDC-32|MD3202|4.00.5|1907150042|2";
    QTest::newRow("in any order") << QVariant(QVariantList{entry("softwareVersion", 1),
                                                           entry("controllerModel", "MDC-26")})
                                  << "MDC-26||||1";
    QTest::newRow("one known entry") << QVariant(QVariantList{entry("version", "1.2.3")}) << "||1.2.3||0";
    QTest::newRow("as text") << QVariant(QVariantList{entry("softwareVersion", "2")}) << "||||2";
    QTest::newRow("low 16 bits") << QVariant(QVariantList{entry("softwareVersion", 65538)}) << "||||2";
    QTest::newRow("no number") << QVariant(QVariantList{entry("softwareVersion", "two")}) << "||||0";
    QTest::newRow("unknown entries") << QVariant(QVariantList{entry("model", "MDC-26")}) << "";
    QTest::newRow("no maps") << QVariant(QVariantList{1, "x", QVariant()}) << "";
    QTest::newRow("empty") << QVariant(QVariantList()) << "";
    QTest::newRow("no list") << QVariant("MDC-32") << "";
    QTest::newRow("nothing") << QVariant() << "";
}

void TestMdcBackupFiles::records()
{
    QFETCH(QVariant, record);
    QFETCH(QString, expected);
    const std::optional<DeviceInformation> found = deviceInformation(record);
    QCOMPARE(found.has_value(), !expected.isEmpty());
    if (!found)
        return;
    const QStringList members{found->controllerModel, found->screwdriverModel, found->version,
                              found->screwdriverSN, QString::number(found->softwareVersion)};
    QCOMPARE(members.join('|'), expected);
}

void TestMdcBackupFiles::text()
{
    const QString expected = QString::fromLatin1(c_header) + "A0001,250\nA0002,0\nA0003,65535\n";
    QCOMPARE(backupText({"MDC-32", "123456", "1.2.3"}, QDate(2024, 3, 5), {250, 0u, 65535LL}), expected);
    QCOMPARE(backupText({"a,b", "", "1,2"}, QDate(2024, 12, 31), {}),
             QStringLiteral("Driver Parameter data file,\nDriver model,a,b\nDriver serial,\n"
                            "Firmware version,1,2\nDate,12/31/2024\n"));
}

void TestMdcBackupFiles::lineNumbers()
{
    QVariantList values;
    for (int i = 0; i < 10001; ++i)
        values.append(i);
    const QStringList lines = backupText({}, QDate(2024, 3, 5), values).split('\n');
    QCOMPARE(lines.size(), 5 + 10001 + 1);
    QCOMPARE(lines.at(5), QStringLiteral("A0001,0"));
    QCOMPARE(lines.at(14), QStringLiteral("A0010,9"));
    QCOMPARE(lines.at(5 + 998), QStringLiteral("A0999,998"));
    QCOMPARE(lines.at(5 + 9998), QStringLiteral("A9999,9998"));
    QCOMPARE(lines.at(5 + 9999), QStringLiteral("A10000,9999"));
    QCOMPARE(lines.at(5 + 10000), QStringLiteral("A10001,10000"));
}

void TestMdcBackupFiles::filePaths_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QDate>("date");
    QTest::addColumn<QString>("expected");
    QTest::newRow("all") << "F"
                         << "M"
                         << "N" << QDate(2024, 3, 5) << "F/M_N_05032024.csv";
    QTest::newRow("no name") << "F"
                             << "M"
                             << "" << QDate(2024, 3, 5) << "F/M__05032024.csv";
    QTest::newRow("no folder") << ""
                               << "MDC-32"
                               << "x" << QDate(2024, 12, 31) << "/MDC-32_x_31122024.csv";
    QTest::newRow("folder with a slash") << "a/b/"
                                         << "M"
                                         << "N" << QDate(2026, 1, 2) << "a/b//M_N_02012026.csv";
}

void TestMdcBackupFiles::filePaths()
{
    QFETCH(QString, folder);
    QFETCH(QString, model);
    QFETCH(QString, name);
    QFETCH(QDate, date);
    QFETCH(QString, expected);
    QCOMPARE(backupFilePath(folder, model, name, date), expected);
}

void TestMdcBackupFiles::readings_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("fault");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("expected"); // "first: values", or the detail
    const auto row = [](const char* title, const QByteArray& bytes, int fault, int line,
                        const QString& expected) {
        QTest::newRow(title) << bytes << fault << line << expected;
    };
    const int good = BackupReading::CeNoFault;
    const int model = BackupReading::CeModelDiffers;
    const int atLine = BackupReading::CeLineFault;
    const int none = BackupReading::CeNoData;
    const int bad = BackupReading::CeInconsistent;
    const QByteArray header = c_header;
    const auto data = [&](const char* lines) { return header + lines; };
    row("two values", data("A0001,250\nA0002,0\n"), good, 0, "1: 250 0");
    row("no line end at the end", data("A0001,250\nA0002,0"), good, 0, "1: 250 0");
    row("carriage returns", QByteArray(data("A0001,250\nA0002,0\n")).replace("\n", "\r\n"), good, 0,
        "1: 250 0");
    row("byte order mark", "\xEF\xBB\xBF" + data("A0001,250\n"), good, 0, "1: 250");
    row("blanks around", data(" A0001 , 250 \n\tA0002\t,\t0\t\n"), good, 0, "1: 250 0");
    row("no letter", data("1,250\n2,0\n"), good, 0, "1: 250 0");
    row("no zeros", data("A1,250\nA2,0\n"), good, 0, "1: 250 0");
    row("zeros are decimal", data("A0008,010\nA09,0011\n"), good, 0, "8: 10 11");
    row("signs", data("A+1,+7\n"), good, 0, "1: 7");
    row("another first position", data("A0005,1\nA0006,2\n"), good, 0, "5: 1 2");
    row("limits", data("A0001,0\nA0002,65535\n"), good, 0, "1: 0 65535");

    row("empty", "", none, 0, "there is no register line");
    row("one line end", "\n", none, 0, "there is no register line");
    row("part of the header", "Driver Parameter data file,\nDriver model,MDC-32\n", none, 0,
        "there is no register line");
    row("part of the header, another model", "Driver Parameter data file,\nDriver model,MDC-22\n", none, 0,
        "there is no register line");
    row("header only", header, none, 0, "there is no register line");

    const QString differs = QStringLiteral("the backup is of the model \"%1\", not \"MDC-32\"");
    row("another model", QByteArray(data("A0001,1\n")).replace("MDC-32", "MDC-22"), model, 0,
        differs.arg("MDC-22"));
    row("another model before any line", QByteArray(data("rubbish\n")).replace("MDC-32", "MDC-22"), model, 0,
        differs.arg("MDC-22"));
    row("model in small letters", QByteArray(data("A0001,1\n")).replace("MDC-32", "mdc-32"), model, 0,
        differs.arg("mdc-32"));
    row("no model", QByteArray(data("A0001,1\n")).replace("Driver model,MDC-32\n", "\n"), model, 0,
        differs.arg(""));
    row("model without a comma", QByteArray(data("A0001,1\n")).replace("model,", "model "), model, 0,
        differs.arg(""));
    row("model with a comma", QByteArray(data("A0001,1\n")).replace("MDC-32", "MDC,32"), model, 0,
        differs.arg("MDC"));
    row("model on line 6", QByteArray(data("A0001,1\n")).prepend("\n"), atLine, 6, "");
    row("blanks in the header",
        QByteArray(data("A0001,1\n")).replace("Driver model,MDC-32", " Driver model , MDC-32 "), good, 0,
        "1: 1");
    row("more parts in the header", QByteArray(data("A0001,1\n")).replace("MDC-32", "MDC-32,more"), good, 0,
        "1: 1");
    row("header in another order",
        "Driver model,MDC-32\nx\nFirmware version,1\n,\nDriver serial,2\nA0001,1\n", good, 0, "1: 1");
    row("only the model", "\n\nDriver model,MDC-32\n\n\nA0001,1\n", good, 0, "1: 1");

    const QString notALine = QStringLiteral("\"%1\" is not \"A\" and a position, a comma and a value");
    const auto badLine = [&](const char* title, const char* line) {
        row(title, header + "A0001,1\n" + line + "\nA0003,3\n", atLine, 7,
            notALine.arg(QString::fromUtf8(line)));
    };
    badLine("empty line", "");
    badLine("no comma", "A0002 2");
    badLine("three parts", "A0002,2,");
    badLine("no position", ",2");
    badLine("letter only", "A,2");
    badLine("no value", "A0002,");
    badLine("blank value", "A0002, ");
    badLine("two letters", "AA0002,2");
    badLine("small letter", "a0002,2");
    badLine("another letter", "B0002,2");
    badLine("blank behind the letter", "A 2,2");
    badLine("position with decimals", "A2.0,2");
    badLine("hexadecimal", "A0002,0x2");
    badLine("value with decimals", "A0002,2.5");
    badLine("value with a decimal comma", "A0002,2,5");
    badLine("value with groups", "A0002,1 000");
    badLine("quoted", "\"A0002\",\"2\"");
    badLine("semicolon", "A0002;2");
    badLine("sign only", "A0002,-");
    badLine("two signs", "A0002,--2");
    badLine("value above int", "A0002,2147483648");
    badLine("position above int", "A2147483648,2");
    badLine("carriage return in a value", "A0002,1\r2");
    badLine("carriage return in a position", "A\r2,2");
    badLine("digits of another script", "A0002,\u0662");
    badLine("header again", "Driver model,MDC-32");
    row("empty last line", data("A0001,1\n\n"), atLine, 7, notALine.arg(""));
    row("first line", data("x\n"), atLine, 6, notALine.arg("x"));
    row("zero byte", data("A0001,1\n") + QByteArray("A0002,\0002\n", 9), atLine, 7, "");

    row("position twice", data("A0001,1\nA0001,2\n"), bad, 7, "position 1 stands where 2 was expected");
    row("gap", data("A0001,1\nA0003,3\n"), bad, 7, "position 3 stands where 2 was expected");
    row("backwards", data("A0002,1\nA0001,3\n"), bad, 7, "position 1 stands where 3 was expected");
    row("position 0", data("A0000,1\nA0001,3\n"), bad, 6, "position 0 is no register number");
    row("negative position", data("A-1,1\nA0000,3\n"), bad, 6, "position -1 is no register number");
    row("negative value", data("A0001,-1\n"), bad, 6, "-1 is no value of a register (0 to 65535)");
    row("value of a larger word", data("A0001,1\nA0002,65536\n"), bad, 7,
        "65536 is no value of a register (0 to 65535)");
    row("last position of int", data("A2147483647,1\nA0001,1\n"), bad, 7,
        "position 1 stands where 2147483648 was expected");

    row("longest line", data("A0001,") + QByteArray(4089, ' ') + "1\n", good, 0, "1: 1");
    row("too long", data("A0001,") + QByteArray(4090, ' ') + "1\n", atLine, 6,
        "the line is longer than 4096 characters");
    row("too long, in the header", QByteArray(5000, 'x') + '\n' + data("A0001,1\n"), bad, 1,
        "the line is longer than 4096 characters");
    row("binary", QByteArray(100000, '\xFF'), bad, 1, "the line is longer than 4096 characters");
    row("zeros", QByteArray(100000, '\0'), bad, 1, "the line is longer than 4096 characters");
}

void TestMdcBackupFiles::readings()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, fault);
    QFETCH(int, line);
    QFETCH(QString, expected);
    if (expected.toLocal8Bit() != expected.toUtf8())
        QSKIP("the letters of this row are others in the system's code page");
    const BackupReading result = reading(bytes);
    QCOMPARE(int(result.fault), fault);
    QCOMPARE(result.line, line);
    if (fault != BackupReading::CeNoFault) {
        QVERIFY(!result.detail.isEmpty());
        if (!expected.isEmpty())
            QCOMPARE(result.detail, expected);
        return;
    }
    QStringList values;
    for (const quint16 value : result.file.values)
        values.append(QString::number(value));
    QCOMPARE(QString::number(result.file.firstPosition) + QStringLiteral(": ") + values.join(' '), expected);
    QCOMPARE(result.detail, QString());
    QCOMPARE(result.file.header.model, QStringLiteral("MDC-32"));
}

void TestMdcBackupFiles::everyModel()
{
    QBuffer buffer;
    buffer.setData(QByteArray(c_header) + "A0007,9\nA0008,10\n");
    buffer.open(QIODevice::ReadOnly);
    const BackupReading result = readBackup(buffer, nullptr);
    QCOMPARE(int(result.fault), int(BackupReading::CeNoFault));
    QCOMPARE(result.file.header.model, QStringLiteral("MDC-32"));
    QCOMPARE(result.file.header.serial, QStringLiteral("123456"));
    QCOMPARE(result.file.header.firmwareVersion, QStringLiteral("1.2.3"));
    QCOMPARE(result.file.valueAt(6), std::optional<int>());
    QCOMPARE(result.file.valueAt(7), std::optional<int>(9));
    QCOMPARE(result.file.valueAt(8), std::optional<int>(10));
    QCOMPARE(result.file.valueAt(9), std::optional<int>());
    QCOMPARE(result.file.valueAt(std::numeric_limits<int>::min()), std::optional<int>());
    QCOMPARE(result.file.valueAt(std::numeric_limits<int>::max()), std::optional<int>());
}

void TestMdcBackupFiles::roundTrips_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("lineEnd");
    QTest::addColumn<bool>("endsInLineEnd");
    QTest::addColumn<bool>("mark");
    QTest::addColumn<QLocale>("locale");
    for (const int count : {1, 60, 61, 9999, 10001}) {
        for (const char* const lineEnd : {"\n", "\r\n"}) {
            for (const bool ends : {true, false}) {
                QTest::addRow("%d values, %s, %s", count, lineEnd[1] != 0 ? "CRLF" : "LF",
                              ends ? "line end" : "no line end")
                    << count << QString::fromLatin1(lineEnd) << ends << false << QLocale::c();
            }
        }
    }
    QTest::newRow("byte order mark") << 100 << "\n" << true << true << QLocale::c();
    QTest::newRow("German numbers") << 20000 << "\n" << true << false << QLocale(QLocale::German);
    QTest::newRow("Arabic numbers") << 20000 << "\r\n"
                                    << true << false << QLocale(QLocale::Arabic, QLocale::Egypt);
    QTest::newRow("100000 values") << 100000 << "\n" << true << false << QLocale::c();
}

// What has been written is read back, whatever an editor has done to the line ends on the way.
void TestMdcBackupFiles::roundTrips()
{
    QFETCH(int, count);
    QFETCH(QString, lineEnd);
    QFETCH(bool, endsInLineEnd);
    QFETCH(bool, mark);
    QFETCH(QLocale, locale);
    const QLocale before;
    QLocale::setDefault(locale);
    QRandomGenerator random(static_cast<quint32>(count));
    QVector<quint16> words;
    QVariantList values;
    for (int i = 0; i < count; ++i) {
        words.append(static_cast<quint16>(random.bounded(65536)));
        // As drivers deliver them: of several types.
        values.append(i % 2 == 0 ? QVariant(int(words.last())) : QVariant(uint(words.last())));
    }
    QByteArray bytes;
    {
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        QVERIFY(writeBackup(buffer, backupText({"MDC-32", "0042", "2.05.0"}, QDate(2026, 11, 20), values)));
    }
    QVERIFY(bytes.endsWith('\n'));
    if (!endsInLineEnd)
        bytes.chop(1);
    bytes.replace("\n", lineEnd.toLatin1());
    if (mark)
        bytes.prepend("\xEF\xBB\xBF");
    const BackupReading result = reading(bytes);
    QLocale::setDefault(before);
    QCOMPARE(result.detail, QString());
    QCOMPARE(result.file.firstPosition, 1);
    QCOMPARE(result.file.values, words);
    QCOMPARE(result.file.header.serial, QStringLiteral("0042"));
    QCOMPARE(result.file.header.firmwareVersion, QStringLiteral("2.05.0"));
}

// A good file with one byte changed or its end cut off is refused, or holds what its lines say.
void TestMdcBackupFiles::readsWhateverItIsGiven()
{
    const QByteArray good = QByteArray(c_header) + "A0001,250\nA0002,0\nA0003,65535\n";
    const QVector<quint16> values{250, 0, 65535};
    for (int cut = 0; cut < good.size(); ++cut) {
        const BackupReading result = reading(good.left(cut));
        if (result.fault != BackupReading::CeNoFault)
            continue;
        const QByteArray lastLine = good.left(cut).split('\n').last();
        for (int i = 0; i + 1 < result.file.values.size(); ++i)
            QCOMPARE(result.file.values.at(i), values.at(i));
        // Only the last value can have lost digits, which no reader can see.
        if (!lastLine.isEmpty())
            QCOMPARE(QByteArray::number(result.file.values.last()), lastLine.split(',').at(1));
    }
    QRandomGenerator random(20261120);
    for (int at = 0; at < good.size(); ++at) {
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray bytes = good;
            bytes[at] = static_cast<char>(bytes.at(at) ^ (1 << bit));
            const BackupReading result = reading(bytes);
            if (result.fault != BackupReading::CeNoFault)
                continue;
            QVERIFY(result.file.values.size() <= values.size());
            const QList<QByteArray> lines = bytes.split('\n').mid(5);
            QCOMPARE(result.file.firstPosition, lines.first().split(',').first().mid(1).toInt());
            for (int i = 0; i < result.file.values.size(); ++i)
                QCOMPARE(int(result.file.values.at(i)), lines.at(i).split(',').value(1).trimmed().toInt());
        }
    }
    for (int run = 0; run < 2000; ++run) {
        QByteArray bytes = good;
        for (int change = random.bounded(1, 20); change > 0; --change)
            bytes.insert(random.bounded(bytes.size()), static_cast<char>(random.bounded(256)));
        const BackupReading result = reading(bytes);
        if (result.fault == BackupReading::CeNoFault)
            QVERIFY(!result.file.values.isEmpty() && result.file.firstPosition >= 1);
        else
            QVERIFY(!result.detail.isEmpty());
    }
}

void TestMdcBackupFiles::saves()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("backup.csv");
    QString error;
    QVERIFY2(saveBackup(path, "one\ntwo\n", &error), qPrintable(error));
    QVERIFY2(saveBackup(path, "three\n", &error), qPrintable(error));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly | QIODevice::Text));
    QCOMPARE(file.readAll(), QByteArray("three\n"));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList{"backup.csv"});
#ifdef Q_OS_UNIX
    // For this user alone, until he shares it.
    constexpr auto c_own = QFile::ReadOwner | QFile::WriteOwner;
    constexpr auto c_user = QFile::ReadUser | QFile::WriteUser;
    QCOMPARE(int(file.permissions()), int(c_own | c_user));
    QVERIFY(file.setPermissions(c_own | QFile::ReadGroup));
    QVERIFY2(saveBackup(path, "three\n", &error), qPrintable(error));
    QCOMPARE(int(QFile(path).permissions()), int(c_own | c_user | QFile::ReadGroup));
    // Whoever has made the file for everybody to write to decides nothing about the backup in its place.
    constexpr unsigned c_another = 4711;
    if (chown(QFile::encodeName(path).constData(), c_another, c_another) == 0) {
        QVERIFY(QFile::setPermissions(path, c_own | QFile::ReadOther | QFile::WriteOther));
        QVERIFY2(saveBackup(path, "three\n", &error), qPrintable(error));
        QCOMPARE(int(QFile(path).permissions()), int(c_own | c_user));
    }
#endif

    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(folder.path()));
    QVERIFY(file.remove());
    const bool isSaved = saveBackup(QString(), "four\n", &error);
    QVERIFY(QDir::setCurrent(before));
    QVERIFY2(isSaved, qPrintable(error));
#ifdef Q_OS_WIN
    QCOMPARE(QFileInfo(path).size(), 6);
#else
    QCOMPARE(QFileInfo(path).size(), 5);
#endif
}

void TestMdcBackupFiles::savesNothingHalf_data()
{
    QTest::addColumn<QString>("path"); // inside of the test's folder
    QTest::newRow("no folder") << "nowhere/backup.csv";
    QTest::newRow("a file as folder") << "file/backup.csv";
    QTest::newRow("a folder as file") << "folder";
#ifdef Q_OS_UNIX
    QTest::newRow("a pipe as file") << "pipe";
    QTest::newRow("a link as file") << "link";
    QTest::newRow("a link to nothing as file") << "dangling";
#endif
    QTest::newRow("name too long") << QString(300, 'x') + ".csv";
    QTest::newRow("zero character in the name") << QString("zero%1.csv").arg(QChar(0));
}

void TestMdcBackupFiles::savesNothingHalf()
{
    QFETCH(QString, path);
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir("folder"));
    QFile file(folder.filePath("file"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    const QByteArray pipe = QFile::encodeName(folder.filePath("pipe"));
#ifdef Q_OS_UNIX
    QCOMPARE(mkfifo(pipe.constData(), S_IRUSR | S_IWUSR), 0);
    QVERIFY(QFile::link(folder.filePath("file"), folder.filePath("link")));
    QVERIFY(QFile::link(folder.filePath("absent"), folder.filePath("dangling")));
#endif
    constexpr auto c_allEntries = QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot;
    const QStringList before = QDir(folder.path()).entryList(c_allEntries);
    QString error;
    QVERIFY(!saveBackup(folder.path() + '/' + path, "text\n", &error));
    QVERIFY2(error.contains(folder.path()) && error.size() > folder.path().size() + path.size() + 2,
             qPrintable(error));
    QCOMPARE(QDir(folder.path()).entryList(c_allEntries), before);
    QVERIFY(!QFileInfo(QFile::decodeName(pipe)).isFile());
    QCOMPARE(QFileInfo(folder.filePath("file")).size(), 0);
}

void TestMdcBackupFiles::writesToAFullDevice()
{
    const QString text = backupText({"MDC-32", "1", "1.2.3"}, QDate(2026, 11, 20), {1, 2, 3});
    for (qint64 room = 0; room < text.size(); ++room) {
        FullDevice device(room);
        QVERIFY(!writeBackup(device, text));
    }
    FullDevice device(text.size());
    QVERIFY(writeBackup(device, text));
}

// The language that a program is started in cannot be changed from inside.
void TestMdcBackupFiles::speaksDigitsInAnyLanguage()
{
    if (qEnvironmentVariableIsSet("MDC_TEST_LANGUAGE"))
        QSKIP("this is the other program");
    QProcess again;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL", "ar_EG.UTF-8");
    environment.insert("MDC_TEST_LANGUAGE", "1");
    again.setProcessEnvironment(environment);
    again.setProcessChannelMode(QProcess::MergedChannels);
    again.start(QCoreApplication::applicationFilePath(), {"text", "lineNumbers", "filePaths"});
    QVERIFY(again.waitForFinished());
    QVERIFY2(again.exitStatus() == QProcess::NormalExit && again.exitCode() == 0, again.readAll());
}

QTEST_GUILESS_MAIN(TestMdcBackupFiles)
#include "tst_mdc_backup_files.moc"
