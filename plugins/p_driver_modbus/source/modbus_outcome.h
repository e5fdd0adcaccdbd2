#pragma once

#include <lib_plugins_management/i_messenger.h>
#include <QByteArray>
#include <QString>
#include <QVariantList>

#include <functional>

// How a request ended. `values` and `information` as in ModbusAnswer, when `code` is CeEcNone.
struct ModbusOutcome
{
    IMessenger::EnErrorCode code = IMessenger::CeEcNone;
    QString message;
    QVariantList values;
    QByteArray information;

    bool ok() const { return code == IMessenger::CeEcNone; }
};

using OutcomeHandler = std::function<void(const ModbusOutcome& outcome)>;
