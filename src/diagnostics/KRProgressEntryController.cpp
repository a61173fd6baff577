#include "diagnostics/KRProgressEntryController.h"

#include "diagnostics/KRMessageCenter.h"
#include "platform/ProcessInfo.h"
#include "platform/loop/MainLoop.h"
#include "platform/loop/Pace.h"

#include <cmath>
#include <string_view>

namespace {

constexpr double kSecondsBeforeALineShows = 0.6;
constexpr double kLastFoundationWithOldBars = 462;

// Two percent signs of a format stand for one.
std::string withName(const std::string& rule, const std::string& name)
{
    std::string text;
    bool isNamed = false;
    for (std::size_t i = 0; i < rule.size(); ++i) {
        const std::string_view mark = std::string_view(rule).substr(i, 2);
        if (mark == "%@" && !isNamed) {
            text += name;
            isNamed = true;
            ++i;
        } else {
            text += rule[i];
            i += mark == "%%" ? 1 : 0;
        }
    }
    return text;
}

} // namespace

KRProgressEntryController::KRProgressEntryController(std::optional<std::string> description,
    std::optional<KRProgressVariable> variable, std::weak_ptr<KRProgressDelegate> delegate,
    std::any callerInfo)
    : descriptionRule_(std::move(description)), descriptionString_(descriptionRule_.value_or("")),
      startingDate_(platform::monotonicSeconds()), callerInfo_(std::move(callerInfo))
{
    if (variable) {
        variableName_ = std::move(variable->variableName);
        variableBinSerialNumber_ = variable->variableBinSerialNumber;
        descriptionString_ = withName(descriptionString_, *variableName_);
    }
    setDelegate(std::move(delegate));
}

std::optional<std::string> KRProgressEntryController::checkedDescriptionRule(const std::any& description)
{
    if (!description.has_value())
        return std::nullopt;
    if (const auto* text = std::any_cast<std::string>(&description))
        return *text;
    KRMessageCenter::addMessage("Internal error: Illegal description rule (has to be a string).");
    return std::nullopt;
}

void KRProgressEntryController::setFraction(float fraction)
{
    const std::lock_guard guard(accessLock_);
    fractionThatIsWaiting_ = fraction;
}

void KRProgressEntryController::addFraction(float fraction)
{
    const std::lock_guard guard(accessLock_);
    fractionThatIsWaiting_ += fraction;
}

void KRProgressEntryController::setDescription(std::string description)
{
    const std::lock_guard guard(accessLock_);
    descriptionWaiting_ = std::move(description);
}

void KRProgressEntryController::setIndeterminate(bool indeterminate)
{
    const std::lock_guard guard(accessLock_);
    indeterminate_ = indeterminate;
    // From a worker it reaches the bar with the next update.
    if (containingView_ && platform::MainLoop::runsOnThisThread())
        showWhetherIndeterminate();
}

void KRProgressEntryController::setDelegate(std::weak_ptr<KRProgressDelegate> delegate)
{
    const auto held = delegate.lock();
    const std::lock_guard guard(accessLock_);
    delegateRespondsToFraction_ = held && held->respondsToProgressFraction();
    delegate_ = std::move(delegate);
}

bool KRProgressEntryController::hitAbortButton() const
{
    const std::lock_guard guard(accessLock_);
    return hitAbortButton_;
}

float KRProgressEntryController::currentFraction() const
{
    const std::lock_guard guard(accessLock_);
    return currentFraction_;
}

// The delegate is asked without the lock, so that it may call this entry.
void KRProgressEntryController::fetchFractionFromDelegate()
{
    std::shared_ptr<KRProgressDelegate> delegate;
    {
        const std::lock_guard guard(accessLock_);
        if (!delegateRespondsToFraction_)
            return;
        delegate = delegate_.lock();
    }
    setFraction(delegate ? delegate->progressFraction() : 1.0F);
}

bool KRProgressEntryController::wantsToBeDisplayed()
{
    if (!containingView_)
        return platform::monotonicSeconds() - startingDate_
            > platform::Pace::of(kSecondsBeforeALineShows).count();
    const auto hasChanged = [this] {
        const std::lock_guard guard(accessLock_);
        return currentFraction_ != fractionThatIsWaiting_ || indeterminate_;
    };
    if (hasChanged())
        return true;
    fetchFractionFromDelegate();
    return hasChanged();
}

std::string KRProgressEntryController::textOfRule() const
{
    const std::string rule = descriptionRule_.value_or("");
    return variableBinSerialNumber_ ? withName(rule, variableName_.value_or("")) : rule;
}

void KRProgressEntryController::showText(std::string text)
{
    descriptionString_ = std::move(text);
    if (description_)
        description_->setStringValue(descriptionString_);
}

bool KRProgressEntryController::updateGraphicsIfNeccesary()
{
    if (!containingView_)
        return false;
    fetchFractionFromDelegate();
    const std::lock_guard guard(accessLock_);
    bool changed = false;
    if (progressPole_->isIndeterminate() != indeterminate_) {
        showWhetherIndeterminate();
        changed = true;
    }
    if (fractionThatIsWaiting_ != currentFraction_) {
        currentFraction_ = fractionThatIsWaiting_;
        progressPole_->setDoubleValue(static_cast<double>(currentFraction_));
        changed = true;
    }
    if (descriptionWaiting_) {
        descriptionRule_ = std::move(descriptionWaiting_);
        descriptionWaiting_.reset();
        std::string text = textOfRule();
        if (text != description_->stringValue()) {
            showText(std::move(text));
            changed = true;
        }
    }
    return changed;
}

// accessLock is held. The animation of a bar that shows a fraction is invisible.
void KRProgressEntryController::showWhetherIndeterminate()
{
    progressPole_->setIndeterminate(indeterminate_);
    progressPole_->setAnimating(true);
}

const char* KRProgressEntryController::layoutForFoundation(double version)
{
    return std::floor(version) <= kLastFoundationWithOldBars ? "KRProgressEntryController102"
                                                             : "KRProgressEntryController";
}

void KRProgressEntryController::setProgressPole(std::unique_ptr<toolkit::ProgressBar> bar)
{
    progressPole_ = std::move(bar);
    progressPole_->setRange(0, 1);
}

std::shared_ptr<toolkit::View> KRProgressEntryController::containingView()
{
    if (containingView_)
        return containingView_;
    containingView_ = std::make_shared<toolkit::View>();
    containingView_->setLayout(layoutForFoundation(platform::foundationVersion()));
    setProgressPole(std::make_unique<toolkit::ProgressBar>());
    abortButton_ = std::make_unique<toolkit::Button>();
    abortButton_->setTitle("Abort");
    abortButton_->whenPressed = [this] { abortButtonHit(); };
    description_ = std::make_unique<toolkit::Label>();
    description_->setStringValue(descriptionString_);
    for (toolkit::View* part :
        {static_cast<toolkit::View*>(description_.get()), static_cast<toolkit::View*>(progressPole_.get()),
            static_cast<toolkit::View*>(abortButton_.get())})
        containingView_->addSubview(*part);
    const std::lock_guard guard(accessLock_);
    if (indeterminate_)
        showWhetherIndeterminate();
    return containingView_;
}

void KRProgressEntryController::variableNameChanged(
    const std::string& oldName, const std::string& newName, std::int64_t variableBinSerialNumber)
{
    if (variableBinSerialNumber_ != variableBinSerialNumber || variableName_ != oldName)
        return;
    variableName_ = newName;
    showText(textOfRule());
}

void KRProgressEntryController::abortButtonHit()
{
    std::shared_ptr<KRProgressDelegate> delegate;
    {
        const std::lock_guard guard(accessLock_);
        if (hitAbortButton_ || isTellingOfAbort_)
            return;
        isTellingOfAbort_ = true;
        delegate = delegate_.lock();
    }
    // The delegate is called without the lock, so that it may call any function of this entry, and before the
    // worker can see the abort.
    if (delegate && delegate->respondsToProgressHitAbort())
        delegate->progressHitAbort(nullptr, callerInfo_);
    else if (delegate)
        delegate->abortButtonHit(*this);
    {
        const std::lock_guard guard(accessLock_);
        hitAbortButton_ = true;
    }
    if (abortButton_)
        abortButton_->setEnabled(false);
}
