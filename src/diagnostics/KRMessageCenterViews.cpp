// What the message center shows: its tables, their cells and tints, and the fields beside them.

#include "diagnostics/KRMessageCenter.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace {

constexpr double kTintedSeconds = 180;
constexpr double kFadingSeconds = 100;

// A pale tint that holds for 80 seconds and fades to white at 180.
toolkit::Color tintAtAge(double age)
{
    const float f = std::min(static_cast<float>((kTintedSeconds - age) / kFadingSeconds), 1.0F);
    return {(255 - 18 * f) / 255, (255 - 12 * f) / 255, (255 - f) / 255, 1};
}

} // namespace

KRMessageCenter::Entry KRMessageCenter::entryAt(int row) const
{
    const std::lock_guard guard(messageLock_);
    if (row < 0 || static_cast<std::size_t>(row) >= messages_.size())
        return nullptr;
    return messages_[static_cast<std::size_t>(row)];
}

toolkit::Window* KRMessageCenter::window() const
{
    return scrollView_ ? scrollView_->window() : nullptr;
}

void KRMessageCenter::forEachTable(void (toolkit::Table::*notice)())
{
    for (toolkit::Table* table : {scrollView_, additionalScrollView_})
        if (table)
            (table->*notice)();
}

void KRMessageCenter::setMessageTableFont(std::optional<std::string> font)
{
    messageTableFont() = std::move(font);
}

std::optional<std::string>& KRMessageCenter::messageTableFont()
{
    static std::optional<std::string> font;
    return font;
}

void KRMessageCenter::setScrollView(toolkit::Table* table)
{
    if (table) {
        setScrollView(table, false);
        return;
    }
    runningTimer_.reset();
    if (scrollView_) {
        scrollView_->setDelegate(nullptr);
        scrollView_->setDataSource(nullptr);
    }
    scrollView_ = nullptr;
    descriptionField_ = nullptr;
    howManyErrorsField_ = nullptr;
}

void KRMessageCenter::setScrollView(toolkit::Table* table, bool)
{
    if (!table)
        return setScrollView(nullptr);
    if (scrollView_ && scrollView_ != table) {
        scrollView_->setDelegate(nullptr);
        scrollView_->setDataSource(nullptr);
    }
    scrollView_ = table;
    mainThread_ = std::this_thread::get_id();
    table->setDelegate(this);
    table->setDataSource(this);
}

void KRMessageCenter::setAdditionalScrollView(
    toolkit::Table* table, toolkit::TextView* descriptionField, KRMessageCenterDelegate* delegate)
{
    if (table == additionalScrollView_)
        return;
    if (additionalScrollView_) {
        additionalScrollView_->setDelegate(nullptr);
        additionalScrollView_->setDataSource(nullptr);
    }
    additionalScrollView_ = table;
    additionalDescriptionView_ = descriptionField;
    delegateForAddition_ = delegate;
    if (!table)
        return;
    table->setDelegate(this);
    table->setDataSource(this);
    if (delegate)
        delegate->messagesCountChanged(static_cast<int>(countOfMessages()));
    table->reloadData();
}

void KRMessageCenter::updateNumberField()
{
    if (!howManyErrorsField_)
        return;
    const int count = static_cast<int>(countOfMessages());
    howManyErrorsField_->setStringValue(count == 0 ? ""
            : count == 1                           ? "1 message"
                                                   : fmt::format("{} messages", count));
    if (delegateForAddition_)
        delegateForAddition_->messagesCountChanged(count);
}

void KRMessageCenter::updateScrollViewAndBringToFront()
{
    windowVisible_ = true;
    forEachTable(&toolkit::Table::noteNumberOfRowsChanged);
    if (sharedMessageCenter().get() == this)
        if (toolkit::Window* shown = window())
            shown->orderFront();
    updateNumberField();
    const std::lock_guard guard(somethingWaitingLock_);
    // A message that arrives while the views are updated has requested its own update, which must not be
    // lost.
    somethingWaiting_ = !waitingMessages_.empty();
}

void KRMessageCenter::showMessageWindow()
{
    windowVisible_ = true;
    if (toolkit::Window* shown = window())
        shown->orderFront();
}

void KRMessageCenter::windowWillClose()
{
    windowVisible_ = false;
}

void KRMessageCenter::clearMessages()
{
    {
        const std::lock_guard guard(messageLock_);
        messages_.clear();
        if (descriptionField_)
            descriptionField_->setString("");
    }
    forEachTable(&toolkit::Table::reloadData);
    updateNumberField();
}

void KRMessageCenter::refreshList()
{
    forEachTable(&toolkit::Table::reloadData);
    updateNumberField();
}

int KRMessageCenter::numberOfRowsInTableView(const toolkit::Table&)
{
    return static_cast<int>(countOfMessages());
}

toolkit::CellValue KRMessageCenter::objectValueForTableColumn(
    const toolkit::Table&, std::string_view column, int row)
{
    const Entry entry = entryAt(row);
    if (!entry)
        return std::string();
    return column == "Date" ? diagnostics::timeOfDay(entry->date()) : entry->shortDescription();
}

void KRMessageCenter::willDisplayCell(toolkit::Table&, toolkit::CellStyle& style, std::string_view, int row)
{
    if (messageTableFont())
        style.font = messageTableFont();
    const Entry entry = entryAt(row);
    const double age = entry ? KRMessageCenter_Entry::now() - entry->date() : kTintedSeconds;
    if (age >= kTintedSeconds)
        return;
    style.background = tintAtAge(age);
    if (!needToRedrawMessageColor_)
        runningTimer_ = platform::Timer::schedule(
            1.0, platform::Timer::Repeats::No, [this] { updateIfNeccesaryFromTimer(); });
    needToRedrawMessageColor_ = true;
}

void KRMessageCenter::tableViewSelectionChanged(toolkit::Table& table)
{
    toolkit::TextView* detail = &table == scrollView_ ? descriptionField_
        : &table == additionalScrollView_             ? additionalDescriptionView_
                                                      : nullptr;
    if (!detail)
        return;
    const Entry entry = table.selectedRows().size() == 1 ? entryAt(table.selectedRow()) : nullptr;
    detail->setString(entry ? entry->longDescription().value_or(entry->shortDescription()) : "");
}
