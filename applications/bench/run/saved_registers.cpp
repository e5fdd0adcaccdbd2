#include "applications/bench/run/saved_registers.h"

namespace {

const QString c_setTriggerProgram = QStringLiteral("SetTriggerProgram");

} // namespace

QString savedPropertyOf(const QString& command)
{
    return command == c_setTriggerProgram ? QStringLiteral("triggerBackupRegister") : QString();
}

bool isReset(const QString& command, const QVariantMap& arguments)
{
    return command == c_setTriggerProgram && arguments.value(QStringLiteral("resetMode")).toBool();
}

std::optional<ResetObjection> objectionToSaved(const SavedRegisters& saved, const QString& place)
{
    if (!saved.values.isEmpty())
        return std::nullopt;
    return ResetObjection{
        QStringLiteral("nothing is saved in %1 that could be written back").arg(place),
        QStringLiteral("name the file in which a run without resetMode has saved it (--properties FILE), or "
                       "write the program back from a backup (\"mdc-bench restore FILE --presets 15\")")};
}

std::optional<ResetObjection> objectionToOrigin(const SavedRegisters& saved, const QString& serial)
{
    if (!saved.serial.isEmpty() && saved.serial == serial)
        return std::nullopt;
    const QString force = QStringLiteral("--force writes them into the connected one all the same");
    if (saved.serial.isEmpty())
        return ResetObjection{
            QStringLiteral("the saved values do not say which controller they were read from (saved with "
                           "--no-identify, or before that was noted)"),
            QStringLiteral("make sure that they are the connected controller's; %1").arg(force)};
    if (serial.isEmpty())
        return ResetObjection{
            QStringLiteral(
                "the saved values are of the controller with the serial number %1, and which one is "
                "connected is not known")
                .arg(saved.serial),
            QStringLiteral("let it be identified (without --no-identify); %1").arg(force)};
    return ResetObjection{
        QStringLiteral("the saved values are of the controller with the serial number %1, the "
                       "connected one has %2")
            .arg(saved.serial, serial),
        QStringLiteral("connect the controller that they are of; %1").arg(force)};
}

QString textOfReplaced(const SavedRegisters& saved, const QString& serial)
{
    if (saved.values.isEmpty() || saved.serial.isEmpty() || serial.isEmpty() || saved.serial == serial)
        return {};
    return QStringLiteral(
               "what was saved of the controller with the serial number %1 is replaced, and it cannot be "
               "reset from here any more; keep a file for each controller (--properties FILE)")
        .arg(saved.serial);
}
