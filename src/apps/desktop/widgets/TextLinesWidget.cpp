#include "apps/desktop/widgets/TextLinesWidget.h"

#include "apps/desktop/widgets/Adapter.h"
#include "apps/desktop/widgets/FindBar.h"
#include "apps/desktop/widgets/LineView.h"
#include "apps/desktop/widgets/LineViewAccessible.h"
#include "apps/desktop/widgets/Text.h"

#include <QBasicTimer>
#include <QCheckBox>
#include <QContextMenuEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QShortcut>
#include <QTimerEvent>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr int kMillisecondsBetweenUpdates = 1000;

class TextLinesWidget final : public Adapted<QWidget, toolkit::TextLines> {
public:
    explicit TextLinesWidget(toolkit::TextLines& lines)
        : Adapted(lines), view_(new LineView(lines)), find_(new FindBar(*view_)),
          follow_(new QCheckBox(QStringLiteral("Follow"))),
          numbers_(new QCheckBox(QStringLiteral("Line numbers"))), count_(new QLabel), jump_(new QLineEdit)
    {
        setFocusProxy(view_);
        arrange();
        connectParts();
        addKeys();
        updates_.start(kMillisecondsBetweenUpdates, this);
        adapter_.follow([this](const toolkit::TextLines& shown) {
            showCommonParts(*this, shown);
            setAccessibleName(QString()); // The view bears the name.
        });
        showState();
    }

protected:
    void timerEvent(QTimerEvent*) override
    {
        if (adapter_.model() && view_->isVisible() && view_->wantsNewLines())
            adapter_.model()->lookForMore();
    }
    void contextMenuEvent(QContextMenuEvent* event) override
    {
        auto* menu = new QMenu(this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        const QString copy =
            view_->hasSelection() ? QStringLiteral("Copy") : QStringLiteral("Copy Everything");
        menu->addAction(copy, QKeySequence(QKeySequence::Copy), view_, [this] { view_->copy(); });
        menu->addAction(QStringLiteral("Select All"), QKeySequence(QKeySequence::SelectAll), view_,
            [this] { view_->selectAll(); });
        menu->addSeparator();
        menu->addAction(
            QStringLiteral("Find\u2026"), QKeySequence(QKeySequence::Find), this, [this] { find_->open(); });
        menu->addAction(QStringLiteral("Go to Line\u2026"), QKeySequence(QStringLiteral("Ctrl+L")), this,
            [this] { openJump(); });
        menu->popup(event->globalPos());
    }

private:
    void arrange()
    {
        jump_->setAccessibleName(QStringLiteral("Go to line"));
        jump_->setPlaceholderText(QStringLiteral("Line"));
        jump_->setMaximumWidth(jump_->fontMetrics().averageCharWidth() * 20);
        jump_->hide();
        auto* below = new QHBoxLayout;
        below->setContentsMargins(0, 0, 0, 0);
        below->addWidget(follow_);
        below->addWidget(numbers_);
        below->addWidget(jump_);
        below->addStretch(1);
        below->addWidget(count_);
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(view_, 1);
        layout->addWidget(find_);
        layout->addLayout(below);
    }

    void connectParts()
    {
        connect(follow_, &QCheckBox::clicked, this, [this](bool follows) { view_->setFollowing(follows); });
        connect(numbers_, &QCheckBox::toggled, this, [this](bool numbers) { view_->setNumbered(numbers); });
        connect(jump_, &QLineEdit::returnPressed, this, [this] { jump(); });
        view_->whenFollowingChanged = view_->whenLinesChanged =
            view_->whenCaretMoved = [this] { showState(); };
    }

    void addKey(const char* keys, void (TextLinesWidget::*perform)())
    {
        auto* key = new QShortcut(QKeySequence(QLatin1String(keys)), this);
        key->setContext(Qt::WidgetWithChildrenShortcut);
        connect(key, &QShortcut::activated, this, [this, perform] { (this->*perform)(); });
    }
    void addKeys()
    {
        addKey("Ctrl+F", &TextLinesWidget::openFind);
        addKey("F3", &TextLinesWidget::findNext);
        addKey("Shift+F3", &TextLinesWidget::findPrevious);
        addKey("Ctrl+L", &TextLinesWidget::openJump);
        addKey("Ctrl+G", &TextLinesWidget::openJump);
        addKey("Esc", &TextLinesWidget::closeBars);
    }

    void showState()
    {
        follow_->setChecked(view_->isFollowing());
        const QLocale locale;
        count_->setText(view_->count() == 0
                ? QString()
                : QStringLiteral("Line %1 of %2")
                      .arg(locale.toString(static_cast<qlonglong>(view_->caret().line + 1)),
                          locale.toString(static_cast<qlonglong>(view_->count()))));
    }

    void openFind() { find_->open(); }
    void findNext() { find_->find(false); }
    void findPrevious() { find_->find(true); }

    void openJump()
    {
        jump_->show();
        jump_->setText(QString::number(view_->caret().line + 1));
        jump_->selectAll();
        jump_->setFocus(Qt::ShortcutFocusReason);
    }

    // Beyond the last line stands for the last line.
    void jump()
    {
        bool isNumber = false;
        const qlonglong line = jump_->text().trimmed().toLongLong(&isNumber);
        if (!isNumber || line < 1) {
            jump_->selectAll();
            return;
        }
        const LineView::Place start{std::min<std::int64_t>(line, view_->count()) - 1, 0};
        closeBars();
        view_->select(start, {start.line, std::numeric_limits<int>::max()});
    }

    void closeBars()
    {
        jump_->hide();
        find_->close(); // Which hands the keys back to the view.
    }

    LineView* view_;
    FindBar* find_;
    QCheckBox* follow_;
    QCheckBox* numbers_;
    QLabel* count_;
    QLineEdit* jump_;
    QBasicTimer updates_;
};

} // namespace

QWidget* makeTextLines(toolkit::TextLines& lines)
{
    installLineViewAccessibility(); // Before the view first tells of itself.
    return new TextLinesWidget(lines);
}
