#include "temporary/KRContainerFileNameDownloadServer.h"

#include "platform/FullDisk.h"
#include "platform/Loopback.h"
#include "platform/loop/Pace.h"
#include "temporary/KRContainerFileName.h"
#include "temporary/SuggestedName.h"
#include "temporary_testing.h"

#include <functional>
#include <thread>

namespace temporarytest {
namespace {

// Answers each connection with the next text. Then it closes the connection, or stays silent.
class HttpServer {
public:
    explicit HttpServer(std::vector<std::string> answers, bool isSilentAfterwards = false)
        : listening_(listenOnLoopback(port_)),
          thread_([this, answers = std::move(answers), isSilentAfterwards] {
              for (const std::string& answer : answers)
                  serve(answer, isSilentAfterwards);
          })
    { }
    ~HttpServer()
    {
        ::shutdown(listening_.get(), SHUT_RDWR); // Ends a wait for a connection that never came.
        thread_.join();
    }

    std::string url(const std::string& path) const
    {
        return "http://127.0.0.1:" + std::to_string(port_) + path;
    }

private:
    void serve(const std::string& answer, bool isSilentAfterwards)
    {
        const platform::Descriptor connection(::accept(listening_.get(), nullptr, nullptr));
        char request[4096];
        if (!connection || ::read(connection.get(), request, sizeof request) <= 0)
            return;
        ::send(connection.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        while (isSilentAfterwards && ::read(connection.get(), request, sizeof request) > 0) { }
    }

    int port_ = 0;
    platform::Descriptor listening_;
    std::thread thread_;
};

struct Finished : KRContainerFileNameDownloadDelegate {
    void finishedDownloadingFile(
        const std::string& which, const std::shared_ptr<KRContainerFolder>& putInto) override
    {
        url = which;
        folder = putInto;
        isDone = true;
    }
    std::string url;
    std::shared_ptr<KRContainerFolder> folder;
    bool isDone = false;
};

struct Downloads : WithMessages {
    Downloads() { KRContainerFileName::initializeTemporary(); }
    ~Downloads() override { platform::Pace::setFactor(1); }

    using WhileRunning = std::function<void(const KRContainerFileNameDownloadServerEntry&)>;
    std::shared_ptr<Finished> download(const std::string& url, const WhileRunning& look = {})
    {
        auto delegate = std::make_shared<Finished>();
        KRContainerFileName::downloadURL(url, delegate);
        EXPECT_EQ(KRContainerFileNameDownloadServer::shared().currentDownloads().size(), 1U);
        if (look)
            look(*KRContainerFileNameDownloadServer::shared().currentDownloads().front());
        EXPECT_TRUE(MainLoop::main().runUntil([&] { return delegate->isDone; }, 30));
        EXPECT_EQ(KRContainerFileNameDownloadServer::shared().currentDownloads().size(), 0U);
        EXPECT_EQ(delegate->url, url);
        return delegate;
    }
    // Nothing of a failed download stays.
    void expectFailure(const std::string& url, const WhileRunning& look = {})
    {
        EXPECT_EQ(download(url, look)->folder, nullptr) << url;
        EXPECT_THAT(
            *files::contentsOfDirectory(KRContainerFileName::nameOfGlobalTemporaryDirectory() + "/TD"),
            IsEmpty());
    }
};

TEST_F(Downloads, GoIntoAFolderUnderTheSuggestedName)
{
    const std::string large(3'000'000, 'x');
    const HttpServer server({"HTTP/1.1 200 OK\r\nContent-Length: 4\r\nX-Another-Name-Of-It: "
                             "filename=wrong\r\n\r\ntext",
        "HTTP/1.1 302 Found\r\nLocation: /b/moved%20here.txt?query\r\nContent-Length: 0\r\n"
        "Content-Disposition: attachment; filename=old\r\nConnection: close\r\n\r\n",
        "HTTP/1.1 200 OK\r\n\r\n" + large,
        "HTTP/1.1 200 OK\r\ncontent-disposition: attachment; filename=\"../../up.txt\"\r\nContent-Length: "
        "0\r\n\r\n"});
    ASSERT_TRUE(files::writeFile(folder_ / "local.dat", "content"));
    const std::tuple<std::string, const char*, std::string> cases[] = {
        {server.url("/a/plain.txt"), "plain.txt", "text"}, {server.url("/a/b"), "moved here.txt", large},
        {server.url("/c"), "up.txt", ""}, {"file://" + folder_ / "local.dat", "local.dat", "content"}};
    for (const auto& [url, name, content] : cases) {
        const auto done = download(url);
        ASSERT_NE(done->folder, nullptr) << url;
        EXPECT_THAT(done->folder->entries(), ElementsAre(name));
        EXPECT_EQ(files::readFile(done->folder->folderName() + "/" + name), content);
    }
}

TEST_F(Downloads, LeaveNothingWhenTheyFail)
{
    {
        const HttpServer server({"HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nlost",
            "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly the beginning", "nonsense", "",
            "HTTP/1.1 302 Found\r\nLocation: file:///etc/passwd\r\nContent-Length: 0\r\n\r\n"});
        for (const char* path : {"/missing", "/torn", "/nonsense", "/nothing", "/redirected"})
            expectFailure(server.url(path));
    }
    for (const char* url :
        {"", "no url", "gopher://127.0.0.1/", "http://127.0.0.1:1/", "file:///no/such/file"})
        expectFailure(url);
    const std::string folders = KRContainerFileName::nameOfGlobalTemporaryDirectory() + "/TD";
    ASSERT_TRUE(files::remove(folders));
    EXPECT_EQ(download("file:///etc/hostname")->folder, nullptr);
    ASSERT_TRUE(files::createDirectory(folders));
}

TEST_F(Downloads, GiveUpASilentServer)
{
    const HttpServer server(
        {"HTTP/1.1 200 OK\r\nContent-Type: text/x\r\nContent-Length: 100\r\n\r\nsome"}, true);
    expectFailure(server.url("/silent"), [](const auto& running) {
        EXPECT_TRUE(MainLoop::main().runUntil([&] { return running.howManyRead() == 4; }, 30));
        EXPECT_EQ(running.fileName() + " " + running.mimeType(), "silent text/x");
        EXPECT_EQ(running.howLong(), 100);
        platform::Pace::setFactor(0.01);
    });
}

TEST_F(Downloads, FailOnAFullDisk)
{
    const FullDisk disk(10000);
    const HttpServer server({"HTTP/1.1 200 OK\r\n\r\n" + std::string(1'000'000, 'x')});
    expectFailure(server.url("/large"));
}

TEST(SuggestedNames, AreBareNames)
{
    for (const auto& [url, name] : {std::pair("/a/b.zip", "b.zip"), {"/a/b%20c.zip?x=/y#z", "b c.zip"},
             {"", "Download"}, {"/", "Download"}, {"/a/..", "Download"}, {"/%2e%2e%2fpasswd", "passwd"},
             {"/a%00b", "Download"}, {"/a%ff", "Download"}})
        EXPECT_EQ(temporary::suggestedName("", "http://host" + std::string(url)), name) << url;
    const std::pair<const char*, const char*> dispositions[] = {
        {"attachment; filename=x.txt; size=3", "x.txt"},
        {"attachment; FileName=\"a \\\"b\\\".txt\"", "a \"b\".txt"},
        {"attachment; filename=\"../../etc/passwd\"", "passwd"},
        {"attachment; filename=\"C:\\\\x\\\\y.txt\"", "y.txt"},
        {"attachment; filename=\"..\"", "b"},
        {"attachment; filename=\"", "b"},
        {"attachment; filename=\"c", "c"},
        {"inline", "b"},
    };
    for (const auto& [disposition, name] : dispositions)
        EXPECT_EQ(temporary::suggestedName(disposition, "http://host/b"), name) << disposition;
    EXPECT_EQ(temporary::suggestedName("filename=" + std::string(300, 'x'), "http://host/b"), "b");
}

} // namespace
} // namespace temporarytest
