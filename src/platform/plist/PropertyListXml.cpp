// The XML form, read through a plain XML parser. The packaged property-list libraries are unsafe for files
// from outside: they read "12a" as 12, misread dates beyond 2069, and take minutes for a text full of
// entities.

#include "platform/plist/PropertyListXml.h"

#include "platform/Utf8.h"
#include "platform/plist/PropertyListLimits.h"
#include "platform/plist/PropertyListTexts.h"

#include <expat.h>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <vector>

namespace platform::propertylist {

namespace {

// The elements whose content is a text, and how it becomes a value.
struct Leaf {
    std::string_view element;
    std::optional<Value> (*read)(std::string_view text);
    std::string_view kind; // For the complaint.
};
constexpr Leaf kLeaves[] = {
    {"string", [](std::string_view text) { return std::optional(Value(text)); }, ""},
    {"integer", integerFromText, "whole number"},
    {"real", realFromText, "number"},
    {"date", dateFromText, "date"},
    {"data", dataFromText, "data"},
    {"true", [](std::string_view) { return std::optional(Value(true)); }, ""},
    {"false", [](std::string_view) { return std::optional(Value(false)); }, ""},
};

const Leaf* findLeaf(std::string_view element)
{
    for (const Leaf& leaf : kLeaves)
        if (leaf.element == element)
            return &leaf;
    return nullptr;
}

std::string_view beginning(std::string_view text)
{
    text = text.substr(0, 40);
    return text.substr(0, utf8::firstInvalidByte(text).value_or(text.size()));
}

class XmlReader {
public:
    explicit XmlReader(Encoding encoding)
        : parser_(XML_ParserCreate(encoding == Encoding::Utf8 ? "UTF-8" : nullptr), &XML_ParserFree)
    { }

    Result<Value> read(std::string_view text)
    {
        XML_Parser parser = parser_.get();
        if (!parser)
            return Error{"there is no memory left to read it"};
        XML_SetUserData(parser, this);
        XML_SetElementHandler(parser, &XmlReader::onStart, &XmlReader::onEnd);
        XML_SetCharacterDataHandler(parser, &XmlReader::onText);
        XML_SetStartDoctypeDeclHandler(parser, &XmlReader::onDoctype);
        XML_SetSkippedEntityHandler(parser, &XmlReader::onUnknownEntity);
        const bool parsed =
            XML_Parse(parser, text.data(), static_cast<int>(text.size()), XML_TRUE) == XML_STATUS_OK;
        if (!complaint_.empty())
            return Error{complaint_};
        if (!parsed)
            return Error{complaintOfParser()};
        if (!root_)
            return Error{"there is no value in it"};
        return std::move(*root_);
    }

private:
    struct Container {
        bool isDictionary = false;
        Value::Dictionary members;
        Value::Array elements;
        std::optional<std::string> key; // Read, and waiting for its value.
    };

    // The parser is C and must not see an exception.
    template <typename Work>
    void guarded(Work work)
    {
        if (!complaint_.empty())
            return;
        try {
            work();
        } catch (const std::bad_alloc&) {
            complain("there is no memory left to read it");
        } catch (const std::length_error&) {
            complain("there is no memory left to read it");
        }
    }

    static void onStart(void* self, const char* name, const char**)
    {
        auto* reader = static_cast<XmlReader*>(self);
        reader->guarded([&] { reader->start(name); });
    }
    static void onEnd(void* self, const char* name)
    {
        auto* reader = static_cast<XmlReader*>(self);
        reader->guarded([&] { reader->end(name); });
    }
    static void onText(void* self, const char* text, int length)
    {
        auto* reader = static_cast<XmlReader*>(self);
        reader->guarded([&] { reader->text({text, static_cast<std::size_t>(length)}); });
    }
    static void onDoctype(void* self, const char*, const char*, const char*, int hasInternalSubset)
    {
        auto* reader = static_cast<XmlReader*>(self);
        // With entities of its own a small file can expand to a huge text.
        if (hasInternalSubset)
            reader->guarded([&] { reader->complain("it defines a document type of its own"); });
    }

    static void onUnknownEntity(void* self, const char* name, int)
    {
        auto* reader = static_cast<XmlReader*>(self);
        // With an external document type, which is never read, the parser would skip the unknown entity.
        reader->guarded([&] { reader->complain(fmt::format("nothing tells what &{}; means", name)); });
    }

    void start(std::string_view name)
    {
        if (isInLeaf_)
            return complain(fmt::format("<{}> stands inside of a value", name));
        if (name == "plist")
            return containers_.empty() && !isInPlist_ && !root_ ? void(isInPlist_ = true)
                                                                : complain("a second <plist>");
        const bool isContainer = name == "dict" || name == "array";
        if (name == "key") {
            if (containers_.empty() || !containers_.back().isDictionary || containers_.back().key)
                return complain("a <key> where a value belongs");
        } else {
            if (!isContainer && !findLeaf(name))
                return complain(fmt::format("<{}> is no part of a property list", name));
            if (!hasPlaceForValue())
                return;
            if (++count_ > kMostValues)
                return complain("more values than anybody can mean");
        }
        if (!isContainer) {
            isInLeaf_ = true;
            text_.clear();
            return;
        }
        if (containers_.size() >= kDeepestNesting)
            return complain(fmt::format("nested more than {} levels deep", kDeepestNesting));
        containers_.emplace_back();
        containers_.back().isDictionary = name == "dict";
    }

    bool hasPlaceForValue()
    {
        if (containers_.empty() && root_)
            complain("a second value beside the first");
        else if (!containers_.empty() && containers_.back().isDictionary && !containers_.back().key)
            complain("a value without a <key> before it");
        return complaint_.empty();
    }

    void end(std::string_view name)
    {
        if (name == "plist")
            return;
        if (name == "key") {
            isInLeaf_ = false;
            containers_.back().key = std::move(text_);
            return;
        }
        if (isInLeaf_) {
            isInLeaf_ = false;
            const Leaf* leaf = findLeaf(name);
            auto value = leaf->read(text_);
            if (!value)
                return complain(fmt::format("\"{}\" is no {}", beginning(text_), leaf->kind));
            return add(std::move(*value));
        }
        Container finished = std::move(containers_.back());
        containers_.pop_back();
        if (finished.key)
            return complain(fmt::format("the key \"{}\" has no value", *finished.key));
        add(finished.isDictionary ? Value(std::move(finished.members)) : Value(std::move(finished.elements)));
    }

    void text(std::string_view piece)
    {
        if (isInLeaf_)
            text_.append(piece);
        else if (piece.find_first_not_of(" \t\r\n") != std::string_view::npos)
            complain("a text that is in no value");
    }

    void add(Value value)
    {
        if (containers_.empty()) {
            root_ = std::move(value);
        } else if (Container& parent = containers_.back(); parent.isDictionary) {
            parent.members.insert_or_assign(std::move(*parent.key), std::move(value));
            parent.key.reset();
        } else {
            parent.elements.push_back(std::move(value));
        }
    }

    void complain(std::string_view what)
    {
        complaint_ = fmt::format("line {}: {}", XML_GetCurrentLineNumber(parser_.get()), what);
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    std::string complaintOfParser() const
    {
        const XML_Error error = XML_GetErrorCode(parser_.get());
        const auto line = XML_GetCurrentLineNumber(parser_.get());
        switch (error) {
        case XML_ERROR_NO_ELEMENTS:
        case XML_ERROR_UNCLOSED_TOKEN:
        case XML_ERROR_UNCLOSED_CDATA_SECTION:
        case XML_ERROR_PARTIAL_CHAR:
            return fmt::format("it ends in the middle, at line {}", line);
        case XML_ERROR_INVALID_TOKEN:
            return fmt::format("line {}: bytes that are neither UTF-8 nor XML", line);
        default:
            return fmt::format("line {}: {}", line, XML_ErrorString(error));
        }
    }

    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser_;
    std::vector<Container> containers_;
    std::optional<Value> root_;
    std::string text_; // Of the leaf or key that is open.
    std::string complaint_;
    std::uint64_t count_ = 0;
    bool isInPlist_ = false;
    bool isInLeaf_ = false;
};

} // namespace

Result<Value> parseXml(std::string_view text, Encoding encoding)
{
    return XmlReader(encoding).read(text);
}

} // namespace platform::propertylist
