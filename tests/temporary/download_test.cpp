#include "temporary/KRContainerFileNameDownloadServer.h"

#include "platform/files/Descriptor.h"
#include "platform/loop/Pace.h"
#include "temporary/KRContainerFileName.h"
#include "temporary/SuggestedName.h"
#include "temporary_testing.h"

#include <arpa/inet.h>
#include <csignal>
#include <functional>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

namespace temporarytest {
namespace {

// Answers each connection with the next text. Then it closes the connection, or stays silent.
class HttpServer {
public:
    explicit HttpServer(std::vector<std::string> answers, bool isSilentAfterwards = false)
        : listening_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        const auto plain = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(listening_.get(), plain, size), 0);
        EXPECT_EQ(::listen(listening_.get(), 5), 0);
        EXPECT_EQ(::getsockname(listening_.get(), plain, &size), 0);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this, answers = std::move(answers), isSilentAfterwards] {
            for (const std::string& answer : answers)
                serve(answer, isSilentAfterwards);
        });
    }
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

    platform::Descriptor listening_;
    int port_ = 0;
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

class Downloads : public WithMessages {
protected:
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
    const struct {
        const char* path;
        const char* name;
        const std::string& content;
    } kCases[] = {
        {"/a/plain.txt", "plain.txt", "text"}, {"/a/b", "moved here.txt", large}, {"/c", "up.txt", ""}};
    for (const auto& wanted : kCases) {
        const auto done = download(server.url(wanted.path));
        ASSERT_NE(done->folder, nullptr) << wanted.path;
        EXPECT_THAT(done->folder->entries(), ElementsAre(wanted.name));
        EXPECT_EQ(files::readFile(done->folder->folderName() + "/" + wanted.name), wanted.content);
    }
    ASSERT_TRUE(files::writeFile(folder_ / "local.dat", "content"));
    const auto done = download("file://" + folder_ / "local.dat");
    ASSERT_NE(done->folder, nullptr);
    EXPECT_EQ(files::readFile(done->folder->folderName() + "/local.dat"), "content");
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
        EXPECT_EQ(running.fileName(), "silent");
        EXPECT_EQ(running.mimeType(), "text/x");
        EXPECT_EQ(running.howLong(), 100);
        platform::Pace::setFactor(0.01);
    });
}

TEST_F(Downloads, FailOnAFullDisk)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{10000, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    {
        const HttpServer server({"HTTP/1.1 200 OK\r\n\r\n" + std::string(1'000'000, 'x')});
        expectFailure(server.url("/large"));
    }
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
}

TEST(SuggestedNames, AreBareNames)
{
    const struct {
        const char* disposition;
        const char* url;
        const char* name;
    } kCases[] = {
        {"", "http://host/a/b.zip", "b.zip"},
        {"", "http://host/a/b%20c.zip?x=/y#z", "b c.zip"},
        {"", "http://host", "Download"},
        {"", "http://host/", "Download"},
        {"", "http://host/a/..", "Download"},
        {"", "http://host/%2e%2e%2fpasswd", "passwd"},
        {"", "http://host/a%00b", "Download"},
        {"", "http://host/a%ff", "Download"},
        {"attachment; filename=x.txt; size=3", "http://host/b", "x.txt"},
        {"attachment; FileName=\"a \\\"b\\\".txt\"", "http://host/b", "a \"b\".txt"},
        {"attachment; filename=\"../../etc/passwd\"", "http://host/b", "passwd"},
        {"attachment; filename=\"C:\\\\x\\\\y.txt\"", "http://host/b", "y.txt"},
        {"attachment; filename=\"..\"", "http://host/b", "b"},
        {"attachment; filename=\"", "http://host/b", "b"},
        {"attachment; filename=\"c", "http://host/b", "c"},
        {"inline", "http://host/b", "b"},
    };
    for (const auto& given : kCases)
        EXPECT_EQ(temporary::suggestedName(given.disposition, given.url), given.name)
            << given.disposition << given.url;
    EXPECT_EQ(temporary::suggestedName("filename=" + std::string(300, 'x'), "http://host/b"), "b");
}

} // namespace
} // namespace temporarytest
