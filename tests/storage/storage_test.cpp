// What a storage does of its own: words for what isn't provided, numbers, sharing.

#include "storage_testing.h"

#include "storage/KRDataFile_StorageBasis.h"
#include "storage/KRDataStorageSharedReadWrite.h"

namespace storagetest {
namespace {

struct Bare : KRDataStorage { };
struct BareFile : KRDataFile { };

TEST(Storage, TellsWhatIsNotProvided)
{
    Bare storage;
    const auto messages = messagesOf([&] {
        EXPECT_FALSE(storage.isANumber("x"));
        EXPECT_THAT(storage.variablesWithPrefix(""), IsEmpty());
        EXPECT_EQ(storage.resolveNameAllowingRedirection("x"), "x");
        EXPECT_FALSE(storage.contains("x") || storage.isAString("x") || storage.isAFloatArray("x")
            || storage.isADoubleArray("x") || storage.isAnIntArray("x") || storage.getSizeOfVariable("x"));
        EXPECT_EQ(storage.readNumber("x"), StorageNumber(0.0));
        EXPECT_FALSE(storage.readFloatArray("x") || storage.readDoubleArray("x") || storage.readIntArray("x")
            || storage.readShortArray("x") || storage.readUShortArray("x") || storage.readDataBlock("x")
            || storage.readCharacterArray("x") || storage.readUCharArray("x")
            || storage.readNativeArray("x"));
        EXPECT_EQ(storage.readRawString("x"), "");
        EXPECT_FALSE(storage.writeFloatArray(containerOf<float>({1}), "x")
            || storage.writeNumber(StorageNumber(1), "x")
            || storage.writeIntArray(containerOf<std::int32_t>({1}), "x") || storage.writeString("t", "x")
            || storage.writeCharacterArray(containerOf<signed char>({1}), "x")
            || storage.writeDataBlock({}, "x")
            || storage.writeUCharArray(containerOf<unsigned char>({1}), "x")
            || storage.writeShortArray(containerOf<std::int16_t>({1}), "x")
            || storage.writeArray(KRAnyArray(containerOf<std::uint16_t>({1})), "x"));
    });
    EXPECT_EQ(messages,
        notProvided({"isANumber", "variablesWithPrefix", "contains", "isAString", "isAFloatArray",
            "isADoubleArray", "isAnIntArray", "getSizeOfVariable", "readNumber", "readFloatArray",
            "readDoubleArray", "readIntArray", "readUShortArray", "readUShortArray", "readDataBlock",
            "readCharacterArray", "readUCharArray", "readNativeArray", "readRawString", "writeFloatArray",
            "writeDoubleArray", "writeIntArray", "writeString", "writeCharacterArray",
            "writeDataBlock:", "writeCharacterArray", "writeShortArray", "writeUShortArray"}));

    BareFile file;
    EXPECT_THAT(messagesOf([&] {
        EXPECT_TRUE(file.structure().isNull());
        EXPECT_FALSE(file.openFileWithProgress() || file.removeVariables({}));
        file.createIndexFile(nullptr);
        EXPECT_EQ(file.updateFile() + file.updateFile(7), 0);
    }),
        ElementsAre("Internal error: Need to overwrite dataFileType", "Need to overwrite readInContentOfFile",
            "Need to overwrite removeVariables", "generateIndexFile called for KRDataFile"));

    KRDataFile_StorageBasis basis;
    Names notOverwritten;
    for (const char* function :
        {"structureFor:", "valueRangeFor", "readVariable:number:", "variableNames", "variablesWithType:",
            "boundingRangeFor:", "boundingBoxFor2DFor:", "boundingBoxFor3DFor:", "timeValuesForVariable:"})
        notOverwritten.push_back(function + std::string(" not overwritten for a DataFile_StorageBasis"));
    EXPECT_EQ(messagesOf([&] {
        basis.structureFor("x");
        basis.valueRangeFor("x");
        basis.readVariable("x", 1);
        basis.variableNames();
        basis.variablesWithType("x");
        basis.boundingRangeFor("x");
        basis.boundingBoxFor2DFor("x");
        basis.boundingBoxFor3DFor("x");
        basis.timeValuesForVariable("x");
        basis.readValueRangeFor("x", 1);
        basis.readBoundingBox2DFor("x", 1);
        basis.readBoundingBox3DFor("x", 1);
        EXPECT_TRUE(basis.serialNumberForVariable("x").isNull());
    }),
        notOverwritten);
    KRDataFile_StorageBasis::setup();
    const auto number = KRDataFile_StorageBasis::newUniqueNumber();
    EXPECT_LT(number, KRDataFile_StorageBasis::newUniqueNumber());
}

TEST(Storage, AHolderOfAnArrayIsUnwrapped)
{
    struct Holder : KRArrayHolder {
        KRAnyArray numbersArray() const override { return doubles({1, 2}); }
    };
    const ScratchFolder folder;
    const auto file = KRDataFile::openNewFileWithName(folder / "x.svbin");
    EXPECT_TRUE(file->writeArray(Holder(), "x") && file->writeArray(KRDataStorage::Bytes{3, 4}, "block"));
    // As a part of a tree, an array is one of these types.
    EXPECT_TRUE(file->writeObject(KRAnyArray(containerOf<signed char>({-1})), "c"));
    EXPECT_EQ(shown(*file), "block = 2x1x1: 3 4; c = -1; x = 2x1x1: 1 2; ");
    EXPECT_TRUE(file->readCharacterArray("c") && file->readDataBlock("block"));
    EXPECT_THAT(messagesOf([&] {
        EXPECT_FALSE(file->writeObject(KRAnyArray(containerOf<std::int16_t>({1})), "s")
            || file->saveRecursively(KRAnyArray(doubles({1})), "d", 6));
    }),
        ElementsAre("Unknown saving type for saving a dictionary.", "Reached the recursive depth."));
}

TEST(Storage, ANumberKeepsItsTypeAndConvertsByPlainCasts)
{
    EXPECT_EQ(StorageNumber(2.75).intValue(), 2);
    EXPECT_EQ(StorageNumber(-1).as<unsigned char>(), 255);
    EXPECT_EQ(StorageNumber(std::uint16_t(65535)).doubleValue(), 65535);
    EXPECT_NE(StorageNumber(1.0), StorageNumber(1));
    EXPECT_EQ(StorageNumber(0.1).description() + StorageNumber(0.1F).description(), "0.10.1");
    EXPECT_EQ(StorageNumber(1e100).description(), "1e+100");
    EXPECT_EQ(StorageNumber(static_cast<signed char>(-5)).description(), "-5");
    EXPECT_EQ(StorageNumber(2.5).value(), platform::Value(2.5));
    EXPECT_EQ(StorageNumber(2).value(), platform::Value(2));
    EXPECT_FALSE(StorageNumber::fromValue("2", ElementType::Int));
}

TEST(Storage, AnEntryKeepsNumbersOfArraysAndTextsOfTexts)
{
    auto array = KRDataFileBinaryEntry::createArrayAt(0, 0, 1, 1, 1);
    auto text = KRDataFileBinaryEntry::createStringAt(0, 7, 1, 1, 1);
    EXPECT_THAT(messagesOf([&] {
        array.setStringValue("text");
        text.setNumberValue(StorageNumber(1));
        EXPECT_FALSE(text.numberValue() || array.stringValue());
    }),
        ElementsAre("Calling setStringValue for a number entry.",
            "Calling setNumberValue for a string entry.", "Calling numberValue for a string entry.",
            "Calling stringValue for a number entry."));
    EXPECT_TRUE(array.cachedEntry().isNull() && text.cachedEntry().isNull());
    const auto huge = KRDataFileBinaryEntry::createArrayAt(0, 0, UINT32_MAX, UINT32_MAX, UINT32_MAX);
    EXPECT_EQ(huge.requiredSize(), UINT64_MAX);
    EXPECT_FALSE(huge.isANumber());
}

struct Shared : KRSharedValue {
    explicit Shared(double of) : number(of) { }
    std::string typeWord() const override { return "Real Number"; }
    bool isEqualTo(const KRSharedValue& other) const override
    {
        return number == static_cast<const Shared&>(other).number;
    }
    bool saveIntoFile(KRDataStorage& file, const std::string& withName) const override
    {
        return file.writeNumber(StorageNumber(number), withName);
    }
    double number;
};

TEST(Storage, SharesValuesThatAreEqualToTheLastOneOfTheirType)
{
    const ScratchFolder folder;
    const auto file = KRDataFile::openNewFileWithName(folder / "x.svbin");
    EXPECT_FALSE(KRDataStorageSharedReadWrite::createWithDataFile(nullptr));
    const auto writer = KRDataStorageSharedReadWrite::createWithDataFile(file.get());
    const auto value = [](double number) { return std::make_shared<Shared>(number); };
    EXPECT_TRUE(
        writer->save(value(1), "a") && writer->save(value(1), "b") && writer->saveIntoFile(value(2), "c"));
    EXPECT_TRUE(writer->save(value(1), "d")); // Only the last one counts.
    EXPECT_FALSE(writer->save(nullptr, "e") || writer->objectForKey("a"));
    EXPECT_THAT(messagesOf([&] { writer->setKey(value(3), "f"); }), IsEmpty());
    EXPECT_EQ(shown(*file), "a = 1; b = 'a'; c = 2; d = 1; ");

    KRDataStorageSharedReadWrite::setReader(
        "Real Number", [](KRDataStorage& storage, const std::string& name) {
            const auto number = storage.readNumber(name);
            return number
                ? KRDataStorageSharedReadWrite::Value(std::make_shared<Shared>(number->doubleValue()))
                : nullptr;
        });
    const auto reader = KRDataStorageSharedReadWrite::createWithDataFile(file.get());
    const auto read = [&](const char* name) { return reader->readType("Real Number", name); };
    const auto a = read("a");
    ASSERT_TRUE(a);
    EXPECT_TRUE(read("b") == a && !read("missing") && read("a") == a);
    EXPECT_EQ(static_cast<const Shared&>(*read("c")).number, 2);
    EXPECT_NE(read("a"), a);
    EXPECT_EQ(reader->readType("Unknown", "a"), nullptr);
}

} // namespace
} // namespace storagetest
