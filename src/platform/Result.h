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

// Success, or the reason why not. Where a failure really means nothing, say so with std::ignore.
class [[nodiscard]] Status {
public:
    Status() = default;
    Status(Error error) : error_(std::move(error)) { }
    bool ok() const { return !error_; }
    explicit operator bool() const { return ok(); }
    const Error& error() const { return *error_; } // Only on failure.

private:
    std::optional<Error> error_;
};

// A value, or the reason why there is none. E is another type where callers tell kinds of failure apart.
template <typename T, typename E = Error>
class [[nodiscard]] Result {
public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) { }
    Result(E error) : content_(std::in_place_index<1>, std::move(error)) { }
    bool ok() const { return content_.index() == 0; }
    explicit operator bool() const { return ok(); }
    const E& error() const { return std::get<1>(content_); } // Only on failure; the value only on success.
    T& operator*() { return std::get<0>(content_); }
    const T& operator*() const { return std::get<0>(content_); }
    T* operator->() { return &std::get<0>(content_); }
    const T* operator->() const { return &std::get<0>(content_); }
    // As of std::optional.
    const T& value() const { return std::get<0>(content_); }
    T value_or(T otherwise) const& { return ok() ? std::get<0>(content_) : std::move(otherwise); }
    T value_or(T otherwise) && { return ok() ? std::move(std::get<0>(content_)) : std::move(otherwise); }
    // A failure equals no value.
    template <typename U>
    friend bool operator==(const Result& result, const U& value)
    {
        return result.ok() && *result == value;
    }

private:
    std::variant<T, E> content_;
};

} // namespace platform
