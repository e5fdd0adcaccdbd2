#pragma once

#include "model/register_block.h"

#include <lib_plugins_management/d_abstract_command.h>
#include <QVariantList>
#include <QVector>

// "listenEventsData": follows the block of the controller's event registers, until "stopListening".
// Result "values": a map of the block's values by the names of the configuration's list "eventDataKeys"
// (generation 1: a name per register) or "eventDataKeysV2" and so on (parameters whose addresses are
// register addresses); invalid when a reply gives no values.
//
// The value "eventCountNo" tells of a change: -1 as long as the count is the one first seen, else the
// count. One that cannot be decoded, or a null word, stays null and leaves the count seen alone.
//
// A list with fewer names than the block has registers is a fault of the configuration: a critical line
// of the log names it with both lengths, and the reply counts as one of a wrong size. A missing list of
// parameters holds none, and an entry of it that is no map is a parameter that cannot be decoded.
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
    // What the last reply gave. The same list by the same keys gives it again, the count's change included: a
    // count that is remembered stays so, and one that has moved has moved once more.
    struct LastBlock
    {
        QVariantList words;
        QVariantList keys;
        QVariant result; // invalid for nothing to be given again

        bool isOf(const QVariantList& otherWords, const QVariantList& otherKeys) const
        {
            return result.isValid() && words.isSharedWith(otherWords) && keys.isSharedWith(otherKeys);
        }
    };

    void nameWords(const QVariantList& words, QVariantMap& result, const QVariantList& names);
    // Whether the count differs from the one remembered; remembers it when it does not, or is the first.
    bool countMoved(qint32 count);
    QString keyListName() const;

    qint32 m_lastEventCount = -1; // -1: none seen yet; outlives an execution
    QString m_registerKey;
    QString m_versionSuffix;
    quint16 m_blockBase = 0; // register address of the block's first word
    QVariantList m_parameterList;
    QVector<BlockParameter> m_parameters; // what m_parameterList says
    LastBlock m_lastBlock;
};
