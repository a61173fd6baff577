#include "remote/project/XCodeTextScanners.h"

#include <algorithm>

namespace {

constexpr std::string_view kBegin = " = {";
constexpr std::size_t kIdentifierLength = 24;

struct PathType {
    std::string_view sourceTree;
    int type;
};
constexpr PathType kPathTypes[] = {
    {"\"<group>\"", xcodepathtype::kGroup},
    {"\"<absolute>\"", xcodepathtype::kAbsolute},
    {"SOURCE_ROOT", xcodepathtype::kSourceRoot},
    {"DEVELOPER_DIR", xcodepathtype::kDeveloperDir},
    {"BUILT_PRODUCTS_DIR", xcodepathtype::kProductsOrSdk},
    {"SDKROOT", xcodepathtype::kProductsOrSdk},
};

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator)
{
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::size_t end = text.find(separator);
        pieces.push_back(trimmed(text.substr(0, end)));
        if (end == std::string_view::npos)
            return pieces;
        text.remove_prefix(end + separator.size());
    }
}

// The text from so many characters behind the start of the marker to the last two characters.
std::optional<std::string_view> contentOf(std::string_view text, std::size_t behindMarker)
{
    const std::size_t marker = text.find(kBegin);
    if (marker == std::string_view::npos || text.size() < marker + behindMarker + 2)
        return std::nullopt;
    text.remove_prefix(marker + behindMarker);
    return text.substr(0, text.size() - 2);
}

std::optional<std::string> valueOf(const std::vector<std::string_view>& pieces, std::string_view prefix)
{
    std::optional<std::string> value;
    for (const std::string_view piece : pieces)
        if (piece.starts_with(prefix))
            value = piece.substr(prefix.size());
    return value;
}

// The three that groups and files have in common; false for an unknown source tree.
template <typename Object>
bool readCommonParts(const std::vector<std::string_view>& pieces, Object& object)
{
    object.path = valueOf(pieces, "path = ");
    object.name = valueOf(pieces, "name = ");
    const auto sourceTree = valueOf(pieces, "sourceTree = ");
    const auto* known = std::find_if(std::begin(kPathTypes), std::end(kPathTypes),
        [&](const PathType& type) { return sourceTree == type.sourceTree; });
    if (known == std::end(kPathTypes))
        return false;
    object.type = known->type;
    return true;
}

std::vector<std::string> identifiersIn(std::string_view list)
{
    if (list.starts_with('('))
        list.remove_prefix(1);
    std::vector<std::string> identifiers;
    // A comment follows each identifier, so that an item is always longer than the part that is kept.
    for (const std::string_view item : split(list, ","))
        if (item.size() > kIdentifierLength)
            identifiers.emplace_back(item.substr(0, kIdentifierLength));
    return identifiers;
}

} // namespace

std::optional<XCodeFileGroup> XCodeFileGroup::fromFileDescription(std::string_view text)
{
    const auto content = contentOf(text, kBegin.size() + 1); // A new line follows the brace.
    if (!content)
        return std::nullopt;
    XCodeFileGroup group;
    group.idName = trimmed(text.substr(0, text.find(kBegin)));
    const auto pieces = split(*content, ";\n");
    if (!readCommonParts(pieces, group))
        return std::nullopt;
    if (const auto list = valueOf(pieces, "children = "))
        group.children = identifiersIn(*list);
    return group;
}

std::optional<XCodeFileEntry> XCodeFileEntry::fromFileRefrence(std::string_view text)
{
    const std::size_t comment = text.find("/*");
    const auto content = contentOf(text, kBegin.size());
    if (!content || comment == std::string_view::npos)
        return std::nullopt;
    XCodeFileEntry entry;
    entry.idName = trimmed(text.substr(0, comment));
    if (!readCommonParts(split(*content, "; "), entry))
        return std::nullopt;
    return entry;
}
