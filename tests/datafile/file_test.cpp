#include "datafile/SVFile.h"

#include "datafile/datafile_testing.h"

#include <cmath>

using namespace svtest;
using testing::ElementsAreArray;

namespace {

SVFile fileWith(const ScratchFolder& folder, const std::string& bytes)
{
    store(folder / "text", bytes);
    return SVFile(folder / "text", SVFile::ReadOnly);
}

} // namespace

TEST(File, SharesOneStreamAmongItsCopies)
{
    const ScratchFolder folder;
    store(folder / "old", "old");
    SVFile second;
    {
        SVFile first(folder / "old", SVFile::NewReadWrite);
        EXPECT_EQ(first.Length(), 0);
        second = first;
        EXPECT_TRUE(first.WriteString("12345"));
    }
    EXPECT_EQ(second.Length(), 5);
    second.SetPosition(1);
    EXPECT_EQ(second.CharacterAtCurrentPosition(), '2');
    EXPECT_EQ(second.ReadString(4), "2345");
    second.SetPosition(0);
    SVMutableCharArray chars(2);
    EXPECT_TRUE(second.ReadBinary(chars, 2) && second.ReadBinary(chars, 1));
    EXPECT_EQ(shown<signed char>(chars), "2x1x1: 51 50");
    EXPECT_TRUE(SVFile::CanOpen(folder / "old", SVFile::NewReadWrite));
    EXPECT_FALSE(SVFile::CanOpen(folder / "none", SVFile::ReadOnly));
    EXPECT_FALSE(SVFile::CanOpen(folder / ".", SVFile::ReadOnly));
    EXPECT_FALSE(SVFolder(folder / "a").AppendFolderName("b").AppendFileName("c").IsOpen());
}

TEST(File, SaysWhyItDoesNothing)
{
    const ScratchFolder folder;
    const std::string path = folder / "none";
    SVFile none;
    EXPECT_THAT(reportsOf([&] { none = SVFile(path, SVFile::ExistingReadWrite); }),
        ElementsAre("SVFile(name,type): Could not open the file \"" + path + "\""));
    std::filesystem::create_directory(folder / "empty");
    for (const auto type : {SVFile::ReadOnly, SVFile::ExistingReadWrite, SVFile::NewReadWrite})
        reportsOf([&] { EXPECT_FALSE(SVFile(folder / "empty", type).IsOpen()); });
    EXPECT_TRUE(std::filesystem::exists(folder / "empty"));
    SVFile file = fileWith(folder, "ab");
    SVMutableDoubleArray numbers(2);
    SVMutableUCharArray bytes(2);
    SVMutableCharArray chars(2);
    SVMutableShortIntArray empty;
    SVMutableIntArray integers(2);
    char characters[3];
    bool failed = false;
    bool end = false;
    const struct {
        std::function<bool()> call;
        std::string report;
    } cases[] = {
        {[&] { return none.ReadBinary(empty); }, ""},
        {[&] { return none.ReadBinary(numbers); }, "SVFile::ReadBinary(DoubleArray): No file"},
        {[&] { return file.ReadBinary(numbers); },
            "SVFile::ReadBinary(DoubleArray): Could not read the required number of values from the file"},
        {[&] { return file.ReadBinary(numbers, SVRange(1, 2)); },
            "SVFile::ReadBinary(DoubleArray,Range): Range out of bounds"},
        {[&] { return file.ReadBinary(bytes, 1, 2); },
            "SVFile::ReadBinary(UCharArray,int start,int length): Invalid range"},
        {[&] { return file.ReadBinary(bytes, 3); }, "SVFile::ReadBinary(UCharArray,int): Invalid length"},
        {[&] { return file.ReadBinary(chars, 3); }, "SVFile::ReadBinary(CharArray,int): Invalid length"},
        {[&] { return none.ReadBinary(integers, SVRange(0, 1)); },
            "SVFile::ReadBinary(IntArray,Range): No file"},
        {[&] { return file.ReadBinary(integers, SVRange(-1, 1)); },
            "SVFile::ReadBinary(IntArray,Range): Range out of bounds"},
        {[&] { return file.ReadCharacters(characters, 3); },
            "SVFile::ReadCharacters(chars,howMuchToRead): Could not read the required number of values from "
            "the file"},
        {[&] { return none.ReadUnsignedShort() != 0; }, "SVFile::ReadUnsignedShort(): No file"},
        {[&] {
             file.SetPosition(1);
             return file.Read_int32(SVFile::LittleEndian) != 0;
         },
            "SVFile::Read_int32(Endian): Could not read the number"},
        {[&] { return !file.ReadString(1UL << 60).empty(); },
            "SVFile::ReadString(length): Could not read the required number of characters from the file"},
        {[&] { return none.WriteDouble(1); }, "SVFile::WriteDouble(value): No file"},
        {[&] { return file.Write1ByteInt(1); }, "SVFile::Write8ByteInt(value): Read only"},
        {[&] { return file.WriteRaw("a", 1); }, "SVFile::WriteRaw(value): Read only"},
        {[&] { return file.WriteBinary<double>(numbers); }, "SVFile::WriteBinary(SVDoubleArray): Read only"},
        {[&] { return !none.ReadLine().empty(); }, "SVFile::ReadLine(): No file"},
        {[&] { return !none.ReadStringWithSeparator(',', failed, end).empty() || !failed || end; },
            "SVFile::NextWord(): No file"},
        {[&] { return !std::isnan(none.ReadAsciiNumber()); }, "SVFile::ReadAsciiNumber(SVFile): No file"},
    };
    for (const auto& row : cases)
        EXPECT_THAT(reportsOf([&] { EXPECT_EQ(row.call(), row.report.empty()) << row.report; }),
            ElementsAreArray(std::vector<std::string>(row.report.empty() ? 0 : 1, row.report)));
    EXPECT_EQ(contentOf(folder / "text"), "ab");
}

TEST(File, WritesAndReadsNumbersInEitherOrder)
{
    const ScratchFolder folder;
    SVFile file(folder / "numbers", SVFile::BigEndian, SVFile::NewReadWrite);
    file.Write4ByteInt(0x01020304);
    file.Write2ByteInt(5);
    file.WriteDouble(0.5);
    file.Write8ByteInt(-2);
    file.WriteStringWithZero("");
    EXPECT_EQ(file.Length(), 23);
    file.SetPosition(0);
    EXPECT_EQ(file.Read_int32(SVFile::EndianForMachine()), 0x01020304);
    EXPECT_EQ(file.ReadUnsignedShort(), 5);
    EXPECT_EQ(file.Read_double(SVFile::EndianForMachine()), 0.5);
    EXPECT_EQ(file.Read_int64(SVFile::Native), -0x0100000000000001); // Native counts as the other order.
    file.SetPosition(0);
    EXPECT_EQ(file.Read_uint32(SVFile::Native), 0x04030201U);
}

TEST(File, FindsAByteBeyondItsBlocks)
{
    const ScratchFolder folder;
    SVFile file = fileWith(folder, std::string(1024, 'a') + "b");
    file.SetPosition(3);
    EXPECT_FALSE(file.Find('c'));
    EXPECT_EQ(file.Position(), 3);
    EXPECT_TRUE(file.Find('b'));
    EXPECT_EQ(file.Position(), 1024);
}

TEST(FileText, EndsLinesAndWordsAsTold)
{
    const ScratchFolder folder;
    const struct {
        std::string text;
        std::vector<std::string> lines;
        std::vector<std::string> words;
    } cases[] = {
        {"a b\nc", {"a b", "c", ""}, {"a", "b", "c"}},
        {"a\r\nb\rc", {"a", "b", "c"}, {"a", "b", "c"}},
        {"a\r", {"a", "", "", ""}, {"a", "", ""}}, // The CR is read again and again.
        {std::string("a\0b", 3), {"a", "b"}, {"a", "b"}},
        {"  a\t b\x7f", {"  a\t b\x7f"}, {"a", "b", ""}},
        {std::string(200, 'x') + "\n", {std::string(200, 'x')}, {std::string(200, 'x')}},
    };
    for (const auto& [text, lines, words] : cases) {
        SVFile file = fileWith(folder, text);
        for (const std::string& line : lines)
            EXPECT_EQ(file.ReadLine(), line) << text;
        file.SetPosition(0);
        for (const std::string& word : words)
            EXPECT_EQ(file.NextWord(), word) << text;
    }
    SVFile file = fileWith(folder, "abcdef");
    EXPECT_EQ(file.ReadLine(4), "abcd");
    EXPECT_EQ(file.ReadLine(4), "ef");
}

// A call of a field reader: the result, whether it failed (F) or ended the line (E), and the position behind
// it.
struct Field {
    std::string value;
    std::string flags;
    long long position;
};

TEST(FileText, ReadsSeparatedNumbersAsTold)
{
    const ScratchFolder folder;
    const std::string forty(40, '1');
    const struct {
        std::string text;
        char separator;
        std::vector<Field> fields;
    } cases[] = {
        {"1.5 , 2", ',', {{"1.5", "", 5}, {"2", "", 7}, {"nan", "F", 7}}},
        {"1.5 x", ',', {{"nan", "F", 5}}},
        {"1e+5", ',', {{"100000", "", 4}}},
        {"1e5e", ',', {{"nan", "F", 4}}},
        {"1+2,-.5", ',', {{"nan", "F", 4}, {"-0.5", "", 7}}},
        {"1e5+2", ',', {{"nan", "F", 5}}}, // Accepted by its form; the conversion stops before the sign.
        {",3", ',', {{"nan", "F", 1}, {"3", "", 2}}},
        {"\n3\r\n4", ',', {{"nan", "FE", 1}, {"3", "E", 3}, {"nan", "FE", 4}, {"4", "", 5}}},
        {"x7", ',', {{"nan", "F", 1}, {"7", "", 2}}},
        {"1.2.3;.", ';', {{"nan", "F", 6}, {"nan", "F", 7}}},
        {"  1  2", ' ', {{"1", "", 4}, {"2", "", 6}}},
        {forty + "23,4", ',', {{"1.11111e+39", "", 41}, {"3", "", 43}}}, // The 41st character is dropped.
        {forty + ",4", ',', {{"1.11111e+39", "", 41}, {"4", "", 42}}},
        {"1e,2", ',', {{"nan", "F", 2 + 1}}},
    };
    for (const auto& [text, separator, fields] : cases) {
        SVFile file = fileWith(folder, text);
        for (const Field& field : fields) {
            bool failed = false;
            bool end = false;
            char shown[32];
            std::snprintf(shown, sizeof shown, "%g", file.ReadNumberWithSeparator(separator, failed, end));
            EXPECT_EQ(std::string(shown) + (failed ? "|F" : "|") + (end ? "E" : ""),
                field.value + "|" + field.flags)
                << text;
            EXPECT_EQ(file.Position(), field.position) << text;
        }
    }
}

TEST(FileText, ReadsSeparatedStringsAsTold)
{
    const ScratchFolder folder;
    const std::string longText(100, 'y');
    const struct {
        std::string text;
        std::vector<Field> fields;
    } cases[] = {
        {",x", {{"", "", 1}, {"x", "", 2}, {"", "F", 2}}},
        {"ab , c\nd", {{"ab", "", 4}, {"c", "E", 7}, {"d", "", 8}}},
        {"a b,c", {{"", "F", 3}, {"", "", 4}, {"c", "", 5}}},
        {"\r\nz", {{"", "FE", 1}, {"", "FE", 2}, {"z", "", 3}}},
        {"\"a,\nb\",c", {{"a,\nb", "", 6}, {"", "", 7}, {"c", "", 8}}}, // The separator is read again.
        {"\"open", {{"open", "", 5}}},
        {longText + ",", {{longText, "", 101}}},
    };
    for (const auto& [text, fields] : cases) {
        SVFile file = fileWith(folder, text);
        for (const Field& field : fields) {
            bool failed = false;
            bool end = false;
            const std::string value = file.ReadStringWithSeparator(',', failed, end);
            EXPECT_EQ(value + (failed ? "|F" : "|") + (end ? "E" : ""), field.value + "|" + field.flags)
                << text;
            EXPECT_EQ(file.Position(), field.position) << text;
        }
    }
}

TEST(FileText, ScansNumbersDifferentlyForDoublesAndFloats)
{
    const ScratchFolder folder;
    const std::string doubleReport =
        "SVFile::ReadAscii(DoubleArray): Could not read the required number of values from the file";
    const std::string floatReport =
        "SVFile::ReadAscii(FloatArray): Could not read the required number of values from the file";
    const struct {
        std::string text;
        bool doubles;
        std::vector<std::string> doubleReports;
        bool floats;
        std::vector<std::string> floatReports;
        std::vector<float> values;
    } cases[] = {
        {"1 2,3", true, {}, true, {}, {1, 2, 3}},
        {"1 ab2 3", false, {}, true, {}, {1, 2, 3}}, // Doubles step over one character only.
        {"1 2", false, {doubleReport}, true, {}, {1, 2, 7}},
        {"1 2 x", false, {doubleReport}, true, {}, {1, 2, 7}},
    };
    for (const auto& row : cases) {
        SVFile file = fileWith(folder, row.text);
        SVMutableDoubleArray doubles(3);
        bool result = false;
        EXPECT_EQ(reportsOf([&] { result = file.ReadAscii(doubles); }), row.doubleReports) << row.text;
        EXPECT_EQ(result, row.doubles) << row.text;
        file.SetPosition(0);
        SVMutableFloatArray floats(3);
        floats = 7;
        EXPECT_EQ(reportsOf([&] { result = file.ReadAscii(floats); }), row.floatReports) << row.text;
        EXPECT_EQ(result, row.floats) << row.text;
        for (long i = 0; i < 3; ++i)
            EXPECT_EQ(floats(i), row.values[static_cast<std::size_t>(i)]) << row.text;
    }
    SVFile file = fileWith(folder, "a-b2.5");
    EXPECT_EQ(file.ReadAsciiNumber(), 2.5);
    EXPECT_TRUE(std::isnan(file.ReadAsciiNumber()));
}
