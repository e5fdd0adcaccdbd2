#include "applications/bench/backup/backup_source.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>
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

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

const QByteArray c_header = "Driver Parameter data file,\nDriver model,MDC-32\nDriver serial,7\n"
                            "Firmware version,4.01.2\nDate,3/5/2024\n";

// What the system says of a file that is not there.
QString absentFileWords()
{
    QFile file(QDir::temp().filePath("a file that nobody has"));
    file.open(QIODevice::ReadOnly);
    return file.errorString();
}

} // namespace

class TstBackupSource : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void file_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: there is no file
        QTest::addColumn<QString>("detail");     // empty: it is read
        QTest::newRow("good") << c_header + "A0001,5\n"
                              << "";
        QTest::newRow("absent") << QByteArray() << absentFileWords();
        QTest::newRow("other model") << QByteArray(c_header).replace("MDC-32", "MDC-22") + "A0001,5\n"
                                     << "of the model \"MDC-22\"";
        QTest::newRow("a word") << c_header + "A0001,5\nA0002,x\n"
                                << "backup.csv, line 7: ";
        QTest::newRow("a gap") << c_header + "A0001,5\nA0003,5\n"
                               << "line 7: position 3";
        QTest::newRow("no line") << c_header << "there is no register line";
        QTest::newRow("empty") << QByteArray("") << "there is no register line";
    }

    void file()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, detail);
        const QTemporaryDir folder;
        const QString path = folder.filePath("backup.csv");
        QVERIFY(content.isNull() || writeFile(path, content));
        const QString model = "MDC-32";
        const BackupSource source = readBackupFile(path, &model);
        QCOMPARE(source.problem.isSet(), !detail.isEmpty());
        QCOMPARE(source.problem.remedy.isEmpty(), detail.isEmpty());
        QVERIFY2(source.problem.text().contains(detail), qPrintable(source.problem.text()));
        QVERIFY(detail.isEmpty() || source.problem.text().contains(path));
        QCOMPARE(source.file.values.isEmpty(), !detail.isEmpty() && !detail.contains("line 7"));
        QVERIFY(readBackupFile(folder.path(), &model).problem.text().contains("is a folder"));
    }

    void sizeLimit() // docs/security.md
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath("backup.csv");
        const QByteArray content = c_header + "A0001,5";
        for (const qint64 size : {c_backupSizeLimit, c_backupSizeLimit + 1}) {
            // Sparse at the end: only whether it is read at all is of interest.
            QVERIFY(writeFile(path, content) && QFile::resize(path, size));
            const BackupSource source = readBackupFile(path, nullptr);
            QCOMPARE(source.content.size(), size > c_backupSizeLimit ? 0 : int(size));
            QCOMPARE(source.problem.text().contains("16777216 bytes"), size > c_backupSizeLimit);
        }
    }

    void rangeOfConfiguration()
    {
        const QString text = R"("backup_range": [1-10]; "preset1": [1-2], [5-6];)";
        const QJsonObject configuration{{"parameters", QJsonObject{{"MDgen2_config", text}}}};
        QCOMPARE(rangeText(configuration, "MDgen2"), text);
        QCOMPARE(rangeText(configuration, "MDgen3"), QString());
        QCOMPARE(rangeText({}, "MDgen2"), QString());

        const BackupRegisters found = backupRegisters("MDgen2", text, fileOf(10));
        QVERIFY(!found.problem.isSet());
        QCOMPARE(found.groups.value("preset1"), (QList<int>{1, 2, 5, 6}));
        const BackupRegisters shorter = backupRegisters("MDgen2", text, fileOf(9));
        QVERIFY2(
            shorter.problem.text().contains("holds registers 1 to 9, the parameter \"MDgen2_config\" says "
                                            "\"backup_range\": [1-10]"),
            qPrintable(shorter.problem.text()));
        QVERIFY(shorter.groups.isEmpty());
        QVERIFY(backupRegisters("MDgen2", {}, fileOf(10))
                    .problem.text()
                    .contains("no parameter \"MDgen2_config\""));
        QVERIFY(backupRegisters("MDgen2", text + R"("extra": [1-99999999999])", fileOf(10))
                    .problem.text()
                    .contains("too many registers: \"extra\": [1-99999999999]"));
    }

    void modelNameOfAFile_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("firmware");
        QTest::addColumn<QString>("name");
        QTest::newRow("first firmware") << "MDC-26"
                                        << "1.50.0"
                                        << "MDgen1V1";
        QTest::newRow("generation 1") << "MDC-22"
                                      << "3.10.5"
                                      << "MDC-22";
        QTest::newRow("last of generation 1") << "MDC-22"
                                              << "3.99.9"
                                              << "MDC-22";
        QTest::newRow("generation 2") << "MDC-32"
                                      << "4.00.0"
                                      << "MDgen2";
        QTest::newRow("later") << "MDC-32"
                               << "12.00.0"
                               << "MDgen2";
        QTest::newRow("none") << "MDC-32"
                              << ""
                              << "MDC-32";
    }

    void modelNameOfAFile()
    {
        QFETCH(QString, model);
        QFETCH(QString, firmware);
        QTEST(configurationModelName(BackupHeader{model, "1", firmware}), "name");
    }
};

QTEST_GUILESS_MAIN(TstBackupSource)
#include "tst_backup_source.moc"
