#pragma once

#include "platform/plist/Value.h"

#include <functional>
#include <string>

namespace platform {

// Why a message or a call did not reach the other side.
enum class ServiceFailure { None, NotConnected, TimeLimit, PeerGone };

// Serves the operations that the other side calls; for a call that wants a reply the value is the reply.
using ServiceHandler = std::function<Value(const std::string& operation, const Value& argument)>;

} // namespace platform
