#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Two scanners that read one object out of the text of a project file by hand, without a property-list
// parser: for a piece of a project when the whole isn't there. Texts are kept unchanged, with the quotation
// marks around them. Any thread.

// Where a path begins, as told by "sourceTree".
namespace xcodepathtype {
constexpr int kGroup = 1;
constexpr int kAbsolute = 2;
constexpr int kSourceRoot = 3;
constexpr int kDeveloperDir = 4;
constexpr int kProductsOrSdk = 5;
} // namespace xcodepathtype

struct XCodeFileGroup {
    std::string idName;
    std::optional<std::string> path;
    std::optional<std::string> name;
    int type = 0; // One of xcodepathtype.
    std::vector<std::string> children; // Identifiers of 24 characters.

    // The text of one group, from its identifier to its closing "};". Nothing for anything else.
    static std::optional<XCodeFileGroup> fromFileDescription(std::string_view text);
};

struct XCodeFileEntry {
    std::string idName;
    std::optional<std::string> path;
    std::optional<std::string> name;
    int type = 0; // One of xcodepathtype.
    const XCodeFileGroup* insideGroup = nullptr; // Borrowed.

    // The text of one file reference, a line from its identifier to its closing "};". Nothing for anything
    // else.
    static std::optional<XCodeFileEntry> fromFileRefrence(std::string_view text);
};
