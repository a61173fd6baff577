#include "datafile/SVMatlabDataFile.h"

#include "datafile/datafile_testing.h"

#include <algorithm>
#include <cstdlib>

using namespace svtest;

namespace {

std::string swapped(std::string bytes)
{
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

// The bytes of a matrix in the machine's order, or in the other one.
std::string matrix(int type, int rows, int columns, const std::string& name, const std::string& data,
    bool swap = false, int imaginary = 0)
{
    std::string bytes;
    for (const int field : {type, rows, columns, imaginary, static_cast<int>(name.size()) + 1})
        bytes += swap ? swapped(raw(field)) : raw(field);
    return bytes + name + '\0' + data;
}

const std::string kInvalid =
    "Reading In File Content: Invalid file format, make sure you used the -v4 in matlab.";

} // namespace

TEST(MatlabFormat, AFileOfANewerLevelIsToldAsSuch)
{
    const ScratchFolder folder;
    const std::string path = folder / "new.mat";
    const std::string newer =
        "Reading In File Content: \"" + path + "\" is a MAT-file of a newer level: save it with -v4.";
    std::string header = "MATLAB 7.3 MAT-file, Platform: GLNXA64";
    header.resize(124, ' ');
    for (const std::string& bytes :
        {header + bytesOf("00 01") + "IM", header + bytesOf("02 00") + "MI" + std::string(400, '\0'),
            bytesOf("89 48 44 46 0d 0a 1a 0a") + std::string(20, '\0')}) {
        store(path, bytes);
        const auto reports = reportsOf(
            [&] { EXPECT_TRUE(SVMatlabDataFile(path, SVFile::ReadOnly).AllVariableNames().empty()); });
        ASSERT_FALSE(reports.empty());
        EXPECT_EQ(reports.front(), newer);
    }
}

TEST(MatlabFormat, IsWrittenByteForByte)
{
    const ScratchFolder folder;
    {
        SVMatlabDataFile file(folder / "a.mat", SVFile::NewReadWrite);
        file.Save(counting<std::int16_t>(2, 1), "x");
        file.Save("Hi", "t");
        file.Save(2, "n");
        file.Save(counting<float>(1, 1, 2), "f");
        EXPECT_FALSE(file.Contains("x")); // Only after the file was opened again.
    }
    EXPECT_EQ(contentOf(folder / "a.mat"), exampleOf(DATAFILE_DOCS "/matlab-format.md"));
}

TEST(MatlabFormat, ReadsBackWhatItWrote)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.mat";
    {
        SVMatlabDataFile file(path, SVFile::NewReadWrite);
        file.Save(counting<double>(3, 4, 5), "d");
        file.Save(counting<float>(2, 3), "f");
        file.Save(counting<std::int32_t>(4, 1, 2), "i");
        file.Save(counting<std::uint16_t>(3), "us");
        file.Save(counting<unsigned char>(2, 2), "uc");
        file.Save(counting<signed char>(3), "c");
        file.Save("", "empty");
        file.Save("text", "text");
        file.Save(1, "text");
        file.Save("last", "text");
        file.ShouldSaveIndexWhenClosing();
    }
    // That index has no locations: the file was not opened again before it was written.
    EXPECT_FALSE(SVMatlabDataFile(path, SVFile::ReadOnly).Contains("d"));
    std::filesystem::remove(folder / "a.index");
    for (const bool fromIndex : {false, true}) {
        SVMatlabDataFile file(path, SVFile::ReadOnly);
        EXPECT_EQ(std::filesystem::exists(folder / "a.index"), fromIndex);
        EXPECT_EQ(shown<double>(file.ReadDoubleArray("d")), shown<double>(counting<double>(3, 4, 5)));
        EXPECT_EQ(shown<std::int32_t>(file.ReadIntArray("i")), "4x1x2: 0 1 2 3 4 5 6 7");
        EXPECT_EQ(shown<double>(file.ReadDoubleArray("f")), "2x3x1: 0 1 2 3 4 5");
        EXPECT_EQ(shown<std::int16_t>(file.ReadShortIntArray("us")), "3x1x1: 0 1 2");
        EXPECT_EQ(shown<float>(file.ReadFloatArray("uc")), "2x2x1: 0 1 2 3");
        EXPECT_EQ(shown<signed char>(file.ReadCharArray("c")), "3x1x1: 0 1 2");
        EXPECT_EQ(file.ReadString("text") + file.ReadString("empty"), "last");
        EXPECT_THAT(file.AllVariableNamesWithPrefix("d"), ElementsAre("d", "d_3D"));
        EXPECT_TRUE(file.SavedAsCharacter("uc") && file.SavedAsShort("us") && file.SavedAsInt("i"));
        EXPECT_TRUE(file.SavedAsDouble("d") && file.SavedAsString("c") && !file.SavedAsDouble("none"));
        file.SaveIndex();
    }
}

TEST(MatlabFormat, ReadsTheOtherByteOrderButForFloatsAsDoubles)
{
    const ScratchFolder folder;
    const int other = 1000; // Of a big-endian machine.
    store(folder / "b.mat",
        matrix(other + 30, 2, 1, "s", bytesOf("00 01 01 00"), true)
            + matrix(other + 10, 1, 1, "f", swapped(raw(1.5F)), true)
            + matrix(other, 1, 1, "d", swapped(raw(-4.0)), true) + matrix(other + 51, 2, 1, "t", "ab", true));
    const SVMatlabDataFile file(folder / "b.mat", SVFile::ReadOnly);
    EXPECT_THAT(valuesOf<std::int32_t>(file.ReadIntArray("s")), ElementsAre(1, 256));
    EXPECT_EQ(file.ReadFloatArray("f")(0), 1.5F);
    EXPECT_NE(file.ReadNumber("f"), 1.5);
    EXPECT_EQ(file.ReadNumber("d"), -4);
    EXPECT_EQ(file.ReadString("t"), "ab");
}

TEST(MatlabFormat, ScanStopsAtWhatIsNoMatrix)
{
    const ScratchFolder folder;
    const std::string good = matrix(0, 1, 1, "good", raw(1.0));
    const std::string unexpected = "dataFile.ReadDoubleArray(name): Unexpected variable type in the file.";
    const struct {
        const char* what;
        std::string bytes;
        std::vector<std::string> names;
        std::vector<std::string> reports;
    } cases[] = {
        {"nothing", "", {}, {}},
        {"a newer format", "MATLAB 5.0 MAT-file, Platform: GLNXA64", {}, {kInvalid}},
        {"a longer text that isn't the header of one", "MATLAB " + std::string(130, ' '), {}, {kInvalid}},
        {"element 6", good + matrix(60, 1, 1, "x", "12345678"), {"good"}, {unexpected}},
        {"element 9", good + matrix(90, 1, 1, "x", "12345678"), {"good"}, {unexpected}},
        {"negative rows", good + matrix(0, -1, 1, "x", raw(1.0)), {"good"}, {unexpected}},
        {"type 1053", good + matrix(1053, 1, 1, "x", "1"), {"good"}, {kInvalid}},
        {"no name", good + raw(0) + raw(1) + raw(1) + raw(0) + raw(0), {"good"}, {kInvalid}},
        {"rows beyond the end", good + matrix(0, 1 << 30, 1 << 30, "x", ""), {"good", "x"}, {}},
        {"an imaginary part", matrix(0, 1, 1, "c", raw(1.0) + raw(-0.1), false, 1) + good, {"c"}, {kInvalid}},
        {"sparse", matrix(2, 1, 3, "p", raw(1.0) + raw(1.0) + raw(1.0)) + good, {"good", "p"}, {}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        store(folder / "s.mat", row.bytes);
        std::vector<std::string> names;
        EXPECT_EQ(reportsOf([&] {
            names = SVMatlabDataFile(folder / "s.mat", SVFile::ReadOnly).AllVariableNames();
        }),
            row.reports);
        EXPECT_EQ(names, row.names);
    }
}

TEST(MatlabFormat, ReportsInTheWordsOfEachReader)
{
    const ScratchFolder folder;
    const std::string path = folder / "s.mat";
    store(path,
        matrix(51, 2, 1, "t", "ab") + matrix(0, 2, 2, "plain", raw(1.0) + raw(2.0) + raw(3.0) + raw(4.0))
            + matrix(0, 1, 1, "plain_3D", raw(0.0))
            + matrix(1, 1, 3, "td", raw(72.9) + raw(105.0) + raw(256.0 + 33))
            + matrix(10, 1, 1, "f", raw(1.0F)) + matrix(50, 1, 1, "u", "\xff"));
    SVMatlabDataFile file(path, SVFile::ReadOnly);
    const auto notFound = [](const std::string& word) {
        return word + ": Did not find the variable \"n\" inside the datafile.";
    };
    const struct {
        std::function<void()> call;
        std::string report;
    } cases[] = {
        {[&] { file.ReadShortIntArray("n"); }, notFound("dataFile.ReadShortIntArray(name)")},
        {[&] { file.ReadString("n"); }, notFound("dataFile.ReadString(name)")},
        {[&] { EXPECT_EQ(shown<std::int16_t>(file.ReadShortIntArray("t")), "2x1x1: 0 0"); },
            "dataFile.ReadShortArray(name): Illegal type."},
        {[&] { file.ReadUShortIntArray("td"); }, "dataFile.ReadUShortArray(name): Illegal type."},
        {[&] { file.ReadUCharArray("t"); }, "dataFile.ReadUCharArray(name): Illegal type."},
        {[&] { file.ReadCharArray("f"); }, "dataFile.ReadCharArray(name): Haven't taken care of this case."},
        {[&] { file.ReadString("f"); },
            "dataFile.ReadString(name): The variable \"f\" is not saved as a string."},
        {[&] { file.Save(1, "x"); }, "SVMatlabDataFile::Save: File is read only."},
        {[&] { SVMatlabDataFile().Save("x", "x"); }, "SVMatlabDataFile::Save: File is read only."},
        {[&] { SVMatlabDataFile(folder / "none/x", SVFile::NewReadWrite).Save("x", "x"); },
            "SVMatlabDataFile::Save: File is not open."},
        {[&] { SVMatlabDataFile(folder / "none/x", SVFile::NewReadWrite).Save(1, "x"); },
            "SVFile::WriteBinary(SVDoubleArray): No file"},
    };
    for (const auto& [call, report] : cases)
        EXPECT_EQ(reportsOf(call).back(), report);
    EXPECT_EQ(shown<double>(file.ReadDoubleArray("plain")), "2x2x1: 1 2 3 4");
    EXPECT_EQ(file.ReadString("td"), "Hi!"); // Cut to bytes.
    EXPECT_EQ(file.ReadNumber("u"), -1); // Bytes are signed,
    EXPECT_EQ(file.ReadUCharArray("u")(0), 255); // but for the reader of unsigned ones.
}

TEST(MatlabFormat, BelievesNoLyingIndex)
{
    const ScratchFolder folder;
    const std::string path = folder / "s.mat";
    store(path, matrix(0, 1, 1, "x", raw(1.0)));
    const std::string magic = bytesOf("'mat index file'");
    const auto record = [](long long location, char type, int rows, const std::string& name) {
        return raw(location) + type + raw(rows) + raw(1) + name + '\0';
    };
    const std::vector<std::string> problem{"SVMatlabDataFile::ReadContent: Index has a problem"};
    const struct {
        std::string index;
        const char* name;
        std::vector<std::string> reports;
    } cases[] = {
        {magic + record(22, 0, 1, "renamed"), "renamed", {}},
        {magic + record(22, 0, 2, "renamed"), "x", problem},
        {magic + record(22, 0, -1, "renamed"), "x", {}},
        {magic + record(22, 2, 1, "renamed"), "x", {}},
        {magic + record(22, 0, 1, ""), "x", {}},
        {"mat index fill" + record(22, 0, 1, "renamed"), "x", {}},
    };
    for (const auto& row : cases) {
        store(folder / "s.index", row.index);
        std::vector<std::string> names;
        EXPECT_EQ(reportsOf([&] { names = SVMatlabDataFile(path, SVFile::ReadOnly).AllVariableNames(); }),
            row.reports);
        EXPECT_THAT(names, ElementsAre(row.name));
    }
}

TEST(MatlabFormat, ListsWhatAFileHolds)
{
    const ScratchFolder folder;
    {
        SVMatlabDataFile file(folder / "a.mat", SVFile::NewReadWrite);
        file.Save(counting<std::int32_t>(2, 3), "m");
        file.Save(counting<unsigned char>(1), "b");
        file.Save("text", "t");
        EXPECT_NE(file.Listing().find(" - 3 entries\n"), std::string::npos);
    }
    const std::string listing = SVMatlabDataFile(folder / "a.mat", SVFile::ReadOnly).Listing();
    const std::string dots(29, '.');
    EXPECT_THAT(listing,
        testing::EndsWith("\nm" + dots + " -    int - 2 x 3 array\nb" + dots + " -  UChar - 0\nt" + dots
            + " - string - \"text\"\n"));
}

TEST(MatlabFormat, MakesNoIndexThatLies)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.mat";
    const std::string good = matrix(0, 1, 1, "x", raw(1.5));
    const struct {
        std::string bytes;
        std::vector<std::string> reports;
    } cases[] = {
        {good, {}},
        {good + matrix(-1, 1, 1, "z", ""), {kInvalid}},
        {good + matrix(60, 1, 1, "y", ""),
            {"dataFile.ReadDoubleArray(name): Unexpected variable type in the file."}},
        {matrix(1000, 1, 1, "x", swapped(raw(1.5)), true),
            {"SVDataFile::SaveIndex: An index can't be made for a file of the other byte order."}},
    };
    for (const auto& row : cases) {
        std::filesystem::remove(folder / "a.index");
        store(path, row.bytes);
        EXPECT_EQ(reportsOf([&] { SVMatlabDataFile(path, SVFile::ReadOnly).SaveIndex(); }), row.reports);
        EXPECT_EQ(std::filesystem::exists(folder / "a.index"), row.reports.empty());
        reportsOf([&] { EXPECT_EQ(SVMatlabDataFile(path, SVFile::ReadOnly).ReadNumber("x"), 1.5); });
    }
    std::filesystem::create_directory(folder / "a.index");
    store(path, good);
    SVMatlabDataFile file(path, SVFile::ReadOnly);
    for (int round = 0; round < 2; ++round) // It may be tried again.
        EXPECT_THAT(reportsOf([&] { file.SaveIndex(); }),
            ElementsAre("SVDataFile::SaveIndex: Could not create the index file"));
}

// The report of a wrong type is the same for a torn matrix.
TEST(MatlabFormat, ReportsTheTypeOfATornText)
{
    const ScratchFolder folder;
    for (const char* data : {"Hello", "Hel"}) {
        store(folder / "a.mat", matrix(51, 5, 1, "t", data));
        const SVMatlabDataFile file(folder / "a.mat", SVFile::ReadOnly);
        EXPECT_THAT(reportsOf([&] { file.ReadDoubleArray("t"); }),
            ElementsAre("dataFile.ReadDoubleArray(name): Illegal type."));
        EXPECT_THAT(
            reportsOf([&] { EXPECT_EQ(file.ReadString("t"), std::string(data) == "Hello" ? "Hello" : ""); }),
            IsEmpty());
    }
}

TEST(MatlabFormat, ReadsFilesOfOctave)
{
    const SVMatlabDataFile file(DATAFILE_SAMPLES "/octave.mat", SVFile::ReadOnly);
    EXPECT_THAT(reportsOf([&] {
        EXPECT_EQ(shown<double>(file.ReadDoubleArray("matrix")), "2x3x1: 1 4 2 5 3 6.5");
        EXPECT_EQ(shown<double>(file.ReadDoubleArray("row")), "1x3x1: 1 2 3");
        EXPECT_EQ(shown<double>(file.ReadDoubleArray("column")), "3x1x1: 1 2 3");
        EXPECT_EQ(file.ReadNumber("scalar"), -0.125);
        EXPECT_EQ(file.ReadString("text"), "Level 4");
        EXPECT_TRUE(file.ReadDoubleArray("nothing").IsEmpty());
        EXPECT_TRUE(file.Contains("nothing"));
    }),
        IsEmpty());
}

TEST(MatlabFormat, WritesFilesForOctave)
{
    if (std::system("octave-cli --version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "octave isn't installed";
    const ScratchFolder folder;
    {
        SVMatlabDataFile file(folder / "a.mat", SVFile::NewReadWrite);
        file.Save(counting<double>(2, 3), "d");
        file.Save(counting<std::int16_t>(3), "s");
        file.Save(counting<float>(2, 2, 2), "cube");
        file.Save("text", "t");
    }
    store(folder / "check.m",
        "load('a.mat');\n"
        "assert(d, [0 2 4; 1 3 5]); assert(double(s), [0; 1; 2]); assert(t(:)', 'text');\n"
        "assert(double(reshape(cube, cube_3D, 2, 2)(:)'), 0:7);\n");
    const std::string folderPath = folder / ".";
    EXPECT_EQ(std::system(("cd '" + folderPath + "' && octave-cli --norc check.m").c_str()), 0);
}
