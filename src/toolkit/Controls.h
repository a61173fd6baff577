#pragma once

#include "toolkit/RichText.h"
#include "toolkit/View.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace toolkit {

// Each control has a value, which the logic sets and asks, and actions, which the logic fills in and a front
// end performs by the functions under "The user". An action may destroy its control.

class TextField : public View {
public:
    // The value as it was last set or committed.
    const std::string& stringValue() const { return stringValue_; }
    // While the user is editing the field, his text stays; committing it replaces the value.
    void setStringValue(std::string value) { set(stringValue_, std::move(value)); }
    int integerValue() const; // The leading whole number of the value; 0 when there is none.
    bool isEditable() const { return isEditable_; }
    void setEditable(bool isEditable) { set(isEditable_, isEditable); }
    // How many characters the field has room for; 0 for as many as there is room.
    int columns() const { return columns_; }
    void setColumns(int columns) { set(columns_, columns); }

    std::function<void()> whenEdited; // After each change while typing; the value is still the old one.
    std::function<void()> whenCommitted;

    // The user.
    void edit(std::string text);
    void commit(); // Ends the editing; nothing happens when there was none.
    void commit(std::string text);
    void cancelEditing();
    bool isBeingEdited() const { return edited_.has_value(); }
    // What the field shows: the text being typed, else the value.
    const std::string& displayedText() const { return edited_ ? *edited_ : stringValue_; }

private:
    std::string stringValue_;
    std::optional<std::string> edited_;
    bool isEditable_ = true;
    int columns_ = 0;
};

// A field whose text is not shown.
class SecureField : public TextField { };

// A text that only the logic changes.
class Label : public TextField {
public:
    Label() { setEditable(false); }
};

// A longer text, which may have emphasis.
class TextView : public View {
public:
    std::string string() const { return text_.plain(); }
    void setString(std::string text) { setText(RichText(std::move(text))); }
    const RichText& text() const { return text_; }
    void setText(RichText text) { set(text_, std::move(text)); }
    // Whether the user may format the text.
    bool isRich() const { return isRich_; }
    void setRich(bool isRich) { set(isRich_, isRich); }
    bool isEditable() const { return isEditable_; }
    void setEditable(bool isEditable) { set(isEditable_, isEditable); }

    std::function<void()> whenEdited; // After each change; the text is the new one.
    std::function<void()> whenEditingEnded;

    // The user.
    void edit(RichText text);
    void edit(std::string text) { edit(RichText(std::move(text))); }
    void endEditing();

private:
    RichText text_;
    bool isEditable_ = true;
    bool isRich_ = false;
};

class Button : public View {
public:
    const std::string& title() const { return title_; }
    void setTitle(std::string title) { set(title_, std::move(title)); }
    bool isEnabled() const { return isEnabled_; }
    void setEnabled(bool isEnabled) { set(isEnabled_, isEnabled); }
    int state() const { return state_; } // 0 off, 1 on.
    void setState(int state) { set(state_, state); }

    std::function<void()> whenPressed;

    // The user. A hidden or disabled button can't be pressed.
    virtual void press();

private:
    std::string title_;
    bool isEnabled_ = true;
    int state_ = 0;
};

// A button that changes its state with each press.
class CheckBox : public Button {
public:
    void press() override;
};

class PopUp : public View {
public:
    const std::vector<std::string>& items() const { return items_; }
    // The first item is selected when the selected one is no longer among them.
    void setItems(std::vector<std::string> items);
    int selectedIndex() const { return selectedIndex_; } // -1 without items.
    void selectIndex(int index);

    std::function<void()> whenChosen;

    // The user.
    void choose(int index);

private:
    std::vector<std::string> items_;
    int selectedIndex_ = -1;
};

class ProgressBar : public View {
public:
    double minimum() const { return minimum_; }
    double maximum() const { return maximum_; }
    void setRange(double minimum, double maximum);
    double doubleValue() const { return doubleValue_; }
    void setDoubleValue(double value) { set(doubleValue_, value); }
    bool isIndeterminate() const { return isIndeterminate_; }
    void setIndeterminate(bool isIndeterminate) { set(isIndeterminate_, isIndeterminate); }
    bool isAnimating() const { return isAnimating_; }
    void setAnimating(bool isAnimating) { set(isAnimating_, isAnimating); }

private:
    double minimum_ = 0;
    double maximum_ = 100;
    double doubleValue_ = 0;
    bool isIndeterminate_ = false;
    bool isAnimating_ = false;
};

// Views of which one is shown at a time.
class TabView : public View {
public:
    struct Tab {
        std::string identifier;
        std::string label;
        View* view = nullptr; // Null for an empty tab; else a subview.
    };
    void addTab(Tab);
    const std::vector<Tab>& tabs() const { return tabs_; }
    const std::string& selectedIdentifier() const { return selectedIdentifier_; }
    void select(const std::string& identifier) { set(selectedIdentifier_, identifier, {.selection = true}); }

    std::function<void()> willSelect; // Before the user's choice is carried out.

    // The user.
    void choose(const std::string& identifier);

private:
    std::vector<Tab> tabs_;
    std::string selectedIdentifier_;
};

} // namespace toolkit
