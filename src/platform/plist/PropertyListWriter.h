#pragma once

#include "platform/plist/Value.h"

#include <string>

namespace platform::propertylist {

// Reals read back exactly; dates are cut to whole seconds. A character that XML can't carry (most control
// characters, a byte that isn't UTF-8) becomes U+FFFD, so that the file can be read in any case. A null is
// left out of a dictionary and becomes an empty text in an array.
std::string toXml(const Value&);

} // namespace platform::propertylist
