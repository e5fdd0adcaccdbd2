#include "applications/panel/platform.h"

#include <QDir>

bool hasDisplay()
{
    return true;
}

void useSystemFonts()
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_FONTDIR"))
        qputenv("QT_QPA_FONTDIR",
                QFile::encodeName(QDir(qEnvironmentVariable("WINDIR")).filePath(QStringLiteral("Fonts"))));
}
