#pragma once

#include "platform/Result.h"
#include "platform/files/Descriptor.h"

#include <string>

namespace platform {

// The sockets behind the names of services: files in a folder that belongs to this user alone.
namespace servicesockets {

struct Listener {
    Descriptor folder;
    Descriptor lock; // Held as long as the name. It tells a living service from a left-over file.
    Descriptor socket;
    std::string fileName;
};

Result<Listener> listen(const std::string& name);
void stopListening(Listener&);
// Tries once, without waiting. The socket doesn't block, and its other side runs as the same user. An empty
// one when too many others wait to be let in: ask again later.
Result<Descriptor> connect(const std::string& name);
constexpr double kSecondsBetweenTries = 0.01;

struct Accepted {
    enum class Next { AskAgain, NobodyWaits, OutOfDescriptors };
    Descriptor socket; // As from connect(); empty when nobody was let in.
    Next next = Next::NobodyWaits;
};
Accepted accept(const Listener&); // Lets in processes of the same user alone.
Accepted acceptAnybody(const Descriptor& listening);

} // namespace servicesockets
} // namespace platform
