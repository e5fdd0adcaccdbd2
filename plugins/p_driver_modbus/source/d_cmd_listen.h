#pragma once

#include "plugins/p_driver_modbus/source/request_queue.h"

#include <lib_plugins_management/d_abstract_command.h>

class PollSchedule;

// "listen": reads registers or bits again and again until it is stopped. A failed read is told
// once, and again only after a good one.
class DCmdListen : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdListen(const QVariantMap& arguments, QObject* parent);
    explicit DCmdListen(QObject* parent);
    ~DCmdListen() override;

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

private Q_SLOTS:
    void unsubscribe();

private:
    void onPoll(const ModbusOutcome& outcome);

    QPointer<PollSchedule> m_schedule;
    quint64 m_listenerId = 0;
    bool m_failureIsTold = false;
};
