#pragma once

#include <string>
#include <string_view>

namespace temporary {

// The name under which a download is kept: the one that the answer's header "Content-Disposition" gives, else
// the last part of the URL. It is a bare name that any folder takes, whatever the server says. Any thread.
std::string suggestedName(std::string_view contentDisposition, std::string_view url);

} // namespace temporary
