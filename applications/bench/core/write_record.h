#pragma once

#include <lib_plugins_management/i_host.h>

#include <QJsonArray>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <functional>

// What is known of one write.
enum class WriteState {
    Untouched, // not sent, or refused: the register is as it was
    Written,   // acknowledged by the controller
    Uncertain, // sent and not answered
};

// What an ended "write" instruction did to its register.
WriteState writeStateOf(const DOrderOutcome& outcome);

// One "write" instruction of an order, and what is known of it.
struct RegisterWrite
{
    int registerNumber = 0; // as the configuration tells it
    QVariant data;
    WriteState state = WriteState::Untouched;
    bool wasSent = false; // as the driver itself has said
};

// What an order's instructions did to the controller's registers, one after the other.
class WriteRecord
{
public:
    // An instruction of the order has ended, or the order has ended before it; others than "write" change
    // nothing.
    void add(const QString& instruction, const QVariantMap& arguments, const DOrderOutcome& outcome);
    // The link was never seen to be up, so that whatever waits for an answer has not been sent, unless the
    // driver has said that it was: one that is lost at once is not seen.
    void takeAsUnsent();

    QList<RegisterWrite> writes(WriteState state) const;
    // Nothing was acknowledged and nothing is uncertain.
    bool isUntouched() const;

private:
    QList<RegisterWrite> m_writes;
};

// One sentence for an order that failed: what is written, what may be written, and that the rest is not.
// `nameOf` gives what the configuration calls a register, empty for one that it does not name.
QString writtenText(const WriteRecord& record, const std::function<QString(int registerNumber)>& nameOf);
// {"register", "data"} each.
QJsonArray toJson(const QList<RegisterWrite>& writes);
