#include "temporary/RemoveEverything.h"
#include "temporary/TemporaryFiles.h"

#include "OnThreads.h"
#include "platform/files/Paths.h"
#include "platform/files/Places.h"
#include "temporary/KRContainerFileName.h"
#include "temporary/KRContainerFolder.h"
#include "temporary_testing.h"

#include <atomic>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace temporarytest {
namespace {

// The service of the process keeps its directory for all tests.
class PlacesOfTheProcess : public testing::Environment {
public:
    void SetUp() override
    {
        MainLoop::main();
        platform::Places::setRoot(root_.path());
    }
    void TearDown() override { KRContainerFileName::removeTemporaryDirectory(); }

private:
    TemporaryFolder root_;
};
const auto* const places = testing::AddGlobalTestEnvironment(new PlacesOfTheProcess);

using TemporaryFilesTest = WithMessages;

TEST_F(TemporaryFilesTest, NamesAreUsedAgainTheOldestFirst)
{
    TemporaryFiles service;
    EXPECT_EQ(service.checkOutFile(), std::nullopt);
    EXPECT_EQ(service.checkOutFolder(), std::nullopt);
    EXPECT_FALSE(service.hasDirectory());
    ASSERT_TRUE(files::remove(service.directory()));
    service.initialize();
    service.initialize();
    const std::string within = service.directory() + "/TF/F";
    std::vector<std::string> names;
    for (int count = 0; count < 3; ++count)
        names.push_back(*service.checkOutFile());
    EXPECT_THAT(names, ElementsAre(within + "0", within + "1", within + "2"));
    EXPECT_FALSE(files::exists(names[0]));

    ASSERT_TRUE(files::writeFile(names[1] + ".svbin", "data"));
    EXPECT_TRUE(service.handBackFile(names[1] + ".svbin", {}));
    EXPECT_FALSE(files::exists(names[1] + ".svbin") || service.handBackFile(names[1], {})
        || service.handBackFile("/elsewhere/F0", {}));

    // The side file stays.
    ASSERT_TRUE(files::writeFile(names[0], "data") && files::writeFile(names[0] + ".index", "index"));
    EXPECT_TRUE(service.handBackFile(names[0], {"index"}));
    EXPECT_FALSE(files::exists(names[0]));
    EXPECT_TRUE(files::exists(names[0] + ".index"));
    EXPECT_EQ(service.checkOutFile(), names[1]);
    EXPECT_EQ(service.checkOutFile(), names[0]);
    EXPECT_EQ(service.checkOutFile(), within + "3");
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(TemporaryFilesTest, FoldersComeAndGo)
{
    TemporaryFiles service;
    service.initialize();
    const std::string first = *service.checkOutFolder();
    EXPECT_EQ(first, service.directory() + "/TD/D0");
    ASSERT_TRUE(files::writeFile(first + "/file", "x"));
    service.handBackFolder(first);
    EXPECT_FALSE(files::exists(first));
    service.handBackFolder(first);
    EXPECT_EQ(service.checkOutFolder(), first);
    // What stands in the place of a folder is passed over once, then reported for good.
    for (const char* name : {"/TD/D1", "/TD/D3", "/TD/D4"})
        ASSERT_TRUE(files::writeFile(service.directory() + name, "in the way"));
    EXPECT_EQ(service.checkOutFolder(), service.directory() + "/TD/D2");
    EXPECT_EQ(service.checkOutFolder(), std::nullopt);
    EXPECT_THAT(messages(),
        ElementsAre("Internal error for conversion: Trying to hand back an invalid folder.",
            "Internal error: Could not create a temporary folder",
            "Internal error: Could not create a temporary folder",
            "Could not create a temporary folder, check to make sure that the /var/tmp/ directory is "
            "writeable."));
}

TEST_F(TemporaryFilesTest, WhatCantBeRemovedIsReportedAndNeverUsedAgain)
{
    const int status = inAnotherProcess(AsUser::Nobody, folder_.path(), [&] {
        platform::Places::setRoot(folder_.path());
        TemporaryFiles service;
        service.initialize();
        const std::string name = *service.checkOutFile();
        const std::string within = platform::paths::deletingLastComponent(name);
        const bool isReady = files::writeFile(name, "data").ok() && files::setPermissions(within, 0500).ok();
        const bool wasTaken = service.handBackFile(name, {});
        const auto next = service.checkOutFile();
        return isReady && wasTaken && next != name
            && messages() == std::vector<std::string>{"Internal: Could not delete the file \"F0\"."}
        && center_->messages()[0]->longDescription()
            == "When returning a temporary file, Could not delete the file \"" + name + "\".";
    });
    EXPECT_EQ(status, 0);
}

TEST_F(TemporaryFilesTest, Beats)
{
    double now = 1.8e9;
    platform::Pace::setFactor(1e-7);
    TemporaryFiles service([&now] { return now; });
    const std::string beat = service.directory() + "/beat";
    const std::string first = *files::readFile(beat);
    now += temporary::InstanceDirectory::kHeartbeatInterval;
    EXPECT_TRUE(MainLoop::main().runUntil([&] { return files::readFile(beat).value_or("") != first; }, 10));
    platform::Pace::setFactor(1);
}

TEST_F(TemporaryFilesTest, ServesManyThreads)
{
    platform::Pace::setFactor(1e-7); // The heartbeat is the main thread's, whoever is the first.
    TemporaryFiles service;
    onThreads(4, [&](int) {
        service.initialize();
        for (int round = 0; round < 50; ++round) {
            const std::string name = *service.checkOutFile();
            const std::string folder = *service.checkOutFolder();
            EXPECT_FALSE(files::exists(name)) << "two threads have it";
            EXPECT_TRUE(files::writeFile(name, "x") && service.handBackFile(name, {}));
            service.handBackFolder(folder);
        }
    });
    const std::string mark = service.directory() + "/markedForRemoval";
    ASSERT_TRUE(files::writeFile(mark, ""));
    EXPECT_TRUE(MainLoop::main().runUntil([&] { return !files::exists(mark); }, 10));
    platform::Pace::setFactor(1);
    EXPECT_THAT(messages(), IsEmpty());
    EXPECT_EQ(files::contentsOfDirectory(service.directory() + "/TF")->size(), 0U);
}

// The class operations belong to the one service of the process.
TEST_F(TemporaryFilesTest, FileNamesOwnTheirFiles)
{
    EXPECT_FALSE(KRContainerFileName::createWithName("") || KRContainerFileName::createWithTemporaryFile("")
        || KRContainerFileName::createEmpty());
    EXPECT_TRUE(KRContainerFileName::stoppedUsingTemporaryFile(std::nullopt));
    KRContainerFileName::initializeTemporary();
    EXPECT_TRUE(KRContainerFileName::hasBeenInitialized());

    const std::string plain = folder_ / "plain";
    ASSERT_TRUE(files::writeFile(plain, "12345"));
    auto name = KRContainerFileName::createWithName(folder_ / "x/../plain");
    EXPECT_TRUE(name->fileName() == plain && name->description() == plain);
    EXPECT_TRUE(name->fileSize() == 5 && name->memoryUsed() == 0);
    EXPECT_TRUE(name->returnParameter("File Size") == 5.0 && !name->returnParameter("Other"));
    name.reset();
    EXPECT_TRUE(files::exists(plain));

    const std::string path = *KRContainerFileName::checkOutTemporaryName();
    auto owner = KRContainerFileName::createWithTemporaryFile(path + ".mat");
    EXPECT_EQ(owner->fileSize(), 0U);
    ASSERT_TRUE(files::writeFile(path + ".mat", "123"));
    owner->resetFileSize();
    EXPECT_EQ(owner->memoryUsed(), 3U);
    EXPECT_EQ(owner->description(), "Tmp File : " + path + ".mat");
    EXPECT_TRUE(owner->isTemporaryFile());
    KRContainerFileName::addToTheDestructionQueAndRelease(std::move(owner));
    EXPECT_FALSE(files::exists(path + ".mat"));
    EXPECT_THAT(messages(), IsEmpty());

    KRContainerFileName::createWithTemporaryFile("/not/checked/out");
    EXPECT_THAT(messages(), ElementsAre("Internal error: Trying to hand back an invalid file."));
    EXPECT_THAT(*center_->messages()[0]->longDescription(),
        testing::AllOf(testing::StartsWith("last stack = \n"), HasSubstr("\n stack now = \n")));
}

TEST_F(TemporaryFilesTest, FoldersOwnTheirContent)
{
    KRContainerFileName::initializeTemporary();
    const std::string path = *KRContainerFileName::checkOutTemporaryFolder();
    auto folder = KRContainerFolder::createWithTemporaryFolder(path);
    ASSERT_TRUE(files::writeFile(path + "/b", "x") && files::writeFile(path + "/a", "x"));
    EXPECT_THAT(folder->entries(), IsEmpty());
    folder->refreshContent();
    EXPECT_THAT(folder->entries(), ElementsAre("a", "b"));
    folder.reset();
    EXPECT_FALSE(files::exists(path));
    const auto second = KRContainerFileName::checkOutTemporaryFolder();
    KRContainerFileName::stoppedUsingTemporaryFolder(std::nullopt);
    KRContainerFileName::stoppedUsingTemporaryFolder(second);
    EXPECT_FALSE(files::exists(*second));

    const std::string own = folder_ / "folder";
    ASSERT_TRUE(files::createDirectory(own));
    KRContainerFolder::createWithFolder(own, false);
    EXPECT_TRUE(files::exists(own));
    KRContainerFolder::createWithFolder(own, false)->deleteFolderOnRelease();
    EXPECT_FALSE(files::exists(own));
}

TEST_F(TemporaryFilesTest, TheOrphanCheckCallsBackOnTheMainThread)
{
    struct Caller : KRContainerFileNameOrphanCheckDelegate {
        void callbackFromOrphanCheck(const platform::Value& dictionary) override
        {
            calls +=
                dictionary == platform::Value(platform::Value::Dictionary()) && MainLoop::runsOnThisThread();
        }
        int calls = 0;
    };
    KRContainerFileName::checkOrphansAndCallMeBack(nullptr);
    KRContainerFileName::initializeTemporary();
    const std::string other =
        platform::paths::deletingLastComponent(KRContainerFileName::nameOfGlobalTemporaryDirectory())
        + "/other";
    ASSERT_TRUE(files::createDirectories(other + "/inner") && files::writeFile(other + "/a", "12")
        && files::writeFile(other + "/inner/b", "345"));
    ASSERT_EQ(::symlink("/", (other + "/link").c_str()), 0);
    EXPECT_EQ(KRContainerFileName::sizeOfDirectory(other + "/none"), 0U);
    // Folders that vanish meanwhile count nothing and end nothing.
    std::atomic<bool> isDone = false;
    std::thread churning([&] {
        for (int count = 0; !isDone; ++count) {
            const std::string vanishing = other + "/v" + std::to_string(count % 50);
            ::rmdir(vanishing.c_str());
            ::mkdir(vanishing.c_str(), 0700);
        }
    });
    for (int round = 0; round < 500; ++round)
        EXPECT_EQ(KRContainerFileName::sizeOfDirectory(other), 5U);
    isDone = true;
    churning.join();
    EXPECT_TRUE(temporary::removeEverything(other + "/none")) << "what isn't there is gone";
    const auto caller = std::make_shared<Caller>();
    KRContainerFileName::checkOrphansAndCallMeBack(caller);
    EXPECT_TRUE(MainLoop::main().runUntil([&] { return caller->calls == 1; }, 10));
    EXPECT_THAT(messages(), IsEmpty());
}

// The last of these tests: the service of the process hears the notice too.
TEST_F(TemporaryFilesTest, GoesWithTheProcess)
{
    TemporaryFiles service;
    std::thread([&] { service.initialize(); }).join(); // The main loop hasn't run since.
    EXPECT_TRUE(files::isDirectory(service.directory()));
    platform::NotificationCenter::defaultCenter().post(platform::kApplicationWillTerminate);
    EXPECT_FALSE(files::exists(service.directory()));
}

} // namespace
} // namespace temporarytest
