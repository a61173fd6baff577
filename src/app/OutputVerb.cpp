#include "app/OpenWrapper.h"
#include "app/TablePrinter.h"
#include "app/Terminal.h"
#include "app/Verbs.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <csignal>
#include <cstdio>
#include <limits>
#include <memory>
#include <sys/stat.h>

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
        if (!file_)
            return Read::Everything;
        std::array<char, 65536> block{};
        std::clearerr(file_.get());
        for (int blocks = 0; blocks < mostBlocks; ++blocks) {
            const std::size_t count = std::fread(block.data(), 1, block.size(), file_.get());
            if (count == 0)
                return Read::Everything;
            position_ += static_cast<off_t>(count);
            if (!take({block.data(), count}))
                return Read::Refused;
        }
        return Read::Some;
    }

    bool exists() const { return file_ != nullptr; }

private:
    void reopenIfReplaced()
    {
        struct stat now { };
        if (stat(path_.c_str(), &now) != 0 || !S_ISREG(now.st_mode))
            return;
        if (file_ && now.st_ino == inode_ && now.st_size >= position_)
            return;
        file_.reset(std::fopen(path_.c_str(), "rbe"));
        inode_ = now.st_ino;
        position_ = 0;
    }

    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string path_;
    std::unique_ptr<std::FILE, Close> file_;
    ino_t inode_ = 0;
    off_t position_ = 0;
};

// Splits at LF, CR and CR LF, as the output table does; text ended by a line end has no empty last line.
nlohmann::ordered_json linesAsJson(const std::string& text)
{
    auto rows = nlohmann::ordered_json::array();
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find_first_of("\r\n", start), text.size());
        rows.push_back(
            {{"Number", fmt::format("{}", rows.size() + 1)}, {"Line", text.substr(start, end - start)}});
        start = end + (text.compare(end, 2, "\r\n") == 0 ? 2 : 1);
    }
    return rows;
}

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
    std::string text;
    const auto take = [&](std::string_view bytes) {
        if (json)
            text += bytes;
        return json || terminal::write(bytes);
    };
    const auto read = file.readNew(take, std::numeric_limits<int>::max());
    if (!file.exists())
        return kNotDone;
    return read != GrowingFile::Read::Refused && (!json || writeJson(linesAsJson(text))) ? kDone : kNotDone;
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
