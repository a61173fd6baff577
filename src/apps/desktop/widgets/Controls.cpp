#include "apps/desktop/widgets/Controls.h"

#include "apps/desktop/widgets/Adapter.h"
#include "apps/desktop/widgets/Text.h"
#include "toolkit/Controls.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>
#include <algorithm>

namespace {

constexpr int kBarSteps = 1000;
constexpr int kFrameColumns = 4; // The room that the frame of a field takes, in characters.

class ButtonWidget final : public Adapted<QPushButton, toolkit::Button> {
public:
    explicit ButtonWidget(toolkit::Button& button) : Adapted(button)
    {
        connect(this, &QPushButton::clicked, this, [this] {
            if (adapter_.model())
                adapter_.model()->press();
        });
        adapter_.follow([this](const toolkit::Button& shown) {
            setText(toQt(shown.title()));
            setEnabled(shown.isEnabled());
            showCommonParts(*this, shown);
        });
    }
};

class CheckBoxWidget final : public Adapted<QCheckBox, toolkit::CheckBox> {
public:
    explicit CheckBoxWidget(toolkit::CheckBox& box) : Adapted(box)
    {
        connect(this, &QCheckBox::clicked, this, [this] {
            if (adapter_.model())
                adapter_.model()->press();
        });
        adapter_.follow([this](const toolkit::CheckBox& shown) {
            setText(toQt(shown.title()));
            setEnabled(shown.isEnabled());
            setChecked(shown.state() != 0);
            showCommonParts(*this, shown);
        });
    }
};

class PopUpWidget final : public Adapted<QComboBox, toolkit::PopUp> {
public:
    explicit PopUpWidget(toolkit::PopUp& popUp) : Adapted(popUp)
    {
        connect(this, &QComboBox::activated, this, [this](int index) {
            if (adapter_.model())
                adapter_.model()->choose(index);
        });
        adapter_.follow([this](const toolkit::PopUp& shown) {
            const QSignalBlocker blocker(this);
            clear();
            for (const std::string& item : shown.items())
                addItem(toQt(item));
            setCurrentIndex(shown.selectedIndex());
            showCommonParts(*this, shown);
        });
    }
};

class ProgressBarWidget final : public Adapted<QProgressBar, toolkit::ProgressBar> {
public:
    explicit ProgressBarWidget(toolkit::ProgressBar& bar) : Adapted(bar)
    {
        adapter_.follow([this](const toolkit::ProgressBar& shown) {
            const double range = shown.maximum() - shown.minimum();
            const double share = range > 0 ? (shown.doubleValue() - shown.minimum()) / range : 0;
            setRange(0, shown.isIndeterminate() ? 0 : kBarSteps); // Qt moves a bar without a range.
            setValue(static_cast<int>(std::clamp(share, 0.0, 1.0) * kBarSteps));
            showCommonParts(*this, shown);
        });
    }
};

class TextFieldWidget final : public Adapted<QLineEdit, toolkit::TextField> {
public:
    explicit TextFieldWidget(toolkit::TextField& field) : Adapted(field)
    {
        if (dynamic_cast<toolkit::SecureField*>(&field))
            setEchoMode(Password);
        connect(this, &QLineEdit::textEdited, this, [this](const QString& text) {
            if (adapter_.model())
                adapter_.model()->edit(text.toStdString());
        });
        connect(this, &QLineEdit::editingFinished, this, [this] {
            if (adapter_.model())
                adapter_.model()->commit();
        });
        adapter_.follow([this](const toolkit::TextField& shown) {
            if (text() != toQt(shown.displayedText()))
                setText(toQt(shown.displayedText()));
            setReadOnly(!shown.isEditable());
            setFrame(shown.isEditable());
            QPalette colors;
            if (!shown.isEditable())
                colors.setColor(QPalette::Base, Qt::transparent);
            setPalette(colors);
            if (shown.columns() > 0)
                setFixedWidth(fontMetrics().averageCharWidth() * (shown.columns() + kFrameColumns));
            setFocusPolicy(shown.isEditable() ? Qt::StrongFocus : Qt::ClickFocus);
            showCommonParts(*this, shown);
        });
    }

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Escape && adapter_.model() && adapter_.model()->isBeingEdited())
            adapter_.model()->cancelEditing();
        else
            QLineEdit::keyPressEvent(event);
    }
};

class LabelWidget final : public Adapted<QLabel, toolkit::Label> {
public:
    explicit LabelWidget(toolkit::Label& label) : Adapted(label)
    {
        setTextInteractionFlags(Qt::TextSelectableByMouse);
        setTextFormat(Qt::PlainText);
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
        setMinimumWidth(1); // A long text never widens the window.
        adapter_.follow([this](const toolkit::Label& shown) {
            setText(toQt(shown.stringValue()));
            setToolTip(text());
            showCommonParts(*this, shown);
            // The text is what the label is called; the name tells what it is about.
            setAccessibleName({});
            setAccessibleDescription(toQt(shown.accessibleName()));
        });
    }
};

QTextCharFormat formatOf(const toolkit::RichText::Run& run)
{
    QTextCharFormat format;
    format.setFontWeight(run.bold ? QFont::Bold : QFont::Normal);
    format.setFontItalic(run.italic);
    format.setFontUnderline(run.underlined);
    return format;
}

toolkit::RichText::Run runOf(const QString& text, const QTextCharFormat& format)
{
    return {
        text.toStdString(), format.fontWeight() > QFont::Normal, format.fontItalic(), format.fontUnderline()};
}

toolkit::RichText richTextOf(const QTextDocument& document)
{
    toolkit::RichText text;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        if (block != document.begin())
            text.append(runOf(QStringLiteral("\n"), block.charFormat()));
        for (auto part = block.begin(); !part.atEnd(); ++part) {
            QString words = part.fragment().text();
            words.replace(QChar::LineSeparator, QLatin1Char('\n'));
            text.append(runOf(words, part.fragment().charFormat()));
        }
    }
    return text;
}

class TextViewWidget final : public Adapted<QTextEdit, toolkit::TextView> {
public:
    explicit TextViewWidget(toolkit::TextView& view) : Adapted(view)
    {
        setTabChangesFocus(true);
        setAcceptRichText(false); // What is pasted comes as plain text.
        if (view.isRich())
            addEmphasisKeys();
        connect(this, &QTextEdit::textChanged, this, [this] {
            if (adapter_.model() && !isReadOnly())
                adapter_.model()->edit(richTextOf(*document()));
        });
        adapter_.follow([this](const toolkit::TextView& shown) {
            const QSignalBlocker blocker(this);
            if (!(richTextOf(*document()) == shown.text()))
                replaceText(shown.text());
            setReadOnly(!shown.isEditable());
            showCommonParts(*this, shown);
        });
    }

protected:
    void focusOutEvent(QFocusEvent* event) override
    {
        QTextEdit::focusOutEvent(event);
        if (adapter_.model() && !isReadOnly())
            adapter_.model()->endEditing();
    }

private:
    void replaceText(const toolkit::RichText& text)
    {
        clear();
        QTextCursor cursor(document());
        for (const auto& run : text.runs)
            cursor.insertText(toQt(run.text), formatOf(run));
    }

    void addEmphasisKeys()
    {
        const auto add = [this](QKeySequence::StandardKey key, auto toggle) {
            auto* action = new QAction(this);
            action->setShortcut(key);
            action->setShortcutContext(Qt::WidgetShortcut);
            connect(action, &QAction::triggered, this, [this, toggle] {
                if (!isReadOnly())
                    toggle();
            });
            addAction(action);
        };
        add(QKeySequence::Bold,
            [this] { setFontWeight(fontWeight() > QFont::Normal ? QFont::Normal : QFont::Bold); });
        add(QKeySequence::Italic, [this] { setFontItalic(!fontItalic()); });
        add(QKeySequence::Underline, [this] { setFontUnderline(!fontUnderline()); });
    }
};

} // namespace

QWidget* makeButton(toolkit::Button& button)
{
    return new ButtonWidget(button);
}

QWidget* makeCheckBox(toolkit::CheckBox& box)
{
    return new CheckBoxWidget(box);
}

QWidget* makePopUp(toolkit::PopUp& popUp)
{
    return new PopUpWidget(popUp);
}

QWidget* makeProgressBar(toolkit::ProgressBar& bar)
{
    return new ProgressBarWidget(bar);
}

QWidget* makeTextField(toolkit::TextField& field)
{
    return new TextFieldWidget(field);
}

QWidget* makeLabel(toolkit::Label& label)
{
    return new LabelWidget(label);
}

QWidget* makeTextView(toolkit::TextView& view)
{
    return new TextViewWidget(view);
}
