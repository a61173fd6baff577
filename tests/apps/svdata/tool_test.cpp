#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include "datafile/datafile_testing.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <limits>

using namespace svtest;

namespace {

struct Result {
    int status;
    std::string output;
    std::string errors;
};

class Tool : public testing::Test {
protected:
    // Runs the tool in the scratch folder; the arguments are written for a shell.
    Result run(const std::string& arguments) const
    {
        const std::string command =
            "cd '" + (folder_ / ".") + "' && '" SVDATA_TOOL "' " + arguments + " >out 2>err";
        const int result = std::system(command.c_str());
        return {WEXITSTATUS(result), contentOf(folder_ / "out"), contentOf(folder_ / "err")};
    }

    ScratchFolder folder_;
};

TEST_F(Tool, ShowsEveryDigitOfEveryType)
{
    {
        SVDataFile file(folder_ / "a.svbin", SVFile::NewReadWrite);
        SVMutableDoubleArray numbers(2, 3);
        numbers = 0.1;
        numbers(1) = std::numeric_limits<double>::quiet_NaN();
        numbers(2) = -std::numeric_limits<double>::infinity();
        numbers(3) = 1e300;
        file.Save(numbers, "d");
        SVMutableFloatArray single(1);
        single(0) = 0.1F;
        file.Save(single, "f");
        file.Save(counting<signed char>(2, 1, 2), "c");
        file.Save("line\n\"\xff\xc3\xa4\"", "na\\me\xed\xa0\x80");
        file.Save(SVIntArray(), "-e");
    }
    const struct {
        std::string arguments;
        std::string output;
    } cases[] = {
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
    for (const auto& row : cases) {
        const Result result = run(row.arguments);
        EXPECT_EQ(result.output, row.output) << row.arguments;
        EXPECT_EQ(result.status, 0) << row.arguments;
        EXPECT_EQ(result.errors.empty(), row.output != "null\n") << result.errors;
    }
}

TEST_F(Tool, ListsSortedByName)
{
    store(folder_ / "empty.svbin", "");
    store(folder_ / "empty.index", "of somebody else");
    EXPECT_EQ(run("list empty.svbin --json").output, "[]\n");
    EXPECT_TRUE(std::filesystem::exists(folder_ / "empty.index")); // Who only looks takes nothing away.
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
    EXPECT_TRUE(copy.ReadDoubleArray("cube") == counting<double>(3, 4, 2));
    EXPECT_TRUE(copy.ReadUShortIntArray("matrix") == counting<std::uint16_t>(2, 2));
    EXPECT_TRUE(copy.SavedAsShort("matrix") && copy.SavedAsCharacter("small cube"));
    EXPECT_EQ(shown<signed char>(copy.ReadCharArray("letters")), "2x2x1: 97 98 99 100"); // No line of text.
    EXPECT_TRUE(copy.ReadCharArray("bytes") == counting<signed char>(3)); // Not cut at its NUL.
    EXPECT_TRUE(copy.ReadUCharArray("small cube") == counting<unsigned char>(2, 2, 2));
    EXPECT_EQ(copy.ReadString("text") + copy.ReadString("empty"), "text");
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

TEST_F(Tool, TellsHowItEnded)
{
    store(folder_ / "bad.svbin", "this is no data file, as anybody can see");
    store(folder_ / "a.mat", "");
    std::filesystem::create_directory(folder_ / "folder.svbin");
    ASSERT_EQ(mkfifo((folder_ / "pipe.svbin").c_str(), 0600), 0);
    store(folder_ / "b.svbin", "Sorvanta Binary File LE");
    ASSERT_EQ(mkfifo((folder_ / "b.index").c_str(), 0600), 0); // Neither is waited for.
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
