#pragma once

#include "diagnostics/KRProgressEntryController.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/NotificationCenter.h"
#include "toolkit/ViewList.h"
#include "toolkit/Window.h"

#include <any>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class KRProgressController;

class KRProgressControllerDelegate {
public:
    virtual ~KRProgressControllerDelegate() = default;
    virtual void progressViewUpdated(KRProgressController&) { }
};

// The list of work in progress. Workers add entries and report to them at any rate: that costs a lock, a
// look-up and a store. A timer of the main thread, which runs only while there are entries, brings the views
// up to date every 0.3 seconds; work that ends within 0.6 seconds never shows.
//
// Locks: accessLock, then an entry's lock. Must be owned by a shared pointer.
class KRProgressController : public std::enable_shared_from_this<KRProgressController>,
                             public KRProgressControllerDelegate {
public:
    using Number = std::int64_t;

    static std::shared_ptr<KRProgressController> create();
    static const std::shared_ptr<KRProgressController>& sharedController();

    // Any thread. An unknown number is harmless everywhere.
    Number addNewProcessEntryWithDescription(const std::any& description,
        std::optional<KRProgressVariable> variable, std::weak_ptr<KRProgressDelegate> delegate = {},
        std::any callerInfo = {});
    void removeProcessEntry(Number number);
    void updateProcessWithFraction(Number number, float fraction);
    void updateProcessAddFraction(Number number, float fraction);
    void updateProcessWithDescription(Number number, std::string description);
    void setIndeterminateForEntry(bool indeterminate, Number number);
    void setDelegateForNumber(std::weak_ptr<KRProgressDelegate> delegate, Number number);
    bool hitAbortButton(Number number) const;
    bool variableNameSpecifiedFor(Number number) const;
    std::vector<float> getPercentages() const; // In order of creation.

    // Main thread. A variable was renamed: the notification's user information has "Old", "New" and
    // "VariableBin". It is observed as long as there has been an entry.
    static constexpr const char* kVariableNameChanged = "KRVariableNameChanged";
    void variableNameChanged(const platform::Notification&);
    void setDelegate(KRProgressControllerDelegate* delegate) { delegate_ = delegate; }
    void setProgressView(toolkit::ViewList* view); // Borrowed; set to null before it is destroyed.
    void setHowManyProcesses(toolkit::TextField* field) { howManyProcesses_ = field; }
    void updateViewIfNeccesary();
    void startTimer();
    void invalidateTimer();
    bool windowShouldClose() const;
    bool timerIsRunning() const { return theTimer_ != nullptr; }
    // The visible lines, in the order in which they appeared.
    std::vector<std::shared_ptr<KRProgressEntryController>> visibleEntries() const;

private:
    using Entry = std::shared_ptr<KRProgressEntryController>;

    KRProgressController() = default;
    Entry find(Number number) const; // accessLock is held.
    bool removeInsideLock();
    bool addVisibleInsideLock();
    void updateCountText(std::size_t count);

    toolkit::ViewList* progressView_ = nullptr;
    toolkit::TextField* howManyProcesses_ = nullptr;
    std::unique_ptr<platform::Timer> theTimer_;
    std::unique_ptr<platform::NotificationCenter::Observation> renames_;
    KRProgressControllerDelegate* delegate_ = nullptr;

    // Recursive: a delegate that is released inside it may be the last owner of an entry, which takes itself
    // off the list.
    mutable std::recursive_mutex accessLock_;
    std::map<Number, Entry> processes_;
    std::vector<Entry> allControllers_;
    bool waitingToStartTimer_ = false;
    bool timerExists_ = false;
    std::vector<Number> notYetVisible_;
    std::vector<Number> shouldBeRemoved_;
    std::vector<Number> currentlyVisible_;
};
