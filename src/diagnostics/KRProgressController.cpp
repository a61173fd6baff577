#include "diagnostics/KRProgressController.h"

#include "diagnostics/KRSerialNumber.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace {
constexpr double kSecondsBetweenUpdates = 0.3;
}

std::shared_ptr<KRProgressController> KRProgressController::create()
{
    return std::shared_ptr<KRProgressController>(new KRProgressController);
}

const std::shared_ptr<KRProgressController>& KRProgressController::sharedController()
{
    static const auto* shared = new std::shared_ptr<KRProgressController>(create());
    return *shared;
}

KRProgressController::Number KRProgressController::addNewProcessEntryWithDescription(
    const std::any& description, std::optional<KRProgressVariable> variable,
    std::weak_ptr<KRProgressDelegate> delegate, std::any callerInfo)
{
    const auto entry = std::make_shared<KRProgressEntryController>(
        KRProgressEntryController::checkedDescriptionRule(description), std::move(variable),
        std::move(delegate), std::move(callerInfo));
    const std::lock_guard guard(accessLock_);
    const Number number = KRSerialNumber::createNew();
    processes_[number] = entry;
    allControllers_.push_back(entry);
    notYetVisible_.push_back(number);
    if (!timerExists_ && !waitingToStartTimer_) {
        waitingToStartTimer_ = true;
        platform::MainLoop::main().post([weak = weak_from_this()] {
            if (const auto controller = weak.lock())
                controller->startTimer();
        });
    }
    return number;
}

void KRProgressController::removeProcessEntry(Number number)
{
    const std::lock_guard guard(accessLock_);
    shouldBeRemoved_.push_back(number);
    std::erase(notYetVisible_, number);
    std::erase(currentlyVisible_, number);
}

KRProgressController::Entry KRProgressController::find(Number number) const
{
    const auto place = processes_.find(number);
    return place == processes_.end() ? nullptr : place->second;
}

void KRProgressController::updateProcessWithFraction(Number number, float fraction)
{
    const std::lock_guard guard(accessLock_);
    if (const Entry entry = find(number))
        entry->setFraction(fraction);
}

void KRProgressController::updateProcessAddFraction(Number number, float fraction)
{
    const std::lock_guard guard(accessLock_);
    if (const Entry entry = find(number))
        entry->addFraction(fraction);
}

void KRProgressController::updateProcessWithDescription(Number number, std::string description)
{
    const std::lock_guard guard(accessLock_);
    if (const Entry entry = find(number))
        entry->setDescription(std::move(description));
}

void KRProgressController::setIndeterminateForEntry(bool indeterminate, Number number)
{
    const std::lock_guard guard(accessLock_);
    if (const Entry entry = find(number))
        entry->setIndeterminate(indeterminate);
}

void KRProgressController::setDelegateForNumber(std::weak_ptr<KRProgressDelegate> delegate, Number number)
{
    const std::lock_guard guard(accessLock_);
    if (const Entry entry = find(number))
        entry->setDelegate(std::move(delegate));
}

bool KRProgressController::hitAbortButton(Number number) const
{
    const std::lock_guard guard(accessLock_);
    const Entry entry = find(number);
    return entry && entry->hitAbortButton();
}

bool KRProgressController::variableNameSpecifiedFor(Number number) const
{
    const std::lock_guard guard(accessLock_);
    const Entry entry = find(number);
    return entry && entry->variableNameSpecified();
}

std::vector<float> KRProgressController::getPercentages() const
{
    const std::lock_guard guard(accessLock_);
    std::vector<float> fractions;
    for (const Entry& entry : allControllers_)
        fractions.push_back(entry->currentFraction());
    return fractions;
}

void KRProgressController::variableNameChanged(const platform::Notification& notification)
{
    const auto oldName = notification.userInfo.textFor("Old");
    const auto newName = notification.userInfo.textFor("New");
    const platform::Value* bin = notification.userInfo.find("VariableBin");
    const auto binNumber = bin ? bin->integer() : std::nullopt;
    if (!oldName || !newName || !binNumber)
        return;
    const std::lock_guard guard(accessLock_);
    for (const Entry& entry : allControllers_)
        entry->variableNameChanged(*oldName, *newName, *binNumber);
}

void KRProgressController::setProgressView(toolkit::ViewList* view)
{
    progressView_ = view;
    if (!view)
        return;
    view->setSpaceToTheLeft(2.0);
    toolkit::Window* window = view->window();
    if (this == sharedController().get() && window)
        window->setSizeLimits(window->minimumSize(), {window->minimumSize().width, 1500.0});
}

void KRProgressController::startTimer()
{
    const std::lock_guard guard(accessLock_);
    waitingToStartTimer_ = false;
    if (!renames_)
        renames_ = platform::NotificationCenter::defaultCenter().observe(
            kVariableNameChanged, [this](const auto& notification) { variableNameChanged(notification); });
    if (theTimer_)
        return;
    timerExists_ = true;
    theTimer_ = platform::Timer::schedule(
        kSecondsBetweenUpdates, platform::Timer::Repeats::Yes, [weak = weak_from_this()] {
            if (const auto controller = weak.lock())
                controller->updateViewIfNeccesary();
        });
}

void KRProgressController::invalidateTimer()
{
    const std::lock_guard guard(accessLock_);
    theTimer_.reset();
    timerExists_ = false;
}

bool KRProgressController::windowShouldClose() const
{
    const std::lock_guard guard(accessLock_);
    return currentlyVisible_.empty();
}

std::vector<std::shared_ptr<KRProgressEntryController>> KRProgressController::visibleEntries() const
{
    const std::lock_guard guard(accessLock_);
    std::vector<Entry> entries;
    for (const Number number : currentlyVisible_)
        if (const Entry entry = find(number))
            entries.push_back(entry);
    return entries;
}

bool KRProgressController::removeInsideLock()
{
    bool viewRemoved = false;
    for (const Number number : std::exchange(shouldBeRemoved_, {})) {
        const Entry entry = find(number);
        if (!entry)
            continue;
        if (entry->hasView()) {
            viewRemoved = true;
            if (progressView_)
                progressView_->remove(entry->containingView());
        }
        std::erase(allControllers_, entry);
        processes_.erase(number);
    }
    return viewRemoved;
}

bool KRProgressController::addVisibleInsideLock()
{
    bool viewAdded = false;
    for (const Number number : std::vector<Number>(notYetVisible_)) {
        const Entry entry = find(number);
        if (!entry || !entry->wantsToBeDisplayed())
            continue;
        const auto view = entry->containingView();
        if (progressView_)
            progressView_->add(view);
        std::erase(notYetVisible_, number);
        currentlyVisible_.push_back(number);
        viewAdded = true;
    }
    return viewAdded;
}

void KRProgressController::updateCountText(std::size_t count)
{
    if (howManyProcesses_)
        howManyProcesses_->setStringValue(count == 0 ? ""
                : count == 1                         ? "1 task"
                                                     : fmt::format("{} tasks", count));
}

void KRProgressController::updateViewIfNeccesary()
{
    bool changed = false;
    {
        const std::lock_guard guard(accessLock_);
        const bool removed = removeInsideLock();
        const bool added = addVisibleInsideLock();
        if (added && progressView_ && this == sharedController().get())
            if (toolkit::Window* window = progressView_->window(); window && !window->isVisible())
                window->orderFront();
        for (const Number number : std::vector<Number>(currentlyVisible_))
            if (const Entry entry = find(number))
                changed |= entry->updateGraphicsIfNeccesary();
        if (processes_.empty()) {
            theTimer_.reset();
            timerExists_ = false;
        }
        if (removed || added) {
            updateCountText(currentlyVisible_.size());
            changed = true;
        }
    }
    if (changed && delegate_)
        delegate_->progressViewUpdated(*this);
}
