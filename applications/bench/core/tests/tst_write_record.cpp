#include "applications/bench/core/write_record.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

namespace {

QVariantMap arguments(int registerNumber, int data)
{
    return {{"register", registerNumber}, {"data", data}, {"registerType", "singleRegister"}};
}

DOrderOutcome ended(IMessenger::EnErrorCode code)
{
    return {code == IMessenger::CeEcNone, code, code == IMessenger::CeEcNone ? "" : "why", {}};
}

QString nameOf(int registerNumber)
{
    return registerNumber == 107 ? QStringLiteral("directionChange") : QString();
}

} // namespace

class TstWriteRecord : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void states_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("state");
        QTest::newRow("acknowledged") << int(IMessenger::CeEcNone) << int(WriteState::Written);
        QTest::newRow("refused") << int(IMessenger::CeEcRefused) << int(WriteState::Untouched);
        QTest::newRow("not connected") << int(IMessenger::CeEcNotConnected) << int(WriteState::Untouched);
        QTest::newRow("cannot be sent")
            << int(IMessenger::CeEcInvalidArguments) << int(WriteState::Untouched);
        QTest::newRow("uncertain") << int(IMessenger::CeEcUncertain) << int(WriteState::Uncertain);
        QTest::newRow("out of time") << int(IMessenger::CeEcTimeout) << int(WriteState::Uncertain);
        QTest::newRow("stopped") << int(IMessenger::CeEcStopped) << int(WriteState::Uncertain);
    }

    void states()
    {
        QFETCH(int, code);
        QFETCH(int, state);
        WriteRecord record;
        record.add("write", arguments(107, 1), ended(static_cast<IMessenger::EnErrorCode>(code)));
        const QList<RegisterWrite> writes = record.writes(static_cast<WriteState>(state));
        QCOMPARE(writes.size(), 1);
        QCOMPARE(writes.constFirst().registerNumber, 107);
        QCOMPARE(writes.constFirst().data, QVariant(1));
        QCOMPARE(record.isUntouched(), static_cast<WriteState>(state) == WriteState::Untouched);
    }

    void readsChangeNothing()
    {
        WriteRecord record;
        record.add("read", arguments(107, 1), ended(IMessenger::CeEcUncertain));
        QVERIFY(record.isUntouched());
        QCOMPARE(writtenText(record, nameOf), QString("nothing was written"));
    }

    void whatIsSaid()
    {
        WriteRecord record;
        record.add("write", arguments(107, 1), ended(IMessenger::CeEcNone));
        record.add("write", arguments(3551, 12), ended(IMessenger::CeEcNone));
        record.add("write", arguments(3552, 7), ended(IMessenger::CeEcUncertain));
        QCOMPARE(
            writtenText(record, nameOf),
            QString("register 107 (\"directionChange\") = 1, register 3551 = 12 written; register 3552 = 7 "
                    "sent and not acknowledged: it may have been done; nothing else was written"));
        QCOMPARE(QJsonArray(toJson(record.writes(WriteState::Uncertain))),
                 QJsonArray({QJsonObject{{"register", 3552}, {"data", 7}}}));
    }

    void withoutALinkNothingIsUncertain()
    {
        WriteRecord record;
        record.add("write", arguments(107, 1), ended(IMessenger::CeEcStopped));
        record.takeAsUnsent();
        QCOMPARE(writtenText(record, nameOf), QString("nothing was written"));
    }

    // A link that came and went unseen.
    void whatTheDriverHasSentStaysUncertain()
    {
        WriteRecord record;
        record.add("write", arguments(107, 1), ended(IMessenger::CeEcUncertain));
        record.takeAsUnsent();
        QCOMPARE(record.writes(WriteState::Uncertain).size(), 1);
    }
};

QTEST_GUILESS_MAIN(TstWriteRecord)
#include "tst_write_record.moc"
