#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// A growing string of UTF-8 bytes for text that is parsed or written in bulk. Lengths and positions count
// bytes. What it holds is followed by a zero byte. One thread at a time.
//
// A string that is made from bytes or from another string is read-only until setMutable(). That is a mark for
// the callers: an operation that changes a read-only string leaves a message without text and works all the
// same; prepareForCapacity() and underlyingUTF8String() refuse it with a report.
class KRUTF8String {
public:
    using Pointer = std::shared_ptr<KRUTF8String>;

    static Pointer createEmptyUTF8String(); // Mutable.
    static Pointer createWithCapacity(std::int64_t capacity); // Mutable, with room for so many bytes.
    static Pointer createWithString(std::string_view text);
    // Null for null bytes, with the report "Nil". A negative length counts as 0.
    static Pointer createWithBytes(const char* bytes, std::int64_t length);

    KRUTF8String() = default; // As createEmptyUTF8String().
    KRUTF8String(const KRUTF8String&) = delete;
    KRUTF8String& operator=(const KRUTF8String&) = delete;

    Pointer copy() const; // Read-only, with bytes of its own.
    bool isMutable() const { return isMutable_; }
    void setMutable(bool isMutable) { isMutable_ = isMutable; }

    // Makes room for exactly so many bytes and the zero byte; the content stays. Reports "Invalid capacity"
    // for more than 64 GiB, or than the machine has, and changes nothing.
    void prepareForCapacity(std::int64_t capacity);
    // The bytes for writing in place, up to the capacity: set the length afterwards. Null for a string
    // without room.
    char* underlyingUTF8String();
    // Reports "Invalid length" for one that is negative or has no room, and changes nothing.
    void resetLength(std::int64_t length);

    // Null bytes are reported as "Nil" and change nothing.
    void replaceContentWith(const char* bytes, std::int64_t length);
    void replaceWithString(std::string_view text);
    void replaceWithUTF8(const char* text); // Up to its zero byte.
    void clear(); // The room stays.

    std::int64_t length() const { return lengthOfString_; }
    std::string asString() const; // "<invalid>" for what isn't valid UTF-8.
    const char* UTF8String() const { return pointer_ ? pointer_.get() : ""; } // Never null.
    const char* UTF8StringAndLength(std::int64_t& length) const;
    std::string_view view() const { return {UTF8String(), static_cast<std::size_t>(lengthOfString_)}; }
    // "(empty description)", the text, or "string with %d characters" above 1000 bytes.
    std::string description() const;

    Pointer utf8StringByAppendingString(std::string_view text) const;
    // Beyond the end is cut.
    Pointer utf8SubstringToIndex(std::int64_t index) const;
    Pointer utf8SubstringFromIndex(std::int64_t index) const;
    Pointer utf8SubstringWithRange(std::int64_t location, std::int64_t length) const;

    // A character of 7 bits; others are reported and left out.
    void appendCharacter(char character);
    // Null bytes add nothing. The bytes may be the string's own.
    void appendUTF8(const char* text);
    void appendUTF8(const char* bytes, std::int64_t length);
    void appendString(std::string_view text);
    void appendUTFString(const KRUTF8String& text) { appendString(text.view()); }
    // A value between separators: one with a comma, a semicolon or a double quote is put between double
    // quotes, and its quotes are doubled. Other values, also those with line ends, are added as they are.
    void appendUTF8ForCSV(const char* bytes, std::int64_t length);
    void appendInteger(std::int64_t number);
    // 15 significant digits, in the form of the number formatters.
    void appendDouble(double number);

    void removeCharacterFromEnd(char character); // The last character, if it is this one.
    void removeQuotes(); // A double quote at the start and one at the end, if both are there.
    void replaceDoubleQuoteWithSingleQuote(); // Each pair of double quotes by one.
    void replaceCharacter(char character, std::string_view withString);

    bool isEqual(const KRUTF8String& other) const { return view() == other.view(); }
    bool isEqualToUTF8(const char* text) const { return text && view() == text; }
    bool hasPrefixUTF8(const char* prefix) const { return prefix && view().starts_with(prefix); }
    // -1 where there is none.
    std::int64_t locationOfCharacter(char character) const;
    std::int64_t locationOfUTF8String(const char* text) const { return locationOfUTF8String(text, 0); }
    std::int64_t locationOfUTF8String(const char* text, std::int64_t startAt) const;

private:
    void markChange() const;
    char* roomForMore(std::size_t count);
    void moveTo(std::size_t capacity);
    void setLength(std::size_t length);

    std::unique_ptr<char[]> pointer_;
    std::int64_t lengthOfPointer_ = 0; // The room in bytes, the zero byte's included.
    std::int64_t lengthOfString_ = 0;
    bool isMutable_ = true;
};
