#include "platform/plist/Value.h"

#include <cmath>

namespace platform {

namespace {

// The content, to be changed: a copy if another value shares it.
template <typename Content>
Content& unshared(std::shared_ptr<Content>& content)
{
    if (content.use_count() == 1) {
        // The count alone synchronizes nothing. Taking and dropping one more share makes what the last other
        // owner, perhaps on another thread, did with the content happen before the change.
        auto share = content;
        share.reset();
    } else {
        content = std::make_shared<Content>(*content);
    }
    return *content;
}

} // namespace

Value::Value(std::string text) : content_(std::move(text)) { }

Value::Value(std::string_view text) : content_(std::string(text)) { }

Value::Value(const char* text)
{
    if (text)
        content_ = std::string(text);
}

Value::Value(bool boolean) : content_(boolean) { }

Value::Value(int number) : content_(static_cast<std::int64_t>(number)) { }

Value::Value(std::int64_t number) : content_(number) { }

Value::Value(double number) : content_(number) { }

Value::Value(Date date) : content_(date) { }

Value::Value(Data data) : content_(std::make_shared<const Data>(std::move(data))) { }

Value::Value(Array array) : content_(std::make_shared<Array>(std::move(array))) { }

Value::Value(Dictionary dictionary) : content_(std::make_shared<Dictionary>(std::move(dictionary))) { }

bool Value::isNull() const
{
    return std::holds_alternative<std::monostate>(content_);
}

const std::string* Value::text() const
{
    return std::get_if<std::string>(&content_);
}

const Value::Array* Value::array() const
{
    const auto* shared = std::get_if<std::shared_ptr<Array>>(&content_);
    return shared ? shared->get() : nullptr;
}

const Value::Dictionary* Value::dictionary() const
{
    const auto* shared = std::get_if<std::shared_ptr<Dictionary>>(&content_);
    return shared ? shared->get() : nullptr;
}

const Value::Data* Value::data() const
{
    const auto* shared = std::get_if<std::shared_ptr<const Data>>(&content_);
    return shared ? shared->get() : nullptr;
}

std::optional<Value::Date> Value::date() const
{
    const auto* held = std::get_if<Date>(&content_);
    return held ? std::optional(*held) : std::nullopt;
}

std::optional<bool> Value::boolean() const
{
    const auto* held = std::get_if<bool>(&content_);
    return held ? std::optional(*held) : std::nullopt;
}

std::optional<double> Value::number() const
{
    if (const auto* real = std::get_if<double>(&content_))
        return *real;
    if (const auto* whole = std::get_if<std::int64_t>(&content_))
        return static_cast<double>(*whole);
    if (const auto* held = std::get_if<bool>(&content_))
        return *held ? 1 : 0;
    return std::nullopt;
}

std::optional<std::int64_t> Value::integer() const
{
    if (const auto* whole = std::get_if<std::int64_t>(&content_))
        return *whole;
    if (const auto* held = std::get_if<bool>(&content_))
        return *held ? 1 : 0;
    const auto* real = std::get_if<double>(&content_);
    constexpr double kBeyond = 9223372036854775808.0; // 2 to the 63rd, the first that doesn't fit.
    if (!real || !(*real >= -kBeyond && *real < kBeyond) || std::trunc(*real) != *real)
        return std::nullopt;
    return static_cast<std::int64_t>(*real);
}

bool Value::isReal() const
{
    return std::holds_alternative<double>(content_);
}

const Value* Value::find(std::string_view key) const
{
    const Dictionary* members = dictionary();
    if (!members)
        return nullptr;
    const auto found = members->find(key);
    return found == members->end() ? nullptr : &found->second;
}

std::optional<std::string> Value::textFor(std::string_view key) const
{
    const Value* member = find(key);
    const std::string* held = member ? member->text() : nullptr;
    return held ? std::optional(*held) : std::nullopt;
}

Value::Dictionary& Value::mutableDictionary()
{
    if (!dictionary())
        content_ = std::make_shared<Dictionary>();
    return unshared(std::get<std::shared_ptr<Dictionary>>(content_));
}

Value::Array& Value::mutableArray()
{
    if (!array())
        content_ = std::make_shared<Array>();
    return unshared(std::get<std::shared_ptr<Array>>(content_));
}

bool Value::operator==(const Value& other) const
{
    if (content_.index() != other.content_.index())
        return false;
    const auto sameContent = [](const auto* left, const auto* right) {
        return left == right || *left == *right;
    };
    if (const auto* members = dictionary())
        return sameContent(members, other.dictionary());
    if (const auto* elements = array())
        return sameContent(elements, other.array());
    if (const auto* bytes = data())
        return sameContent(bytes, other.data());
    return content_ == other.content_;
}

} // namespace platform
