#include "applications/bench/core/write_record.h"

#include "applications/bench/core/output_format.h"

#include <lib_plugins_management/driver_contract.h>

#include <QJsonObject>

#include <algorithm>

namespace {

QString listText(const QList<RegisterWrite>& writes, const std::function<QString(int)>& nameOf)
{
    QStringList texts;
    for (const RegisterWrite& write : writes) {
        const QString name = nameOf ? nameOf(write.registerNumber) : QString();
        texts.append(QStringLiteral("register %1%2 = %3")
                         .arg(write.registerNumber)
                         .arg(name.isEmpty() ? QString() : QStringLiteral(" (\"%1\")").arg(name),
                              valueText(write.data)));
    }
    return texts.join(QStringLiteral(", "));
}

} // namespace

WriteState writeStateOf(const DOrderOutcome& outcome)
{
    if (outcome.ok)
        return WriteState::Written;
    switch (outcome.errorCode) {
    case IMessenger::CeEcNotConnected:
    case IMessenger::CeEcUnknownTarget:
    case IMessenger::CeEcUnknownCommand:
    case IMessenger::CeEcRefused:
    case IMessenger::CeEcInvalidArguments:
    case IMessenger::CeEcQueueFull:
        return WriteState::Untouched;
    case IMessenger::CeEcNone:
    case IMessenger::CeEcTimeout:
    case IMessenger::CeEcUncertain:
    case IMessenger::CeEcStopped:
    case IMessenger::CeEcInternal:
        break;
    }
    return WriteState::Uncertain;
}

void WriteRecord::add(const QString& instruction, const QVariantMap& arguments, const DOrderOutcome& outcome)
{
    if (instruction != driver_contract::c_write)
        return;
    m_writes.append({arguments.value(driver_contract::c_register).toInt(),
                     arguments.value(driver_contract::c_data), writeStateOf(outcome),
                     outcome.ok || outcome.errorCode == IMessenger::CeEcUncertain});
}

void WriteRecord::takeAsUnsent()
{
    for (RegisterWrite& write : m_writes) {
        if (write.state == WriteState::Uncertain && !write.wasSent)
            write.state = WriteState::Untouched;
    }
}

QList<RegisterWrite> WriteRecord::writes(WriteState state) const
{
    QList<RegisterWrite> found;
    std::copy_if(m_writes.cbegin(), m_writes.cend(), std::back_inserter(found),
                 [state](const RegisterWrite& write) { return write.state == state; });
    return found;
}

bool WriteRecord::isUntouched() const
{
    return std::all_of(m_writes.cbegin(), m_writes.cend(),
                       [](const RegisterWrite& write) { return write.state == WriteState::Untouched; });
}

QString writtenText(const WriteRecord& record, const std::function<QString(int)>& nameOf)
{
    if (record.isUntouched())
        return QStringLiteral("nothing was written");
    const QList<RegisterWrite> written = record.writes(WriteState::Written);
    const QList<RegisterWrite> uncertain = record.writes(WriteState::Uncertain);
    QStringList texts;
    if (!written.isEmpty())
        texts.append(QStringLiteral("%1 written").arg(listText(written, nameOf)));
    if (!uncertain.isEmpty())
        texts.append(QStringLiteral("%1 sent and not acknowledged: it may have been done")
                         .arg(listText(uncertain, nameOf)));
    texts.append(QStringLiteral("nothing else was written"));
    return texts.join(QStringLiteral("; "));
}

QJsonArray toJson(const QList<RegisterWrite>& writes)
{
    QJsonArray list;
    for (const RegisterWrite& write : writes)
        list.append(QJsonObject{{QStringLiteral("register"), write.registerNumber},
                                {QStringLiteral("data"), toJson(write.data)}});
    return list;
}
