#include "diagnostics/Exception.h"

#include "diagnostics/ThrowRecorder.h"

#include <fmt/format.h>

#include <cstdlib>
#include <cxxabi.h>
#include <dlfcn.h>
#include <memory>

namespace diagnostics {

namespace {

std::string demangled(const char* symbol)
{
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> name(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), std::free);
    return status == 0 && name ? name.get() : symbol;
}

std::string frameText(std::size_t number, void* address)
{
    Dl_info info{};
    if (!dladdr(address, &info) || !info.dli_fname)
        return fmt::format("{:<3} ? {:#018x} ?", number, reinterpret_cast<std::uintptr_t>(address));
    const std::string_view path = info.dli_fname;
    const std::string_view module = path.substr(path.rfind('/') + 1);
    const bool named = info.dli_sname && info.dli_saddr;
    const auto base = reinterpret_cast<std::uintptr_t>(named ? info.dli_saddr : info.dli_fbase);
    const auto place = reinterpret_cast<std::uintptr_t>(address);
    return fmt::format("{:<3} {} {:#018x} {} + {}", number, module, place,
        named ? demangled(info.dli_sname) : std::string(module), place - base);
}

} // namespace

namespace {

std::vector<std::string> symbolsOf(const Frames& frames)
{
    std::vector<std::string> symbols;
    for (std::size_t i = 1; i < frames.count; ++i) // The first is the function that took the stack.
        symbols.push_back(frameText(i - 1, frames.addresses[i]));
    return symbols;
}

} // namespace

std::vector<std::string> callStackSymbols()
{
    Frames frames;
    frames.take();
    return symbolsOf(frames);
}

Exception currentException()
{
    const Frames& thrown = framesOfLastThrow();
    Exception described{"unknown", "", thrown.count > 0 ? symbolsOf(thrown) : callStackSymbols()};
    if (const std::type_info* type = abi::__cxa_current_exception_type())
        described.name = demangled(type->name());
    try {
        throw;
    } catch (const std::exception& exception) {
        described.reason = exception.what();
    } catch (...) {
        described.reason = "no reason was given";
    }
    return described;
}

} // namespace diagnostics
