#pragma once

#include <lib_plugins_management/d_abstract_command.h>

// "getPresetData": reads one preset (a stored tightening program), numbered from 1. Presets lie one
// behind the other in the controller's registers, the first from register 1.
// Result "presetData" is, by the generation of the register map,
//  1          {"presetData": {"preset": 0, and a word per name of the list "presetDataKeys"}}
//  2 and up   {the values of the list "presetDataKeysV2": parameters whose addresses count from 1}
// and an empty map for a preset beyond the last one, of which the controller is not asked. A reply that
// gives no values publishes nothing and is no failure.
//
// A list with fewer names than a preset has registers is a fault of the configuration: a critical line
// of the log names it with both lengths, and the reply counts as one of a wrong size. A missing list of
// parameters holds none, and an entry of it that is no map is a parameter that cannot be decoded.
class DCmdGetPresetData : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdGetPresetData(const QVariantMap& arguments, QObject* parent);
    explicit DCmdGetPresetData(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplGetPresetData(quint64 instructionId, const QVariantMap& reply);

    // One value of a preset (see decodeBlockValue); an invalid one and a log line when it cannot be decoded.
    QVariant decodeModbusValue(const QVariantList& words, int firstIndex, int lastIndex,
                               const QString& type) const;
    // Adds the values of all parameters to `result`; null for one that cannot be decoded. Of two with one
    // name the later counts.
    void decodeParameters(const QVariantList& words, QVariantMap& result,
                          const QVariantList& parameterList) const;

private:
    void nameWords(const QVariantList& words, QVariantMap& result, const QVariantList& names) const;
    QString keyListName() const;

    QString m_versionSuffix;
    quint16 m_presetStart = 0; // register address of the preset last asked for
};
