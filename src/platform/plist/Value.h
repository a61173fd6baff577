#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace platform {

// A property-list value: nothing, text, integer, real, bool, date, data, array or dictionary. Values are
// cheap to copy: arrays and dictionaries are shared and copied on the first change. Dictionaries are ordered
// by key, so that a file written twice is the same file. Different threads may use different values that
// share content.
//
// The accessors read lists of any content: a value of the wrong kind counts as absent.
class Value {
public:
    using Array = std::vector<Value>;
    using Dictionary = std::map<std::string, Value, std::less<>>;
    using Data = std::vector<std::uint8_t>;
    struct Date {
        double secondsSince1970 = 0;
        bool operator==(const Date&) const = default;
    };

    Value() = default;
    Value(std::string text);
    Value(std::string_view text);
    Value(const char* text); // A null pointer makes a null value.
    Value(const void*) = delete; // Any pointer would convert to bool.
    Value(bool);
    Value(int);
    Value(std::int64_t);
    Value(double);
    Value(Date);
    Value(Data);
    Value(Array);
    Value(Dictionary);

    bool isNull() const;
    const std::string* text() const; // Null unless this is a text.
    const Array* array() const;
    const Dictionary* dictionary() const;
    const Data* data() const;
    std::optional<Date> date() const;
    std::optional<bool> boolean() const;
    // Integers, reals and bools; a text is no number.
    std::optional<double> number() const;
    std::optional<std::int64_t> integer() const; // A real only when it is whole and in range.
    bool isReal() const; // Tells 1.0 from 1.

    // A member of a dictionary. Null when this is no dictionary or has no such key.
    const Value* find(std::string_view key) const;
    // The text under a key; nothing when it is absent or no text.
    std::optional<std::string> textFor(std::string_view key) const;

    // For changing the content. A value of another kind becomes an empty dictionary or array first.
    Dictionary& mutableDictionary();
    Array& mutableArray();

    bool operator==(const Value&) const; // Of the same kind and the same content: 1 is not 1.0.

private:
    std::variant<std::monostate, std::string, std::int64_t, double, bool, Date, std::shared_ptr<const Data>,
        std::shared_ptr<Array>, std::shared_ptr<Dictionary>>
        content_;
};

} // namespace platform
