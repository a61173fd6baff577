#include "temporary/InstanceDirectory.h"

#include "temporary/RemoveEverything.h"
#include "temporary_testing.h"

#include <ctime>
#include <optional>
#include <unistd.h>

namespace temporarytest {
namespace {

using temporary::InstanceDirectory;

constexpr double kHour = 3600;
constexpr double kNow = 1.8e9; // Seconds since 1970, a whole minute.

std::string dateText(double time)
{
    const auto seconds = static_cast<std::time_t>(time);
    std::tm parts{};
    localtime_r(&seconds, &parts);
    char text[64];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts)};
}

struct Instances : WithMessages {
    temporary::Clock clockAt(double hours)
    {
        return [hours] { return kNow + hours * kHour; };
    }
    // A start of the program.
    InstanceDirectory start(double atHour)
    {
        InstanceDirectory started(parent_, clockAt(atHour));
        started.sweepOthers();
        return started;
    }
    std::string leftBehind(const std::string& name, std::optional<std::string> beat,
        std::optional<std::string> mark = std::nullopt)
    {
        const std::string directory = parent_ + "/" + name;
        EXPECT_TRUE(files::createDirectories(directory + "/TF")
            && (!beat || files::writeFile(directory + "/beat", *beat))
            && (!mark || files::writeFile(directory + "/markedForRemoval", *mark)));
        return directory;
    }
    static std::string text(const std::string& path) { return files::readFile(path).value_or("none"); }

    std::string parent_ = folder_ / "com.kelmont.trelkind/FilesAndFolders";
};

TEST_F(Instances, OnlyTheirOwnerEntersThem)
{
    const InstanceDirectory own = start(0);
    for (const std::string& path :
        {folder_ / "com.kelmont.trelkind", parent_, own.path(), own.path() + "/TD", own.path() + "/TF"}) {
        ASSERT_TRUE(files::isDirectory(path)) << path;
        EXPECT_EQ(files::attributes(path)->permissions, files::kOwnersFolder) << path;
    }
    EXPECT_EQ(text(own.path() + "/beat"), dateText(kNow));
    EXPECT_NE(start(0).path(), own.path());
}

TEST_F(Instances, AreJudgedByBeatAndMark)
{
    const auto ago = [](double hours) { return dateText(kNow - hours * kHour); };
    const std::optional<std::string> none;
    enum Fate { Untouched, Marked, Removed };
    using Date = std::optional<std::string>;
    const std::tuple<const char*, Date, Date, Fate> cases[] = {
        {"young", ago(35), none, Untouched},
        {"at the limit", ago(36), none, Untouched},
        {"old", ago(37), none, Marked},
        {"old, marked lately", ago(40), ago(2), Untouched},
        {"old, marked at the limit", ago(80), ago(36), Untouched},
        {"old, marked long ago", ago(80), ago(37), Removed},
        {"young in spite of its mark", ago(1), ago(50), Untouched},
        {"a clock that went back", ago(-35), none, Untouched},
        {"a beat far in the future", ago(-37), none, Marked},
        {"a mark in the future", ago(80), ago(-50), Untouched},
        {"no beat", none, none, Marked},
        {"no beat, marked long ago", none, ago(37), Removed},
        {"an empty beat", "", none, Untouched},
        {"a damaged beat", "yesterday", none, Untouched},
        {"a beat without end", std::string(1000, '2'), none, Untouched},
        {"a damaged mark", ago(90), "yesterday", Untouched},
        {"a torn date", "2020-01-01 1", none, Untouched},
    };
    for (const auto& [what, beat, oldMark, fate] : cases) {
        SCOPED_TRACE(what);
        const std::string directory = leftBehind("E", beat, oldMark);
        start(0);
        EXPECT_EQ(files::exists(directory), fate != Removed);
        const auto mark = fate == Marked ? ago(0) : fate == Removed ? none : oldMark;
        EXPECT_EQ(text(directory + "/markedForRemoval"), mark.value_or("none"));
        temporary::removeEverything(directory);
    }
    ASSERT_TRUE(files::writeFile(parent_ + "/file", "not a directory"));
    const std::string foreign = folder_ / "foreign";
    ASSERT_TRUE(files::createDirectory(foreign) && files::writeFile(foreign + "/deleteThis", "kept"));
    ASSERT_EQ(::symlink(foreign.c_str(), (parent_ + "/link").c_str()), 0);
    start(0);
    EXPECT_EQ(text(foreign + "/deleteThis"), "kept");
    EXPECT_EQ(text(parent_ + "/file"), "not a directory");
}

TEST_F(Instances, WipeOutAMarkWhenTheyWake)
{
    const InstanceDirectory sleeper(parent_, clockAt(40));
    ASSERT_TRUE(files::writeFile(sleeper.path() + "/beat", dateText(kNow)));
    start(38);
    ASSERT_TRUE(files::exists(sleeper.path() + "/markedForRemoval"));
    sleeper.heartBeat();
    EXPECT_FALSE(files::exists(sleeper.path() + "/markedForRemoval"));
    start(75);
    EXPECT_EQ(text(sleeper.path() + "/beat"), dateText(kNow + 40 * kHour));
}

TEST_F(Instances, GoWhereverTheirRemovalWasInterrupted)
{
    // After the mark, between two entries, before the last folder.
    for (const bool isFull : {true, false}) {
        const std::string directory = leftBehind("E", dateText(kNow));
        ASSERT_TRUE(files::writeFile(directory + "/deleteThis", "Delete"));
        ASSERT_TRUE(isFull || files::remove(directory + "/TF"));
        start(0);
        EXPECT_FALSE(files::exists(directory));
    }
    EXPECT_THAT(messages(), ElementsAre("Dir E was marked for removal", "Dir E was marked for removal"));
    const std::string bare = parent_ + "/bare";
    ASSERT_TRUE(files::createDirectory(bare));
    start(0);
    start(37);
    EXPECT_FALSE(files::exists(bare));
}

TEST_F(Instances, AreRemovedWithTheirReadOnlyFolders)
{
    const std::string outside = folder_ / "outside";
    ASSERT_TRUE(files::writeFile(outside, "kept"));
    const int status = inAnotherProcess(AsUser::Nobody, folder_.path(), [&] {
        const std::string directory = leftBehind("E", std::nullopt);
        const std::string inner = directory + "/TF/a/b";
        bool isReady = files::createDirectories(inner).ok() && files::writeFile(inner + "/file", "x").ok()
            && ::symlink(outside.c_str(), (inner + "/link").c_str()) == 0;
        for (const std::string& closed : {inner, directory + "/TF/a"})
            isReady = isReady && files::setPermissions(closed, 0).ok();
        temporary::deleteDirectory(directory);
        return isReady && !files::exists(directory);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text(outside), "kept");
}

// Several processes share one parent: some live, one sleeps for days, one was killed.
TEST_F(Instances, LiveSideBySide)
{
    const auto process = [&](double hour) {
        return std::make_unique<AnotherProcess>([this, hour](AnotherProcess::Channel& channel) {
            const InstanceDirectory own = start(hour);
            channel.tell(own.path());
            channel.hear(); // Days later.
            own.heartBeat();
            channel.tell("beaten");
            channel.hear();
        });
    };
    const auto asleep = process(0);
    const std::string sleeper = asleep->channel().hear();
    auto killed = process(0);
    const std::string dead = killed->channel().hear();
    killed.reset();

    std::vector<std::unique_ptr<AnotherProcess>> starts;
    for (int count = 0; count < 8; ++count)
        starts.push_back(process(40));
    std::vector<std::string> living;
    for (const auto& started : starts)
        living.push_back(started->channel().hear());
    EXPECT_TRUE(files::exists(sleeper + "/markedForRemoval") && files::exists(dead + "/markedForRemoval"));
    asleep->channel().tell("wake");
    EXPECT_EQ(asleep->channel().hear(), "beaten");
    EXPECT_FALSE(files::exists(sleeper + "/markedForRemoval"));
    start(75);
    EXPECT_TRUE(files::exists(sleeper) && files::exists(dead));
    for (const std::string& path : living)
        EXPECT_EQ(text(path + "/beat"), dateText(kNow + 40 * kHour));
    start(77);
    EXPECT_FALSE(files::exists(dead));
}

} // namespace
} // namespace temporarytest
