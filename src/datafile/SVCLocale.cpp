#include "datafile/SVCLocale.h"

namespace {

// Made once and kept: making one takes longer than reading a number. Null without memory for it; uselocale()
// then changes nothing.
locale_t cLocale()
{
    static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

} // namespace

SVCLocale::SVCLocale() : before_(::uselocale(cLocale())) { }

SVCLocale::~SVCLocale()
{
    ::uselocale(before_);
}
