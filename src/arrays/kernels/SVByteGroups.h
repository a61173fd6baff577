#pragma once

namespace svinternal {

// Reverses the bytes of each group of 2, 4 or 8 bytes, in place. `count` is in bytes; bytes behind the last
// whole group stay as they are.
template <int width>
void swapGroups(void* data, long count);

extern template void swapGroups<2>(void*, long);
extern template void swapGroups<4>(void*, long);
extern template void swapGroups<8>(void*, long);

} // namespace svinternal
