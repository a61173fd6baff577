#include "apps/desktop/Libraries.h"

#include <QtGlobal>
#include <curl/curlver.h>
#include <expat.h>
#include <fmt/core.h>
#include <gcrypt.h>
#include <zlib.h>

namespace {

constexpr int kDigitsOfAPart = 100; // FMT_VERSION has two decimal digits for each part.

} // namespace

std::vector<AboutWindow::Library> librariesOfThisProgram()
{
    const std::string expat =
        fmt::format("{}.{}.{}", XML_MAJOR_VERSION, XML_MINOR_VERSION, XML_MICRO_VERSION);
    const std::string fmtVersion = fmt::format("{}.{}.{}", FMT_VERSION / kDigitsOfAPart / kDigitsOfAPart,
        FMT_VERSION / kDigitsOfAPart % kDigitsOfAPart, FMT_VERSION % kDigitsOfAPart);
    return {
        {"Qt", qVersion(), "LGPL-3.0-only"},
        {"QCustomPlot", QCUSTOMPLOT_VERSION, "GPL-3.0-or-later"},
        {"Libgcrypt", GCRYPT_VERSION, "LGPL-2.1-or-later"},
        {"libcurl", LIBCURL_VERSION, "curl"},
        {"zlib", ZLIB_VERSION, "Zlib"},
        {"Expat", expat, "MIT"},
        {"fmt", fmtVersion, "MIT"},
    };
}
