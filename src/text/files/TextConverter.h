#pragma once

#include "platform/Result.h"

#include <memory>
#include <string>
#include <string_view>

// Turns text in another encoding into UTF-8, piece by piece. One thread at a time.
class TextConverter {
public:
    // The encoding by a name that iconv knows. A failure when this machine doesn't have it.
    static platform::Result<TextConverter> open(const char* encoding);

    // Appends the text of the bytes and returns how many of them were taken: a character that is torn at the
    // end waits for more. A character that isn't valid becomes U+FFFD.
    std::size_t convert(std::string_view bytes, std::string& text);

private:
    struct Close {
        void operator()(void* handle) const;
    };
    explicit TextConverter(void* handle) : handle_(handle) { }
    std::unique_ptr<void, Close> handle_;
};
