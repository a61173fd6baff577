#pragma once

#include <QColor>
#include <QFont>
#include <QString>
#include <memory>

class QPainter;
class QPointF;
class QTextLayout;

// One line of text as it is drawn in a fixed-pitch font. A line of plain ASCII is measured by counting, so
// that a long one costs no more than what is visible of it; any other is laid out as a whole.
class ShownLine {
public:
    // How the lines of one view look.
    struct Look {
        explicit Look(const QFont& fixedPitch);
        QFont font;
        double cell; // Width of a character.
        double height;
        double ascent;
    };
    ShownLine(QString text, const Look& look);
    ~ShownLine();
    ShownLine(ShownLine&&) noexcept;
    ShownLine& operator=(ShownLine&&) noexcept;

    const QString& text() const { return text_; } // Control characters are shown by pictures of their own.
    double width() const { return xOf(static_cast<int>(text_.size())); }
    double xOf(int column) const; // Columns count UTF-16 units.
    int columnAt(double x) const; // The nearest place between two characters.

    struct Part {
        int first = 0;
        int behind = 0; // The same as `first` for none.
    };
    struct Colors {
        QColor text;
        QColor selectedText;
        QColor selection;
    };
    // Draws what lies between two distances from the line's start, with its top left corner at a place.
    void draw(QPainter& painter, QPointF at, double from, double to, Part selected, const Colors&) const;

private:
    void drawPlain(QPainter& painter, QPointF at, int first, int behind, const QColor& color) const;

    QString text_;
    const Look* look_; // Borrowed from the view.
    std::unique_ptr<QTextLayout> layout_; // Null for a plain line.
};
