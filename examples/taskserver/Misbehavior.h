#pragma once

#include "platform/Result.h"
#include "platform/plist/Value.h"

#include <optional>
#include <string>

// What a server does wrong on purpose, so that clients can be tried. It happens at one message, in either
// direction, or at each.
struct Misbehavior {
    enum class Kind { None, Silent, Slow, Die, Nonsense, Forget, WrongPort };
    Kind kind = Kind::None;
    std::string message; // Empty for each.

    // "KIND" or "KIND@MESSAGE".
    static platform::Result<Misbehavior> parse(const std::string& text);
    static constexpr const char* kKinds = "silent, slow, die, nonsense, forget or wrong-port";

    bool is(Kind wanted, const std::string& at) const
    {
        return kind == wanted && (message.empty() || message == at);
    }
    // Stops, waits or ends this process if it is to.
    void happen(const std::string& at) const;
    // What nobody should believe: another value for each call.
    static platform::Value nonsense();
    // The dictionary with each of its values replaced in turn.
    static platform::Value corrupted(const platform::Value& dictionary);
};
