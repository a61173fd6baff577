#include "arrays/sv/SVTransform3D.h"
#include "datafile/SVDataFile.h"

#include "datafile/comma_locale.h"

using namespace svtest;

namespace {

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
