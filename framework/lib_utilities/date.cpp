#include <lib_utilities/date.h>

#include <QDateTime>
#include <QLocale>

QString getDate()
{
    // A date's own toString writes the digits of the system's language.
    return QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
}
