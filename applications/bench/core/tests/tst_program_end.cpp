#include "applications/bench/core/program_end.h"

#include <QJsonObject>
#include <QTest>

class TstProgramEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void asked_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("format"); // -1: none
        const int json = static_cast<int>(OutputFormat::Json);
        QTest::newRow("none") << QStringList{"run", "getInfo"} << -1;
        QTest::newRow("json") << QStringList{"--format", "json", "rnu"} << json;
        QTest::newRow("in one word") << QStringList{"rnu", "--format=json"} << json;
        QTest::newRow("no such form") << QStringList{"rnu", "--format", "xml"} << -1;
        QTest::newRow("cut off") << QStringList{"rnu", "--format"} << -1;
        QTest::newRow("no option") << QStringList{"run", "x", "--", "--format", "json"} << -1;
    }

    void asked()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, format);
        const std::optional<OutputFormat> found = askedFormat(arguments);
        QCOMPARE(found ? static_cast<int>(*found) : -1, format);
    }

    void completed_data()
    {
        QTest::addColumn<QJsonObject>("document");
        QTest::addColumn<QStringList>("errors");
        QTest::addColumn<QJsonObject>("wanted");
        QTest::newRow("nothing but errors") << QJsonObject() << QStringList{"a", "b"}
                                            << QJsonObject{{"ok", false}, {"exitCode", 2}, {"error", "a\nb"}};
        QTest::newRow("the subcommand's own")
            << QJsonObject{{"exitCode", 2}, {"error", "own"}} << QStringList{"a"}
            << QJsonObject{{"ok", false}, {"exitCode", 2}, {"error", "own"}};
        QTest::newRow("nothing told")
            << QJsonObject{{"x", 1}} << QStringList()
            << QJsonObject{{"x", 1},
                           {"ok", false},
                           {"exitCode", 2},
                           {"error", "wrong usage: unknown option, command, object or "
                                     "parameter value"}};
    }

    void completed()
    {
        QFETCH(QJsonObject, document);
        QFETCH(QStringList, errors);
        QFETCH(QJsonObject, wanted);
        QCOMPARE(completedDocument(document, ExitCode::Usage, errors), wanted);
    }
};

QTEST_GUILESS_MAIN(TstProgramEnd)
#include "tst_program_end.moc"
