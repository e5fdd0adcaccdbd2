#include "log_line.h"

#include <lib_utilities/date.h>

#include <QThread>

namespace mdc {

namespace {

// All sources of the plug-in stand in this one folder.
const char* const c_sourceFolder = "plugins/p_device_mdc/source/";
const char* const c_separator = ";\t";

} // namespace

QDebug logCritical(const QObject* object, const SourcePlace& place)
{
    const QMessageLogger logger(place.file_name(), static_cast<int>(place.line()), place.function_name());
    return logger.critical().noquote()
           << "\n"
           << getDate() << c_separator << "Thread =" << QThread::currentThread() << c_separator
           << "This =" << static_cast<const void*>(object) << c_separator << logSourceName(place.file_name())
           << c_separator << place.line() << c_separator;
}

QString logSourceName(const char* filePath)
{
    QString name = QString::fromUtf8(filePath);
    name.replace(QLatin1Char('\\'), QLatin1Char('/'));
    name = name.mid(name.lastIndexOf(QLatin1Char('/')) + 1);
    const int extension = name.lastIndexOf(QLatin1Char('.'));
    if (extension >= 0)
        name.truncate(extension);
    return QLatin1String(c_sourceFolder) + name;
}

} // namespace mdc
