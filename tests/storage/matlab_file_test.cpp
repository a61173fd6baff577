#include "storage/StoredArray.h"
#include "storage_testing.h"

#include "datafile/SVMatlabRecords.h"

namespace storagetest {
namespace {

std::shared_ptr<KRDataFileMatBinary> matlab(const std::string& path)
{
    return std::dynamic_pointer_cast<KRDataFileMatBinary>(opened(path));
}

const std::string kOne = raw(1.0);

struct MatlabFile : testing::Test {
    ScratchFolder folder;
    const std::string path = folder / "x.mat";
};

TEST_F(MatlabFile, WritesTheBytesOfTheFormatAndNothingThatItCantHold)
{
    const auto file = KRDataFileMatBinary::createNewFileWithName(path);
    EXPECT_TRUE(file->writeFloatArray(shaped<float>({1, 2, 3, 4, 5, 6, 7, 8}, 2, 2, 2), "box")
        && file->writeCharacterArray(containerOf<signed char>({'H', 'i'}), "c")
        && file->writeString("Hi", "t"));
    EXPECT_EQ(contentOf(path),
        matrix(20, 1, 1, 0, "box_3D", raw(std::int32_t(2)))
            + matrix(10, 4, 2, 0, "box", bytesOfNumbers(counted<float>(8))) + matrix(51, 2, 1, 0, "c", "Hi")
            + matrix(51, 2, 1, 0, "t", "Hi"));
    // Signed bytes come back as text: the format has no others.
    EXPECT_EQ(file->readRawString("c"), "Hi");
    EXPECT_FALSE(file->readCharacterArray("c"));
    const std::string before = contentOf(path);
    EXPECT_THAT(messagesOf([&] {
        EXPECT_FALSE(file->writeUCharArray(shaped(counted<unsigned char>(8), 2, 2, 2), "u"));
    }),
        ElementsAre(testing::StartsWith("Could not write the variable.|")));
    EXPECT_EQ(contentOf(path), before);
    // A companion's name is a name like any other.
    EXPECT_TRUE(file->writeNumber(StorageNumber(1.0), "cube_3D"));
    EXPECT_THAT(messagesOf([&] {
        EXPECT_FALSE(file->writeDoubleArray(shaped(counted<double>(8), 2, 2, 2), "cube"));
    }),
        ElementsAre("Entry already exists, can't overwrite it."));
    EXPECT_FALSE(file->contains("cube") || opened(path)->contains("cube"));
}

TEST_F(MatlabFile, CrossesWithTheLibrary)
{
    {
        SVMatlabDataFile library(folder / "library.mat", SVFile::NewReadWrite);
        library.Save(svtest::counting<double>(1, 2, 3), "box");
        library.Save(svtest::counting<std::int16_t>(2, 3), "s");
        library.Save("text", "t");
        library.Save(2.5, "n");
    }
    for (const bool indexed : {false, true}) {
        if (indexed) {
            SVMatlabDataFile(folder / "library.mat", SVFile::ReadOnly).SaveIndex();
            EXPECT_TRUE(std::filesystem::exists(folder / "library.index"));
        }
        File file;
        EXPECT_THAT(messagesOf([&] { file = opened(folder / "library.mat"); }), IsEmpty());
        EXPECT_EQ(shown(*file),
            "box = 1x2x3: 0 1 2 3 4 5; box_3D = 1; n = 2.5; s = 2x3x1: 0 1 2 3 4 5; t = 'text'; ");
        EXPECT_EQ(numbersOf(file->readIntArray("s")), counted<std::int32_t>(6, 0));
    }
    const auto ours = KRDataFileMatBinary::createNewFileWithName(folder / "ours.mat");
    ours->writeIntArray(shaped(counted<std::int32_t>(24), 2, 3, 4), "box");
    ours->writeString("größe", "t");
    for (const bool indexed : {false, true}) {
        if (indexed)
            ours->createIndexFile(KRContainerFileName::createWithName(folder / "ours.index"));
        const SVMatlabDataFile library(folder / "ours.mat", SVFile::ReadOnly);
        EXPECT_EQ(library.ReadIntArray("box")(1, 2, 3), 24);
        EXPECT_EQ(library.ReadString("t"), "größe");
        EXPECT_EQ(opened(folder / "ours.mat")->readRawString("t"), "größe");
    }
}

TEST_F(MatlabFile, ReadsWhatOctaveWrote)
{
    const File file = opened(DATAFILE_SAMPLES "/octave.mat");
    const SVMatlabDataFile library(DATAFILE_SAMPLES "/octave.mat", SVFile::ReadOnly);
    Names names = library.AllVariableNames();
    EXPECT_EQ(file->variablesNames(), names);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        if (library.SavedAsString(name))
            EXPECT_EQ(file->readRawString(name), library.ReadString(name));
        else
            EXPECT_EQ(
                numbersOf(file->readDoubleArray(name)), svtest::valuesOf(library.ReadDoubleArray(name)));
    }
}

TEST_F(MatlabFile, CrossesWithOctave)
{
    if (std::system("octave-cli --version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "GNU Octave is not installed";
    const auto octave = [](const std::string& script) {
        return std::system(("octave-cli --quiet --eval \"" + script + "\"").c_str());
    };
    const auto file = KRDataFileMatBinary::createNewFileWithName(path);
    file->writeDoubleArray(shaped(counted<double>(6), 2, 3), "d");
    file->writeShortArray(containerOf<std::int16_t>({-3, 4}), "s");
    file->writeString("words", "t");
    ASSERT_EQ(octave("load('" + (path)
                  + "'); assert(d, [1 3 5; 2 4 6]); assert(double(s), [-3; 4]);"
                    " assert(reshape(t, 1, []), 'words'); z = [1+2i 3]; sp = sparse([1 0; 0 2]); e = 'end';"
                    " save('-v4', '"
                  + (folder / "back.mat") + "', 'd', 'z', 'sp', 'e');"),
        0);
    // Of complex numbers the real part. A sparse matrix is listed and passed over, but stays in the file and
    // in its copies.
    const File back = openForWriting<KRDataFileMatBinary>(folder / "back.mat");
    EXPECT_EQ(shown(*back), "d = 2x3x1: 1 2 3 4 5 6; e = 'end'; sp = none; z = 1x2x1: 1 3; ");
    EXPECT_TRUE(back->writeDoubleArray(doubles({7, 8}), "added"));
    ASSERT_TRUE(back->copyInto(folder / "copy.mat"));
    EXPECT_EQ(octave("load('" + (folder / "copy.mat")
                  + "'); assert(issparse(sp)); assert(full(sp), [1 0; 0 2]); assert(added, [7; 8]);"),
        0);
}

TEST_F(MatlabFile, ReadsTheOtherByteOrder)
{
    store(path,
        matrix(1000, 1, 1, 0, "n", swapped(kOne))
            + matrix(1010, 2, 1, 0, "f", swapped(raw(1.5F)) + swapped(raw(2.5F)))
            + matrix(1030, 1, 1, 0, "s", swapped(raw(std::int16_t(-7)))) + matrix(1051, 2, 1, 0, "t", "Hi")
            + matrix(1001, 2, 1, 0, "wide", swapped(raw(72.0)) + swapped(raw(105.0))));
    const auto file = matlab(path);
    EXPECT_FALSE(file->structure().find("LittleEndian"));
    for (const File& each :
        {File(file), KRDataFile::createFromStructure(file->structure()), file->copyInto(folder / "y.mat")}) {
        EXPECT_EQ(shown(*each), "f = 2x1x1: 1.5 2.5; n = 1; s = -7; t = 'Hi'; wide = 'Hi'; ");
        EXPECT_EQ(numbersOf(each->readFloatArray("f")), (std::vector<float>{1.5F, 2.5F}));
    }
    double part[2] = {};
    file->openArray("f")->read(1, part); // One of them is beyond the end.
    EXPECT_EQ(part[0], 2.5);
    EXPECT_TRUE(std::isnan(part[1]));
    EXPECT_FALSE(file->openArray("t") || file->openArray("none"));
    EXPECT_EQ(KRDataFileMatBinary::convertBytes("Hi", false, ElementType::UChar, 100), "Hi");
    // The library would read an index without the byte order.
    file->createIndexFile(KRContainerFileName::createWithName(folder / "x.index"));
    EXPECT_FALSE(std::filesystem::exists(folder / "x.index"));
    store(folder / "little.mat", matrix(0, 1, 1, 0, "n", kOne));
    EXPECT_EQ(matlab(folder / "little.mat")->structure().textFor("LittleEndian"), "YES");
}

TEST_F(MatlabFile, StepsOverImaginaryPartsAndListsSparseMatrices)
{
    store(path,
        matrix(0, 1, 1, 1, "z", kOne + raw(9.0)) + matrix(2, 2, 3, 0, "sp", std::string(48, '\1'))
            + matrix(0, 1, 1, 0, "n", kOne));
    const auto file = matlab(path);
    EXPECT_EQ(shown(*file), "n = 1; sp = none; z = 1; ");
    EXPECT_FALSE(file->readNativeArray("sp") || file->readDataBlock("sp"));
    const auto content = file->theContent();
    EXPECT_EQ(content[1].second.description(), "A sparse matrix");
    const auto back = KRDataFileMatBinaryEntry::createFromDictionary(
        KRDataFileMatBinaryEntry::dictionaryForm(content[1].second));
    EXPECT_TRUE(back && back->isSparse());
    EXPECT_FALSE(KRDataFileMatBinaryEntry::createFromDictionary(
        platform::Value::Dictionary{{"O", 0}, {"m", 1}, {"n", 1}, {"F", 6}}));
    EXPECT_EQ(KRDataFileMatBinaryEntry::createArrayAt(0, 4, 2, 3).description(),
        "A 2 byte unsigned integer array (2x3).");
}

TEST_F(MatlabFile, TellsWhereTheFormatEnds)
{
    const std::string first = matrix(0, 1, 1, 0, "a", kOne);
    const std::string empty = "The file \"x.mat\" doesn't contain any data.";
    const std::string second = "The file \"x.mat\" has a format error in entry number 2.";
    const std::string type = "Ran into problems reading the file (Incorrect type).";
    const auto header = [&](const std::string& fields) {
        return second + " The Headerinfo was (" + fields + ").";
    };
    const std::pair<std::string, std::string> faults[] = {
        {"", empty},
        {"abc", empty},
        {matrix(0, 1, 1, 2, "a", kOne), "The file \"x.mat\" has incorrect format"},
        {bytesOf("89 48 44 46 0d 0a 1a 0a") + std::string(20, '\0'),
            "The file \"x.mat\" is a MAT-file of a newer level: save it with -v4."},
        // Another byte order in the middle.
        {first + raw(std::int32_t(1000)) + matrix(0, 1, 1, 0, "b", kOne).substr(4), header("1000,1,1,0,2")},
        {first + matrix(0, 1, 1, 2, "b", kOne), header("0,1,1,2,2")},
        {first + matrix(3, 1, 1, 0, "b", kOne), header("3,1,1,0,2")},
        {first + matrix(0, -1, 1, 0, "b", kOne), header("0,-1,1,0,2")},
        {first + matrix(999, 1, 1, 0, "b", kOne), header("999,1,1,0,2")},
        {first + matrix(60, 1, 1, 0, "b", kOne), type},
        {first + matrix(90, 1, 1, 0, "b", kOne), type},
        {first + matrix(0, 1, 1, 0, std::string(255, 'n'), kOne), second + " Name field had length 256."},
    };
    for (const auto& [bytes, message] : faults) {
        store(path, bytes);
        EXPECT_THAT(messagesOf([&] { matlab(path); }), ElementsAre(message));
    }
    store(path, first + matrix(0, INT_MAX, INT_MAX, 1, "b", kOne)); // Not there yet, by its size.
    EXPECT_THAT(messagesOf([&] { matlab(path); }), IsEmpty());
}

TEST_F(MatlabFile, ACompanionThatDoesNotFitGivesNoArray)
{
    const std::string data = kOne + kOne + kOne + kOne;
    for (const double k : {3.0, 0.0, -2.0}) {
        store(path, matrix(0, 1, 1, 0, "a_3D", raw(k)) + matrix(0, 4, 1, 0, "a", data));
        const auto file = matlab(path);
        EXPECT_TRUE(file->contains("a_3D"));
        EXPECT_THAT(messagesOf([&] { EXPECT_FALSE(file->readDoubleArray("a")); }),
            ElementsAre("The variable \"a\" in file \"" + (path) + "\" had an incorrect third dimension."));
        EXPECT_EQ(file->getSizeOfVariable("a"), (KRDataStorage::Size{4, 1, 1}));
    }
    // The shortest name that makes a companion, and one that is too short.
    store(path, matrix(0, 1, 1, 0, "_3D", raw(2.0)) + matrix(0, 4, 1, 0, "", data));
    EXPECT_EQ(matlab(path)->structure().find("3D")->array()->size(), 0U);
}

TEST_F(MatlabFile, AnIndexCountsAsFarAsItReaches)
{
    const std::string a = matrix(0, 1, 1, 0, "a", kOne);
    store(path, a + matrix(51, 2, 1, 0, "t", "Hi"));
    const SVMatlabIndexRecord text{static_cast<std::int64_t>(a.size() + 22), 51, 2, 1, "text"};
    const std::pair<std::vector<SVMatlabIndexRecord>, Names> indexes[] = {{{text}, {"text"}},
        {{{22, 0, 1, 1, "renamed"}}, {"renamed", "t"}}, // The rest by scan.
        {{{22, 50, 1, 1, "within"}}, {"a", "t"}}, // Ends before the data does.
        {{text, {22, 60, 1, 1, "bad"}}, {"a", "t"}}, {{text, {22, 0, 100, 1, "beyond"}}, {"a", "t"}},
        {{text, {-22, 0, 1, 1, "before"}}, {"a", "t"}},
        {{text, {22, 0, 1, 1, "text_3D"}}, {"text", "text_3D"}}};
    for (const auto& [records, names] : indexes) {
        std::string bytes("mat index file", 15);
        for (const auto& record : records)
            SVAppendMatlabRecord(bytes, record);
        store(folder / "x.index", bytes);
        EXPECT_EQ(matlab(path)->variablesNames(), names);
    }

    // Every kind of variable comes back from the index of its file, in either byte order.
    for (const int order : {0, 1000}) {
        const auto put = [&](const std::string& value) { return order == 0 ? value : swapped(value); };
        store(folder / "y.mat",
            matrix(order + 2, 2, 3, 0, "sparse", std::string(48, '\1'))
                + matrix(order + 1, 2, 1, 0, "wide", put(raw(72.0)) + put(raw(105.0)))
                + matrix(order + 10, 2, 1, 0, "f", put(raw(1.5F)) + put(raw(2.5F))));
        const auto index = KRContainerFileName::createWithName(folder / "made.index");
        matlab(folder / "y.mat")->createIndexFile(index);
        std::string bytes = contentOf(index->fileName());
        store(index->fileName(), bytes.replace(bytes.find("wide"), 4, "text"));
        const auto indexed = KRDataFile::openFileName(folder / "y.mat", nullptr, index);
        EXPECT_EQ(shown(*indexed), "f = 2x1x1: 1.5 2.5; sparse = none; text = 'Hi'; ");
        EXPECT_TRUE(indexed->theContent()[1].second.isSparse());
    }
}

} // namespace
} // namespace storagetest
