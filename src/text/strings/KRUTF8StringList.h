#pragma once

#include "arrays/containers/KRArrayContainer.h"
#include "text/strings/KRUTF8String.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// A list of strings in one block, each ended by a zero byte, with the start of each: the form in which lists
// of strings lie in files. A string with a zero byte inside is cut there. At most 2 GiB of text; what would
// go beyond is reported and left out. One thread at a time.
class KRUTF8StringList {
public:
    using Pointer = std::shared_ptr<KRUTF8StringList>;
    using Bytes = KRCharacterArrayContainer;
    using Starts = KRIntArrayContainer;

    // Room for so many bytes of text.
    static Pointer createWithCapacity(std::int64_t capacity);
    // The strings of a block. It is copied. Null for null or a block of more than 2 GiB.
    static Pointer createWithBytes(const Bytes::ConstPointer& bytes);

    // The block of these strings. Null when it would have more than 2 GiB.
    static Bytes::Pointer utf8BytesFromStringList(const std::vector<std::string>& strings);
    // Where each string of a block begins: at 0 and behind each zero byte but the last one of the block. Null
    // for null or a block of more than 2 GiB.
    static Starts::Pointer computeOffsetsFromUTF8Stream(const Bytes::ConstPointer& bytes);

    KRUTF8StringList() = default;
    KRUTF8StringList(const KRUTF8StringList&) = delete;
    KRUTF8StringList& operator=(const KRUTF8StringList&) = delete;

    std::string description() const; // "string list - %d bytes - %d lines".
    void compactMemory(); // Gives back the room that isn't used.

    std::int64_t count() const { return length_; }
    std::int64_t numberOfRows() const { return length_; }
    void setNumberOfRows(std::int64_t rows); // Drops strings from the end, or adds empty ones.

    void appendEmpty() { append(std::string_view()); }
    void appendEmptyRows(std::int64_t rows);
    void append(std::string_view text);
    void append(const KRUTF8String& text) { append(text.view()); }
    void appendList(const KRUTF8StringList& list);
    void appendInteger(std::int64_t number);
    void appendDouble(double number);
    void removeLastString(); // Nothing without one.
    void trimEmptyRowsFromEnd();

    // The block, and the starts in it; null without strings. Both move when the list changes.
    const char* pointer() const;
    const std::int32_t* startPointer() const;
    std::int64_t positionInPointer() const { return position_; } // Bytes in use.
    // The block, cut to what is used. It doesn't change when the list does.
    Bytes::ConstPointer utf8ByteStream();

    // Outside reports "Out of bounds" and gives null, or leaves the string as it is.
    KRUTF8String::Pointer stringAtIndex(std::int64_t index) const;
    void copyStringAtIndex(std::int64_t index, KRUTF8String& into) const;
    // The bytes themselves, until the list changes; empty outside.
    std::string_view viewAtIndex(std::int64_t index) const;

private:
    bool isOwn(std::string_view text) const;
    bool makeRoom(std::int64_t bytes, std::int64_t strings);
    void cutTo(std::int64_t count);

    Bytes::Pointer data_;
    Starts::Pointer startOfEachLine_;
    std::int64_t position_ = 0;
    std::int64_t length_ = 0;
};
