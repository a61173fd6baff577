#include "arrays/sv/SVTransform3D.h"
#include "datafile/SVDataFile.h"

#include "datafile/datafile_testing.h"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale>

using namespace svtest;

// Of the leak sanitizer, where it is linked in: the C library never frees what it makes of LOCPATH.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

// A program whose locale writes numbers with a decimal comma, as one with windows takes it from its user. The
// locale is compiled when the machine doesn't have it.
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

    SVFile fileWith(const std::string& bytes)
    {
        store(folder_ / "text", bytes);
        return SVFile(folder_ / "text", SVFile::ReadOnly);
    }

    ScratchFolder folder_;
};

TEST_F(CommaLocale, ReadsNumbersWithAPoint)
{
    bool failed = true;
    bool endOfLine = false;
    SVFile table = fileWith("1.5,-2.25e-1 , 3\n");
    EXPECT_EQ(table.ReadNumberWithSeparator(',', failed, endOfLine), 1.5);
    EXPECT_FALSE(failed);
    EXPECT_EQ(table.ReadNumberWithSeparator(',', failed, endOfLine), -0.225);
    EXPECT_EQ(table.ReadNumberWithSeparator(',', failed, endOfLine), 3);
    EXPECT_TRUE(endOfLine && !failed);

    SVMutableDoubleArray doubles(3);
    EXPECT_TRUE(fileWith("0.5 1,5").ReadAscii(doubles)); // The comma ends a number.
    EXPECT_EQ(shown<double>(doubles), "3x1x1: 0,5 1 5");
    SVMutableFloatArray floats(2);
    EXPECT_TRUE(fileWith("x 0.25 1.5e1").ReadAscii(floats));
    EXPECT_EQ(floats(0) + floats(1), 15.25F);
    EXPECT_EQ(fileWith("t = 0.75 s").ReadAsciiNumber(), 0.75);
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "de_DE.UTF-8"); // As the program has set it.
    EXPECT_EQ(std::strtod("0,5", nullptr), 0.5);
}

TEST_F(CommaLocale, ListsAndPrintsNumbersWithAPoint)
{
    SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
    WriteOne(file, "x", 0.5);
    file.Save(1234567, "i");
    EXPECT_EQ(file.ReadNumber("x"), 0.5);
    EXPECT_EQ(file.ReadString("Seq_x"), "Real Number");
    const std::string listing = file.Listing();
    EXPECT_NE(listing.find(" - double - 0.5\n"), std::string::npos) << listing;
    EXPECT_NE(listing.find(" -    int - 1234567\n"), std::string::npos) << listing;
    SVMutableDoubleArray A(1234);
    A = 2.5;
    EXPECT_EQ(printedBy([&] { A.pinfo(); }), "double vector with 1234 entries\n");
    EXPECT_EQ(printedBy([&] { A.prange(0, 1); }), "2.5, 2.5\n");
    EXPECT_EQ(printedBy([&] { SVTransform3D::Scale(0.5, 1, 1).pinfo(); }).substr(0, 4), "0.5,");
    EXPECT_THAT(reportsOf([&] { A(12345); }),
        ElementsAre("SVDoubleArray(12345) is not valid, needs to be lie in [0,1233]."));
}

} // namespace
