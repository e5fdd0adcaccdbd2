#include "applications/bench/core/csv_line.h"
#include "applications/bench/core/output_format.h"

#include <QCoreApplication>
#include <QDate>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>
#include <QTime>
#include <QTimeZone>

#include <limits>

class TstOutputFormat : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void time_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<QString>("text");
        QTest::newRow("UTC") << 0 << "2026-03-01T09:30:00.125+00:00";
        QTest::newRow("east") << 3600 << "2026-03-01T09:30:00.125+01:00";
        QTest::newRow("half an hour west") << -12600 << "2026-03-01T09:30:00.125-03:30";
    }

    void time()
    {
        QFETCH(int, offset);
        QTEST(isoTime(QDateTime(QDate(2026, 3, 1), QTime(9, 30, 0, 125), Qt::OffsetFromUTC, offset)), "text");
    }

    // The language that a program is started in cannot be changed from inside.
    void timeInAnyLanguage()
    {
        if (qEnvironmentVariableIsSet("MDC_TEST_LANGUAGE"))
            QSKIP("this is the other program");
        QProcess again;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "ar_EG.UTF-8");
        environment.insert("MDC_TEST_LANGUAGE", "1");
        again.setProcessEnvironment(environment);
        again.setProcessChannelMode(QProcess::MergedChannels);
        again.start(QCoreApplication::applicationFilePath(), {"time", "line"});
        QVERIFY(again.waitForFinished());
        QVERIFY2(again.exitStatus() == QProcess::NormalExit && again.exitCode() == 0, again.readAll());
    }

    void csvFields_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("line");
        QTest::newRow("plain") << "a b"
                               << "a b";
        QTest::newRow("a comma") << "a,b"
                                 << "\"a,b\"";
        QTest::newRow("quotes") << "a\"b"
                                << "\"a\"\"b\"";
        QTest::newRow("lines") << "a\nb\rc"
                               << "a b c";
        for (const char* const number : {"-1", "+2.5", "-1e-3", "-", "+", "=", "@"})
            QTest::newRow(number) << number << number;
        QTest::newRow("a formula") << "=1+2"
                                   << "'=1+2";
        QTest::newRow("a command") << "=cmd|' /C calc'!A0"
                                   << "'=cmd|' /C calc'!A0";
        QTest::newRow("a function") << "@SUM(1,2)"
                                    << "\"'@SUM(1,2)\"";
        QTest::newRow("a sum") << "+1+2"
                               << "'+1+2";
        QTest::newRow("a difference") << "-2+3"
                                      << "'-2+3";
        QTest::newRow("behind a line feed") << "\n=1+2"
                                            << "' =1+2";
        QTest::newRow("behind a semicolon") << "OK;=cmd|' /C calc'!A0"
                                            << "OK;'=cmd|' /C calc'!A0";
        QTest::newRow("behind several") << "5; =1+2;-3;@x|+a"
                                        << "5;' =1+2;-3;'@x|'+a";
        QTest::newRow("behind quotes") << "5;\"=1\""
                                       << "\"5;'\"\"=1\"\"\"";
        QTest::newRow("full width") << QString::fromUtf8("\xEF\xBC\x9D"
                                                         "1+2")
                                    << QString::fromUtf8("'\xEF\xBC\x9D"
                                                         "1+2");
        QTest::newRow("semicolons") << ";a; b;"
                                    << ";a; b;";
        QTest::newRow("controls") << "\x1b]0;t\x07\t"
                                  << "\\x1b]0;t\\x07\\t";
        QTest::newRow("a tab before a formula") << "\t=1"
                                                << "\\t=1";
    }

    // A spreadsheet, or a terminal, does nothing that a name or a unit of a configuration asks for.
    void csvFields() // docs/security.md
    {
        QFETCH(QString, field);
        QFETCH(QString, line);
        QCOMPARE(QString::fromUtf8(csvLine({field, "1"})), line + ",1\n");
    }

    void line()
    {
        const QDateTime at(QDate(2026, 3, 1), QTime(9, 30, 0, 125), Qt::OffsetFromUTC, 3600);
        QCOMPARE(jsonLine(7, at, {"values", QVariantList{1, 2}}),
                 QByteArray("{\"v\":1,\"time\":\"2026-03-01T09:30:00.125+01:00\",\"seq\":7,"
                            "\"name\":\"values\",\"value\":[1,2]}"));
        const QByteArray line = jsonLine(8, at, {"a \"quoted\"\nname", QString("x\"y\nz")});
        QVERIFY(!line.contains('\n'));
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        QCOMPARE(object.value("name").toString(), QString("a \"quoted\"\nname"));
        QCOMPARE(object.value("value").toString(), QString("x\"y\nz"));
    }

    void jsonValue_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("null") << QVariant() << QByteArray("null");
        QTest::newRow("number") << QVariant(5U) << QByteArray("5");
        QTest::newRow("truth") << QVariant(true) << QByteArray("true");
        QTest::newRow("bytes") << QVariant(QByteArray("\x01\xff", 2)) << QByteArray("\"01 ff\"");
        QTest::newRow("bytes inside") << QVariant(QVariantMap{{"a", QVariantList{QByteArray("\x02", 1)}}})
                                      << QByteArray("{\"a\":[\"02\"]}");
        QTest::newRow("no number") << QVariant(std::numeric_limits<double>::quiet_NaN())
                                   << QByteArray("\"nan\"");
    }

    void jsonValue()
    {
        QFETCH(QVariant, value);
        QTEST(compactJson(toJson(value)), "json");
    }

    void text_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << QVariant() << "-";
        QTest::newRow("truth") << QVariant(true) << "true";
        QTest::newRow("number") << QVariant(12) << "12";
        QTest::newRow("whole double") << QVariant(1200000.0) << "1200000";
        QTest::newRow("text") << QVariant("MD3202") << "MD3202";
        QTest::newRow("text that would steer the terminal") << QVariant("a\x1b[31m\nb") << "a\\x1b[31m\\nb";
        QTest::newRow("text in another order")
            << QVariant(QString::fromUtf8("a\u202eb\u2066\u200f")) << "a\\u202eb\\u2066\\u200f";
        QTest::newRow("other lines") << QVariant(QString::fromUtf8("a\u2028\u2029\u0085b"))
                                     << "a\\u2028\\u2029\\x85b";
        QTest::newRow("unseen") << QVariant(QString::fromUtf8("a\ufeff\U000e0001")) << "a\\ufeff\\U000e0001";
        QTest::newRow("half a pair") << QVariant(QString(QChar(0xd83d))) << "\\ud83d";
        QTest::newRow("letters of all kinds")
            << QVariant(QString::fromUtf8("é\u4e2d\U0001f527")) << QString::fromUtf8("é\u4e2d\U0001f527");
        QTest::newRow("list") << QVariant(QVariantList{1, 2}) << "[1,2]";
        QTest::newRow("bytes") << QVariant(QByteArray("\x0a\x0b", 2)) << "0a 0b";
    }

    void text() // docs/security.md
    {
        QFETCH(QVariant, value);
        QTEST(valueText(value), "text");
    }

    void rows()
    {
        const QVariantList record{QVariantMap{{"id", "version"}, {"name", "Version"}, {"value", "4.00.5"}},
                                  QVariantMap{{"id", "softwareVersion"}, {"value", 2}}};
        QCOMPARE(
            valueRows({{"deviceInformation", record}, {"values", QVariantList{1}}, {"none", QVariantList{}}}),
            (QList<QStringList>{{"deviceInformation.version", "4.00.5"},
                                {"deviceInformation.softwareVersion", "2"},
                                {"values", "[1]"},
                                {"none", "[]"}}));
    }

    void tableLayout() // docs/security.md
    {
        QCOMPARE(formatTable({"a", "long name"}, {{"wider", ""}, {"x", "y"}}),
                 QStringLiteral("a      long name\nwider\nx      y\n"));
        QCOMPARE(formatTable({"a\x1b"}, {{"b\n"}}), QStringLiteral("a\\x1b\nb\\n\n"));
        QCOMPARE(formatTable({}, {}), QString());
        QCOMPARE(formatTable({}, {{"a"}, {"b", "c"}}), QStringLiteral("a\nb  c\n"));
    }
};

QTEST_GUILESS_MAIN(TstOutputFormat)
#include "tst_output_format.moc"
