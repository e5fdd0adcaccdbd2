#include "applications/bench/core/simulation_help.h"

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/fault_plan.h"

namespace {

QString profileList()
{
    QList<QStringList> rows;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        rows.append({QStringLiteral("  ") + profile.name, profile.description});
    return formatTable({}, rows).chopped(1);
}

} // namespace

QString faultHelp()
{
    QList<QStringList> rows;
    for (const FaultDescription& fault : faultDescriptions()) {
        const QString name = QString::fromLatin1(fault.name);
        rows.append({fault.valueName == nullptr
                         ? QStringLiteral("  %1").arg(name)
                         : QStringLiteral("  %1=<%2>").arg(name, QString::fromLatin1(fault.valueName)),
                     QString::fromUtf8(fault.meaning)});
    }
    return QStringLiteral(
               "A fault reads NAME[=VALUE][@WHEN][/FUNCTION][#REGISTER]. WHEN is \"once\" or request\n"
               "numbers from 1, as in 3 or 5-7,9; FUNCTION a Modbus function code, as in 0x06; REGISTER one\n"
               "register or a range, as in 117 or 100-199: only requests that read or write one of them.\n"
               "Without them it hits every request. \"run\" counts from its command on: the identification\n"
               "before it is spared.\n\n") +
           formatTable({}, rows) +
           QStringLiteral("\nExamples:\n"
                          "  mdc-bench run setProgram program=3 --fault no-answer\n"
                          "  mdc-bench run getInfo --fault late=5000@1\n"
                          "  mdc-bench restore FILE --presets 3 --fault 'exception=2@once/0x06#117'\n");
}

QString simulationError(const GeneralOptions& general)
{
    if (!general.profile.isEmpty() && !ControllerProfile::byName(general.profile))
        return QStringLiteral("there is no profile \"%1\"; there are:\n%2")
            .arg(general.profile, profileList());
    for (const QString& text : general.faults) {
        QString error;
        if (!Fault::parse(text, &error))
            return QStringLiteral("--fault: %1").arg(error);
    }
    return {};
}
