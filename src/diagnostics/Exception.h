#pragma once

#include <exception>
#include <string>
#include <vector>

namespace diagnostics {

// A thrown exception: its kind, its text, and its stack as far as that is known,
// one text a frame in the form "<number> <module> 0x<address> <symbol> + <offset>".
struct Exception {
    std::string name;
    std::string reason;
    std::vector<std::string> callStackSymbols;
};

// Describes the exception that is being handled; call it inside a catch clause. The stack is that of the last
// throw on this thread where the C++ runtime shows it, else that of the caller.
Exception currentException();

// The stack of the calling thread, the innermost frame first.
std::vector<std::string> callStackSymbols();

} // namespace diagnostics
