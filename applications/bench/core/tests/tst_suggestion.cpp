#include "applications/bench/core/suggestion.h"

#include <QTest>

class TstSuggestion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void distance_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("distance");
        QTest::newRow("equal") << "getInfo"
                               << "getInfo" << 0;
        QTest::newRow("case") << "getinfo"
                              << "getInfo" << 0;
        QTest::newRow("both empty") << ""
                                    << "" << 0;
        QTest::newRow("one empty") << ""
                                   << "abc" << 3;
        QTest::newRow("other empty") << "abc"
                                     << "" << 3;
        QTest::newRow("replaced") << "getInfo"
                                  << "getInfa" << 1;
        QTest::newRow("left out") << "getIfo"
                                  << "getInfo" << 1;
        QTest::newRow("too many") << "gettInfo"
                                  << "getInfo" << 1;
        QTest::newRow("swapped") << "gteInfo"
                                 << "getInfo" << 1;
        QTest::newRow("swapped at the end") << "getInof"
                                            << "getInfo" << 1;
        QTest::newRow("different") << "abc"
                                   << "xyz" << 3;
    }

    void distance()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QTEST(editDistance(a, b), "distance");
    }

    void suggestion_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("near");
        QTest::newRow("swapped letters") << "setDirectoin" << QStringList{"setDirection"};
        QTest::newRow("other case") << "SETPROGRAM" << QStringList{"setProgram"};
        QTest::newRow("beginning") << "reset" << QStringList{"resetAlarm"};
        QTest::newRow("beginning of several") << "get" << QStringList{"getInfo", "getRegister"};
        QTest::newRow("nearest first") << "setLok" << QStringList{"setLock", "setLick"};
        QTest::newRow("too short for a beginning") << "ge" << QStringList{};
        QTest::newRow("nothing near") << "calibrate" << QStringList{};
        QTest::newRow("empty") << "" << QStringList{};
    }

    void suggestion()
    {
        QFETCH(QString, text);
        QTEST(namesNear(text, {"getInfo", "setDirection", "setProgram", "resetAlarm", "getRegister",
                               "setLick", "setLock"}),
              "near");
    }

    void suggestionText()
    {
        QCOMPARE(didYouMean("setLok", {"setLock", "other"}), QStringLiteral("; did you mean \"setLock\"?"));
        QCOMPARE(didYouMean("get", {"getA", "getB"}), QStringLiteral("; did you mean \"getA\" or \"getB\"?"));
        QCOMPARE(didYouMean("unlike", {"setLock"}), QString());
    }
};

QTEST_GUILESS_MAIN(TstSuggestion)
#include "tst_suggestion.moc"
