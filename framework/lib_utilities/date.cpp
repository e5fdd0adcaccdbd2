#include <lib_utilities/date.h>

#include <QDateTime>

QString getDate()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
}
