#pragma once

#include <lib_host/configuration.h>

#include <QStringList>

// Everything that is wrong with a configuration, a line each: what a test of a configuration that must be
// good says before anything that follows from it.
inline QString errorText(const QList<DConfigurationError>& errors)
{
    QStringList texts;
    for (const DConfigurationError& error : errors)
        texts.append(error.toString());
    return texts.join(QLatin1Char('\n'));
}
