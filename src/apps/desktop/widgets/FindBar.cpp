#include "apps/desktop/widgets/FindBar.h"

#include "apps/desktop/widgets/LineView.h"
#include "apps/desktop/widgets/Text.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QToolButton>
#include <algorithm>

namespace {

using Match = toolkit::TextQuery::Match;

bool isAscii(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c < u'\x80'; });
}

std::size_t bytesOf(const QString& text)
{
    return static_cast<std::size_t>(text.toUtf8().size());
}

// Finds the first match that isn't empty. An expression that needs too many steps finds nothing in its line.
std::function<std::optional<Match>(std::string_view, std::size_t)> matcherFor(
    const QRegularExpression& expression)
{
    return [expression](std::string_view line, std::size_t from) -> std::optional<Match> {
        const auto fromUtf8 = [](std::string_view bytes) {
            return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
        };
        const QString text = fromUtf8(line);
        auto matches = expression.globalMatch(text, fromUtf8(line.substr(0, from)).size());
        while (matches.hasNext()) {
            const auto match = matches.next();
            if (match.capturedLength() > 0)
                return Match{bytesOf(text.left(match.capturedStart())), bytesOf(match.captured())};
        }
        return std::nullopt;
    };
}

QToolButton* button(const char* text, const char* name)
{
    auto* made = new QToolButton;
    made->setText(QString::fromUtf8(text));
    made->setAccessibleName(QString::fromUtf8(name));
    made->setToolTip(QString::fromUtf8(name));
    made->setFocusPolicy(Qt::StrongFocus);
    return made;
}

} // namespace

FindBar::FindBar(LineView& view)
    : view_(view), text_(new QLineEdit), isCaseSensitive_(new QCheckBox(QStringLiteral("Match case"))),
      isExpression_(new QCheckBox(QStringLiteral("Regular expression"))), answer_(new QLabel),
      stop_(button("Stop", "End the search"))
{
    text_->setAccessibleName(QStringLiteral("Find"));
    text_->setPlaceholderText(QStringLiteral("Find"));
    text_->setClearButtonEnabled(true);
    auto* previous = button("\u25b2", "Find previous (Shift+F3)");
    auto* next = button("\u25bc", "Find next (F3)");
    auto* closing = button("\u2715", "Close the search (Esc)");
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(text_, 1);
    for (QWidget* part : std::initializer_list<QWidget*>{
             previous, next, isCaseSensitive_, isExpression_, answer_, stop_, closing})
        layout->addWidget(part);
    connect(previous, &QToolButton::clicked, this, [this] { find(true); });
    connect(next, &QToolButton::clicked, this, [this] { find(false); });
    connect(closing, &QToolButton::clicked, this, [this] { close(); });
    connect(stop_, &QToolButton::clicked, this, [this] {
        search_.reset();
        say(QStringLiteral("The search was ended."));
    });
    say(QString());
    hide();
}

void FindBar::open()
{
    if (view_.hasSelection() && view_.selectionStart().line == view_.selectionEnd().line)
        text_->setText(view_.selectedText());
    QWidget::show();
    text_->selectAll();
    text_->setFocus(Qt::ShortcutFocusReason);
}

void FindBar::close()
{
    search_.reset();
    say(QString());
    hide();
    view_.setFocus(Qt::OtherFocusReason);
}

void FindBar::keyPressEvent(QKeyEvent* event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && text_->hasFocus())
        find(event->modifiers() & Qt::ShiftModifier);
    else
        QWidget::keyPressEvent(event);
}

void FindBar::textChanged()
{
    if (!view_.model() || view_.model()->dataSource() == source_)
        return;
    source_ = view_.model()->dataSource();
    lastHit_.reset();
    search_.reset();
    say(QString());
}

// From the last hit on, if that is still what is selected: it may lie beyond what is shown of its line. The
// same text is looked for behind it; another one may begin where it does.
toolkit::TextPlace FindBar::placeToStart(bool isBackward) const
{
    const auto start = view_.inText(view_.selectionStart());
    if (lastHit_ && lastHit_->start.line == start.line && lastHit_->start.byte >= start.byte) {
        auto place = lastHit_->start;
        place.byte +=
            isBackward || text_->text() != lastText_ ? 0 : std::max<std::int64_t>(lastHit_->size, 1);
        return place;
    }
    return isBackward ? start : view_.inText(view_.selectionEnd());
}

std::optional<toolkit::TextQuery> FindBar::query(bool isBackward)
{
    const QString wanted = text_->text();
    toolkit::TextQuery query;
    query.text = wanted.toStdString();
    query.isCaseSensitive = isCaseSensitive_->isChecked();
    query.isBackward = isBackward;
    // Small and capital letters beyond ASCII are Qt's to compare.
    if (!isExpression_->isChecked() && (query.isCaseSensitive || isAscii(wanted)))
        return query;
    QRegularExpression expression(isExpression_->isChecked() ? wanted : QRegularExpression::escape(wanted),
        query.isCaseSensitive ? QRegularExpression::NoPatternOption
                              : QRegularExpression::CaseInsensitiveOption);
    if (!expression.isValid()) {
        say(QStringLiteral("The expression is wrong: %1.").arg(expression.errorString()));
        return std::nullopt;
    }
    expression.optimize();
    query.match = matcherFor(expression);
    return query;
}

void FindBar::find(bool isBackward)
{
    if (text_->text().isEmpty() || isHidden())
        open();
    if (text_->text().isEmpty() || !view_.model() || view_.count() == 0)
        return;
    textChanged();
    auto wanted = query(isBackward);
    if (!wanted)
        return;
    wanted->from = placeToStart(isBackward);
    lastText_ = text_->text();
    search_ = view_.model()->search(
        std::move(*wanted),
        [this](double fraction) {
            answer_->setText(QStringLiteral("Searching\u2026 %1 %").arg(static_cast<int>(100 * fraction)));
        },
        [this](const auto& result) { found(result); });
    say(search_ ? QStringLiteral("Searching\u2026") : QStringLiteral("This text can't be searched."));
}

void FindBar::found(const platform::Result<std::optional<toolkit::TextHit>>& result)
{
    search_.reset();
    view_.textChanged(); // The search may have read more lines than are shown so far.
    if (!result)
        say(toQt(result.error().text));
    else if (!*result)
        say(QStringLiteral("Not found."));
    else
        show(**result);
}

void FindBar::show(const toolkit::TextHit& hit)
{
    lastHit_ = hit;
    const auto start = view_.placeInView(hit.start);
    const auto end = view_.placeInView({hit.start.line, hit.start.byte + hit.size});
    view_.select(start, end);
    if (start == end)
        say(QStringLiteral("The hit lies behind what is shown of the line, at byte %1.")
                .arg(static_cast<qlonglong>(hit.start.byte + 1)));
    else
        say(hit.hasWrapped ? QStringLiteral("Went on at the other end.") : QString());
}

void FindBar::say(const QString& words)
{
    answer_->setText(words);
    stop_->setVisible(search_ != nullptr);
}
