#pragma once

#include <lib_plugins_management/d_abstract_command.h>

class PDeviceMdc;

// "setLockScreen": locks the controller's screen. The register depends on the model and the firmware
// too: the first generation came in two register layouts.
// Result "doneOk": whether the controller has acknowledged it. A malformed reply is logged and still no
// failure of this command.
class DCmdSetLockScreen : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdSetLockScreen(const QVariantMap& arguments, QObject* parent);
    explicit DCmdSetLockScreen(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    // Without a device as parent: false, and nothing in the log.
    bool commandExecute() override;

    bool rplSetLockScreen(quint64 instructionId, const QVariantMap& reply);

private:
    // The name of the register description for the identified controller, `isBm` when it is of that
    // family. Says in the log when the controller has not been identified.
    QString registerKey(const PDeviceMdc& plugin, bool isBm) const;
};
