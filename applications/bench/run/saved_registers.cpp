#include "applications/bench/run/saved_registers.h"

#include "applications/bench/core/output_format.h"

#include <algorithm>
#include <cmath>

namespace {

const QString c_setTriggerProgram = QStringLiteral("SetTriggerProgram");
constexpr int c_savedRegisters = 6;
constexpr double c_highestValue = 65535;

// As the command saves it. A file has numbers of any kind, and they come as it has them.
bool isRegisterValue(const QVariant& value)
{
    bool isNumber = false;
    const double number = value.toDouble(&isNumber);
    return isNumber && value.type() != QVariant::String && value.type() != QVariant::Bool && number >= 0 &&
           number <= c_highestValue && std::floor(number) == number;
}

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
    const QString remedy =
        QStringLiteral("name the file in which a run without resetMode has saved it (--properties FILE), or "
                       "write the program back from a backup (\"mdc-bench restore FILE --presets 15\")");
    if (saved.values.isEmpty())
        return ResetObjection{QStringLiteral("nothing is saved in %1 that could be written back").arg(place),
                              remedy};
    // The command writes as many as there are, one behind the other.
    if (saved.values.size() != c_savedRegisters)
        return ResetObjection{
            QStringLiteral("what is saved in %1 is no saved program: \"%2\" holds %3 values instead of %4")
                .arg(place, savedPropertyOf(c_setTriggerProgram))
                .arg(saved.values.size())
                .arg(c_savedRegisters),
            remedy};
    const auto wrong = std::find_if_not(saved.values.cbegin(), saved.values.cend(), isRegisterValue);
    if (wrong == saved.values.cend())
        return std::nullopt;
    return ResetObjection{
        QStringLiteral("what is saved in %1 is no saved program: value %2 of \"%3\" is %4, and a register "
                       "holds a whole number from 0 to %5")
            .arg(place)
            .arg(std::distance(saved.values.cbegin(), wrong) + 1)
            .arg(savedPropertyOf(c_setTriggerProgram), valueText(*wrong))
            .arg(c_highestValue),
        remedy};
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
