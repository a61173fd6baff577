#pragma once

#include "storage/memory/DataMessage.h"

#include <string>

namespace storage {

// What a client knows of its server: "<greeting>:<password>". Without a ":", or with one as the first
// character, all of it is the password and no greeting is expected.
struct MagicCookie {
    std::string greeting;
    std::string password;
    static MagicCookie parse(const std::string& cookie);
};

// The client's side of the exchange before the first message on a TCP connection. Both sides must have the
// same byte order. The password is sent to nobody who doesn't greet as expected. A refusal is reported, a
// peer that breaks the form or goes is not.
bool shakeHands(ByteChannel& channel, const MagicCookie& cookie);

} // namespace storage
