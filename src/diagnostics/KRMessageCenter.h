#pragma once

#include "diagnostics/Exception.h"
#include "diagnostics/KRMessageCenter_Entry.h"
#include "diagnostics/MessageLog.h"
#include "diagnostics/MessageReport.h"
#include "platform/loop/MainLoop.h"
#include "toolkit/Controls.h"
#include "toolkit/Table.h"
#include "toolkit/Window.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// A text or null. A null message is ignored: it marks a place in the code that isn't reached.
class MessageText {
public:
    MessageText(std::nullptr_t) { }
    MessageText(const char* text)
    {
        if (text)
            text_ = text;
    }
    MessageText(std::string text) : text_(std::move(text)) { }
    MessageText(std::optional<std::string> text) : text_(std::move(text)) { }
    const std::optional<std::string>& text() const { return text_; }

private:
    std::optional<std::string> text_;
};

class KRMessageCenterDelegate {
public:
    virtual ~KRMessageCenterDelegate() = default;
    virtual void messagesCountChanged(int) { }
};

// The one place where the program reports to its user. Any thread may add a message at any time; messages are
// kept, appended to a log file when one is open, and shown in tables on the main thread, which brings their
// window to the front. At most 5000 are kept until the user clears them, so that a fault in a loop doesn't
// flood the tables or the log.
//
// Locks: somethingWaitingLock before messageLock; the log's lock is taken alone. Adding never waits for the
// main thread. Functions without a remark belong to the main thread.
class KRMessageCenter : public std::enable_shared_from_this<KRMessageCenter>,
                        public toolkit::TableDataSource,
                        public toolkit::TableDelegate,
                        public KRMessageCenterDelegate {
public:
    static std::shared_ptr<KRMessageCenter> create();
    ~KRMessageCenter() override;

    // To the center of the calling thread, which is the shared one unless it was replaced. Any thread.
    static void addMessage(const MessageText& text);
    static void addMessage(const MessageText& text, const MessageText& longVersion);
    static void addMessage(const MessageText& text, const diagnostics::Exception& forException);
    // As addMessage, with the stack of the caller for the first 201 of a process. Any thread.
    static void seriousErrorMessage(const MessageText& text);

    // Any thread.
    static std::shared_ptr<KRMessageCenter> sharedMessageCenter();
    static void setSharedCenter(const std::shared_ptr<KRMessageCenter>& center);
    static void setDescriptionForApp(const MessageText& text);
    static void setDelegateForClass(KRMessageCenterDelegate*) { }
    // The center of the calling thread from now on; null for the shared one.
    static void setCenterOfThread(std::shared_ptr<KRMessageCenter> center);
    // The process's log is "Log" in the folder that the function names. It is opened when the shared center
    // is first asked for, or with the first message. The function may add messages. Without it messages are
    // kept in memory alone.
    static void keepLogInFolder(std::function<std::string()> folder);
    // A record for the log alone, which no table shows. Any thread.
    static void addToLog(const std::string& text);

    // Any thread.
    void newMessage(const MessageText& text);
    void newMessage(const MessageText& text, const MessageText& longVersion);
    void newSeriousMessage(const MessageText& text);

    void setDelegate(KRMessageCenterDelegate* delegate) { delegate_ = delegate; }
    void setShouldEmailMessages(bool should);
    void setEmailFromUser(const MessageText& address);

    // The entries on display, oldest first. Any thread.
    diagnostics::MessageList messages() const;
    int waitingCount() const; // Added and not yet moved to the display. Any thread.

    // Views are borrowed: detach them (with null) before they are destroyed.
    static void setMessageTableFont(std::optional<std::string> font);
    void setDescriptionField(toolkit::TextView* field) { descriptionField_ = field; }
    void setHowManyErrorsField(toolkit::TextField* field) { howManyErrorsField_ = field; }
    void setScrollView(toolkit::Table* table);
    void setScrollView(toolkit::Table* table, bool setPolling);
    void setAdditionalScrollView(
        toolkit::Table* table, toolkit::TextView* descriptionField, KRMessageCenterDelegate* delegate);

    void updateNumberField();
    void updateScrollViewAndBringToFront();
    void showMessageWindow();
    void windowWillClose();
    void updateIfNeccesary();
    void updateIfNeccesaryFromTimer();
    void finishedSendingErrorsOver();

    // User actions.
    void copyMessages();
    void emailMessages();
    void clearMessages();
    void refreshList();

    int numberOfRowsInTableView(const toolkit::Table&) override;
    toolkit::CellValue objectValueForTableColumn(
        const toolkit::Table&, std::string_view column, int row) override;
    void willDisplayCell(toolkit::Table&, toolkit::CellStyle&, std::string_view column, int row) override;
    void tableViewSelectionDidChange(toolkit::Table& table) override { tableViewSelectionChanged(table); }
    void tableViewSelectionChanged(toolkit::Table&);

    void messagesCountChanged(int) override { }
    void KRMessageCenterDelegateCall(const MessageText&, const MessageText&) { }

    bool windowVisible() const { return windowVisible_; }
    bool isReporting() const; // Any thread.
    bool needToRedrawMessageColor() const { return needToRedrawMessageColor_; }

private:
    using Entry = std::shared_ptr<const KRMessageCenter_Entry>;

    KRMessageCenter() = default;
    Entry enterMessage(const MessageText& text, const MessageText& longVersion);
    void startReporting();
    void cleanUpCleanUp();
    Entry entryAt(int row) const;
    static std::optional<std::string>& messageTableFont();
    toolkit::Window* window() const;
    void forEachTable(void (toolkit::Table::*notice)());
    std::size_t countOfMessages() const;

    toolkit::Table* scrollView_ = nullptr;
    toolkit::Table* additionalScrollView_ = nullptr;
    toolkit::TextView* additionalDescriptionView_ = nullptr;
    KRMessageCenterDelegate* delegateForAddition_ = nullptr;
    toolkit::TextView* descriptionField_ = nullptr;
    toolkit::TextField* howManyErrorsField_ = nullptr;
    std::unique_ptr<platform::Timer> runningTimer_;

    mutable std::mutex messageLock_;
    diagnostics::MessageList messages_;

    mutable std::mutex somethingWaitingLock_;
    bool somethingWaiting_ = false;
    diagnostics::MessageList waitingMessages_;
    diagnostics::MessageList messagesThatShouldBeSentOver_;
    bool hasLaunchedReportingThread_ = false;
    bool shouldEmailMessages_ = false;
    std::optional<std::string> emailOfUser_;
    std::thread reportingThread_;

    std::thread::id mainThread_;
    bool windowVisible_ = false;
    bool needToRedrawMessageColor_ = false;
    KRMessageCenterDelegate* delegate_ = nullptr;
    double lastReportSent_ = 0;
};
