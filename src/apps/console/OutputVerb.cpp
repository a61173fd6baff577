#include "apps/console/Following.h"
#include "apps/console/OpenWrapper.h"
#include "apps/console/TablePrinter.h"
#include "apps/console/Terminal.h"
#include "apps/console/Verbs.h"
#include "text/files/GrowingFile.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr int kBlocksAtATime = 16;

// Turns text that arrives in pieces into rows of JSON. Lines end with LF, CR or CR LF, as in the output
// table. A line end at the end of the text starts no further line.
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

// Writes new output until the run has ended and all of its output is written.
int follow(GrowingFile& file, SVSingleTask& task)
{
    bool over = false;
    auto read = GrowingFile::Read::Everything;
    const auto look = [&] {
        // Checked before reading, so that the last read gets all that the run has written.
        over = isOver(task);
        read = file.readNew(terminal::write, kBlocksAtATime);
    };
    bool isFirst = true;
    const auto done = [&] {
        if (std::exchange(isFirst, false) && !file.exists() && task.taskShouldBeRun())
            complain(fmt::format("Task {} waits to be run; its output is shown once there is some.",
                task.numberInProject() + 1));
        if (read == GrowingFile::Read::Some)
            look();
        return read == GrowingFile::Read::Refused || (over && read == GrowingFile::Read::Everything);
    };
    if (followUntil(done, look))
        return kInterrupted;
    return read == GrowingFile::Read::Refused ? kNotDone : kDone;
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
