#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "listenEventsData": follows the block of the controller's event registers, until "stopListening".
// Result "values": a map of the block's values by the names of the configuration's list "eventDataKeys"
// (generation 1: a name per register) or "eventDataKeysV2" and so on (parameters whose addresses are
// register addresses); invalid when a reply gives no values.
//
// The value "eventCountNo" tells of a change: -1 as long as the count is the one first seen, else the
// count. What is no number there (a value that cannot be decoded, a list) is delivered as it is and
// leaves the count seen alone.
//
// Faults of the configuration are critical lines of the log that name the list: one with fewer names
// than the block has registers (the reply then counts as one of a wrong size), one of parameters that
// is missing, and an entry of it that is no map (its value is null).
class DCmdListenEvents : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdListenEvents(const QVariantMap& arguments, QObject* parent);
    explicit DCmdListenEvents(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplListenEvents(quint64 instructionId, const QVariantMap& reply);

    // One value of a block (see decodeBlockValue); an invalid one and a log line when it cannot be decoded.
    QVariant decodeModbusValue(const QVariantList& words, int firstIndex, int lastIndex,
                               const QString& type) const;
    // Adds the values of all parameters to `result`; null for one that cannot be decoded. Of two with one
    // name the later counts.
    void decodeParameters(const QVariantList& words, QVariantMap& result, const QVariantList& parameterList);

private:
    void nameWords(const QVariantList& words, QVariantMap& result, const QVariantList& names);
    // What is reported of a count, and remembers it as the rule wants.
    QVariant changedCount(const QVariant& count);
    QString keyListName() const;

    qint32 m_lastEventCount = -1; // -1: none seen yet; outlives an execution
    QString m_registerKey;
    QString m_versionSuffix;
    quint16 m_blockBase = 0; // register address of the block's first word
};
