#include "diagnostics/KRMessageCenter.h"

#include "toolkit/Workspace.h"

#include <fmt/format.h>

#include <atomic>
#include <chrono>
#include <system_error>

namespace {

constexpr std::size_t kMostMessages = 5000;
constexpr int kSeriousErrorsWithStack = 201;

struct SharedState {
    std::mutex lock;
    std::shared_ptr<KRMessageCenter> center;
    std::optional<std::string> descriptionStringForEmail;
};

// Never destroyed: threads may report until the process has ended.
SharedState& sharedState()
{
    static auto* state = new SharedState{{}, KRMessageCenter::create(), {}};
    return *state;
}

diagnostics::MessageLog& processLog()
{
    static auto* log = new diagnostics::MessageLog;
    return *log;
}

std::shared_ptr<KRMessageCenter>& threadCenter()
{
    static thread_local std::shared_ptr<KRMessageCenter> center;
    return center;
}

std::shared_ptr<KRMessageCenter> centerOfThread()
{
    if (const auto& own = threadCenter())
        return own;
    return KRMessageCenter::sharedMessageCenter();
}

// The symbol and offset of a frame; nothing for a frame without an address.
std::optional<std::string> symbolOfFrame(const std::string& frame)
{
    const auto address = frame.find("0x");
    if (address == std::string::npos)
        return std::nullopt;
    const auto blank = frame.find(' ', address);
    return frame.substr(blank == std::string::npos ? address : blank + 1);
}

std::string arrayDescription(const std::vector<std::string>& texts)
{
    return fmt::format("(\n    \"{}\"\n)", fmt::join(texts, "\",\n    \""));
}

std::optional<std::string> descriptionForApp()
{
    SharedState& state = sharedState();
    const std::lock_guard guard(state.lock);
    return state.descriptionStringForEmail;
}

} // namespace

KRMessageCenter_Entry::KRMessageCenter_Entry(std::string shortDescr, std::optional<std::string> longDescr)
    : shortDescription_(std::move(shortDescr)), longDescription_(std::move(longDescr)), whenItHappened_(now())
{ }

double KRMessageCenter_Entry::now()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::shared_ptr<const KRMessageCenter_Entry> KRMessageCenter_Entry::shortDescription(
    std::string text, std::optional<std::string> longDescription)
{
    return std::shared_ptr<const KRMessageCenter_Entry>(
        new KRMessageCenter_Entry(std::move(text), std::move(longDescription)));
}

std::shared_ptr<KRMessageCenter> KRMessageCenter::create()
{
    return std::shared_ptr<KRMessageCenter>(new KRMessageCenter);
}

KRMessageCenter::~KRMessageCenter()
{
    if (reportingThread_.joinable())
        reportingThread_.join();
}

void KRMessageCenter::addMessage(const MessageText& text)
{
    if (text.text())
        addMessage(text, MessageText(nullptr));
}

void KRMessageCenter::addMessage(const MessageText& text, const MessageText& longVersion)
{
    if (!text.text() && !longVersion.text())
        return;
    if (const auto center = centerOfThread())
        center->newMessage(text, longVersion);
}

void KRMessageCenter::addMessage(const MessageText& text, const diagnostics::Exception& forException)
{
    std::string stack =
        fmt::format("Full stack trace\n\nname = {}\nreason = {}\n\n", forException.name, forException.reason);
    for (const std::string& frame : forException.callStackSymbols)
        if (const auto symbol = symbolOfFrame(frame))
            stack += fmt::format("{}\n", *symbol);
    addMessage(text, MessageText(std::move(stack)));
}

void KRMessageCenter::seriousErrorMessage(const MessageText& text)
{
    static std::atomic<int> howManySoFar = 0;
    if (!text.text())
        return;
    if (howManySoFar.fetch_add(1) >= kSeriousErrorsWithStack)
        addMessage(text);
    else if (const auto center = centerOfThread())
        center->newSeriousMessage(text);
}

// Made at the first use; replaceable, never null.
std::shared_ptr<KRMessageCenter> KRMessageCenter::sharedMessageCenter()
{
    processLog().begin();
    std::shared_ptr<KRMessageCenter> center;
    {
        SharedState& state = sharedState();
        const std::lock_guard guard(state.lock);
        center = state.center;
    }
    if (!center && threadCenter())
        threadCenter()->newMessage("MessageCenter-sharedMessageCenter: Has to return nil.");
    return center;
}

void KRMessageCenter::setSharedCenter(const std::shared_ptr<KRMessageCenter>& center)
{
    if (!center)
        return;
    SharedState& state = sharedState();
    const std::lock_guard guard(state.lock);
    state.center = center;
}

void KRMessageCenter::setDescriptionForApp(const MessageText& text)
{
    SharedState& state = sharedState();
    const std::lock_guard guard(state.lock);
    state.descriptionStringForEmail = text.text();
}

void KRMessageCenter::setCenterOfThread(std::shared_ptr<KRMessageCenter> center)
{
    threadCenter() = std::move(center);
}

void KRMessageCenter::keepLogInFolder(std::function<std::string()> folder)
{
    processLog().openAtFirstUse([folder = std::move(folder)] { return folder() + "/Log"; });
}

void KRMessageCenter::addToLog(const std::string& text)
{
    processLog().add(KRMessageCenter_Entry::now(), text, std::nullopt);
}

void KRMessageCenter::newMessage(const MessageText& text)
{
    newMessage(text, MessageText(nullptr));
}

void KRMessageCenter::newMessage(const MessageText& text, const MessageText& longVersion)
{
    if (!text.text() && !longVersion.text())
        return;
    // The log is written outside of both locks: an entry never changes, and no thread waits for a slow disk.
    if (const Entry entry = enterMessage(text, longVersion))
        processLog().add(entry->date(), entry->shortDescription(), entry->longDescription());
}

KRMessageCenter::Entry KRMessageCenter::enterMessage(const MessageText& text, const MessageText& longVersion)
{
    const std::lock_guard waitingGuard(somethingWaitingLock_);
    const std::lock_guard messageGuard(messageLock_);
    Entry entry;
    if (messages_.size() + waitingMessages_.size() == kMostMessages)
        entry = KRMessageCenter_Entry::shortDescription(
            "Too many error messages (5,000).  Blocking any further messages.",
            fmt::format("Most likely due to out of bounds error messages.  Please report to {}",
                diagnostics::supportAddress()));
    else if (messages_.size() > kMostMessages)
        return nullptr;
    else
        entry = KRMessageCenter_Entry::shortDescription(text.text().value_or("empty"), longVersion.text());

    waitingMessages_.push_back(entry);
    if (!somethingWaiting_) {
        somethingWaiting_ = true;
        platform::MainLoop::main().post([weak = weak_from_this()] {
            if (const auto center = weak.lock())
                center->updateIfNeccesary();
        });
    }
    if (shouldEmailMessages_)
        messagesThatShouldBeSentOver_.push_back(entry);
    return entry;
}

void KRMessageCenter::newSeriousMessage(const MessageText& text)
{
    newMessage(text, MessageText(arrayDescription(diagnostics::callStackSymbols())));
}

void KRMessageCenter::setShouldEmailMessages(bool should)
{
    const std::lock_guard guard(somethingWaitingLock_);
    shouldEmailMessages_ = should;
}

void KRMessageCenter::setEmailFromUser(const MessageText& address)
{
    const std::lock_guard guard(somethingWaitingLock_);
    emailOfUser_ = address.text();
}

diagnostics::MessageList KRMessageCenter::messages() const
{
    const std::lock_guard guard(messageLock_);
    return messages_;
}

std::size_t KRMessageCenter::countOfMessages() const
{
    const std::lock_guard guard(messageLock_);
    return messages_.size();
}

int KRMessageCenter::waitingCount() const
{
    const std::lock_guard guard(somethingWaitingLock_);
    return static_cast<int>(waitingMessages_.size());
}

bool KRMessageCenter::isReporting() const
{
    const std::lock_guard guard(somethingWaitingLock_);
    return hasLaunchedReportingThread_;
}

void KRMessageCenter::updateIfNeccesary()
{
    bool moved = false;
    {
        const std::lock_guard waitingGuard(somethingWaitingLock_);
        if (somethingWaiting_) {
            const std::lock_guard messageGuard(messageLock_);
            messages_.insert(messages_.end(), waitingMessages_.begin(), waitingMessages_.end());
            waitingMessages_.clear();
            somethingWaiting_ = false;
            moved = true;
        }
        if (shouldEmailMessages_ && !hasLaunchedReportingThread_ && !messagesThatShouldBeSentOver_.empty())
            startReporting();
    }
    if (moved)
        updateScrollViewAndBringToFront();
    if (needToRedrawMessageColor_) {
        needToRedrawMessageColor_ = false;
        for (toolkit::Table* table : {scrollView_, additionalScrollView_})
            if (table)
                table->setNeedsDisplay();
    }
}

void KRMessageCenter::updateIfNeccesaryFromTimer()
{
    runningTimer_.reset();
    updateIfNeccesary();
}

// somethingWaitingLock is held, and the former reporting thread has been joined.
void KRMessageCenter::startReporting()
{
    try {
        reportingThread_ = std::thread([this] { cleanUpCleanUp(); });
        hasLaunchedReportingThread_ = true;
    } catch (const std::system_error&) {
        // The system refuses the thread: the entries wait for the next message.
        hasLaunchedReportingThread_ = false;
    }
}

void KRMessageCenter::cleanUpCleanUp()
{
    diagnostics::MessageList entries;
    std::optional<std::string> user;
    {
        const std::lock_guard guard(somethingWaitingLock_);
        entries.swap(messagesThatShouldBeSentOver_);
        user = emailOfUser_;
    }
    std::string report = diagnostics::framedReport(entries, descriptionForApp());
    if (user)
        report += fmt::format("e-mail = {}\n", *user);
    // A report has no destination yet; it would be sent here.
    platform::MainLoop::main().post([weak = weak_from_this()] {
        if (const auto center = weak.lock())
            center->finishedSendingErrorsOver();
    });
}

void KRMessageCenter::finishedSendingErrorsOver()
{
    if (reportingThread_.joinable())
        reportingThread_.join();
    const std::lock_guard guard(somethingWaitingLock_);
    hasLaunchedReportingThread_ = false;
    if (!messagesThatShouldBeSentOver_.empty())
        startReporting();
}

void KRMessageCenter::emailMessages()
{
    const std::string body =
        fmt::format("It would be really good to get a description of how to replicate the "
                    "problem.  Best would be to include a file and directions if applicable."
                    "\n\n{}",
            diagnostics::framedReport(messages(), descriptionForApp()));
    const auto escaped = diagnostics::percentEscaped(body);
    if (!escaped) {
        addMessage("Could not e-mail this message.  Ran into encoding difficulties", body);
        return;
    }
    windowVisible_ = false;
    if (toolkit::Window* shown = window())
        shown->close();
    if (const auto& open = toolkit::Workspace::shared().openUrl)
        open(
            fmt::format("mailto:{}?subject=Error%20Report&body={}", diagnostics::supportAddress(), *escaped));
}

void KRMessageCenter::copyMessages()
{
    if (const auto& set = toolkit::Workspace::shared().setPasteboardText)
        set(diagnostics::messagesAsPropertyList(messages()));
}
