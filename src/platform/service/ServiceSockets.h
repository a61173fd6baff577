#pragma once

#include "platform/files/Descriptor.h"

#include <string>

namespace platform {

// The sockets behind the names of services: files in a folder that belongs to this user alone.
namespace servicesockets {

struct Listener {
    Descriptor folder;
    Descriptor lock; // Held as long as the name is; it tells a living service from a file that was left.
    Descriptor socket;
    std::string fileName;
};

// Without a socket when the name is taken, or can't be had.
Listener listen(const std::string& name);
void stopListening(Listener&);
// Both give a socket that doesn't block, and whose other side runs as the same user; else an empty one.
Descriptor connect(const std::string& name, double limitInSeconds);
// Tells through hasMore whether to ask again; it is false when nobody waits, or there is no descriptor left.
Descriptor accept(const Listener&, bool& hasMore, bool& isOutOfDescriptors);

} // namespace servicesockets
} // namespace platform
