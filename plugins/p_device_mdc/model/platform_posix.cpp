#include "model/platform.h"

#include <QFileDevice>

#include <unistd.h>

namespace mdc {

bool handToDisk(const QFileDevice& file)
{
    return fsync(file.handle()) == 0;
}

} // namespace mdc
