#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace platform {

// MD5 of a stream of bytes (RFC 1321). One thread at a time.
class Md5 {
public:
    Md5();
    ~Md5();
    void update(const void* bytes, std::size_t count);
    // 32 lower-case hexadecimal digits; nothing on a machine that is set up to refuse MD5. The object takes
    // no more bytes afterwards.
    std::optional<std::string> hexDigest();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace platform
