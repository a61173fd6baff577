#pragma once

#include <exception>
#include <string>
#include <vector>

namespace diagnostics {

// What is known of something that was thrown: its kind, what it says, and the stack as far as it is known,
// one text a frame in the form "<number> <module> 0x<address> <symbol> + <offset>".
struct Exception {
    std::string name;
    std::string reason;
    std::vector<std::string> callStackSymbols;
};

// Describes what is in flight; to be called inside a catch clause. The stack is that of the function which
// threw last on this thread, where the C++ runtime lets that be seen, else that of the caller.
Exception currentException();

// The stack of the calling thread, the innermost frame first.
std::vector<std::string> callStackSymbols();

} // namespace diagnostics
