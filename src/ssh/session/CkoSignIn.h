#pragma once

#include "ssh/session/CkoSshKey.h"

#include <string>
#include <vector>

namespace ssh {

// The answer to a prompt of the server, which is found by its exact text.
struct CkoAnswer {
    std::string prompt;
    std::string answer;
};

// All that a login may show. A server may want several methods one after the other, such as a key and then a
// code: each gets what is here for it.
struct CkoSignIn {
    std::vector<CkoSshKey> keys; // Tried in this order.
    std::string password; // Not sent when it is empty, and once at most.
    std::vector<CkoAnswer> answers; // Each is used once.
};

// A prompt of the server that a login had no answer to. All texts come from the server.
struct CkoPrompt {
    std::string text;
    std::string instruction; // What the server says besides.
    bool shown = false; // The answer may be seen while it is typed.
    bool asksPassword = false; // The user's password.
};

// What a person could add to a login that failed. Without any prompt there is nothing to ask for.
struct CkoRefusal {
    std::vector<CkoPrompt> unanswered;
    bool passwordRefused = false;
};

} // namespace ssh
