#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include "datafile/datafile_testing.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>

using namespace svtest;

namespace {

constexpr const char* kSmallDisk = "trap '' XFSZ; ulimit -f 20; ";

struct Result {
    int status;
    std::string output, errors;
};

struct Tool : testing::Test {
    // Runs the tool in the scratch folder; the arguments, and limits to set before, are written for a shell.
    Result run(const std::string& arguments, const std::string& limits = "") const
    {
        const std::string command =
            "cd '" + (folder_ / ".") + "' && (" + limits + "'" SVDATA_TOOL "' " + arguments + ") >out 2>err";
        const int result = std::system(command.c_str());
        return {WEXITSTATUS(result), contentOf(folder_ / "out"), contentOf(folder_ / "err")};
    }

    ScratchFolder folder_;
};

TEST_F(Tool, ShowsEveryDigitOfEveryType)
{
    {
        SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
        file.Save(arrayOf<double>({0.1, kNaN, -kInf, 1e300, 0.1, 0.1}, 2), "d");
        file.Save(arrayOf<float>({0.1F}), "f");
        file.Save(counting<signed char>(2, 1, 2), "c");
        file.Save("line\n\"\xff\xc3\xa4\"", "na\\me\xed\xa0\x80");
        file.Save(SVIntArray(), "-e");
    }
    const std::pair<std::string, std::string> cases[] = {
        {"show a.svbin d --json",
            "{\"name\": \"d\", \"type\": 1, \"m\": 2, \"n\": 3, \"o\": 1, \"values\": "
            "[0.1, \"NaN\", \"-Infinity\", 1e+300, 0.1, 0.1]}\n"},
        {"show a.svbin d", "0.1 -inf 0.1\nnan 1e+300 0.1\n"},
        {"show a.svbin f", "0.1\n"},
        {"show a.svbin c", "0\n1\n\n2\n3\n"},
        {"show --json a.svbin c",
            "{\"name\": \"c\", \"type\": 12, \"m\": 2, \"n\": 1, \"o\": 2, \"values\": [0, 1, 2, 3]}\n"},
        {"show --json a.svbin -- -e",
            "{\"name\": \"-e\", \"type\": 8, \"m\": 0, \"n\": 0, \"o\": 0, \"values\": []}\n"},
        {"show a.svbin --json \"$(printf 'na\\\\me\\355\\240\\200')\"",
            "{\"name\": \"na\\\\me\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\", \"type\": 20, \"m\": 11, \"n\": 1, "
            "\"o\": 1, \"values\": \"line\\u000a\\\"\xef\xbf\xbd\xc3\xa4\\\"\"}\n"},
        {"show a.svbin none --json", "null\n"},
    };
    for (const auto& [arguments, output] : cases) {
        const Result result = run(arguments);
        EXPECT_EQ(result.output, output) << arguments;
        EXPECT_EQ(result.status, 0) << arguments;
        EXPECT_EQ(result.errors.empty(), output != "null\n") << result.errors;
    }
}

TEST_F(Tool, ListsSortedByName)
{
    store(folder_ / "empty.svbin", "");
    store(folder_ / "empty.index", "of somebody else");
    EXPECT_EQ(run("list empty.svbin --json").output, "[]\n");
    EXPECT_TRUE(std::filesystem::exists(folder_ / "empty.index")); // Listing removes nothing.
    {
        SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
        file.Save(2, "b");
        file.Save("t", "a");
    }
    EXPECT_EQ(run("list --json a.svbin").output,
        "[\n  {\"name\": \"a\", \"type\": 20, \"m\": 2, \"n\": 1, \"o\": 1, \"location\": 88},\n"
        "  {\"name\": \"b\", \"type\": 8, \"m\": 1, \"n\": 1, \"o\": 1, \"location\": 54}\n]\n");
    const Result listing = run("list a.svbin");
    EXPECT_NE(listing.output.find("Content of \"a.svbin\" - 2 entries\n"), std::string::npos);
    EXPECT_LT(listing.output.find("\nb..."), listing.output.find("\na..."));
    EXPECT_EQ(listing.errors, "");
}

TEST_F(Tool, CopiesThereAndBack)
{
    {
        SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
        file.Save(counting<double>(3, 4, 2), "cube");
        file.Save(counting<std::uint16_t>(2, 2), "matrix");
        file.Save(counting<signed char>(3), "bytes");
        file.Save(counting<unsigned char>(2, 2, 2), "small cube");
        file.Save(arrayOf<signed char>({'a', 'b', 'c', 'd'}, 2), "letters");
        file.Save("text", "text");
        file.Save("", "empty");
        file.SaveIndex();
    }
    EXPECT_EQ(run("copy a.svbin b.mat").status, 0);
    EXPECT_EQ(run("copy b.mat c.svbin").status, 0);
    const SVDataFile copy(folder_ / "c.svbin", SVFile::ReadOnly);
    EXPECT_THAT(copy.AllVariableNames(),
        ElementsAre("bytes", "cube", "empty", "letters", "matrix", "small cube", "text"));
    EXPECT_TRUE(copy.ReadDoubleArray("cube") == counting<double>(3, 4, 2)
        && copy.ReadUShortIntArray("matrix") == counting<std::uint16_t>(2, 2));
    EXPECT_TRUE(copy.SavedAsShort("matrix") && copy.SavedAsCharacter("small cube"));
    EXPECT_EQ(shown<signed char>(copy.ReadCharArray("letters")), "2x2x1: 97 98 99 100"); // No line of text.
    EXPECT_TRUE(copy.ReadCharArray("bytes") == counting<signed char>(3)); // Not cut at its NUL.
    EXPECT_TRUE(copy.ReadUCharArray("small cube") == counting<unsigned char>(2, 2, 2));
    EXPECT_EQ(copy.ReadString("text") + copy.ReadString("empty"), "text");
}

TEST_F(Tool, NamesWhatItCantCopy)
{
    {
        SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
        file.Save(counting<double>(2, 2, 2), "x");
        file.Save(counting<double>(3), "x_3D");
        file.Save(counting<double>(4), "y");
        file.Save(2, "y_3D");
        file.Save(counting<double>(5), "z");
        file.Save(0, "z_3D"); // A MAT-file gives it no meaning.
        file.Save(6, "w_3D"); // Nor to this one: there is no w.
        file.Save("label", "z_3D_3D");
        file.Save(std::string("in\0side", 7), "text");
    }
    const Result there = run("copy a.svbin b.mat");
    std::string errors;
    for (const char* name : {"x_3D", "y_3D", "z_3D_3D"})
        errors += std::string("svdata: \"") + name
            + "\" is not copied: a MAT-file would take it for the shape of another variable\n";
    EXPECT_EQ(there.errors, errors);
    EXPECT_EQ(there.status, 1);
    EXPECT_EQ(run("copy b.mat c.svbin").status, 0);
    const SVDataFile copy(folder_ / "c.svbin", SVFile::ReadOnly);
    EXPECT_THAT(copy.AllVariableNames(), ElementsAre("text", "w_3D", "x", "y", "z", "z_3D"));
    EXPECT_EQ(shown(copy.ReadDoubleArray("x")) + shown(copy.ReadDoubleArray("y")),
        "2x2x2: 0 1 2 3 4 5 6 74x1x1: 0 1 2 3");
    EXPECT_EQ(copy.ReadCharArray("text").Length(), 7);
    EXPECT_EQ(run("copy a.svbin d.svbin").status, 0);
    EXPECT_EQ(contentOf(folder_ / "d.svbin"), contentOf(folder_ / "a.svbin"));
    EXPECT_EQ(run("show d.svbin text --json").output,
        "{\"name\": \"text\", \"type\": 20, \"m\": 8, \"n\": 1, \"o\": 1, \"values\": \"in\\u0000side\"}\n");
}

TEST_F(Tool, EndsWithOneWhenACopyIsNotWhole)
{
    {
        SVDataFile native(folder_ / "a.svbin", SVFile::NewReadWrite);
        native.Save(counting<double>(9999), "x");
        native.Save(1, "good");
        SVMatlabDataFile matlab(folder_ / "torn.mat", SVFile::NewReadWrite);
        matlab.Save(2.0, "odd_3D"); // Doesn't divide the five elements.
        matlab.Save(counting<double>(5), "odd");
        matlab.Save(1, "good");
        matlab.Save("torn text", "t\n");
    }
    std::filesystem::resize_file(folder_ / "torn.mat", std::filesystem::file_size(folder_ / "torn.mat") - 3);
    std::string bytes = contentOf(folder_ / "a.svbin");
    store(folder_ / "unknown.svbin", bytes.replace(24 + 8, 1, "\17"));
    store(folder_ / "damaged.svbin", bytes.replace(24, 8, std::string(8, '\0')));
    const auto header = [](int type, int rows, int columns, const char* name) {
        return raw(type) + raw(rows) + raw(columns) + raw(0) + raw(2) + name + std::string(1, '\0');
    };
    const std::string huge = header(52, 1, 1, "u") + "?" + header(50, 1 << 16, 1 << 15, "h");
    store(folder_ / "huge.mat", huge);
    std::filesystem::resize_file(folder_ / "huge.mat", huge.size() + (1L << 31));
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"copy unknown.svbin b.svbin", "", "svdata: \"x\" is not copied: it can't be read whole\n"},
        {"copy torn.mat b.svbin", "", "svdata: \"odd\" is not copied: it can't be read whole\n"},
        {"copy torn.mat b.svbin", "", "svdata: \"t\\n\" is not copied: it can't be read whole\n"},
        {"copy damaged.svbin c.svbin", "", "svdata: damaged.svbin is damaged"},
        {"copy a.svbin c.svbin", kSmallDisk, "svdata: c.svbin could not be written whole\n"},
        {"copy huge.mat c.svbin", "", "svdata: \"u\" is not copied: it can't be read whole\n"},
        {"copy huge.mat c.svbin", "", "svdata: \"h\" is not copied: a native file has no room"},
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // The sanitizers need more memory.
        {"show huge.mat h", "ulimit -v 1000000; ", "svdata: std::bad_alloc\n"},
#endif
    };
    for (const auto& [arguments, limits, error] : cases) {
        const Result result = run(arguments, limits);
        EXPECT_EQ(result.status, 1) << arguments;
        EXPECT_NE(result.errors.find(error), std::string::npos) << result.errors;
    }
    EXPECT_THAT(SVDataFile(folder_ / "b.svbin", SVFile::ReadOnly).AllVariableNames(), ElementsAre("good"));
}

TEST_F(Tool, KnowsAMatlabFileByCapitalLetters)
{
    {
        SVMatlabDataFile file(folder_ / "a.MAT", SVFile::NewReadWrite);
        file.Save(123456789, "n");
        file.Save(counting<std::int32_t>(2, 3), "a b");
    }
    const Result listing = run("list a.MAT");
    EXPECT_NE(
        listing.output.find("n............................. - double - 1.23457e+08\n"), std::string::npos);
    EXPECT_EQ(listing.errors, "");
    EXPECT_EQ(run("list --json a.MAT").output,
        "[\n  {\"name\": \"a b\", \"type\": 20, \"m\": 2, \"n\": 3, \"o\": 1, \"location\": 54},\n"
        "  {\"name\": \"n\", \"type\": 0, \"m\": 1, \"n\": 1, \"o\": 1, \"location\": 22}\n]\n");
    EXPECT_EQ(run("copy a.MAT b.SVBIN").status, 0);
    EXPECT_EQ(run("show b.SVBIN n").output, "123456789\n");
}

TEST_F(Tool, IndexesWhatIsThereNow)
{
    SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
    for (const char* name : {"first", "second"}) {
        file.Save(1, name);
        file.Flush();
        EXPECT_EQ(run("index a.svbin").status, 0);
        EXPECT_TRUE(SVDataFile(folder_ / "a.svbin", SVFile::ReadOnly).Contains(name));
    }
    EXPECT_NE(contentOf(folder_ / "a.index").find("second"), std::string::npos);
}

TEST_F(Tool, LeavesNoIndexThatLies)
{
    {
        SVDataFile file(SVFile(folder_ / "big.svbin", SVFile::BigEndian, SVFile::NewReadWrite));
        file.Save(2.5, "x");
        SVDataFile many(folder_ / "many.svbin", SVFile::NewReadWrite);
        for (int i = 0; i < 4000; ++i)
            many.Save(i, "number_" + std::to_string(i));
        many.SaveIndex();
    }
    store(folder_ / "big.index", "svbin index file"); // Removed, good or not.
    const Result refused = run("index big.svbin");
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.errors.find("svdata: big.svbin has no index now\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "big.index"));
    EXPECT_EQ(run("show big.svbin x").output, "2.5\n");

    // The disk has no room for the whole index.
    EXPECT_EQ(run("index many.svbin", kSmallDisk).status, 1);
    EXPECT_NE(run("list many.svbin --json").output.find("number_3999"), std::string::npos);
    for (const auto& file : std::filesystem::directory_iterator(folder_ / "."))
        EXPECT_EQ(file.path().string().find("many.index"), std::string::npos) << file.path();

    // An index block at the end doesn't hide the damage before it.
    std::string damaged = contentOf(folder_ / "many.svbin");
    damaged.replace(24, 8, std::string(8, '\0'));
    store(folder_ / "many.svbin", damaged);
    EXPECT_EQ(run("index many.svbin").status, 1);
    EXPECT_FALSE(std::filesystem::exists(folder_ / "many.index"));
    EXPECT_EQ(run("index none.mat").status, 1);
    SVMatlabDataFile(folder_ / "good.mat", SVFile::NewReadWrite).Save(1.5, "x");
    EXPECT_EQ(run("index good.mat").status, 0);
    EXPECT_TRUE(std::filesystem::exists(folder_ / "good.index"));
}

TEST_F(Tool, TellsHowItEnded)
{
    store(folder_ / "bad.svbin", "this is no data file, as anybody can see");
    store(folder_ / "a.mat", "");
    std::filesystem::create_directory(folder_ / "folder.svbin");
    ASSERT_EQ(mkfifo((folder_ / "pipe.svbin").c_str(), 0600), 0);
    store(folder_ / "b.svbin", "Sorvanta Binary File LE");
    ASSERT_EQ(mkfifo((folder_ / "b.index").c_str(), 0600), 0); // The tool must not wait for a pipe.
    const std::pair<const char*, int> cases[] = {{"--help", 0}, {"", 2}, {"list", 2}, {"show a.mat", 2},
        {"list --yaml a.mat", 2}, {"index --json a.mat", 2}, {"copy a.mat b.txt", 2},
        {"copy a.mat ./a.mat", 2}, {"list none.svbin", 1}, {"show none.mat x", 1},
        {"copy none.mat b.svbin", 1}, {"index none.svbin", 1}, {"list folder.svbin", 1},
        {"show pipe.svbin x", 1}, {"copy a.mat pipe.svbin", 1}, {"copy a.mat none/b.mat", 1},
        {"list bad.svbin", 0}, {"list a.mat", 0}, {"list b.svbin --json", 0}};
    for (const auto& [arguments, status] : cases) {
        const Result result = run(arguments);
        EXPECT_EQ(result.status, status) << arguments;
        EXPECT_EQ(
            result.errors.empty(), status == 0 && std::string(arguments).find(" b") == std::string::npos)
            << arguments;
    }
}

} // namespace
