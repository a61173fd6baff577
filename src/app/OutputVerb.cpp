#include "app/OpenWrapper.h"
#include "app/TablePrinter.h"
#include "app/Terminal.h"
#include "app/Verbs.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <array>
#include <csignal>
#include <cstdio>
#include <memory>
#include <sys/stat.h>

namespace {

constexpr double kSecondsBetweenLooks = 0.5;
constexpr double kForever = 1e9;

// Hands out what a growing file holds beyond what was handed out before. A file that was replaced or cut
// begins anew.
class GrowingFile {
public:
    explicit GrowingFile(std::string path) : path_(std::move(path)) { }

    // False when taking refused some, which ends the reading.
    bool readNew(const std::function<bool(std::string_view)>& take)
    {
        reopenIfReplaced();
        if (!file_)
            return true;
        std::array<char, 65536> block{};
        std::clearerr(file_.get());
        while (const std::size_t count = std::fread(block.data(), 1, block.size(), file_.get())) {
            position_ += static_cast<off_t>(count);
            if (!take({block.data(), count}))
                return false;
        }
        return true;
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

int showAsJson(GrowingFile& file)
{
    std::string text;
    file.readNew([&text](std::string_view bytes) {
        text += bytes;
        return true;
    });
    return writeJson(linesAsJson(text)) ? kDone : kNotDone;
}

bool isOver(SVSingleTask& task)
{
    task.updateBasedOnContent();
    return task.taskHasFinished() || task.taskWasAborted();
}

int follow(GrowingFile& file, SVSingleTask& task)
{
    auto& loop = platform::MainLoop::main();
    bool interrupted = false;
    bool closed = false;
    bool over = false;
    const auto watch = loop.watchSignal(SIGINT, [&interrupted] { interrupted = true; });
    const auto look = [&] {
        // Asked before reading, so that what a run wrote last is read after it was seen to be over.
        over = isOver(task);
        closed = !file.readNew(terminal::write);
    };
    look();
    const auto timer = platform::Timer::schedule(kSecondsBetweenLooks, platform::Timer::Repeats::Yes, look);
    loop.runUntil([&] { return interrupted || closed || over; }, kForever);
    return interrupted ? kInterrupted : kDone;
}

} // namespace

int outputVerb(const TaskOptions& options)
{
    const auto wrapper = OpenWrapper::open(options.wrapper);
    const auto task = wrapper ? wrapper->task(options.number) : nullptr;
    if (!task)
        return kWrongUse;
    GrowingFile file(task->folderName() + "/runOutput");
    if (options.follow)
        return follow(file, *task);
    if (options.json)
        return showAsJson(file);
    const bool written = file.readNew(terminal::write);
    if (!file.exists()) {
        complain(fmt::format("Task {} has no output yet.", options.number));
        return kNotDone;
    }
    return written ? kDone : kNotDone;
}
