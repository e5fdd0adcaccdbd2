#include "model/platform.h"

#include <QFileDevice>

#include <io.h>
#include <windows.h>

namespace mdc {

bool isOwnFile(const QString& /*path*/)
{
    return true;
}

bool handToDisk(const QFileDevice& file)
{
    // The number is -1 for a file that is not open, and so is the handle then.
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(file.handle()));
    return handle != INVALID_HANDLE_VALUE && FlushFileBuffers(handle) != 0;
}

} // namespace mdc
