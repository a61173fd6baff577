// Unformatted sequential files: those of a real compiler, and those that are torn or damaged.

#include "TestMessages.h"
#include "TextLines.h"
#include "platform/TemporaryFolder.h"
#include "text/fortran/KRUnformattedFortranFile.h"

#include "diagnostics/KRProgressEntry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <cstdlib>

namespace {

std::string mark(std::int32_t length)
{
    return {reinterpret_cast<const char*>(&length), sizeof length};
}

std::string record(std::string_view bytes)
{
    const std::string length = mark(static_cast<std::int32_t>(bytes.size()));
    return length + std::string(bytes) + length;
}

auto opened(const std::string& path, std::shared_ptr<KRProgressEntry> progress = nullptr)
{
    auto file = KRUnformattedFortranFile::open(path, std::move(progress));
    return file ? std::move(*file) : nullptr;
}

constexpr const char* kProgram = R"(
program writes
  implicit none
  integer :: i
  character(len=12) :: name = "Pressure"
  real(8) :: values(1000)
  values = [(i * 0.5d0, i = 1, 1000)]
  open(10, file="data", form="unformatted", access="sequential")
  write(10) name
  write(10) 1.25d0
  write(10) 2.5
  write(10) values
  write(10) [1, -2, 3]
  write(10) [0.5, 0.25]
  write(10)
  write(10) "Group End"
  close(10)
end program
)";

TEST(FortranRecords, ReadsWhatACompiledProgramWrites)
{
    if (std::system("gfortran --version >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "gfortran is needed to write the files of this test.";
    TestMessages messages;
    // Subrecords of 24 bytes are made as those of 2 GiB are.
    for (const char* options : {"", "-fconvert=big-endian", "-fmax-subrecord-length=24",
             "-fmax-subrecord-length=24 -fconvert=big-endian"}) {
        SCOPED_TRACE(options);
        const TemporaryFolder folder;
        write(folder / "writes.f90", kProgram);
        ASSERT_EQ(std::system((
                      "cd " + folder.path() + " && gfortran " + options + " writes.f90 -o writes && ./writes")
                                  .c_str()),
            0);
        const auto progress = KRProgressEntry::createWithDescription(std::any());
        const auto file = opened(folder / "data", progress);
        ASSERT_TRUE(file);
        EXPECT_FALSE(file->atEndOfFile());
        EXPECT_EQ(file->progress(), progress);
        EXPECT_EQ(file->readString(), "Pressure");
        EXPECT_EQ(file->isBigEndian(), std::string(options).find("big") != std::string::npos);
        EXPECT_EQ(file->readNumber(), 1.25);
        EXPECT_EQ(file->readNumber(), 2.5);
        const auto values = file->readDoubleArray();
        ASSERT_EQ(values->size(), 1000U);
        EXPECT_EQ(values->at(999), 500);
        EXPECT_EQ(file->readIntArray(), (std::vector<std::int32_t>{1, -2, 3}));
        EXPECT_EQ(file->readFloatArray(), (std::vector<float>{0.5F, 0.25F}));
        EXPECT_EQ(file->readBytes(), "");
        EXPECT_EQ(file->readString(), "Group End");
        EXPECT_TRUE(file->atEndOfFile());
        EXPECT_EQ(file->readNumber(), std::nullopt);
        const auto skipping = opened(folder / "data");
        skipping->setShouldSkipData(true);
        EXPECT_EQ(skipping->readString(), "Pressure");
        for (const double number : {1.25, 2.5})
            EXPECT_EQ(skipping->readNumber(), number);
        EXPECT_EQ(skipping->readDoubleArray(), std::vector<double>());
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(skipping->readBytes(), "");
        EXPECT_EQ(skipping->readString(), "Group End");
        EXPECT_FALSE(skipping->error());
    }
    EXPECT_EQ(messages.take(), Texts{});
}

// A program that still runs can have written any part of its last record.
TEST(FortranRecords, TakesARecordOnlyOnceItIsThereAsAWhole)
{
    const TemporaryFolder folder;
    const std::string first = record("name    ");
    const std::string parts = mark(-4) + "over" + mark(4) + mark(3) + " it" + mark(-3);
    for (std::size_t size = 0; size <= parts.size(); ++size) {
        SCOPED_TRACE(size);
        write(folder / "data", first + parts.substr(0, size));
        const auto file = opened(folder / "data");
        EXPECT_EQ(file->readString(), "name");
        EXPECT_EQ(file->atEndOfFile(), size == 0);
        EXPECT_EQ(file->readString(), size == parts.size() ? std::optional("over it") : std::nullopt);
        EXPECT_TRUE(file->atEndOfFile());
        EXPECT_FALSE(file->error());
        std::ofstream(folder / "data", std::ios::binary | std::ios::app)
            << parts.substr(size) << record("next");
        if (size < parts.size()) {
            EXPECT_EQ(file->readString(), "over it");
        }
        EXPECT_EQ(file->readString(), "next");
    }
    for (std::size_t size = 0; size < first.size(); ++size) {
        write(folder / "data", first.substr(0, size));
        const auto file = opened(folder / "data");
        EXPECT_EQ(file->readString(), std::nullopt) << size;
        EXPECT_FALSE(file->error()) << size;
        write(folder / "data", first);
        EXPECT_EQ(file->readString(), "name") << size;
    }
}

TEST(FortranRecords, TellsDamage)
{
    TestMessages messages;
    const TemporaryFolder folder;
    const std::string path = folder / "data";
    const auto secondOf = [&](const std::string& second) {
        write(path, record("name") + second + record("later"));
        const auto file = opened(path);
        EXPECT_EQ(file->readString(), "name");
        EXPECT_EQ(file->readNumber(), std::nullopt);
        EXPECT_TRUE(file->error());
        EXPECT_EQ(file->readString(), std::nullopt); // Nothing is read behind it.
        EXPECT_EQ(messages.take().size(), 1U);
    };
    secondOf(mark(4) + "text" + mark(5));
    secondOf(mark(4) + "text" + mark(-4));
    secondOf(mark(-4) + "text" + mark(4) + record("more"));
    secondOf(record("five."));
    secondOf(record(""));
    write(path, mark(4) + "text" + mark(7));
    EXPECT_EQ(opened(path)->readString(), std::nullopt);
    const auto array = [&](auto read) {
        write(path, record("12345"));
        const auto file = opened(path);
        EXPECT_FALSE((*file.*read)());
        EXPECT_TRUE(file->error());
    };
    array(&KRUnformattedFortranFile::readDoubleArray);
    array(&KRUnformattedFortranFile::readIntArray);
    EXPECT_EQ(messages.take(), (Texts{"Could not read in an array.", "Could not read in an array."}));
    EXPECT_EQ(opened(folder / "missing"), nullptr);
    write(path, mark(-2147483647 - 1) + "x");
    EXPECT_EQ(opened(path)->readString(), std::nullopt);
    write(path, record(std::string("caf\x8e\0 ", 6)));
    EXPECT_EQ(opened(path)->readString(), "café");
}

} // namespace
