#include "datafile/SVDataFile.h"
#include "datafile/SVMatlabDataFile.h"

#include "datafile/datafile_testing.h"

#include <csignal>
#include <sys/wait.h>

#include <random>

using namespace svtest;

namespace {

// A file with an entry of each kind, and the offsets at which its entries end.
template <class File>
std::vector<std::size_t> writeSample(const std::string& path)
{
    std::vector<std::size_t> ends;
    File file(path, SVFile::NewReadWrite);
    const std::function<void()> saves[] = {
        [&] { file.Save(counting<double>(3), "a"); },
        [&] { file.Save(counting<std::int16_t>(2, 2), "bb"); },
        [&] { file.Save("text", "c"); },
        [&] { file.Save(counting<unsigned char>(5), "d"); },
    };
    for (const auto& save : saves) {
        save();
        file.Flush();
        ends.push_back(std::filesystem::file_size(path));
    }
    return ends;
}

class Child {
public:
    explicit Child(const std::function<void()>& work) : pid_(fork())
    {
        if (pid_ == 0) {
            work();
            _exit(0);
        }
    }
    ~Child() { end(SIGKILL); }
    bool isRunning() { return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0; }
    void end(int signal)
    {
        if (pid_ <= 0)
            return;
        kill(pid_, signal);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    pid_t pid_;
};

std::string nameOf(int i)
{
    return std::to_string(i);
}

// Entry i holds i numbers modulo 300, all of them i.
void append(SVDataFile& file, int i)
{
    SVMutableDoubleArray numbers(1 + i % 300);
    numbers = i;
    file.Save(numbers, nameOf(i));
    file.Flush();
}

// Reads the file while it grows: the entries from 0 on, without a gap, each of them complete. Returns how
// many.
int checkedEntries(const std::string& path)
{
    SVDataFile file(path, SVFile::ReadOnly);
    const int count = static_cast<int>(file.AllVariableNames().size());
    for (int i = 0; i < count; i += i < count - 20 ? 37 : 1) {
        const SVDoubleArray numbers = file.ReadDoubleArray(nameOf(i));
        EXPECT_EQ(numbers.Length(), 1 + i % 300);
        EXPECT_EQ(numbers(0), i);
        EXPECT_EQ(numbers(numbers.Length() - 1), i);
    }
    return count;
}

} // namespace

TEST(TornFiles, NativeFilesKeepEveryCompleteEntry)
{
    const ScratchFolder folder;
    const auto ends = writeSample<SVDataFile>(folder / "whole.svbin");
    const std::string whole = contentOf(folder / "whole.svbin");
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        store(folder / "cut.svbin", whole.substr(0, size));
        const auto complete = std::count_if(ends.begin(), ends.end(), [&](auto end) { return end <= size; });
        std::size_t listed = 0;
        const auto reports = reportsOf([&] {
            SVDataFile file(folder / "cut.svbin", SVFile::ReadOnly);
            listed = file.AllVariableNames().size();
        });
        EXPECT_EQ(listed, static_cast<std::size_t>(complete));
        if (size == 0 || size >= 24)
            EXPECT_THAT(reports, IsEmpty());
        else
            EXPECT_THAT(
                reports, ElementsAre("SVDataFile::ReadInContent: Not a valid Sorvanta binary format."));
    }
}

// A matrix is listed as soon as its name is complete; its data are empty until they are complete.
TEST(TornFiles, MatlabFilesNeverGiveHalfAMatrix)
{
    const ScratchFolder folder;
    writeSample<SVMatlabDataFile>(folder / "whole.mat");
    const std::string whole = contentOf(folder / "whole.mat");
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        SCOPED_TRACE(size);
        store(folder / "cut.mat", whole.substr(0, size));
        EXPECT_THAT(reportsOf([&] {
            SVMatlabDataFile file(folder / "cut.mat", SVFile::ReadOnly);
            if (file.Contains("a")) {
                EXPECT_EQ(file.ReadDoubleArray("a").Length(), size >= 46 ? 3 : 0);
            }
            EXPECT_EQ(file.Contains("d"), size >= whole.size() - 5);
        }),
            IsEmpty());
    }
}

TEST(TornFiles, ReadersSeeOnlyWholeEntriesWhileAnotherProcessWrites)
{
    const ScratchFolder folder;
    const std::string path = folder / "growing.svbin";
    store(path, "");
    constexpr int kEntries = 5000;
    Child writer([&] {
        SVDataFile file(path, SVFile::ExistingReadWrite);
        for (int i = 0; i < kEntries; ++i)
            append(file, i);
    });
    int last = 0;
    int opened = 0;
    EXPECT_THAT(reportsOf([&] {
        for (bool running = true; running; ++opened) {
            running = writer.isRunning();
            const int now = checkedEntries(path);
            EXPECT_GE(now, last);
            last = now;
        }
    }),
        IsEmpty());
    EXPECT_EQ(last, kEntries);
    EXPECT_GT(opened, 5);
}

TEST(TornFiles, AKilledWriterLosesNoCompleteEntry)
{
    const ScratchFolder folder;
    const std::string path = folder / "killed.svbin";
    constexpr unsigned kSeed = 20240611;
    std::mt19937 random(kSeed);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        store(path, "");
        int noted[2];
        ASSERT_EQ(pipe(noted), 0);
        Child writer([&] {
            SVDataFile file(path, SVFile::ExistingReadWrite);
            for (int i = 0;; ++i) {
                append(file, i);
                // Tells the reader that the entry was flushed.
                if (write(noted[1], &i, sizeof i) != sizeof i)
                    _exit(1);
            }
        });
        close(noted[1]);
        usleep(static_cast<useconds_t>(random() % 20000));
        writer.end(SIGKILL);
        int promised = -1;
        for (int i = 0; read(noted[0], &i, sizeof i) == sizeof i;)
            promised = i;
        close(noted[0]);
        int found = 0;
        EXPECT_THAT(reportsOf([&] { found = checkedEntries(path); }), IsEmpty());
        EXPECT_GT(found, promised);
    }
}
