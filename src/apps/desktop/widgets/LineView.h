#pragma once

#include "apps/desktop/widgets/ShownLine.h"
#include "toolkit/TextLines.h"

#include <QAbstractScrollArea>
#include <QBasicTimer>
#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

// Draws the visible lines of a text, whatever its length, and lets the user move in it and select parts of
// it. It asks the text for the visible lines alone. While it follows, new lines at the end scroll into view.
class LineView final : public QAbstractScrollArea {
public:
    explicit LineView(toolkit::TextLines& lines); // May end before the widget does.

    // A place between two characters: a line, from 0, and a column in UTF-16 units.
    struct Place {
        std::int64_t line = 0;
        int column = 0;
        auto operator<=>(const Place&) const = default;
    };
    toolkit::TextLines* model() const { return lines_; } // Null once it has ended.
    std::int64_t count() const { return count_; } // Lines as of the last notice.
    std::int64_t topLine() const { return topLine_; }
    int linesInView() const; // Whole ones.
    QString line(std::int64_t number) const;

    Place caret() const { return caret_; }
    Place selectionStart() const { return std::min(anchor_, caret_); }
    Place selectionEnd() const { return std::max(anchor_, caret_); }
    bool hasSelection() const { return anchor_ != caret_; }
    void select(Place anchor, Place caret); // And scrolls there. Places outside are moved to the text.
    void selectAll();
    QString selectedText() const;
    void copy() const; // What is selected; everything when nothing is.

    // The same place in the bytes of the text, and back.
    toolkit::TextPlace inText(Place place) const;
    Place placeInView(toolkit::TextPlace place) const;
    void textChanged(); // Asks the text for its lines anew.

    // The user can pause following by scrolling up; scrolling back to the end goes on with it.
    bool isFollowing() const { return following_ == Following::On; }
    bool wantsNewLines() const { return following_ != Following::Off; }
    void setFollowing(bool follows);
    bool isNumbered() const { return isNumbered_; }
    void setNumbered(bool isNumbered);

    std::function<void()> whenFollowingChanged;
    std::function<void()> whenLinesChanged;
    std::function<void()> whenCaretMoved;

    // For assistive tools.
    QString visibleText() const;
    QRect rectOf(Place place) const; // Of the character behind it, in the viewport.
    Place placeAt(QPoint point) const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int, int) override;
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    enum class Following { Off, Paused, On };

    void startText();
    void clipChanged();
    const ShownLine& shown(std::int64_t number) const;
    std::int64_t lastTop() const;
    void setTop(std::int64_t line);
    void scrollByUser(std::int64_t toLine);
    void dragTo(QPoint point);
    void noteScrolledByUser();
    void follow(Following following);
    void arrangeBars();
    void reportVisibleLines();
    void showPlace(Place place);
    void moveCaret(Place place, bool extends);
    std::optional<Place> placeForKey(int key, bool isFar, Place from) const;
    Place besideColumn(Place from, int step) const;
    Place inLine(std::int64_t number) const;
    Place limited(Place place) const;
    Place endOfText() const;
    int marginWidth() const; // Of the line numbers.
    void paintMargin(QPainter& painter, int rows) const;
    void paintLine(QPainter& painter, std::int64_t number, double y) const;
    ShownLine::Part selectedPart(std::int64_t number, int size) const;

    toolkit::TextLines* lines_; // Null once it has ended.
    ShownLine::Look look_;
    const toolkit::TableDataSource* source_ = nullptr; // Of the text that is shown; only compared.
    std::int64_t count_ = 0;
    std::int64_t topLine_ = 0;
    std::int64_t linesPerStep_ = 1; // Of the scroll bar, which counts by `int`.
    int widest_ = 0; // Pixels, of the lines that have been on display.
    Place anchor_;
    Place caret_;
    int wantedColumn_ = 0; // Of the caret, while it passes shorter lines.
    double wheelRest_ = 0; // Lines that the wheel has turned and that aren't scrolled yet.
    Following following_ = Following::On;
    bool isNumbered_ = false;
    bool isArranging_ = false; // The scroll bars are being set by this.
    bool selectsLines_ = false; // The mouse went down in the margin.
    toolkit::Table::VisibleRange reported_;
    QBasicTimer draggedOutside_;
    mutable std::map<std::int64_t, ShownLine> cache_; // Lines near those on display.
    toolkit::Model::Observation linesObservation_;
    toolkit::Model::Observation clipObservation_;
};
