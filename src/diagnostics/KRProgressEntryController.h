#pragma once

#include "toolkit/Controls.h"

#include <any>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

class KRProgressEntryController;

// What a line of progress may ask of the work it shows. The two questions say which functions are provided.
class KRProgressDelegate {
public:
    virtual ~KRProgressDelegate() = default;
    virtual bool respondsToProgressFraction() const { return false; }
    virtual float progressFraction() { return 1.0F; }
    virtual bool respondsToProgressHitAbort() const { return false; }
    virtual void progressHitAbort(void*, const std::any&) { } // The first is always null.
    virtual void abortButtonHit(KRProgressEntryController&) { }
};

// A variable of a list of variables, as far as a line of progress names it.
struct KRProgressVariable {
    std::string variableName;
    std::optional<std::int64_t> variableBinSerialNumber;
};

// One line of the list of progress: a text, a bar and an abort button. Workers store numbers and texts in it
// under its lock; views are made and changed on the main thread alone.
class KRProgressEntryController {
public:
    // The description is a text, or with a variable a format with one "%@" for its name.
    KRProgressEntryController(std::optional<std::string> description,
        std::optional<KRProgressVariable> variable, std::weak_ptr<KRProgressDelegate> delegate,
        std::any callerInfo);
    // A description that came as something else than a text is reported and taken as null.
    static std::optional<std::string> checkedDescriptionRule(const std::any& description);

    // Any thread.
    void setFraction(float fraction);
    void addFraction(float fraction);
    void setDescription(std::string description);
    void setIndeterminate(bool indeterminate);
    void setDelegate(std::weak_ptr<KRProgressDelegate> delegate);
    bool hitAbortButton() const;
    float currentFraction() const;
    bool variableNameSpecified() const { return variableName_.has_value(); }

    // Main thread.
    bool wantsToBeDisplayed();
    bool updateGraphicsIfNeccesary(); // Whether anything changed on screen.
    std::shared_ptr<toolkit::View> containingView();
    void setProgressPole(std::unique_ptr<toolkit::ProgressBar> bar); // Its range becomes 0 to 1.
    // The layout of a line by the version of the platform's foundation.
    static const char* layoutForFoundation(double version);
    bool hasView() const { return containingView_ != nullptr; }
    void variableNameChanged(
        const std::string& oldName, const std::string& newName, std::int64_t variableBinSerialNumber);
    void abortButtonHit();

    const std::string& descriptionString() const { return descriptionString_; }
    // The parts of the line; null until it has a view.
    const toolkit::ProgressBar* progressPole() const { return progressPole_.get(); }
    const toolkit::Button* abortButton() const { return abortButton_.get(); }
    const toolkit::TextField* description() const { return description_.get(); }

private:
    std::string textOfRule() const;
    void fetchFractionFromDelegate();
    void showWhetherIndeterminate();
    void showText(std::string text);

    std::shared_ptr<toolkit::View> containingView_;
    std::unique_ptr<toolkit::ProgressBar> progressPole_; // From 0 to 1.
    std::unique_ptr<toolkit::Button> abortButton_;
    std::unique_ptr<toolkit::Label> description_;
    std::optional<std::string> descriptionRule_;
    std::string descriptionString_;
    double startingDate_; // Monotonic seconds.
    std::optional<std::string> variableName_;
    std::optional<std::int64_t> variableBinSerialNumber_;

    mutable std::mutex accessLock_; // Below the lock of the progress controller.
    bool indeterminate_ = false;
    float currentFraction_ = 0;
    float fractionThatIsWaiting_ = 0;
    std::optional<std::string> descriptionWaiting_;
    bool hitAbortButton_ = false;
    bool isTellingOfAbort_ = false;
    std::weak_ptr<KRProgressDelegate> delegate_;
    std::any callerInfo_;
    bool delegateRespondsToFraction_ = false;
};
