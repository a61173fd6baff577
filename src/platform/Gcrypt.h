#pragma once

namespace platform {

// Sets libgcrypt up for this process. Its secure memory is kept out of swap space and core dumps where the
// system allows it, and all memory is wiped when the library frees it: the library copies keys into plain
// memory too. Call this before any function of the library; all calls but the first cost next to nothing. Any
// thread. A process that has set the library up itself keeps its own settings.
void setUpGcrypt();

} // namespace platform
