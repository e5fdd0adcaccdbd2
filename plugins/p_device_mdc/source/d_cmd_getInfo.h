#pragma once

#include "model/identification_block.h"

#include <lib_plugins_management/d_abstract_command.h>

// "getInfo": asks the controller to identify itself. Sets the plug-in's properties "softwareVersion",
// "version" and "controllerModel", by which the other commands choose their registers.
// Result "deviceInformation": the device information record.
class DCmdGetInfo : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdGetInfo(const QVariantMap& arguments, QObject* parent);
    explicit DCmdGetInfo(QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

    bool rplGetInfo(quint64 instructionId, const QVariantMap& reply);

private:
    // The tool table of the family that the reference names; null when it names none.
    const ToolModels* toolModelsOfReference() const;
    // What the other commands read of the controller.
    void publishProperties(const Identification& identification);

    QString reference;
    // Names of the family codes; the decoding has rules of its own for each layout of the block.
    QMap<quint16, QString> controllerModels;
    ToolModels mdcToolModels;
    ToolModels mdtcToolModels;
    ToolModels bmToolModels;
};
