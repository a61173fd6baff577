#include "apps/desktop/widgets/LineView.h"

#include "apps/desktop/widgets/Text.h"

#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QPaintEvent>
#include <QPainter>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QStyle>
#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr std::int64_t kMostSteps = std::int64_t{1} << 30; // Of a scroll bar.
constexpr std::size_t kLinesCached = 400;
constexpr int kLeastLines = 3;
constexpr int kColumnsWished = 80;
constexpr int kLinesWished = 12;
constexpr double kBesideText = 4; // Pixels.

} // namespace

LineView::LineView(toolkit::TextLines& lines)
    : lines_(&lines), look_(QFontDatabase::systemFont(QFontDatabase::FixedFont))
{
    setFocusPolicy(Qt::StrongFocus);
    viewport()->setCursor(Qt::IBeamCursor);
    setAccessibleName(toQt(lines.accessibleName()));
    setMinimumHeight(static_cast<int>(kLeastLines * look_.height) + 2 * frameWidth());
    linesObservation_ = lines.observe([this](const toolkit::Change&) { textChanged(); },
        [this] {
            lines_ = nullptr;
            count_ = 0;
            cache_.clear();
            viewport()->update();
        });
    if (toolkit::View* clip = lines.superview())
        clipObservation_ = clip->observe([this](const toolkit::Change&) { clipChanged(); });
    textChanged();
}

QSize LineView::sizeHint() const
{
    return {static_cast<int>(kColumnsWished * look_.cell), static_cast<int>(kLinesWished * look_.height)};
}

void LineView::textChanged()
{
    if (!lines_)
        return;
    cache_.clear();
    count_ = lines_->numberOfLines();
    if (std::exchange(source_, lines_->dataSource()) != lines_->dataSource())
        startText();
    anchor_ = limited(anchor_);
    caret_ = limited(caret_);
    arrangeBars();
    setTop(following_ == Following::On ? lastTop() : topLine_);
    setAccessibleDescription(count_ == 0 ? toQt(lines_->placeholder()) : QString());
    viewport()->update();
    if (whenLinesChanged)
        whenLinesChanged();
}

void LineView::startText()
{
    const bool startsAtEnd = lines_->startsAtEnd();
    widest_ = 0;
    topLine_ = startsAtEnd ? lastTop() : 0;
    anchor_ = caret_ = {topLine_, 0};
    wantedColumn_ = 0;
    horizontalScrollBar()->setValue(0);
    if (following_ != Following::Off)
        follow(startsAtEnd ? Following::On : Following::Paused);
}

// The text's source has moved the visible part.
void LineView::clipChanged()
{
    if (!lines_)
        return;
    const auto wanted = lines_->visibleRange();
    if (wanted.first == reported_.first)
        return;
    if (following_ != Following::Off)
        setTop(wanted.first);
    reportVisibleLines();
}

const ShownLine& LineView::shown(std::int64_t number) const
{
    const auto found = cache_.find(number);
    if (found != cache_.end())
        return found->second;
    if (cache_.size() >= kLinesCached)
        cache_.clear();
    return cache_.emplace(number, ShownLine(lines_ ? toQt(lines_->line(number)) : QString(), look_))
        .first->second;
}

QString LineView::line(std::int64_t number) const
{
    return shown(number).text();
}

int LineView::linesInView() const
{
    return std::max(1, static_cast<int>(viewport()->height() / look_.height));
}

std::int64_t LineView::lastTop() const
{
    return std::max(std::int64_t{0}, count_ - linesInView());
}

void LineView::setTop(std::int64_t line)
{
    topLine_ = std::clamp(line, std::int64_t{0}, lastTop());
    const QScopedValueRollback arranging(isArranging_, true);
    verticalScrollBar()->setValue(static_cast<int>(topLine_ / linesPerStep_));
    viewport()->update();
    reportVisibleLines();
}

void LineView::scrollByUser(std::int64_t toLine)
{
    setTop(toLine);
    noteScrolledByUser();
}

void LineView::noteScrolledByUser()
{
    const bool isAtEnd = topLine_ >= lastTop();
    if (isAtEnd && following_ == Following::Paused)
        follow(Following::On);
    else if (!isAtEnd && following_ == Following::On)
        follow(Following::Paused);
}

void LineView::setFollowing(bool follows)
{
    follow(follows ? Following::On : Following::Off);
    if (follows)
        setTop(lastTop());
}

void LineView::follow(Following following)
{
    if (std::exchange(following_, following) != following && whenFollowingChanged)
        whenFollowingChanged();
}

void LineView::setNumbered(bool isNumbered)
{
    isNumbered_ = isNumbered;
    arrangeBars();
    viewport()->update();
}

void LineView::arrangeBars()
{
    const QScopedValueRollback arranging(isArranging_, true);
    linesPerStep_ = lastTop() / kMostSteps + 1;
    verticalScrollBar()->setRange(0, static_cast<int>(lastTop() / linesPerStep_));
    verticalScrollBar()->setPageStep(linesInView());
    const int room = viewport()->width() - marginWidth();
    horizontalScrollBar()->setRange(0, std::max(0, widest_ - room));
    horizontalScrollBar()->setPageStep(room);
    horizontalScrollBar()->setSingleStep(static_cast<int>(std::ceil(look_.cell)));
}

void LineView::scrollContentsBy(int, int)
{
    viewport()->update();
    if (isArranging_)
        return;
    const QScrollBar* bar = verticalScrollBar();
    if (bar->value() != topLine_ / linesPerStep_)
        scrollByUser(bar->value() == bar->maximum() ? lastTop() : bar->value() * linesPerStep_);
}

void LineView::reportVisibleLines()
{
    if (!lines_ || topLine_ > std::numeric_limits<int>::max() - linesInView())
        return;
    lines_->setVisibleRange({static_cast<int>(topLine_), linesInView()});
    reported_ = lines_->visibleRange();
}

void LineView::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    arrangeBars();
    setTop(following_ == Following::On ? lastTop() : topLine_);
}

void LineView::changeEvent(QEvent* event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::EnabledChange)
        viewport()->update();
}

// Places and the selection.

LineView::Place LineView::limited(Place place) const
{
    if (count_ == 0 || place.line < 0)
        return {};
    if (place.line >= count_)
        return endOfText();
    return {place.line, std::clamp(place.column, 0, static_cast<int>(line(place.line).size()))};
}

LineView::Place LineView::endOfText() const
{
    const std::int64_t last = std::max(std::int64_t{0}, count_ - 1);
    return {last, static_cast<int>(line(last).size())};
}

void LineView::select(Place anchor, Place caret)
{
    anchor_ = limited(anchor);
    caret_ = limited(caret);
    wantedColumn_ = caret_.column;
    showPlace(selectionEnd());
    showPlace(selectionStart());
    noteScrolledByUser();
    viewport()->update();
    if (whenCaretMoved)
        whenCaretMoved();
}

void LineView::selectAll()
{
    anchor_ = {};
    caret_ = endOfText();
    viewport()->update();
    if (whenCaretMoved)
        whenCaretMoved();
}

// The text is asked for bytes, and the pictures of control characters take more of them than these do.
toolkit::TextPlace LineView::inText(Place place) const
{
    const QString text = lines_ ? toQt(lines_->line(place.line)) : QString();
    return {place.line, text.left(place.column).toUtf8().size()};
}

LineView::Place LineView::placeInView(toolkit::TextPlace place) const
{
    const std::string text = lines_ ? lines_->line(place.line) : std::string();
    const auto before = std::clamp<std::int64_t>(place.byte, 0, static_cast<std::int64_t>(text.size()));
    return {place.line, static_cast<int>(QString::fromUtf8(text.data(), before).size())};
}

QString LineView::selectedText() const
{
    if (!lines_ || !hasSelection())
        return {};
    return toQt(lines_->textBetween(inText(selectionStart()), inText(selectionEnd())));
}

void LineView::copy() const
{
    if (lines_ && count_ > 0)
        QApplication::clipboard()->setText(hasSelection() ? selectedText() : toQt(lines_->everything()));
}

// Scrolls by as little as shows the place.
void LineView::showPlace(Place place)
{
    if (place.line < topLine_)
        setTop(place.line);
    else if (place.line >= topLine_ + linesInView())
        setTop(place.line - linesInView() + 1);
    const ShownLine& text = shown(place.line);
    const int x = static_cast<int>(text.xOf(place.column));
    const int room = viewport()->width() - marginWidth() - static_cast<int>(2 * look_.cell);
    widest_ = std::max(widest_, static_cast<int>(text.width() + 2 * look_.cell));
    arrangeBars();
    QScrollBar* bar = horizontalScrollBar();
    if (x < bar->value())
        bar->setValue(x);
    else if (x > bar->value() + room)
        bar->setValue(x - room);
}

void LineView::moveCaret(Place place, bool extends)
{
    caret_ = limited(place);
    if (!extends)
        anchor_ = caret_;
    showPlace(caret_);
    noteScrolledByUser();
    viewport()->update();
    if (whenCaretMoved)
        whenCaretMoved();
}

// Keys.

LineView::Place LineView::inLine(std::int64_t number) const
{
    return {std::clamp(number, std::int64_t{0}, std::max(std::int64_t{0}, count_ - 1)), wantedColumn_};
}

LineView::Place LineView::besideColumn(Place from, int step) const
{
    const int size = static_cast<int>(line(from.line).size());
    if (step < 0 && from.column == 0)
        return from.line == 0 ? from : Place{from.line - 1, std::numeric_limits<int>::max()};
    if (step > 0 && from.column >= size)
        return from.line + 1 >= count_ ? from : Place{from.line + 1, 0};
    from.column += step;
    return from;
}

// Home and End go to the end of the line, and from there to that of the text.
std::optional<LineView::Place> LineView::placeForKey(int key, bool isFar, Place from) const
{
    const int page = std::max(1, linesInView() - 1);
    const int size = static_cast<int>(line(from.line).size());
    switch (key) {
    case Qt::Key_Up:
        return inLine(from.line - 1);
    case Qt::Key_Down:
        return inLine(from.line + 1);
    case Qt::Key_PageUp:
        return inLine(from.line - page);
    case Qt::Key_PageDown:
        return inLine(from.line + page);
    case Qt::Key_Left:
        return besideColumn(from, -1);
    case Qt::Key_Right:
        return besideColumn(from, 1);
    case Qt::Key_Home:
        return isFar || from.column == 0 ? Place{} : Place{from.line, 0};
    case Qt::Key_End:
        return isFar || from.column == size ? endOfText() : Place{from.line, size};
    default:
        return std::nullopt;
    }
}

void LineView::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Copy))
        return copy();
    if (event->matches(QKeySequence::SelectAll))
        return selectAll();
    const bool extends = event->modifiers() & Qt::ShiftModifier;
    const int key = event->key();
    Place from = caret_;
    // The user goes on from what he sees, and not from where the caret was left.
    if (!extends)
        from.line = std::clamp(from.line, topLine_, std::max(topLine_, topLine_ + linesInView() - 1));
    const auto place = placeForKey(key, event->modifiers() & Qt::ControlModifier, limited(from));
    if (!place || count_ == 0)
        return QAbstractScrollArea::keyPressEvent(event);
    const int page = std::max(1, linesInView() - 1);
    if (key == Qt::Key_PageUp || key == Qt::Key_PageDown)
        setTop(topLine_ + (key == Qt::Key_PageUp ? -page : page));
    moveCaret(*place, extends);
    const bool isVertical =
        key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp || key == Qt::Key_PageDown;
    if (!isVertical)
        wantedColumn_ = caret_.column;
    if (key == Qt::Key_End && caret_ == endOfText() && !extends)
        setFollowing(true);
}

// The mouse.

LineView::Place LineView::placeAt(QPoint point) const
{
    const std::int64_t number = topLine_ + static_cast<std::int64_t>(std::floor(point.y() / look_.height));
    if (count_ == 0 || number < 0)
        return {};
    if (number >= count_)
        return endOfText();
    const double x = point.x() - marginWidth() - kBesideText + horizontalScrollBar()->value();
    return {number, shown(number).columnAt(x)};
}

void LineView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const QPoint point = event->position().toPoint();
    Place place = placeAt(point);
    selectsLines_ = point.x() < marginWidth();
    const bool extends = event->modifiers() & Qt::ShiftModifier;
    if (selectsLines_) {
        if (!extends)
            anchor_ = {place.line, 0};
        place = {place.line + 1, 0};
    }
    moveCaret(place, extends || selectsLines_);
    wantedColumn_ = caret_.column;
}

void LineView::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton))
        return;
    const QPoint point = event->position().toPoint();
    if (viewport()->rect().contains(point))
        draggedOutside_.stop();
    else if (!draggedOutside_.isActive())
        draggedOutside_.start(50, this);
    dragTo(point);
}

void LineView::dragTo(QPoint point)
{
    Place place = placeAt(point);
    if (selectsLines_)
        place = {place.line + 1, 0};
    moveCaret(place, true);
}

void LineView::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != draggedOutside_.timerId())
        return QAbstractScrollArea::timerEvent(event);
    const QPoint point = viewport()->mapFromGlobal(QCursor::pos());
    const int above = std::min(0, point.y());
    const int below = std::max(0, point.y() - viewport()->height());
    scrollByUser(topLine_ + static_cast<std::int64_t>((above + below) / look_.height));
    dragTo(point);
}

void LineView::mouseReleaseEvent(QMouseEvent*)
{
    draggedOutside_.stop();
    selectsLines_ = false;
}

// Selects a word.
void LineView::mouseDoubleClickEvent(QMouseEvent* event)
{
    const Place place = placeAt(event->position().toPoint());
    const QString text = line(place.line);
    const auto isInWord = [&text](int column) { return !text[column].isSpace(); };
    int first = place.column;
    int behind = place.column;
    while (first > 0 && isInWord(first - 1))
        --first;
    while (behind < text.size() && isInWord(behind))
        ++behind;
    select({place.line, first}, {place.line, behind});
}

void LineView::wheelEvent(QWheelEvent* event)
{
    constexpr double kStepOfWheel = 120; // Qt's: eighths of a degree.
    if (event->angleDelta().y() == 0 || event->modifiers() & Qt::AltModifier)
        return QAbstractScrollArea::wheelEvent(event);
    wheelRest_ -= event->angleDelta().y() / kStepOfWheel * QApplication::wheelScrollLines();
    const double lines = std::trunc(wheelRest_);
    wheelRest_ -= lines;
    scrollByUser(topLine_ + static_cast<std::int64_t>(lines));
    event->accept();
}

void LineView::focusInEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
}

void LineView::focusOutEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

// Drawing.

int LineView::marginWidth() const
{
    if (!isNumbered_)
        return 0;
    return static_cast<int>(
        std::ceil((static_cast<double>(QString::number(count_).size()) + 2) * look_.cell));
}

ShownLine::Part LineView::selectedPart(std::int64_t number, int size) const
{
    const Place start = selectionStart();
    const Place end = selectionEnd();
    if (number < start.line || number > end.line)
        return {};
    return {number == start.line ? start.column : 0, number == end.line ? end.column : size};
}

void LineView::paintEvent(QPaintEvent*)
{
    QPainter painter(viewport());
    painter.setFont(look_.font);
    if (count_ == 0) {
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(viewport()->rect(), Qt::AlignCenter | Qt::TextWordWrap, accessibleDescription());
        return;
    }
    const int rows = static_cast<int>(viewport()->height() / look_.height) + 1;
    painter.setClipRect(viewport()->rect().adjusted(marginWidth(), 0, 0, 0));
    int widest = widest_;
    for (int row = 0; row < rows && topLine_ + row < count_; ++row) {
        paintLine(painter, topLine_ + row, row * look_.height);
        widest = std::max(widest, static_cast<int>(shown(topLine_ + row).width() + 2 * look_.cell));
    }
    painter.setClipping(false);
    if (isNumbered_)
        paintMargin(painter, rows);
    if (std::exchange(widest_, widest) != widest)
        arrangeBars();
}

void LineView::paintLine(QPainter& painter, std::int64_t number, double y) const
{
    const ShownLine& text = shown(number);
    const auto group = hasFocus() || isActiveWindow() ? QPalette::Active : QPalette::Inactive;
    const ShownLine::Colors colors{palette().color(QPalette::Text),
        palette().color(group, QPalette::HighlightedText), palette().color(group, QPalette::Highlight)};
    const double scrolled = horizontalScrollBar()->value();
    const QPointF at(marginWidth() + kBesideText - scrolled, y);
    text.draw(painter, at, scrolled, scrolled + viewport()->width(),
        selectedPart(number, static_cast<int>(text.text().size())), colors);
    if (hasFocus() && caret_.line == number)
        painter.fillRect(QRectF(at.x() + text.xOf(caret_.column), y, 1, look_.height), colors.text);
}

void LineView::paintMargin(QPainter& painter, int rows) const
{
    painter.fillRect(0, 0, marginWidth(), viewport()->height(), palette().color(QPalette::AlternateBase));
    painter.setPen(palette().color(QPalette::PlaceholderText));
    for (int row = 0; row < rows && topLine_ + row < count_; ++row)
        painter.drawText(QRectF(0, row * look_.height, marginWidth() - look_.cell, look_.height),
            Qt::AlignRight, QString::number(topLine_ + row + 1));
}

QString LineView::visibleText() const
{
    QString text;
    for (int row = 0; row < linesInView() && topLine_ + row < count_; ++row)
        text += (row > 0 ? QStringLiteral("\n") : QString()) + line(topLine_ + row);
    return text;
}

QRect LineView::rectOf(Place place) const
{
    const double x = marginWidth() + kBesideText - horizontalScrollBar()->value();
    const ShownLine& text = shown(place.line);
    const double left = text.xOf(place.column);
    const double right = std::max(text.xOf(place.column + 1), left + 1);
    return QRectF(
        x + left, static_cast<double>(place.line - topLine_) * look_.height, right - left, look_.height)
        .toAlignedRect();
}
