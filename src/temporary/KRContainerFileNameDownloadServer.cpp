#include "temporary/KRContainerFileNameDownloadServer.h"

#include "platform/files/File.h"
#include "platform/files/Paths.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/Pace.h"
#include "temporary/SuggestedName.h"
#include "temporary/TemporaryFiles.h"

#include <curl/curl.h>

#include <optional>
#include <string_view>
#include <utility>

namespace {

constexpr double kLongestSilence = 60; // Seconds.
constexpr long kMostRedirections = 20;
constexpr const char* kProtocols = "http,https,ftp,file";
constexpr const char* kProtocolsOfRedirections = "http,https"; // A server never reaches a local file.

} // namespace

// What libcurl calls back into, on the worker.
struct KRContainerFileNameDownloadServerEntry::Transfer {
    explicit Transfer(KRContainerFileNameDownloadServerEntry& of) : entry(of) { }

    bool run();
    bool begin();

    static std::size_t header(const char* bytes, std::size_t, std::size_t count, void* self);
    static std::size_t data(const char* bytes, std::size_t, std::size_t count, void* self);
    static int progress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);

    KRContainerFileNameDownloadServerEntry& entry;
    std::unique_ptr<CURL, void (*)(CURL*)> handle{curl_easy_init(), curl_easy_cleanup};
    std::string contentDisposition;
    std::shared_ptr<KRContainerFolder> folder;
    std::optional<platform::File> theFile;
    double lastByte = platform::monotonicSeconds();
};

bool KRContainerFileNameDownloadServerEntry::Transfer::run()
{
    CURL* curl = handle.get();
    curl_easy_setopt(curl, CURLOPT_URL, entry.theURL_.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMostRedirections);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, kProtocols);
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, kProtocolsOfRedirections);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Transfer::header);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Transfer::data);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &Transfer::progress);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
    // An empty answer has no data, but its file.
    return curl_easy_perform(curl) == CURLE_OK && (theFile || begin()) && theFile->close();
}

// The answer is there: its file is opened.
bool KRContainerFileNameDownloadServerEntry::Transfer::begin()
{
    folder =
        KRContainerFolder::createWithTemporaryFolder(TemporaryFiles::shared().checkOutFolder().value_or(""));
    if (!folder)
        return false;
    const char* url = nullptr; // After redirections.
    const char* type = nullptr;
    curl_off_t length = -1;
    curl_easy_getinfo(handle.get(), CURLINFO_EFFECTIVE_URL, &url);
    curl_easy_getinfo(handle.get(), CURLINFO_CONTENT_TYPE, &type);
    curl_easy_getinfo(handle.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    const std::string fileName = temporary::suggestedName(contentDisposition, url ? url : "");
    entry.answered({fileName, type ? type : "", length});
    auto opened = platform::File::open(
        platform::paths::appending(folder->folderName(), fileName), platform::File::Mode::Replace);
    if (!opened)
        return false;
    theFile = std::move(*opened);
    folder->addedFileName(fileName);
    return true;
}

std::size_t KRContainerFileNameDownloadServerEntry::Transfer::header(
    const char* bytes, std::size_t, std::size_t count, void* self)
{
    constexpr std::string_view kName = "content-disposition:";
    auto& transfer = *static_cast<Transfer*>(self);
    const std::string_view line(bytes, count);
    transfer.lastByte = platform::monotonicSeconds();
    if (line.starts_with("HTTP/")) // Each redirection answers for itself.
        transfer.contentDisposition.clear();
    else if (count >= kName.size() && curl_strnequal(bytes, kName.data(), kName.size()))
        transfer.contentDisposition = line.substr(kName.size());
    return count;
}

std::size_t KRContainerFileNameDownloadServerEntry::Transfer::data(
    const char* bytes, std::size_t, std::size_t count, void* self)
{
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.lastByte = platform::monotonicSeconds();
    if (!transfer.theFile && !transfer.begin())
        return 0;
    if (!transfer.theFile->write({bytes, count}))
        return 0;
    transfer.entry.howManyRead_ += count;
    return count;
}

// Called at least once a second. Any answer but 0 ends the transfer.
int KRContainerFileNameDownloadServerEntry::Transfer::progress(
    void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    const auto& transfer = *static_cast<const Transfer*>(self);
    const double silence = platform::monotonicSeconds() - transfer.lastByte;
    return transfer.entry.isCancelled() || silence > platform::Pace::of(kLongestSilence).count();
}

KRContainerFileNameDownloadServerEntry::KRContainerFileNameDownloadServerEntry(std::string url,
    std::shared_ptr<KRContainerFileNameDownloadDelegate> delegate, KRContainerFileNameDownloadServer& server)
    : theURL_(std::move(url)), delegate_(std::move(delegate)), server_(server)
{ }

KRContainerFileNameDownloadServerEntry::~KRContainerFileNameDownloadServerEntry() = default;

void KRContainerFileNameDownloadServerEntry::main()
{
    transfer_ = std::make_unique<Transfer>(*this);
    const bool isWhole = transfer_->handle && transfer_->run();
    transfer_->theFile.reset();
    if (!isWhole)
        transfer_->folder.reset();
    postWhenEnded([this] { finish(); }); // The server keeps this object until then.
}

void KRContainerFileNameDownloadServerEntry::finish()
{
    if (delegate_)
        delegate_->finishedDownloadingFile(theURL_, std::exchange(transfer_->folder, nullptr));
    server_.ended(*this);
}

void KRContainerFileNameDownloadServerEntry::answered(Answer answer)
{
    const std::lock_guard guard(answerLock_);
    answer_ = std::move(answer);
}

KRContainerFileNameDownloadServerEntry::Answer KRContainerFileNameDownloadServerEntry::answer() const
{
    const std::lock_guard guard(answerLock_);
    return answer_;
}

KRContainerFileNameDownloadServer& KRContainerFileNameDownloadServer::shared()
{
    platform::MainLoop::main(); // It must outlive the server, whose downloads end on it.
    static KRContainerFileNameDownloadServer server;
    return server;
}

void KRContainerFileNameDownloadServer::download(
    const std::string& url, std::shared_ptr<KRContainerFileNameDownloadDelegate> delegate)
{
    currentDownloads_.push_back(
        std::make_shared<KRContainerFileNameDownloadServerEntry>(url, std::move(delegate), *this));
    queue_.addOperation(currentDownloads_.back());
}

void KRContainerFileNameDownloadServer::ended(const KRContainerFileNameDownloadServerEntry& entry)
{
    std::erase_if(currentDownloads_, [&](const auto& current) { return current.get() == &entry; });
}
