#include "applications/bench/check/unread_names.h"

#include "tests/support/configuration_errors.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

QJsonObject channelWith(const QString& entry)
{
    return {{"id", "alarm"}, {"value", QJsonArray{QJsonObject{{"id", entry}, {"value", 1}}}}};
}

QStringList complaints(const QList<Finding>& findings)
{
    QStringList lines;
    for (const Finding& finding : findings)
        lines.append(finding.subject + ": " + finding.message);
    return lines;
}

} // namespace

class TstUnreadNames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void entry_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("meant"); // empty: nothing is said
        QTest::newRow("read") << "register"
                              << "";
        QTest::newRow("swapped") << "regsiter"
                                 << "register";
        QTest::newRow("shortened") << "siz"
                                   << "size";
        QTest::newRow("of another case") << "readregistertype"
                                         << "readRegisterType";
        QTest::newRow("of the page") << "tpye"
                                     << "type";
        QTest::newRow("somebody's own") << "unit"
                                        << "";
        QTest::newRow("two slips away") << "regiters"
                                        << "";
    }

    void entry()
    {
        QFETCH(QString, entry);
        QFETCH(QString, meant);
        const QList<Finding> findings = checkUnreadNames({{"channels", QJsonArray{channelWith(entry)}}});
        QStringList expected;
        if (!meant.isEmpty())
            expected.append(QString("channel alarm: nobody reads the entry \"%1\"; did you mean \"%2\"?")
                                .arg(entry, meant));
        QCOMPARE(complaints(findings), expected);
        for (const Finding& finding : findings) {
            QCOMPARE(finding.level, FindingLevel::Warning);
            QVERIFY(!finding.remedy.isEmpty());
        }
    }

    void parameter_data()
    {
        QTest::addColumn<QString>("parameter");
        QTest::addColumn<QString>("expected"); // empty: nothing is said
        QTest::newRow("of generation 1") << "eventDataKeys"
                                         << "";
        QTest::newRow("of generation 2") << "presetDataKeysV2"
                                         << "";
        QTest::newRow("of a generation that there is not")
            << "presetDataKeysV10"
            << "nobody reads \"presetDataKeysV10\": there is no generation 10";
        QTest::newRow("of a backup") << "MDgen2_config"
                                     << "";
        QTest::newRow("misspelt") << "eventDataKyes"
                                  << "no command reads \"eventDataKyes\"; did you mean \"eventDataKeys\"?";
        QTest::newRow("suffix misspelt") << "presetDataKeys2V"
                                         << "no command reads \"presetDataKeys2V\"; did you mean "
                                            "\"presetDataKeys\"?";
        QTest::newRow("of a backup, misspelt") << "MDgen2_confgi"
                                               << "no command reads \"MDgen2_confgi\"";
    }

    void parameter()
    {
        QFETCH(QString, parameter);
        QFETCH(QString, expected);
        const QList<Finding> findings =
            checkUnreadNames({{"parameters", QJsonObject{{parameter, QJsonArray{}}}}});
        QCOMPARE(complaints(findings),
                 expected.isEmpty() ? QStringList() : QStringList("parameters: " + expected));
    }

    void sampleIsClean()
    {
        const DLoadedConfiguration loaded =
            loadConfiguration(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
        QVERIFY2(loaded.errors.isEmpty(), qPrintable(errorText(loaded.errors)));
        const QJsonObject device = loaded.configuration.value("objects").toArray().at(1).toObject();
        QCOMPARE(complaints(checkUnreadNames(device.value("configuration").toObject())), QStringList());
    }
};

QTEST_GUILESS_MAIN(TstUnreadNames)
#include "tst_unread_names.moc"
