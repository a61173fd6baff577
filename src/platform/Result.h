#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace platform {

// Why something failed, in words for a person. The words of a peer have been through `printable` first.
struct Error {
    std::string text;
};

// Success, or the reason why not.
class [[nodiscard]] Status {
public:
    Status() = default;
    Status(Error error) : error_(std::move(error)) { }
    bool ok() const { return !error_; }
    const Error& error() const { return *error_; }

private:
    std::optional<Error> error_;
};

// A value, or the reason why there is none.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : content_(std::move(value)) { }
    Result(Error error) : content_(std::move(error)) { }
    bool ok() const { return content_.index() == 0; }
    const Error& error() const { return std::get<1>(content_); }
    T& operator*() { return std::get<0>(content_); }
    const T& operator*() const { return std::get<0>(content_); }
    T* operator->() { return &std::get<0>(content_); }
    const T* operator->() const { return &std::get<0>(content_); }

private:
    std::variant<T, Error> content_;
};

} // namespace platform
