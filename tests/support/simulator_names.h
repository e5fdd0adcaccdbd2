#pragma once

#include "applications/simulator/controller_profile.h"
#include "applications/simulator/fault_plan.h"

#include <QString>
#include <QStringList>

// What tables about the simulator are kept by.

inline QStringList faultNames()
{
    QStringList names;
    for (const FaultDescription& fault : faultDescriptions())
        names.append(QString::fromLatin1(fault.name));
    return names;
}

// "late" of "late=50@once", whether or not there is such a fault.
inline QString faultName(const QString& text)
{
    int end = 0;
    while (end < text.size() && !QStringLiteral("=@/#").contains(text.at(end)))
        ++end;
    return text.left(end);
}

inline QStringList faultNamesOf(const QStringList& texts)
{
    QStringList names;
    for (const QString& text : texts)
        names.append(faultName(text));
    return names;
}

inline QStringList profileNames()
{
    QStringList names;
    const QList<ControllerProfile> profiles = ControllerProfile::all();
    for (const ControllerProfile& profile : profiles)
        names.append(profile.name);
    return names;
}
