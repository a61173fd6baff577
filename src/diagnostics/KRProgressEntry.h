#pragma once

#include "diagnostics/KRProgressController.h"

#include <any>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

// The worker's handle on one line of progress. Destroying it removes the line. Any thread, several at a time.
// The percentages in its names are fractions of 1.
class KRProgressEntry {
public:
    // An entry on the shared controller. The description is a std::string, or nothing for none.
    static std::shared_ptr<KRProgressEntry> createWithDescription(const std::any& description);
    // An entry on the controller of a list of variables, or on the shared one when that is null.
    static std::shared_ptr<KRProgressEntry> createWithDescription(
        const std::any& description, std::shared_ptr<KRProgressController> variableBinController);
    // An entry bound to a variable; the description is a format with one "%@" for its name.
    static std::shared_ptr<KRProgressEntry> createForVariable(KRProgressVariable variable,
        const std::any& withDescription, std::weak_ptr<KRProgressDelegate> delegate = {},
        std::any callerInfo = {}, std::shared_ptr<KRProgressController> variableBinController = nullptr);

    ~KRProgressEntry();
    KRProgressEntry(const KRProgressEntry&) = delete;
    KRProgressEntry& operator=(const KRProgressEntry&) = delete;

    void updatePercentage(float fraction); // Held to the range 0 to 1.
    void increasePercentage(float fraction); // Not held to anything.
    void updateDescription(std::string description);
    void setIndeterminate(bool indeterminate);
    void setDelegate(std::weak_ptr<KRProgressDelegate> delegate);
    bool userHasAborted() const;
    bool variableNameSpecified() const;

private:
    KRProgressEntry(std::shared_ptr<KRProgressController> controller, KRProgressController::Number number)
        : serialNumber_(number), controller_(std::move(controller))
    { }

    KRProgressController::Number serialNumber_;
    std::shared_ptr<KRProgressController> controller_;
};
