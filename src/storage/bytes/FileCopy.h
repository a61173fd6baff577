#pragma once

#include "diagnostics/KRProgressCPP.h"

#include <cstdint>

namespace storage {

// Copies the first bytes of an open file to the current position of another. Asks the progress now and then
// for an abort. False when not all of them were copied.
bool copyBytes(int from, int to, std::uint64_t count, const KRProgressCPP& progress);

} // namespace storage
