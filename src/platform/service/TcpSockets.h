#pragma once

#include "platform/Result.h"
#include "platform/files/Descriptor.h"
#include "platform/service/ServiceSockets.h"

#include <string>

namespace platform::tcpsockets {

// Listens on a numeric address (IPv4 or IPv6) of this machine. Port 0 takes a free one.
Result<Descriptor> listen(const std::string& address, int port);
int portOf(const Descriptor& listening); // 0 when it can't be had.
// Looks the host up and tries its addresses, at most that long (seconds) in all. The socket doesn't block.
Result<Descriptor> connect(const std::string& host, int port, double limitInSeconds);
servicesockets::Accepted accept(const Descriptor& listening);

} // namespace platform::tcpsockets
