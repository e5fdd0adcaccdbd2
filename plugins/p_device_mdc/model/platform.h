#pragma once

class QFileDevice;

namespace mdc {

// Hands what was written to an open file to the disk, from which a power cut takes nothing. False when the
// system cannot. By itself, since the libraries of another host have no such function.
bool handToDisk(const QFileDevice& file);

} // namespace mdc
