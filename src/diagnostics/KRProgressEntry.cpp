#include "diagnostics/KRProgressEntry.h"

#include <algorithm>

namespace {

std::shared_ptr<KRProgressController> orShared(std::shared_ptr<KRProgressController> ofVariableBin)
{
    if (ofVariableBin)
        return ofVariableBin;
    return KRProgressController::sharedController();
}

} // namespace

std::shared_ptr<KRProgressEntry> KRProgressEntry::createWithDescription(const std::any& description)
{
    return createWithDescription(description, nullptr);
}

std::shared_ptr<KRProgressEntry> KRProgressEntry::createWithDescription(
    const std::any& description, std::shared_ptr<KRProgressController> variableBinController)
{
    auto controller = orShared(std::move(variableBinController));
    const auto number = controller->addNewProcessEntryWithDescription(description, std::nullopt);
    return std::shared_ptr<KRProgressEntry>(new KRProgressEntry(std::move(controller), number));
}

std::shared_ptr<KRProgressEntry> KRProgressEntry::createForVariable(KRProgressVariable variable,
    const std::any& withDescription, std::weak_ptr<KRProgressDelegate> delegate, std::any callerInfo,
    std::shared_ptr<KRProgressController> variableBinController)
{
    auto controller = orShared(std::move(variableBinController));
    const auto number = controller->addNewProcessEntryWithDescription(
        withDescription, std::move(variable), std::move(delegate), std::move(callerInfo));
    return std::shared_ptr<KRProgressEntry>(new KRProgressEntry(std::move(controller), number));
}

KRProgressEntry::~KRProgressEntry()
{
    controller_->removeProcessEntry(serialNumber_);
    // The controller's timer and views belong to the main thread, and so does its end.
    if (!platform::MainLoop::runsOnThisThread())
        platform::MainLoop::main().post([controller = std::move(controller_)] {});
}

void KRProgressEntry::updatePercentage(float fraction)
{
    // The order of the comparisons turns a fraction that is no number into 0.
    controller_->updateProcessWithFraction(serialNumber_, std::min(std::max(0.0F, fraction), 1.0F));
}

void KRProgressEntry::increasePercentage(float fraction)
{
    controller_->updateProcessAddFraction(serialNumber_, fraction);
}

void KRProgressEntry::updateDescription(std::string description)
{
    controller_->updateProcessWithDescription(serialNumber_, std::move(description));
}

void KRProgressEntry::setIndeterminate(bool indeterminate)
{
    controller_->setIndeterminateForEntry(indeterminate, serialNumber_);
}

void KRProgressEntry::setDelegate(std::weak_ptr<KRProgressDelegate> delegate)
{
    controller_->setDelegateForNumber(std::move(delegate), serialNumber_);
}

bool KRProgressEntry::userHasAborted() const
{
    return controller_->hitAbortButton(serialNumber_);
}

bool KRProgressEntry::variableNameSpecified() const
{
    return controller_->variableNameSpecifiedFor(serialNumber_);
}
