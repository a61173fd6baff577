#include "platform/files/Paths.h"
#include "platform/files/TildePaths.h"

#include "platform/Md5.h"
#include "platform/ProcessInfo.h"
#include "platform/TemporaryFolder.h"
#include "platform/files/Places.h"

#include <cstdlib>
#include <gmock/gmock.h>
#include <pwd.h>
#include <set>
#include <unistd.h>

namespace {

namespace paths = platform::paths;
using platform::Places;
using testing::MatchesRegex;

TEST(Paths, AreTakenApart)
{
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {{"", "", "", ""},
        {"/", "/", "/", ""}, {"a", "a", "", ""}, {"/a", "a", "/", ""}, {"a/b", "b", "a", ""},
        {"a//b//", "b", "a", ""}, {"/x/Batch.vtask/", "Batch.vtask", "/x", "vtask"},
        {"d.x/.hidden", ".hidden", "d.x", ""}, {"d.x/plain", "plain", "d.x", ""},
        {"a.tar.GZ", "a.tar.GZ", "", "GZ"}, {"a.", "a.", "", ""}};
    for (const auto& [path, last, rest, extension] : cases) {
        SCOPED_TRACE(path);
        EXPECT_EQ(paths::lastComponent(path), last);
        EXPECT_EQ(paths::deletingLastComponent(path), rest);
        EXPECT_EQ(paths::extension(path), extension);
    }
    EXPECT_EQ(paths::lowercaseExtension("a.CPP"), "cpp");
}

TEST(Paths, ArePutTogether)
{
    const char* cases[][3] = {{"a", "b", "a/b"}, {"a/", "b", "a/b"}, {"a", "/b/", "a/b"}, {"", "b", "b"},
        {"/", "b", "/b"}, {"a", "", "a"}, {"a", "b/c", "a/b/c"}};
    for (const auto& [path, component, expected] : cases)
        EXPECT_EQ(paths::appending(path, component), expected);
    const char* standard[][2] = {{"/a/./b//c/../d/", "/a/b/d"}, {"/../a", "/a"}, {"../a/..", ".."},
        {"a/..", "."}, {"a/../../b", "../b"}, {"", ""}, {"//", "/"}};
    for (const auto& [path, expected] : standard)
        EXPECT_EQ(paths::standardizing(path), expected) << path;
    EXPECT_EQ(paths::absolute("/a/../b"), "/b");
    EXPECT_TRUE(paths::absolute("x").ends_with("/x"));
}

TEST(Places, OneRootHoldsTheWholeSystem)
{
    const TemporaryFolder folder;
    Places::setRoot(folder.path());
    for (const std::string& place : {Places::home(), Places::library(), Places::scratch(), Places::varTmp(),
             Places::applicationSupport(), Places::services()})
        EXPECT_TRUE(place.starts_with(folder / "")) << place;
    EXPECT_TRUE(platform::files::isDirectory(Places::varTmp()));
    EXPECT_EQ(Places::library(), Places::home() + "/Library/Trelkind");
    EXPECT_EQ(paths::abbreviatingWithTilde(Places::home() + "/x"), "~/x");
    EXPECT_EQ(paths::abbreviatingWithTilde(Places::home()), "~");
    EXPECT_EQ(paths::abbreviatingWithTilde(Places::home() + "x"), Places::home() + "x");
    EXPECT_EQ(paths::expandingTilde("~/x"), Places::home() + "/x");
    EXPECT_EQ(paths::expandingTilde("~x"), "~x");
    Places::setRoot("");
    EXPECT_EQ(Places::scratch(), "/var/tmp/Trelkind-" + platform::loginName());
}

TEST(Places, TheRuntimeFolderServesOnlyItsOwner)
{
    const char* const former = getenv("XDG_RUNTIME_DIR");
    const std::string kept = former ? former : "";
    const TemporaryFolder folder;
    const std::string otherwise = "/var/tmp/TrelkindServices-" + platform::loginName();
    setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
    EXPECT_EQ(Places::services(), folder / "trelkind");
    for (const std::string& none : {folder / "absent", std::string("relative")}) {
        setenv("XDG_RUNTIME_DIR", none.c_str(), 1);
        EXPECT_EQ(Places::services(), otherwise) << none;
    }
    constexpr uid_t kNobody = 65534;
    setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
    const bool isGivenAway = chown(folder.path().c_str(), kNobody, static_cast<gid_t>(-1)) == 0;
    const std::string ofAnother = Places::services();
    if (former)
        setenv("XDG_RUNTIME_DIR", kept.c_str(), 1);
    else
        unsetenv("XDG_RUNTIME_DIR");
    if (!isGivenAway)
        GTEST_SKIP() << "only root can give a folder to another user";
    EXPECT_EQ(ofAnother, otherwise);
}

TEST(ProcessInfo, NamesAreThoseOfTheSystemAndATestReadsItsLog)
{
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
    EXPECT_EQ(platform::hostName(), host);
    const passwd* const account = getpwuid(geteuid());
    ASSERT_TRUE(account);
    EXPECT_EQ(platform::loginName(), account->pw_name);
    EXPECT_GE(platform::processorCount(), 1);
    EXPECT_LE(platform::processorCount(), static_cast<int>(sysconf(_SC_NPROCESSORS_CONF)));

    std::vector<std::string> lines;
    platform::setSystemLogReader([&](const std::string& line) { lines.push_back(line); });
    platform::systemLog("100 % of %s");
    platform::setSystemLogReader(nullptr);
    EXPECT_EQ(lines, std::vector<std::string>{"100 % of %s"});
}

TEST(ProcessInfo, UniqueTextsAreUniqueAndUuidsCanonical)
{
    std::set<std::string> seen;
    for (int number = 0; number < 1000; ++number) {
        seen.insert(platform::uniqueString());
        const std::string uuid = platform::makeUuid();
        seen.insert(uuid);
        EXPECT_THAT(
            uuid, MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    }
    EXPECT_EQ(seen.size(), 2000U);
}

// RFC 1321, A.5.
TEST(Md5, AgreesWithThePublishedDigestsHoweverTheBytesCome)
{
    const std::string text =
        "12345678901234567890123456789012345678901234567890123456789012345678901234567890";
    platform::Md5 whole;
    whole.update(text.data(), text.size());
    EXPECT_EQ(whole.hexDigest(), "57edf4a22be3c955ac49da2e2107b67a");
    platform::Md5 pieces;
    for (const char& byte : text)
        pieces.update(&byte, 1);
    EXPECT_EQ(pieces.hexDigest(), "57edf4a22be3c955ac49da2e2107b67a");
    EXPECT_EQ(platform::Md5().hexDigest(), "d41d8cd98f00b204e9800998ecf8427e");
}

} // namespace
