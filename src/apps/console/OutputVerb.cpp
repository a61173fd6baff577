#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "platform/files/Descriptor.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr double kSecondsBetweenLooks = 0.5;
constexpr int kBlocksAtATime = 16;

// Hands out what a growing file holds beyond what was handed out before. A file that was replaced or cut
// begins anew.
class GrowingFile {
public:
    explicit GrowingFile(std::string path) : path_(std::move(path)) { }

    enum class Read { Everything, Some, Refused };
    // At most so many blocks, so that somebody who follows a fast writer still hears an interrupt.
    Read readNew(const std::function<bool(std::string_view)>& take, int mostBlocks)
    {
        reopenIfReplaced();
        std::array<char, 65536> block{};
        for (int blocks = 0; blocks < mostBlocks; ++blocks) {
            const std::string_view bytes = readAt(position_, block.data(), block.size());
            if (bytes.empty())
                return Read::Everything;
            position_ += static_cast<off_t>(bytes.size());
            last_ = bytes.substr(bytes.size() - std::min(bytes.size(), kBytesRemembered));
            if (!take(bytes))
                return Read::Refused;
        }
        return Read::Some;
    }

    bool exists() const { return static_cast<bool>(file_); }

private:
    void reopenIfReplaced()
    {
        struct stat now { };
        if (stat(path_.c_str(), &now) != 0 || !S_ISREG(now.st_mode))
            return;
        if (file_ && now.st_dev == device_ && now.st_ino == inode_ && now.st_size >= position_ && holdsLast())
            return;
        file_.reset(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        if (!file_ || fstat(file_.get(), &now) != 0)
            return;
        device_ = now.st_dev;
        inode_ = now.st_ino;
        position_ = 0;
        last_.clear();
    }

    // A file that was cut, and has grown beyond the position since, shows by other bytes before it.
    bool holdsLast() const
    {
        std::array<char, kBytesRemembered> bytes{};
        return readAt(position_ - static_cast<off_t>(last_.size()), bytes.data(), last_.size()) == last_;
    }

    std::string_view readAt(off_t place, char* buffer, std::size_t size) const
    {
        const ssize_t count = platform::retryInterrupted(
            [&] { return file_ ? ::pread(file_.get(), buffer, size, place) : ssize_t{0}; });
        return {buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
    }

    static constexpr std::size_t kBytesRemembered = 256;
    std::string path_;
    platform::Descriptor file_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    off_t position_ = 0;
    std::string last_; // The last bytes before the position.
};

// Makes rows of text that comes in pieces. It is split at LF, CR and CR LF, as the output table does; text
// ended by a line end has no empty last line.
class LinesAsJson {
public:
    bool add(std::string_view bytes)
    {
        while (!bytes.empty()) {
            if (std::exchange(isBehindReturn_, false) && bytes.front() == '\n') {
                bytes.remove_prefix(1);
                continue;
            }
            const std::size_t end = bytes.find_first_of("\r\n");
            line_ += bytes.substr(0, end);
            if (end == std::string_view::npos)
                return true;
            isBehindReturn_ = bytes[end] == '\r';
            bytes.remove_prefix(end + 1);
            if (!writeLine())
                return false;
        }
        return true;
    }

    bool finish() { return (line_.empty() || writeLine()) && rows_.finish(); }

private:
    bool writeLine()
    {
        const bool written = rows_.add({{"Number", fmt::format("{}", ++number_)}, {"Line", line_}});
        line_.clear();
        return written;
    }

    JsonRowWriter rows_;
    std::string line_;
    std::int64_t number_ = 0;
    bool isBehindReturn_ = false;
};

bool isOver(SVSingleTask& task)
{
    task.updateBasedOnContent();
    return task.taskHasFinished() || task.taskWasAborted();
}

// Hands on what comes until the run is over and all of it has been read.
int follow(GrowingFile& file, SVSingleTask& task)
{
    auto& loop = platform::MainLoop::main();
    bool interrupted = false;
    bool over = false;
    auto read = GrowingFile::Read::Everything;
    const auto watch = loop.watchSignal(SIGINT, [&interrupted] { interrupted = true; });
    const auto look = [&] {
        // Asked before reading, so that what a run wrote last is read after it was seen to be over.
        over = isOver(task);
        read = file.readNew(terminal::write, kBlocksAtATime);
    };
    look();
    const auto timer = platform::Timer::schedule(kSecondsBetweenLooks, platform::Timer::Repeats::Yes, look);
    loop.runUntil([&] {
        if (read == GrowingFile::Read::Some)
            look();
        return interrupted || read == GrowingFile::Read::Refused
            || (over && read == GrowingFile::Read::Everything);
    });
    return interrupted ? kInterrupted : read == GrowingFile::Read::Refused ? kNotDone : kDone;
}

int show(GrowingFile& file, bool json)
{
    LinesAsJson lines;
    const auto take = [&](std::string_view bytes) {
        return json ? lines.add(bytes) : terminal::write(bytes);
    };
    try {
        const auto read = file.readNew(take, std::numeric_limits<int>::max());
        if (!file.exists())
            return kNotDone;
        return read != GrowingFile::Read::Refused && (!json || lines.finish()) ? kDone : kNotDone;
    } catch (const std::bad_alloc&) {
        complain("The output holds a line that is larger than this machine's memory.");
        return kNotDone;
    }
}

} // namespace

int outputVerb(const TaskOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    const auto task = wrapper ? wrapper->task(options.number) : nullptr;
    if (!task)
        return kWrongUse;
    GrowingFile file(task->folderName() + "/runOutput");
    const int status = options.follow ? follow(file, *task) : show(file, options.json);
    if (file.exists() || status == kInterrupted)
        return status;
    complain(fmt::format("Task {} has no output yet.", options.number));
    return kNotDone;
}
