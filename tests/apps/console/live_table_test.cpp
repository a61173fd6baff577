// The live table on a real pseudo-terminal whose window changes its size.

#include "apps/console/TerminalText.h"
#include "task/WrapperOnDisk.h"

#include <gmock/gmock.h>

#include <array>
#include <clocale>
#include <poll.h>
#include <pty.h>
#include <regex>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;

constexpr std::string_view kEnter = "\033[?1049h";
constexpr std::string_view kLeave = "\033[?1049l";

// A program on a terminal of its own.
class OnTerminal {
public:
    OnTerminal(const std::vector<std::string>& command, winsize size, const std::string& places)
    {
        process_ = ::forkpty(&terminal_, nullptr, nullptr, &size);
        if (process_ != 0)
            return;
        ::setenv("TERM", "xterm-256color", 1);
        ::setenv("LC_ALL", "C.UTF-8", 1);
        ::setenv("TRELKIND_PLACES", places.c_str(), 1);
        std::vector<char*> words;
        for (const std::string& word : command)
            words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        ::execv(words[0], words.data());
        ::_exit(127);
    }
    ~OnTerminal() { ::close(terminal_); }
    OnTerminal(const OnTerminal&) = delete;
    OnTerminal& operator=(const OnTerminal&) = delete;

    void type(std::string_view keys) const
    {
        EXPECT_EQ(::write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void resize(winsize size) const { ::ioctl(terminal_, TIOCSWINSZ, &size); }
    // Reads until the condition holds for all that came so far; false at the end of the program.
    bool readUntil(const std::function<bool(const std::string&)>& condition)
    {
        std::array<char, 4096> bytes{};
        while (!condition(text_)) {
            const ssize_t count = ::read(terminal_, bytes.data(), bytes.size());
            if (count <= 0)
                return false;
            text_.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return true;
    }
    int finish()
    {
        readUntil([](const std::string&) { return false; });
        int status = 0;
        ::waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string& text() const { return text_; }

private:
    int terminal_ = -1;
    pid_t process_ = -1;
    std::string text_;
};

std::size_t countOf(const std::string& text, std::string_view part)
{
    std::size_t count = 0;
    for (auto place = text.find(part); place != std::string::npos; place = text.find(part, place + 1))
        ++count;
    return count;
}

// The lines of each frame, without what colours them.
std::vector<std::vector<std::string>> framesOf(const std::string& text)
{
    static const std::regex control("\033\\[[0-9;?]*[A-Za-z]");
    std::vector<std::vector<std::string>> frames;
    for (auto place = text.find("\033[H"); place != std::string::npos;) {
        const auto next = text.find("\033[H", place + 1);
        const std::string frame =
            std::regex_replace(text.substr(place, text.find("\033[J", place) - place), control, "");
        std::vector<std::string> lines{""};
        for (std::size_t i = 0; i < frame.size(); ++i)
            if (frame.compare(i, 2, "\r\n") == 0) {
                lines.emplace_back();
                ++i;
            } else {
                lines.back() += frame[i];
            }
        frames.push_back(std::move(lines));
        place = next;
    }
    return frames;
}

TEST(LiveTable, FollowsTheWindowAndLeavesTheUsersLinesAlone)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    WrapperOnDisk wrapper;
    wrapper.tasks({"--first argument", "--second argument", "c", "d", "e", "f"})
        .executable("#!/bin/sh\nprintf 1234567890 > SVProgress\nwhile [ ! -e ../go ]; do sleep 0.05; done\n");
    OnTerminal program(
        {TRELKIND, "run", "-j6", wrapper.path()}, {24, 100, 0, 0}, wrapper.folder() / "places");
    const auto frames = [](std::size_t atLeast) {
        return [atLeast](const std::string& text) { return countOf(text, "\033[H") >= atLeast; };
    };
    ASSERT_TRUE(program.readUntil(frames(3)));
    EXPECT_THAT(framesOf(program.text()).back().front(), HasSubstr("--first argument"));

    const winsize sizes[] = {{24, 40, 0, 0}, {24, 120, 0, 0}, {5, 30, 0, 0}};
    for (const winsize& size : sizes) {
        const std::size_t before = countOf(program.text(), "\033[H");
        program.resize(size);
        ASSERT_TRUE(program.readUntil(frames(before + 3)));
        const auto drawn = framesOf(program.text());
        const auto& frame = drawn.at(drawn.size() - 2); // The last one may not be whole.
        EXPECT_LE(frame.size(), size.ws_row);
        for (const std::string& line : frame)
            EXPECT_LE(terminal::columnsOf(line), size.ws_col) << line;
    }
    EXPECT_EQ(countOf(program.text(), kEnter), 1U);
    wrapper.write("go");
    EXPECT_EQ(program.finish(), 0);

    // The first screen holds the table and the totals at the end, and nothing of the frames before.
    const std::string& text = program.text();
    EXPECT_EQ(countOf(text, kLeave), 1U);
    EXPECT_TRUE(text.starts_with(kEnter)) << text.substr(0, 40);
    const std::string left = text.substr(text.rfind(kLeave) + kLeave.size());
    EXPECT_EQ(countOf(left, "\n"), 8U) << left;
    EXPECT_THAT(left, HasSubstr("6 of 6 done, 0:"));
}

TEST(LiveTable, GivesTheTerminalBackWhenItIsInterrupted)
{
    WrapperOnDisk wrapper;
    wrapper.tasks({"a"}).executable("#!/bin/sh\nsleep 60\n");
    OnTerminal program({TRELKIND, "run", wrapper.path()}, {24, 80, 0, 0}, wrapper.folder() / "places");
    ASSERT_TRUE(program.readUntil([&](const std::string&) { return wrapper.has("0/VTask_runStarted"); }));
    program.resize({24, 60, 0, 0});
    ASSERT_TRUE(program.readUntil([](const std::string& text) { return countOf(text, "\033[H") > 1; }));
    program.type("\003");
    EXPECT_EQ(program.finish(), 130);
    const std::string left = program.text().substr(program.text().rfind(kLeave));
    EXPECT_THAT(left, HasSubstr("0 of 1 done, 1 aborted"));
    EXPECT_THAT(program.text(), HasSubstr("Ending the tasks; interrupt once more to kill them."));
    EXPECT_GT(program.text().rfind("\033[?25h"), program.text().rfind("\033[?25l")) << "the cursor is back";
}

} // namespace
