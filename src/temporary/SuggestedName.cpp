#include "temporary/SuggestedName.h"

#include "platform/files/FileManager.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <memory>

namespace temporary {

namespace {

constexpr const char* kNameWithoutSuggestion = "Download";
constexpr std::size_t kLongestName = 255; // Bytes, as file systems take them.

struct FreeCurlText {
    void operator()(char* text) const { curl_free(text); }
};

std::string unescaped(std::string_view text)
{
    int length = 0;
    const std::unique_ptr<char, FreeCurlText> plain(
        curl_easy_unescape(nullptr, text.data(), static_cast<int>(text.size()), &length));
    return plain ? std::string(plain.get(), static_cast<std::size_t>(length)) : std::string();
}

// The value of filename="..." (RFC 6266). The extended form with a character set is left to the URL's name.
std::string nameInDisposition(std::string_view header)
{
    constexpr std::string_view kKey = "filename=";
    const auto found = std::search(header.begin(), header.end(), kKey.begin(), kKey.end(),
        [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
    if (found == header.end())
        return {};
    const std::string_view value =
        header.substr(static_cast<std::size_t>(found - header.begin()) + kKey.size());
    if (!value.starts_with('"'))
        return std::string(value.substr(0, value.find_first_of("; \t\r\n")));
    std::string name;
    for (std::size_t at = 1; at < value.size() && value[at] != '"'; ++at) {
        at += value[at] == '\\' && at + 1 < value.size();
        name += value[at];
    }
    return name;
}

std::string nameInUrl(std::string_view url)
{
    url = url.substr(0, url.find_first_of("?#"));
    const auto scheme = url.find("://");
    const auto slash = url.rfind('/');
    if (slash == std::string_view::npos || (scheme != std::string_view::npos && slash < scheme + 3))
        return {};
    return unescaped(url.substr(slash + 1));
}

std::string bareName(const std::string& suggestion)
{
    const std::string name = suggestion.substr(suggestion.find_last_of("/\\") + 1);
    const auto isControl = [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; };
    const bool isUsable = !name.empty() && name != "." && name != ".." && name.size() <= kLongestName
        && std::none_of(name.begin(), name.end(), isControl) && platform::files::isValidUtf8(name);
    return isUsable ? name : std::string();
}

} // namespace

std::string suggestedName(std::string_view contentDisposition, std::string_view url)
{
    for (const std::string& suggestion : {nameInDisposition(contentDisposition), nameInUrl(url)})
        if (const std::string name = bareName(suggestion); !name.empty())
            return name;
    return kNameWithoutSuggestion;
}

} // namespace temporary
