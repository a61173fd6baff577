#include "storage_testing.h"

#include "platform/plist/PropertyList.h"

#include <clocale>

namespace storagetest {
namespace {

std::shared_ptr<KRDataFileAscii> ascii(const std::string& path)
{
    return std::dynamic_pointer_cast<KRDataFileAscii>(opened(path));
}

struct AsciiFile : testing::Test {
    std::shared_ptr<KRDataFileAscii> fileOf(const std::string& text)
    {
        store(path, text);
        return ascii(path);
    }
    Names namesOf(const std::string& text)
    {
        Names names;
        EXPECT_THAT(messagesOf([&] { names = fileOf(text)->variablesNames(); }), IsEmpty());
        return names;
    }

    ScratchFolder folder;
    const std::string path = folder / "x.ascii";
};

TEST_F(AsciiFile, WritesTheLinesOfTheFormatAndReadsTheDocumentedExample)
{
    const auto file = KRDataFileAscii::createWithName(path);
    file->writeFloatArray(containerOf(counted<float>(7)), "f7");
    file->writeFloatArray(containerOf(counted<float>(8)), "f8");
    file->writeDoubleArray(doubles({0.1, 1e-300, -2, 3, 1e20}), "d");
    file->writeIntArray(shaped<std::int32_t>({1, -2}, 1, 2), "i");
    file->writeCharacterArray(containerOf(std::vector<signed char>(21, -1)), "c");
    file->writeIntArray(containerOf<std::int32_t>({}), "empty");
    file->writeString("some words", "t");
    file->writeNumber(StorageNumber(2), "n");
    EXPECT_EQ(contentOf(path),
        "f7\nReal\n7 1 1\n1 2 3 4 5 6 7 \n*\nf8\nReal\n8 1 1\n1 2 3 4 5 6 7\n8 \n*\n"
        "d\nReal\n5 1 1\n0.1 1e-300 -2 3\n1e+20 \n*\ni\nInteger\n1 2 1\n1 -2 \n*\nc\nInteger\n21 1 1\n"
        "-1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 -1 \n-1 \n*\n"
        "empty\nInteger\n0 0 0\n\n*\nt\nString\nsome words\nn\nReal\n1 1 1\n2 \n*\n");
    EXPECT_EQ(shown(*file, "f8"), "8x1x1: 1 2 3 4 5 6 7 8");
    EXPECT_EQ(ascii(path)->variablesNames().size(), 8U);
    EXPECT_EQ(numbersOf(ascii(path)->readCharacterArray("c")), std::vector<signed char>(21, -1));

    const std::string document = contentOf(DATAFILE_DOCS "/ascii-format.md");
    const std::size_t start = document.find("```text\n") + 8;
    const auto example = fileOf(document.substr(start, document.find("```", start) - start));
    EXPECT_EQ(shown(*example), "n = 1500; t = 'some words'; x = 3x1x1: 1 0.5 -2; ");
    const auto ours = KRDataFileAscii::createWithName(folder / "ours.ascii");
    ours->writeDoubleArray(doubles({1, 0.5, -2}), "x");
    EXPECT_THAT(document, testing::HasSubstr(contentOf(folder / "ours.ascii")));
}

TEST_F(AsciiFile, PrintsAndReadsNumbersAsTheCLibraryInEveryLocale)
{
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8"))
        std::setlocale(LC_NUMERIC, "C");
    const std::vector<double> numbers{1.5, 1e15, 123456.789, 1e16, 1e-5, 1.0 / 3, 1e308, -0.0};
    const auto file = KRDataFileAscii::createWithName(path);
    file->writeDoubleArray(doubles(numbers), "d");
    file->writeFloatArray(containerOf<float>({0.1F, 1e10F, 1.0F / 3}), "f");
    EXPECT_EQ(numbersOf(ascii(path)->readDoubleArray("d")).front(), 1.5);
    std::setlocale(LC_NUMERIC, "C");
    std::string wanted = "d\nReal\n8 1 1\n";
    const auto print = [&](const char* format, double number) {
        char text[40];
        wanted.append(text, static_cast<std::size_t>(std::snprintf(text, sizeof text, format, number)));
    };
    for (std::size_t i = 0; i < numbers.size(); ++i)
        print(i == 3 ? "%.16lg\n" : "%.16lg ", numbers[i]);
    wanted += "\n*\nf\nReal\n3 1 1\n";
    for (const float number : {0.1F, 1e10F, 1.0F / 3})
        print("%.8g ", static_cast<double>(number));
    EXPECT_EQ(contentOf(path), wanted + "\n*\n");
}

TEST_F(AsciiFile, WritesBehindTheRecordsOfAnotherProgramAndTextsAsTheyAre)
{
    const auto file = KRDataFileAscii::createWithName(path);
    EXPECT_TRUE(file->writeString("mine", "a"));
    std::ofstream(path, std::ios::app) << "b\nNumber\n2\n";
    EXPECT_TRUE(file->writeString("mine too", "c"));
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->writeString("taken", "b")); }),
        ElementsAre("Entry already exists, can't overwrite it."));
    EXPECT_THAT(ascii(path)->variablesNames(), ElementsAre("a", "b", "c"));
    // A text with a line end reads back as its first line.
    EXPECT_TRUE(file->writeString("first\nNumber", "t"));
    EXPECT_EQ(file->readRawString("t"), "first\nNumber");
    const auto again = KRDataFileAscii::createWithName(path);
    EXPECT_FALSE(again->openFileWithProgress()); // "Number" is a name without a type.
    EXPECT_EQ(again->readRawString("t"), "first");
}

TEST_F(AsciiFile, ReadsRecordsWithAnyLineEnd)
{
    const std::string text =
        "a\nReal\n2 2 1\n1 2.5\n-3e2 .5\n*\nb\nInteger\n2 1 1\n7 -8\n*\nc\nNumber\n1.5D3\n"
        "  d e  \nString\n  some words \nf\nNumber\nno number\n";
    for (const char* end : {"\n", "\r"}) {
        std::string lines = text;
        std::replace(lines.begin(), lines.end(), '\n', *end);
        const auto file = fileOf(lines);
        EXPECT_EQ(shown(*file),
            "a = 2x2x1: 1 2.5 -300 0.5; b = 2x1x1: 7 -8; c = 1500; d e = 'some words'; f = 0; ");
        EXPECT_EQ(numbersOf(file->readIntArray("b")), (std::vector<std::int32_t>{7, -8}));
        EXPECT_EQ(file->readNumber("c"), StorageNumber(1500.0));
        EXPECT_EQ(numbersOf(file->readIntArray("c")), std::vector<std::int32_t>{1500});
        EXPECT_FALSE(file->readRawString("a"));
    }
    // Two bytes are passed over behind the "*": with two bytes of line end the next name is empty.
    EXPECT_THAT(namesOf("n\r\nNumber\r\n1\r\na\r\nReal\r\n1 1 1\r\n1\r\n*\r\nlost\r\nNumber\r\n1\r\n"),
        ElementsAre("a", "n"));
}

TEST_F(AsciiFile, ReadsAsFarAsTheRulesOfTheFormatGo)
{
    const std::pair<std::string, std::string> contents[] = {
        {"a\nNumber\n1\n\nlost\nNumber\n2\n", "a = 1; "}, // An empty line.
        {"a\nReal\n1 1 1\n1\n", "a = 1; "}, // No "*".
        {"a\nNumber\n1\na\nString\nx\n", "a = 'x'; "},
        {"a\nString\n", "a = ''; "},
        {"a\nString\n\x8A\n", "a = 'ä'; "}, // Mac Roman.
        // The dimensions 0, 5, 5 are 0, 0, 0, and the numbers are passed over.
        {"a\nReal\n0 5 5\n1 2 3\n*\nb\nNumber\n1\n", "a = 0x0x0:; b = 1; "},
    };
    for (const auto& [text, wanted] : contents)
        EXPECT_EQ(shown(*fileOf(text)), wanted);
    const std::pair<const char*, const char*> names[] = {{"a _ b", "a_b"}, {"a_b", "a_b"}, {"_ a", "_a"},
        {"a  _", "a_"}, {"a _ _ b", "a__b"}, {" a b ", "a b"}};
    for (const auto& [name, standard] : names)
        EXPECT_EQ(namesOf(name + std::string("\nNumber\n1\n")), Names{standard});
    // Behind the line of the text.
    EXPECT_EQ(fileOf("a\nString\n")->theContent()[0].second.offsetInFile(), 9U);
    EXPECT_EQ(fileOf("a\nString\nb\n")->theContent()[0].second.offsetInFile(), 11U);
    const auto messagesAbout = [&](const std::string& text, const Names& kept) {
        store(path, text);
        const auto file = KRDataFileAscii::createWithName(path);
        const auto messages = messagesOf([&] { EXPECT_FALSE(file->openFileWithProgress()); });
        EXPECT_EQ(file->variablesNames(), kept);
        return messages;
    };
    for (const char* torn : {"b\n", "b\nNumber"})
        EXPECT_THAT(messagesAbout(std::string("a\nNumber\n1\n") + torn, {"a"}), IsEmpty());
    EXPECT_THAT(messagesAbout("a\nNumber\n1\nb\nComplex\n", {"a"}),
        ElementsAre("Unknown type|Unknown type encountered in the file \"" + path
            + "\".  The type that was read was called \"Complex\".  Make sure that the file you opened is in "
              "the ascii file format described in the help documentation"));
    // A line of more than 254 bytes is taken in parts, the second one for the type.
    EXPECT_THAT(messagesAbout(std::string(260, 'n') + "\n", {}),
        ElementsAre(testing::HasSubstr("was called \"nnnnnn\".")));
}

TEST_F(AsciiFile, TheBlockEndsDoNotShow)
{
    // The "*" and the numbers fall on every place around the end of a block.
    for (std::size_t size = (1U << 18) - 40; size < (1U << 18) + 4; ++size) {
        std::string numbers = "1 ";
        numbers.resize(size, '0');
        numbers += "12 34\n*\nnext\nNumber\n5\n";
        const auto file = fileOf("a\nReal\n3 1 1\n" + numbers);
        ASSERT_EQ(shown(*file, "next"), "5") << size;
        const auto read = numbersOf(file->readDoubleArray("a"));
        ASSERT_EQ(read.size(), read.empty() ? 0U : 3U);
    }
    std::string many = "a\nInteger\n100000 1 1\n";
    const auto wanted = counted<std::int32_t>(100000, 1000000000);
    for (const int number : wanted)
        many += std::to_string(number) + (number % 7 == 0 ? "\n" : " ");
    EXPECT_EQ(numbersOf(fileOf(many + "\n*\n")->readIntArray("a")), wanted);
}

TEST_F(AsciiFile, TellsHowManyNumbersThereAre)
{
    const auto messageFor = [&](const std::string& numbers, const std::string& shape) {
        const auto file = fileOf("a\nReal\n" + shape + "\n" + numbers + "\n*\n");
        const auto messages = messagesOf([&] { EXPECT_FALSE(file->readDoubleArray("a")); });
        EXPECT_EQ(messages.size(), 1U);
        return messages.front();
    };
    const std::string start = "Could not read the array \"a\"|Could not read the array \"a\" from the file \""
        + path + "\".  Could only read ";
    for (const char* shape : {"3 1 1", "2000000000 2000000000 2000000000"})
        for (const char* numbers : {"1 2", "1 2 x 4"})
            EXPECT_EQ(messageFor(numbers, shape), start + "2 entries");
    // A real number is an int as far as its digits go.
    const auto file = fileOf("a\nReal\n2 1 1\n1.5 2\n*\n");
    EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->readIntArray("a")); }), ElementsAre(start + "1 entries"));
    EXPECT_EQ(fileOf("a\nReal\n1 1 1\n0.1\n*\n")->readNumber("a"), StorageNumber(0.1F)); // As a float.
    EXPECT_EQ(fileOf("a\nReal\n1 1 1\nx\n*\n")->readNumber("a"), std::nullopt);
}

TEST_F(AsciiFile, NothingIsWrittenWhereItCouldNotBeRead)
{
    const std::pair<std::string, std::size_t> texts[] = {{"a\nNumber\n1", 0}, {"a\nNumber\n1\n\n", 11},
        {"a\nReal\n1 1 1\n1\n", 0}, {"a\nNumber\n1\nb\nReal\n1 1 1\n1\n*", 11},
        {"a\nNumber\n1\nb\nComplex\n", 11}};
    for (const auto& [text, place] : texts) {
        SCOPED_TRACE(text);
        store(path, text);
        const auto file = KRDataFileAscii::createWithName(path);
        const auto messages = messagesOf([&] {
            file->openFileWithProgress();
            EXPECT_FALSE(file->writeNumber(StorageNumber(1.0), "new"));
        });
        EXPECT_THAT(
            messages.back(), testing::HasSubstr("the bytes from " + std::to_string(place) + " on are no"));
        EXPECT_EQ(contentOf(path), text);
    }
    const auto file = KRDataFileAscii::createWithName(folder / "names.ascii");
    const auto messages = messagesOf([&] {
        for (const char* name : {"", "  ", "a\nb", "a\rb"})
            EXPECT_FALSE(file->writeNumber(StorageNumber(1.0), name)) << name;
        EXPECT_FALSE(file->writeString(std::string(254, 't'), "t"));
    });
    EXPECT_EQ(messages.size(), 5U);
    EXPECT_EQ(contentOf(folder / "names.ascii"), "");
}

TEST_F(AsciiFile, TellsWhatItCannotDo)
{
    const auto file = KRDataFileAscii::createWithName(path);
    file->writeIntArray(containerOf<std::int32_t>({1, 2}), "i");
    const auto messages = messagesOf([&] {
        EXPECT_FALSE(file->readShortArray("i") || file->readUShortArray("i") || file->readUCharArray("i")
            || file->readNativeArray("i") || file->readDataBlock("i")
            || file->writeShortArray(containerOf<std::int16_t>({1}), "s")
            || file->writeUShortArray(containerOf<std::uint16_t>({1}), "s")
            || file->writeUCharArray(containerOf<unsigned char>({1}), "s") || file->writeDataBlock({1}, "s")
            || file->removeVariables({"i"}));
    });
    EXPECT_EQ(messages,
        notProvided({"readUShortArray", "readUShortArray", "readUCharArray", "readNativeArray",
            "readDataBlock", "writeShortArray", "writeUShortArray", "writeCharacterArray",
            "writeDataBlock:", "removeVariables"}));
}

TEST_F(AsciiFile, AnEntryFromItsDictionaryIsOfTheOtherKind)
{
    using Entry = KRDataFileAsciiEntry;
    const auto back = [](const KRDataFileEntry& entry) {
        return *Entry::createFromDictionary(Entry::dictionaryForm(entry));
    };
    EXPECT_EQ(back(Entry::createRealArrayEntryAt(10, 2, 3, 4)).description(), "A integer array (2x3x1).");
    EXPECT_EQ(back(Entry::createIntArrayEntryAt(10, 2, 0, 1)).description(), "A real array (2x0x0).");
    EXPECT_EQ(*back(Entry::createStringEntryAt(10, "text")).stringValue(), "text");
    EXPECT_FALSE(Entry::dictionaryForm(Entry::createIntArrayEntryAt(1, 2, 3, 1)).find("o"));
    const platform::Value::Dictionary good{{"O", 5}, {"m", 1}, {"n", 1}, {"F", 1}};
    for (const auto& [key, old] : good)
        for (const platform::Value& value : {platform::Value(), platform::Value(-1), platform::Value("1"),
                 platform::Value(key == "F" ? 0 : -1), platform::Value(key == "F" ? 4 : -1)}) {
            auto bad = good;
            bad[key] = value;
            EXPECT_FALSE(Entry::createFromDictionary(bad));
        }
}

TEST_F(AsciiFile, ReadsItsContentFromAnIndexOfItsLength)
{
    using Dictionary = platform::Value::Dictionary;
    const auto file = fileOf("a\nInteger\n2 1 1\n7 8\n*\n");
    const std::string index = folder / "list.index";
    const auto read = [&](const Dictionary& list) {
        EXPECT_TRUE(platform::propertylist::writeAtomically(platform::Value(list), index));
        return file->readInContentFromIndex(index);
    };
    const platform::Value entry = Dictionary{{"O", 16}, {"m", 2}, {"n", 1}, {"F", 1}};
    const Dictionary entries{{"renamed", entry}};
    EXPECT_FALSE(read({{"Length", 21}, {"Entries", entries}})
        || read({{"Length", "22"}, {"Entries", entries}}) || read({{"Length", 22}}));
    EXPECT_THAT(file->variablesNames(), ElementsAre("a"));
    EXPECT_TRUE(read({{"Length", 22}, {"Entries", entries}}));
    EXPECT_EQ(shown(*file), "renamed = 2x1x1: 7 8; ");
    EXPECT_FALSE(read({{"Length", 22}, {"Entries", Dictionary{{"bad", "entry"}}}}));
    EXPECT_THAT(file->variablesNames(), IsEmpty());
    store(folder / "bad", "no list");
    for (const char* name : {"missing", "bad"})
        EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->readInContentFromIndex(folder / name)); }),
            ElementsAre("Could not open \"" + (folder / name) + "\"."));
}

} // namespace
} // namespace storagetest
