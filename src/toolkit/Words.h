#pragma once

#include <fmt/format.h>
#include <functional>
#include <string>
#include <utility>

namespace toolkit {

// Finds the words of the windows in the user's language. A front end sets it once, before the first window;
// without one the words stay English. Texts that are the system's own, and what stands on the disk, are never
// translated.
using Translator = std::function<std::string(const char* english)>;
void setTranslator(Translator translator);

// The English words, a literal, in the user's language. Main thread.
std::string words(const char* english);

// The same with {}, {1} or {:.1f} in the words replaced as fmt::format does. Both languages name the same
// arguments.
template <typename First, typename... Others>
std::string words(const char* english, First&& first, Others&&... others)
{
    return fmt::format(
        fmt::runtime(words(english)), std::forward<First>(first), std::forward<Others>(others)...);
}

} // namespace toolkit
