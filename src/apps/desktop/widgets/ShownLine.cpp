#include "apps/desktop/widgets/ShownLine.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTextLayout>
#include <QTextOption>
#include <algorithm>
#include <cmath>

namespace {

constexpr char16_t kPictures = 0x2400; // Unicode's pictures of control characters, in the same order.
constexpr int kCellsOfTab = 8;

bool isPlainText(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u' ' && c < u'\x7f'; });
}

QString withVisibleControls(QString text)
{
    for (QChar& c : text)
        if (c < u' ' && c != u'\t')
            c = QChar(static_cast<char16_t>(kPictures + c.unicode()));
    return text;
}

} // namespace

ShownLine::Look::Look(const QFont& fixedPitch) : font(fixedPitch)
{
    font.setKerning(false);
    const QFontMetricsF metrics(font);
    cell = metrics.horizontalAdvance(QLatin1Char('x'));
    height = std::ceil(metrics.lineSpacing());
    ascent = metrics.ascent();
}

ShownLine::ShownLine(QString text, const Look& look)
    : text_(withVisibleControls(std::move(text))), look_(&look)
{
    if (isPlainText(text_))
        return;
    layout_ = std::make_unique<QTextLayout>(text_, look.font);
    QTextOption option;
    option.setWrapMode(QTextOption::NoWrap);
    option.setTabStopDistance(kCellsOfTab * look.cell);
    layout_->setTextOption(option);
    layout_->setCacheEnabled(true);
    layout_->beginLayout();
    layout_->createLine();
    layout_->endLayout();
}

ShownLine::~ShownLine() = default;
ShownLine::ShownLine(ShownLine&&) noexcept = default;
ShownLine& ShownLine::operator=(ShownLine&&) noexcept = default;

double ShownLine::xOf(int column) const
{
    column = std::clamp(column, 0, static_cast<int>(text_.size()));
    return layout_ ? layout_->lineAt(0).cursorToX(column) : column * look_->cell;
}

int ShownLine::columnAt(double x) const
{
    const int column = layout_
        ? layout_->lineAt(0).xToCursor(x)
        : static_cast<int>(std::clamp(std::round(x / look_->cell), 0.0, static_cast<double>(text_.size())));
    return std::clamp(column, 0, static_cast<int>(text_.size()));
}

void ShownLine::draw(
    QPainter& painter, QPointF at, double from, double to, Part selected, const Colors& colors) const
{
    if (selected.behind > selected.first)
        painter.fillRect(QRectF(at.x() + xOf(selected.first), at.y(),
                             xOf(selected.behind) - xOf(selected.first), look_->height),
            colors.selection);
    if (!layout_) {
        const auto size = static_cast<double>(text_.size());
        const int first = static_cast<int>(std::clamp(from / look_->cell, 0.0, size));
        const int behind = static_cast<int>(std::clamp(to / look_->cell + 2, 0.0, size));
        drawPlain(painter, at, first, std::min(behind, selected.first), colors.text);
        drawPlain(painter, at, std::max(first, selected.first), std::min(behind, selected.behind),
            colors.selectedText);
        drawPlain(painter, at, std::max(first, selected.behind), behind, colors.text);
        return;
    }
    QList<QTextLayout::FormatRange> formats;
    if (selected.behind > selected.first) {
        QTextLayout::FormatRange range;
        range.start = selected.first;
        range.length = selected.behind - selected.first;
        range.format.setForeground(colors.selectedText);
        formats.append(range);
    }
    painter.setPen(colors.text);
    layout_->draw(&painter, at, formats);
}

void ShownLine::drawPlain(QPainter& painter, QPointF at, int first, int behind, const QColor& color) const
{
    if (first >= behind)
        return;
    painter.setPen(color);
    painter.drawText(
        QPointF(at.x() + first * look_->cell, at.y() + look_->ascent), text_.mid(first, behind - first));
}
