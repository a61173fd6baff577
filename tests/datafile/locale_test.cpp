#include "arrays/sv/SVTransform3D.h"
#include "datafile/SVDataFile.h"

#include "datafile/datafile_testing.h"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale>

using namespace svtest;

// From the leak sanitizer, if it is linked in. The C library never frees its copy of LOCPATH.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

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

TEST_F(CommaLocale, ReadsNumbersWithAPoint)
{
    const auto fileWith = [&](const std::string& bytes) {
        store(folder_ / "text", bytes);
        return SVFile(folder_ / "text", SVFile::ReadOnly);
    };
    bool failed = true;
    bool endOfLine = false;
    SVFile table = fileWith("1.5,-2.25e-1\n");
    EXPECT_EQ(table.ReadNumberWithSeparator(',', failed, endOfLine), 1.5);
    EXPECT_EQ(table.ReadNumberWithSeparator(',', failed, endOfLine), -0.225);
    EXPECT_TRUE(endOfLine && !failed);
    SVMutableDoubleArray doubles(3);
    EXPECT_TRUE(fileWith("0.5 1,5").ReadAscii(doubles)); // The comma ends a number.
    EXPECT_THAT(valuesOf<double>(doubles), ElementsAre(0.5, 1, 5));
    SVMutableFloatArray floats(2);
    EXPECT_TRUE(fileWith("x 0.25 1.5e1").ReadAscii(floats));
    EXPECT_THAT(valuesOf<float>(floats), ElementsAre(0.25, 15));
    EXPECT_EQ(fileWith("t = 0.75 s").ReadAsciiNumber(), 0.75);
    EXPECT_EQ(std::strtod("0,5", nullptr), 0.5); // The program keeps its locale.
}

TEST_F(CommaLocale, ListsAndPrintsNumbersWithAPoint)
{
    SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
    file.Save(0.5, "x");
    file.Save(1234567, "i");
    EXPECT_NE(file.Listing().find(" - double - 0.5\n"), std::string::npos) << file.Listing();
    EXPECT_NE(file.Listing().find(" -    int - 1234567\n"), std::string::npos);
    SVMutableDoubleArray A(1234);
    A = 2.5;
    EXPECT_EQ(printedBy([&] { A.pinfo(); }), "double vector with 1234 entries\n");
    EXPECT_EQ(printedBy([&] { A.prange(0, 1); }), "2.5, 2.5\n");
    EXPECT_EQ(printedBy([&] { SVTransform3D::Scale(0.5, 1, 1).pinfo(); }).substr(0, 4), "0.5,");
    EXPECT_EQ(reportsOf([&] { A(12345); }).at(0).substr(0, 20), "SVDoubleArray(12345)");
}

} // namespace
