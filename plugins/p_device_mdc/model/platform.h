#pragma once

#include <QString>

class QFileDevice;

namespace mdc {

// Is the file of this path this user's? Where owners are not asked for it is.
bool isOwnFile(const QString& path);

// Hands what was written to an open file to the disk, from which a power cut takes nothing. False when the
// system cannot. By itself, since the libraries of another host have no such function.
bool handToDisk(const QFileDevice& file);

} // namespace mdc
