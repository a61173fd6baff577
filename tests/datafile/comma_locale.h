#pragma once

#include "datafile/datafile_testing.h"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale>

// From the leak sanitizer, if it is linked in. The C library never frees its copy of LOCPATH.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace svtest {

// A program with a locale that has a decimal comma, as a program with windows takes it from its user. If the
// machine doesn't have the locale, the test compiles it.
class CommaLocale : public testing::Test {
protected:
    void SetUp() override
    {
        if (__lsan_disable)
            __lsan_disable();
        setCommaLocale();
        if (__lsan_enable)
            __lsan_enable();
    }
    void setCommaLocale()
    {
        const std::string command =
            "localedef -i de_DE -f UTF-8 '" + folder_ / "de_DE.UTF-8" + "' 2>/dev/null";
        if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) {
            ASSERT_EQ(std::system(command.c_str()), 0) << "there is no locale with a comma and no localedef";
            ::setenv("LOCPATH", (folder_ / ".").c_str(), 1);
        }
        std::locale::global(std::locale("de_DE.UTF-8"));
        char text[8];
        std::snprintf(text, sizeof text, "%g", 0.5);
        ASSERT_STREQ(text, "0,5");
    }
    void TearDown() override
    {
        std::locale::global(std::locale::classic());
        ::unsetenv("LOCPATH");
    }

    ScratchFolder folder_;
};

} // namespace svtest
