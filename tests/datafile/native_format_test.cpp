#include "datafile/SVDataFile.h"

#include "datafile/datafile_testing.h"

#include <climits>

using namespace svtest;

namespace {

const std::string kReadWord = "dataFile.ReadDoubleArray(name): ";

void saveSample(SVDataFile& file)
{
    SVMutableDoubleArray x(3);
    x(0) = 1, x(1) = 0.5, x(2) = -2;
    file.Save(x, "x");
    file.Save("Hi", "t");
}

// The bytes of an entry in the machine's order.
std::string entry(const std::string& name, int type, std::vector<int> size, const std::string& data)
{
    const auto whole = static_cast<std::int64_t>(28 + name.size() + 1 + data.size());
    return raw(whole) + raw(type) + raw(size[0]) + raw(size[1]) + raw(size[2])
        + raw(static_cast<int>(name.size()) + 1) + name + '\0' + data;
}

const std::string kMagic = bytesOf("'Sorvanta Binary File LE'");

// A record of the index file.
std::string indexRecord(long long location, char type, std::vector<int> size, const std::string& name)
{
    return raw(location) + type + raw(size[0]) + raw(size[1]) + raw(size[2]) + name + '\0';
}

std::string listingOf(SVDataStorage& file)
{
    testing::internal::CaptureStderr();
    file.pinfo();
    return testing::internal::GetCapturedStderr();
}

} // namespace

TEST(NativeFormat, IsWrittenByteForByte)
{
    const ScratchFolder folder;
    {
        SVDataFile file(folder / "a.svbin", SVFile::NewReadWrite);
        saveSample(file);
        file.SaveIndex();
    }
    EXPECT_EQ(contentOf(folder / "a.svbin"), exampleOf(DATAFILE_DOCS "/native-format.md"));
    const SVDataFile file(folder / "a.svbin", SVFile::ReadOnly);
    EXPECT_THAT(file.AllVariableNames(), ElementsAre("t", "x")); // The block doesn't list itself.
    EXPECT_EQ(file.ReadString("t"), "Hi");
    EXPECT_THAT(valuesOf<double>(file.ReadDoubleArray("x")), ElementsAre(1, 0.5, -2));
}

TEST(NativeFormat, KeepsTheDeclaredByteOrder)
{
    const ScratchFolder folder;
    for (const auto order : {SVFile::LittleEndian, SVFile::BigEndian})
        for (const bool withBlock : {false, true}) {
            const std::string path = folder / "order.svbin";
            const auto array = counting<std::int16_t>(2, 3, 2);
            {
                SVDataFile file(SVFile(path, order, SVFile::NewReadWrite));
                file.Save(array, "short");
                file.Save(258, "int");
                file.Save(counting<signed char>(3), "char");
                file.Save("text", "text");
                EXPECT_EQ(file.ReadInt("int"), 258);
                file.Save(counting<float>(2), "float");
                if (withBlock)
                    file.SaveIndex();
            }
            EXPECT_EQ(array(3), 3); // Swapping left the caller's array alone.
            const std::string bytes = contentOf(path);
            EXPECT_EQ(bytes.substr(21, 2), order == SVFile::BigEndian ? "BE" : "LE");
            EXPECT_EQ(bytes[24 + (order == SVFile::BigEndian ? 7 : 0)], 28 + 6 + 24);
            for (const auto declared : {SVFile::Native, SVFile::LittleEndian, SVFile::BigEndian}) {
                EXPECT_THAT(reportsOf([&] {
                    const SVDataFile file(SVFile(path, declared, SVFile::ReadOnly));
                    EXPECT_EQ(shown<std::int32_t>(file.ReadIntArray("short")), shown<std::int16_t>(array));
                    EXPECT_EQ(file.ReadNumber("int"), 258);
                    EXPECT_THAT(valuesOf<float>(file.ReadFloatArray("float")), ElementsAre(0, 1));
                    EXPECT_THAT(valuesOf<double>(file.ReadDoubleArray("char")), ElementsAre(0, 1, 2));
                    EXPECT_EQ(file.ReadString("text"), "text");
                }),
                    IsEmpty());
            }
        }
    // The older files are big-endian.
    std::string old = contentOf(folder / "order.svbin");
    old.replace(21, 2, "v1");
    store(folder / "order.svbin", old);
    EXPECT_EQ(SVDataFile(folder / "order.svbin", SVFile::ReadOnly).ReadInt("int"), 258);
}

TEST(NativeFormat, AppendsAndLetsTheLastOfANameCount)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.svbin";
    SVDataFile(path, SVFile::NewReadWrite).SaveIndex();
    EXPECT_EQ(contentOf(path), ""); // Nothing saved, nothing written, not even the magic.
    EXPECT_THAT(reportsOf([&] { SVDataFile(path, SVFile::ExistingReadWrite).Save(1, "a"); }), IsEmpty());
    {
        SVDataFile file(path, SVFile::ExistingReadWrite);
        file.Save(2.5, "a");
        SVDataFile copy;
        copy = file;
        copy.SaveIndex();
        EXPECT_EQ(file.AsPointer()->ReadNumber("a"), 2.5);
    }
    {
        SVDataFile file(path, SVFile::ExistingReadWrite);
        EXPECT_EQ(file.ReadNumber("a"), 2.5);
        file.Save("b", "b");
    }
    EXPECT_EQ(contentOf(path).find("Sorvanta", 1), std::string::npos);
    const SVDataFile file(path, SVFile::ReadOnly);
    EXPECT_THAT(file.AllVariableNames(), ElementsAre(" SV Index block ", "a", "b"));
    EXPECT_TRUE(file.SavedAsCharacter(" SV Index block "));
    EXPECT_TRUE(file.SavedAsDouble("a") && file.SavedAsString("b") && !file.SavedAsString("none"));
}

TEST(NativeFormat, AcceptsBothFormsOfAString)
{
    const ScratchFolder folder;
    const std::string nulInside("a\0b", 3);
    store(folder / "s.svbin",
        kMagic + entry("long", 20, {1, 5, 1}, "hello") + entry("none", 20, {0, 0, 0}, "")
            + entry("nul", 20, {4, 1, 1}, nulInside + '\0') + entry("open", 20, {3, 1, 1}, nulInside));
    const SVDataFile file(folder / "s.svbin", SVFile::ReadOnly);
    EXPECT_THAT(reportsOf([&] {
        EXPECT_EQ(file.ReadString("long"), "hello");
        EXPECT_EQ(file.ReadString("none"), "");
        EXPECT_EQ(file.ReadString("nul"), "a");
        EXPECT_EQ(file.ReadString("open"), nulInside);
        EXPECT_EQ(valuesOf<signed char>(file.ReadCharArray("long")).size(), 5U);
    }),
        IsEmpty());
}

TEST(NativeFormat, ReportsWhatCantBeReadOrWritten)
{
    const ScratchFolder folder;
    store(folder / "s.svbin",
        kMagic + entry("text", 20, {2, 1, 1}, "ab") + entry("odd", 99, {1, 1, 1}, "x")
            + entry("large", 1, {0x7fffffff, 0x7fffffff, 0x7fffffff}, "x")
            + entry("number", 8, {1, 1, 1}, raw(7)));
    SVDataFile file(folder / "s.svbin", SVFile::ReadOnly);
    SVDataFile none;
    SVDataFile missing;
    reportsOf([&] { missing = SVDataFile(folder / "none/x", SVFile::NewReadWrite); });
    const struct {
        std::function<void()> call;
        std::string report;
    } cases[] = {
        {[&] { file.Save(1, "a"); }, "SVDataFile::Save: File is read only."},
        {[&] { none.Save("a", "a"); }, "SVDataFile::Save: File is read only."},
        {[&] { missing.Save("a", "a"); }, "SVDataFile::Save: Empty File."},
        {[&] { file.ReadDoubleArray("text"); }, kReadWord + "Trying to read in a string."},
        {[&] { file.ReadUCharArray("odd"); },
            "dataFile.ReadCharArray(name): Haven't taken care of this case."},
        {[&] { file.ReadUShortIntArray("n"); },
            "dataFile.ReadUShortIntArray(name): Did not find the variable \"n\" inside the datafile."},
        {[&] { file.ReadFloatArray("large"); },
            "SVFile::ReadBinary(DoubleArray): Could not read the required number of values from the file"},
        {[&] { file.ReadString("n"); },
            "dataFile.ReadString(name): Did not find the string \"n\" inside the datafile."},
        {[&] { file.ReadString("number"); },
            "dataFile.ReadString(name): The variable \"number\" is not a string."},
    };
    for (const auto& [call, report] : cases)
        EXPECT_THAT(reportsOf(call), ElementsAre(report));
    SVDataFile writer(folder / "s.svbin", SVFile::ExistingReadWrite);
    EXPECT_EQ(reportsOf([&] { writer.Save(1, std::string(255, 'n')); }).size(), 1U);
    EXPECT_THAT(reportsOf([&] { writer.Save(1, std::string(254, 'n')); }), IsEmpty());
}

TEST(NativeFormat, ScanStopsAtWhatIsNoEntry)
{
    const ScratchFolder folder;
    const std::string good = kMagic + entry("good", 8, {1, 1, 1}, raw(7));
    const std::string next = entry("next", 8, {1, 1, 1}, raw(8));
    const auto with = [&](std::size_t place, const std::string& bytes) {
        std::string changed = next;
        return changed.replace(place, bytes.size(), bytes);
    };
    const std::vector<std::string> invalid{"Reading In File Content: Invalid file format."};
    const struct {
        const char* what;
        std::string entry;
        std::vector<std::string> reports;
        std::size_t listed;
    } cases[] = {
        {"size 0", with(0, raw(0LL)), invalid, 1},
        {"type 2001", with(8, raw(2001)), invalid, 1},
        {"type 2000", with(8, raw(2000)), {}, 2},
        {"name of 256", with(24, raw(256)), invalid, 1},
        {"name of -1", with(24, raw(-1)), invalid, 1},
        {"low 32 bits beyond the end", with(0, raw(1LL << 30)), {}, 1},
        {"high bits alone", with(0, raw((1LL << 32) + 37)), {}, 2},
        {"negative size", with(0, raw(-5LL)), invalid, 2},
        {"a name that runs past the end, in a whole entry",
            with(24, raw(200)) + entry("y", 8, {1, 1, 1}, raw(9)), invalid, 3},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        store(folder / "s.svbin", good + row.entry);
        std::size_t listed = 0;
        EXPECT_EQ(reportsOf([&] {
            listed = SVDataFile(folder / "s.svbin", SVFile::ReadOnly).AllVariableNames().size();
        }),
            row.reports);
        EXPECT_EQ(listed, row.listed);
    }
}

// Readers believe an index, so it is made for sound files only, and as a whole.
TEST(NativeFormat, MakesNoIndexThatLies)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.svbin";
    const std::string index = folder / "a.index";
    const std::string x = entry("x", 1, {1, 1, 1}, raw(1.5));
    const auto made = [&](std::vector<std::string>& reports) {
        bool result = false;
        reports = reportsOf([&] { result = SVDataFile(path, SVFile::ReadOnly).WriteIndexFile(); });
        return result;
    };
    std::vector<std::string> reports;
    store(path, kMagic + x);
    EXPECT_TRUE(made(reports));
    EXPECT_EQ(contentOf(index), bytesOf("'svbin index file'") + indexRecord(54, 1, {1, 1, 1}, "x"));

    // It lists the file as it is now, not what an older index listed.
    store(path, kMagic + x + entry("y", 1, {1, 1, 1}, raw(2.5)));
    EXPECT_TRUE(made(reports));
    EXPECT_NE(contentOf(index).find("y"), std::string::npos);

    store(path, kMagic + x + std::string(28, '\0') + x);
    EXPECT_FALSE(made(reports));
    EXPECT_THAT(reports, ElementsAre("Reading In File Content: Invalid file format."));
    EXPECT_FALSE(SVDataFile().WriteIndexFile());
    {
        SVDataFile other(SVFile(folder / "b.svbin", SVFile::BigEndian, SVFile::NewReadWrite));
        other.Save(2.5, "x");
        EXPECT_THAT(reportsOf([&] { EXPECT_FALSE(other.WriteIndexFile()); }),
            ElementsAre(
                "SVDataFile::WriteIndexFile: An index can't be made for a file of the other byte order."));
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "b.index"));

    store(path, kMagic + x);
    std::filesystem::remove(index);
    std::filesystem::create_directory(index);
    EXPECT_FALSE(made(reports));
    EXPECT_THAT(reports, ElementsAre("SVDataFile::WriteIndexFile: Could not create the index file"));
    const auto files = std::filesystem::directory_iterator(folder / ".");
    EXPECT_EQ(std::distance(begin(files), end(files)), 3); // No half-written file beside them.
}

TEST(NativeFormat, BelievesNoLyingIndex)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.svbin";
    const std::string magic = bytesOf("'svbin index file'");
    const auto record = [](long long location, int m, char type = 1, const std::string& name = "x") {
        return indexRecord(location, type, {m, 1, 1}, name);
    };
    const std::vector<std::string> problem{"DataFile::ReadContent: Index has a problem"};
    const std::vector<std::string> all{"t", "x"};
    const struct {
        const char* what;
        std::string index;
        std::vector<std::string> names;
        std::vector<std::string> reports;
    } cases[] = {
        {"a part of the file is believed", magic + record(54, 3), {"x"}, {}},
        {"types count modulo 100", magic + record(54, 3, 101), {"x"}, {}},
        {"nothing at all is believed", magic, {}, {}},
        {"a name is cut by the end", (magic + record(54, 3)).substr(0, magic.size() + 22), {"x"}, {}},
        {"the magic without its NUL", magic.substr(0, 16), all, {}},
        {"another magic", "svbin index fill" + record(54, 3), all, {}},
        {"an empty name", magic + record(54, 3, 1, ""), all, {}},
        {"a negative dimension", magic + record(54, -3), all, {}},
        {"an unknown type", magic + record(54, 3, 5), all, {}},
        {"half a record", magic + record(54, 3) + "12345", all, {}},
        {"data beyond the end", magic + record(54, 8), all, problem},
        {"a product that overflows", magic + indexRecord(-5, 1, {INT_MAX, INT_MAX, INT_MAX}, "x"), all,
            problem},
    };
    {
        SVDataFile file(path, SVFile::NewReadWrite);
        saveSample(file);
    }
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        store(folder / "a.index", row.index);
        std::vector<std::string> names;
        EXPECT_EQ(
            reportsOf([&] { names = SVDataFile(path, SVFile::ReadOnly).AllVariableNames(); }), row.reports);
        EXPECT_EQ(names, row.names);
    }
    // A new file removes the index of the old one, also of the other format.
    SVDataFile(folder / "a.mat", SVFile::NewReadWrite);
    EXPECT_FALSE(std::filesystem::exists(folder / "a.index"));
}

TEST(NativeFormat, BelievesNoLyingIndexBlock)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.svbin";
    {
        SVDataFile file(path, SVFile::NewReadWrite);
        saveSample(file);
        file.SaveIndex();
    }
    const std::string good = contentOf(path);
    const struct {
        const char* what;
        std::size_t place;
        std::string bytes;
        bool isReported;
    } cases[] = {
        {"end mark", 203, "x", false},
        {"position 0", 218, raw(0LL), false},
        {"position at the end", 218, raw(201LL), false},
        {"negative position", 218, raw(-1LL), false},
        {"second dimension", 127, raw(2), false},
        {"length beyond the end", 123, raw(1000), false},
        {"length without records", 123, raw(22), false},
        {"name", 139, "x", false},
        {"version", 156, "\2", false},
        {"type", 157, "\3", false},
        {"dimension", 158, raw(-1), false},
        {"location at the end", 170, raw(226LL), false},
        {"negative location", 170, raw(-1LL), false},
        {"data beyond the end", 158, raw(1000), true},
        {"empty name", 178, std::string(1, '\0'), false},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        std::string bytes = good;
        store(path, bytes.replace(row.place, row.bytes.size(), row.bytes));
        std::vector<std::string> names;
        const auto reports =
            reportsOf([&] { names = SVDataFile(path, SVFile::ReadOnly).AllVariableNames(); });
        EXPECT_EQ(names.size(), 3U); // What the scan finds.
        EXPECT_EQ(reports.size(), row.isReported ? 1U : 0U);
    }
}

// Each way of finding the content reads in blocks; these files are longer than a block.
TEST(NativeFormat, FindsTheSameInEveryWay)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.svbin";
    constexpr int kEntries = 100'000;
    const auto write = [&](bool withBlock) {
        SVDataFile file(path, SVFile::NewReadWrite);
        for (int i = 0; i < kEntries; ++i)
            file.Save(i, std::string("a rather long name ").append(std::to_string(i)));
        file.Save(counting<double>(300, 1000), "large");
        file.Save("last", "last");
        if (withBlock)
            file.SaveIndex();
    };
    const auto namesFound = [&] {
        const SVDataFile file(path, SVFile::ReadOnly);
        EXPECT_EQ(file.ReadInt("a rather long name 54321"), 54321);
        EXPECT_EQ(file.ReadString("last"), "last");
        return file.AllVariableNames();
    };
    write(true);
    const auto byBlock = namesFound();
    EXPECT_EQ(byBlock.size(), static_cast<std::size_t>(kEntries) + 2);
    write(false);
    EXPECT_EQ(namesFound(), byBlock);
    ASSERT_TRUE(SVDataFile(path, SVFile::ReadOnly).WriteIndexFile());
    EXPECT_GT(std::filesystem::file_size(folder / "a.index"), 3U << 20);
    EXPECT_EQ(namesFound(), byBlock);
}

TEST(NativeFormat, ResolvesNames)
{
    const ScratchFolder folder;
    SVDataFile file(folder / "a.svbin", SVFile::NewReadWrite);
    const std::pair<const char*, const char*> strings[] = {{"a", "b"}, {"b", "a"}, {"self", "self"},
        {"toNumber", "n"}, {"toMissing", "missing"}, {"chain", "toNumber"}, {"chainToMissing", "toMissing"},
        {"intoCircle", "a"}};
    for (const auto& [name, target] : strings)
        file.Save(target, name);
    file.Save(1, "n");
    const struct {
        std::string name;
        std::string resolved;
        bool isCircle;
    } cases[] = {{"n", "n", false}, {"nobody", "nobody", false}, {"a", "a", true}, {"self", "self", true},
        {"toNumber", "n", false}, {"toMissing", "missing", false}, {"chain", "n", false},
        {"chainToMissing", "chainToMissing", false}, {"intoCircle", "intoCircle", true}};
    for (const auto& row : cases) {
        std::vector<std::string> reports;
        if (row.isCircle)
            reports.push_back("SVDataStorage::ResolveName: Circular reference for " + row.name);
        EXPECT_EQ(reportsOf([&] { EXPECT_EQ(file.ResolveName(row.name), row.resolved); }), reports);
    }
    EXPECT_THAT(file.AllVariableNamesWithPrefix("to"), ElementsAre("toMissing", "toNumber"));
}

TEST(NativeFormat, NotesTheTypeOfAVariable)
{
    const ScratchFolder folder;
    SVDataFile file(folder / "a.svbin", SVFile::NewReadWrite);
    WriteOne(file, "list", counting<double>(3));
    WriteOne(file, "array", counting<signed char>(3, 2));
    WriteOne(file, "text", "t");
    WriteOne(file, "number", 2);
    WriteOne(file, "plane", SVTransform2D::Shift({1, 2}));
    const SVDataFile reader( // All of it was flushed.
        folder / "a.svbin", SVFile::ReadOnly);
    EXPECT_EQ(reader.ReadString("Seq_list"), "NumberList");
    EXPECT_EQ(reader.ReadString("Seq_array"), "Array");
    EXPECT_EQ(reader.ReadString("Seq_text"), "String");
    EXPECT_EQ(reader.ReadString("Seq_number"), "Real Number");
    EXPECT_EQ(reader.ReadString("Seq_plane"), "2D Transform");
    SVCharArray array; // Read into a read-only handle.
    SVMutableShortIntArray list;
    std::string text;
    double number = 0;
    Read(reader, "array", array), Read(reader, "list", list), Read(reader, "text", text);
    Read(reader, "number", number);
    EXPECT_EQ(text + std::to_string(number), "t2.000000");
    EXPECT_EQ(shown(array) + shown<std::int16_t>(list), "3x2x1: 0 1 2 3 4 53x1x1: 0 1 2");
    SVTransform2D transform;
    EXPECT_TRUE(Read(reader, "plane", transform));
    EXPECT_EQ(transform.S2, 2);
}

TEST(NativeFormat, SyncsBesideFilesWithAnEnding)
{
    const ScratchFolder folder;
    std::filesystem::create_directory(folder / "x.y");
    const struct {
        std::string name;
        std::string syncName;
    } cases[] = {{"data.svbin", "data.sync"}, {"a.b.c", "a.b.sync"}, {".hidden", ""}, {"x.y/file", ""}};
    for (const auto& row : cases) {
        SVDataFile file(folder / row.name, SVFile::NewReadWrite);
        file.Save(1, "a");
        file.Sync();
        if (!row.syncName.empty()) {
            EXPECT_EQ(contentOf(folder / row.syncName), raw(static_cast<long long>(24 + 28 + 2 + 4)));
        }
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "x.sync"));
    EXPECT_FALSE(std::filesystem::exists(folder / ".sync"));
}

TEST(NativeFormat, ListsWhatAFileHolds)
{
    const ScratchFolder folder;
    const std::string path = folder / "a.svbin";
    const std::string dashes = std::string(72, '-') + "\n";
    const auto headed = [&](const std::string& count) {
        return dashes + "Content of \"" + path + "\" - " + count + "\n" + dashes;
    };
    const auto line = [](const std::string& name, const std::string& rest) {
        return name + std::string(30 - name.size(), '.') + rest + "\n";
    };
    SVDataFile file(path, SVFile::NewReadWrite);
    EXPECT_EQ(listingOf(file), headed("empty"));
    file.Save(2.5, "z");
    EXPECT_EQ(listingOf(file), headed("1 entry") + line("z", " - double - 2.5"));
    file.Save(counting<float>(3), "list");
    file.Save(counting<std::uint16_t>(2, 3), "m");
    file.Save(counting<unsigned char>(1, 3, 2), "cube");
    file.Save(SVIntArray(), "e");
    file.Save(std::string(25, 's'), "short");
    file.Save(std::string(26, 's'), "long");
    EXPECT_EQ(listingOf(file),
        headed("7 entries") + line("z", " - double - 2.5") + line("list", " -  float - 3 numbers")
            + line("m", " - UShort - 2 x 3 array") + line("cube", " -  UChar - 1 x 3 x 2 array")
            + line("e", " -    int - Empty") + line("short", " - string - \"" + std::string(25, 's') + "\"")
            + line("long", " - string - \"" + std::string(25, 's') + "...\" - 26 characters"));
    file.Save(123456789, "e"); // The listing has the order of the file: the last of a name stands last.
    file.Save(std::string(24, 's') + "\xc3\xa4\xc3\xa4", "long");
    file.Save("a\nb\x1b[2J\xff\xc2\x9b", "short\r\x1b]0;\x7f");
    const std::string whole = listingOf(file);
    EXPECT_NE(whole.find(line("e", " -    int - 123456789")
                  + line("long", " - string - \"" + std::string(24, 's') + "...\" - 28 characters")
                  + line("short\\r\\x1b]0;\\x7f", " - string - \"a\\nb\\x1b[2J\\xff\\xc2\\x9b\"")),
        std::string::npos)
        << whole;
    for (int i = 8; i < 400; ++i)
        file.Save(i, std::string("i").append(std::to_string(i)));
    const std::string listing = listingOf(file);
    EXPECT_NE(
        listing.find(line("i349", " -    int - 349") + "Skipping 20 entries\n" + "i370."), std::string::npos);
}
