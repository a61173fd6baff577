#include "apps/desktop/widgets/PlotCanvas.h"

#include "apps/desktop/widgets/Text.h"
#include "platform/loop/OperationQueue.h"

#include <QPointer>
#include <algorithm>
#include <cmath>

using toolkit::Plot;
using toolkit::PlotCurve;

namespace {

constexpr double kZoomOfAKey = 1.5;
constexpr double kZoomOfAWheelStep = 1.25;
constexpr double kDegreesOfAWheelStep = 120; // In Qt's eighths of a degree.
constexpr double kStepOfAnArrow = 0.1;
constexpr double kStepOfMark = 0.01;
constexpr std::size_t kMostMarkedPoints = 100; // Of a line; more would hide it.
constexpr int kMarkSize = 5;

// Colors that people who see few colors can tell apart too, on light and dark.
QColor colorOfCurve(std::size_t index)
{
    static const QColor kColors[] = {{0, 114, 178}, {213, 94, 0}, {0, 158, 115}, {204, 121, 167},
        {230, 159, 0}, {86, 180, 233}, {150, 130, 0}, {128, 128, 128}};
    return kColors[index % std::size(kColors)];
}

// The library's containers of points can be filled without sorting where the order is known.
template <class Point>
QSharedPointer<QCPDataContainer<Point>> graphPoints(const PlotCurve& curve)
{
    QVector<Point> points;
    points.reserve(static_cast<qsizetype>(curve.x->size()));
    for (std::size_t i = 0; i < curve.x->size(); ++i)
        points.append(Point((*curve.x)[i], (*curve.y)[i]));
    QSharedPointer<QCPDataContainer<Point>> container(new QCPDataContainer<Point>);
    container->set(points, true);
    return container;
}

QSharedPointer<QCPCurveDataContainer> curvePoints(const PlotCurve& curve)
{
    const std::size_t count = curve.x->size();
    const bool isClosed = curve.kind == PlotCurve::Kind::Region && count > 0;
    QVector<QCPCurveData> points;
    points.reserve(static_cast<qsizetype>(count + 1));
    for (std::size_t i = 0; i < count + (isClosed ? 1 : 0); ++i)
        points.append(QCPCurveData(static_cast<double>(i), (*curve.x)[i % count], (*curve.y)[i % count]));
    QSharedPointer<QCPCurveDataContainer> container(new QCPCurveDataContainer);
    container->set(points, true);
    return container;
}

// A raster of the thinned copy, whose cells are larger.
std::vector<double> thinnedRaster(const toolkit::PlotImage& image, const toolkit::PlotRange& x,
    const toolkit::PlotRange& y, int columns, int rows)
{
    const auto inCopy = [](const toolkit::PlotRange& range, std::int64_t all, std::int64_t kept) {
        const double size = static_cast<double>(kept) / static_cast<double>(all);
        return toolkit::PlotRange{(range.lower + 0.5) * size - 0.5, (range.upper + 0.5) * size - 0.5};
    };
    return image.thinned->raster(inCopy(x, image.width, image.thinned->width),
        inCopy(y, image.height, image.thinned->height), columns, rows);
}

} // namespace

PlotCanvas::PlotCanvas(Plot& plot)
    : adapter_(plot), title_(new QCPTextElement(this)), note_(new QCPItemText(this)),
      mark_(new QCPItemTracer(this))
{
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setAttribute(Qt::WA_NoMousePropagation, false); // The library sets it, and no context menu would come.
    setNoAntialiasingOnDrag(true);
    setPlottingHint(QCP::phFastPolylines);
    setMinimumSize(160, 120);
    plotLayout()->insertRow(0);
    plotLayout()->addElement(0, 0, title_);
    note_->position->setType(QCPItemPosition::ptAxisRectRatio);
    note_->position->setCoords(0.5, 0.5);
    mark_->setStyle(QCPItemTracer::tsCrosshair);
    mark_->position->setType(QCPItemPosition::ptAxisRectRatio);
    mark_->position->setCoords(0.5, 0.5);
    mark_->setVisible(false);
    legend->setVisible(false);
    axisRect()->setupFullAxesBox();
    takeColors(palette());
    connect(this, &QCustomPlot::afterLayout, this, [this] {
        if (this->plot())
            this->plot()->setRoom(axisRect()->width(), axisRect()->height());
        drawRaster();
    });
    adapter_.follow([this](const Plot& shown) { showModel(shown); });
}

void PlotCanvas::showModel(const Plot& plot)
{
    if (plot.content() != shown_)
        takeContent(plot);
    takeAxis(*xAxis, plot.axis(Plot::Direction::X), shown_->xTitle);
    takeAxis(*yAxis, plot.axis(Plot::Direction::Y), shown_->yTitle);
    replot(rpQueuedReplot);
}

void PlotCanvas::takeContent(const Plot& plot)
{
    shown_ = plot.content();
    clearPlottables();
    colorMap_ = nullptr;
    read_ = {};
    readValues_.clear();
    title_->setText(toQt(shown_->title));
    note_->setText(toQt(shown_->isEmpty() ? shown_->note : ""));
    if (shown_->image)
        addColorMap(*shown_->image);
    else
        dropColorMap();
    for (std::size_t i = 0; i < shown_->curves.size(); ++i)
        addCurve(shown_->curves[i], colorOfCurve(i));
    showLegendIfItFits();
}

// A legend that hides the curves explains nothing: the pointer reads their names.
void PlotCanvas::showLegendIfItFits()
{
    const int count = static_cast<int>(shown_->curves.size());
    const int lineHeight = fontMetrics().height() + legend->rowSpacing();
    legend->setVisible(count > 1 && count * lineHeight <= height() / 2);
}

void PlotCanvas::resizeEvent(QResizeEvent* event)
{
    if (shown_)
        showLegendIfItFits();
    QCustomPlot::resizeEvent(event);
}

void PlotCanvas::addCurve(const PlotCurve& curve, const QColor& color)
{
    const QCPScatterStyle mark(QCPScatterStyle::ssDisc, color, kMarkSize);
    QCPAbstractPlottable* added = nullptr;
    if (curve.kind == PlotCurve::Kind::Line) {
        auto* graph = addGraph();
        graph->setData(graphPoints<QCPGraphData>(curve));
        if (curve.x->size() <= kMostMarkedPoints)
            graph->setScatterStyle(mark);
        added = graph;
    } else {
        auto* path = new QCPCurve(xAxis, yAxis);
        path->setData(curvePoints(curve));
        if (curve.kind == PlotCurve::Kind::Points) {
            path->setLineStyle(QCPCurve::lsNone);
            path->setScatterStyle(mark);
        } else if (curve.kind == PlotCurve::Kind::Region) {
            QColor inside = color;
            inside.setAlphaF(0.15F);
            path->setBrush(inside);
        }
        added = path;
    }
    added->setPen(QPen(color, 0)); // A width above 0 takes the slow way of the painter.
    added->setName(toQt(curve.name));
}

void PlotCanvas::addColorMap(const toolkit::PlotImage& image)
{
    colorMap_ = new QCPColorMap(xAxis, yAxis);
    if (!colorScale_) {
        colorScale_ = new QCPColorScale(this);
        plotLayout()->addElement(1, 1, colorScale_);
        colorScale_->setType(QCPAxis::atRight);
        takeColors(palette());
    }
    QCPColorGradient gradient(QCPColorGradient::gpThermal);
    gradient.setNanHandling(QCPColorGradient::nhTransparent);
    colorMap_->setInterpolate(false);
    colorMap_->setColorScale(colorScale_);
    colorMap_->setGradient(gradient);
    if (image.values.isEmpty())
        return;
    const bool isFlat = image.values.lower == image.values.upper;
    colorMap_->setDataRange(QCPRange(image.values.lower, image.values.upper + (isFlat ? 1 : 0)));
}

void PlotCanvas::dropColorMap()
{
    if (!colorScale_)
        return;
    plotLayout()->remove(colorScale_);
    plotLayout()->simplify();
    colorScale_ = nullptr;
}

void PlotCanvas::takeAxis(QCPAxis& axis, const toolkit::PlotAxis& wanted, const std::string& title)
{
    const bool isLogarithmic = axis.scaleType() == QCPAxis::stLogarithmic;
    if (isLogarithmic != wanted.isLogarithmic()) {
        axis.setScaleType(wanted.isLogarithmic() ? QCPAxis::stLogarithmic : QCPAxis::stLinear);
        axis.setTicker(
            QSharedPointer<QCPAxisTicker>(wanted.isLogarithmic() ? new QCPAxisTickerLog : new QCPAxisTicker));
    }
    axis.setRange(wanted.range().lower, wanted.range().upper);
    axis.setLabel(toQt(title));
}

void PlotCanvas::takeColors(const QPalette& colors)
{
    const QColor text = colors.color(QPalette::Text);
    QColor faint = text;
    faint.setAlphaF(0.2F);
    setBackground(colors.brush(QPalette::Base));
    QList<QCPAxis*> axes = axisRect()->axes();
    if (colorScale_)
        axes.append(colorScale_->axis());
    for (QCPAxis* axis : axes) {
        axis->setBasePen(text);
        axis->setTickPen(text);
        axis->setSubTickPen(text);
        axis->setTickLabelColor(text);
        axis->setLabelColor(text);
        axis->grid()->setPen(QPen(faint, 0, Qt::DotLine));
        axis->grid()->setZeroLinePen(QPen(faint, 0));
    }
    title_->setTextColor(text);
    note_->setColor(colors.color(QPalette::PlaceholderText));
    mark_->setPen(QPen(text, 0, Qt::DashLine));
    legend->setBrush(colors.brush(QPalette::Base));
    legend->setBorderPen(faint);
    legend->setTextColor(text);
}

void PlotCanvas::paintOnPaper(QCPPainter& painter)
{
    takeColors(QPalette(Qt::lightGray)); // Of buttons; from that follows black on white.
    toPainter(&painter, width(), height());
    takeColors(palette());
}

// The raster has a cell for each pixel of what is seen; the layout is settled then.
void PlotCanvas::drawRaster()
{
    if (!colorMap_)
        return;
    const int columns = std::max(1, axisRect()->width());
    const int rows = std::max(1, axisRect()->height());
    const QCPRange x = xAxis->range();
    const QCPRange y = yAxis->range();
    const Raster wanted{{x.lower, x.upper}, {y.lower, y.upper}, columns, rows};
    const auto& image = *shown_->image;
    if (!image.isInFile())
        return showCells(wanted, image.raster(wanted.x, wanted.y, columns, rows));
    if (wanted == read_)
        return showCells(read_, readValues_);
    showCells(wanted, thinnedRaster(image, wanted.x, wanted.y, columns, rows));
    if (!image.isThinnedEnoughFor(wanted.x, wanted.y, columns, rows))
        askForRaster(wanted);
}

void PlotCanvas::showCells(const Raster& part, const std::vector<double>& values)
{
    const double xHalf = (part.x.upper - part.x.lower) / part.columns / 2;
    const double yHalf = (part.y.upper - part.y.lower) / part.rows / 2;
    // The library's ranges end at the centers of the last cells.
    auto* cells =
        new QCPColorMapData(part.columns, part.rows, QCPRange(part.x.lower + xHalf, part.x.upper - xHalf),
            QCPRange(part.y.lower + yHalf, part.y.upper - yHalf));
    auto value = values.begin();
    for (int row = 0; row < part.rows; ++row)
        for (int column = 0; column < part.columns; ++column)
            cells->setCell(column, row, *value++);
    colorMap_->setData(cells); // Owns it now.
}

class PlotCanvas::ReadingOfRaster final : public platform::Operation {
public:
    using Taken = std::function<void(std::vector<double>)>;
    ReadingOfRaster(std::shared_ptr<const toolkit::PlotContent> content, const Raster& part, Taken taken)
        : content_(std::move(content)), part_(part), taken_(std::move(taken))
    { }
    void main() override
    {
        postWhenEnded(
            [taken = taken_, values = content_->image->raster(part_.x, part_.y, part_.columns, part_.rows)] {
                taken(values);
            });
    }

private:
    const std::shared_ptr<const toolkit::PlotContent> content_;
    const Raster part_;
    const Taken taken_;
};

// One at a time: when it has come, drawing asks for what is seen by then.
void PlotCanvas::askForRaster(const Raster& wanted)
{
    if (!isComplete())
        return;
    static platform::OperationQueue readings(1);
    asked_ = wanted;
    const auto taken = [canvas = QPointer<PlotCanvas>(this), content = shown_, wanted](
                           std::vector<double> values) {
        if (!canvas)
            return;
        canvas->asked_ = {};
        if (canvas->shown_ == content) {
            canvas->read_ = wanted;
            canvas->readValues_ = std::move(values);
        }
        canvas->replot(rpQueuedReplot);
    };
    readings.addOperation(std::make_shared<ReadingOfRaster>(shown_, wanted, taken));
}

QPointF PlotCanvas::ratiosAt(const QPointF& place) const
{
    const QRect seen = axisRect()->rect();
    return {(place.x() - seen.left()) / std::max(1, seen.width()),
        1 - (place.y() - seen.top()) / std::max(1, seen.height())};
}

void PlotCanvas::keyPressEvent(QKeyEvent* event)
{
    if (!plot())
        return;
    const auto move = [&](double x, double y) {
        if (event->modifiers() & Qt::ShiftModifier)
            moveMark(x * kStepOfMark, y * kStepOfMark);
        else
            plot()->pan(x * kStepOfAnArrow, y * kStepOfAnArrow);
    };
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal: // The same key without Shift on many keyboards.
        return plot()->zoom(kZoomOfAKey);
    case Qt::Key_Minus:
        return plot()->zoom(1 / kZoomOfAKey);
    case Qt::Key_Left:
        return move(-1, 0);
    case Qt::Key_Right:
        return move(1, 0);
    case Qt::Key_Down:
        return move(0, -1);
    case Qt::Key_Up:
        return move(0, 1);
    default:
        QCustomPlot::keyPressEvent(event);
    }
}

void PlotCanvas::moveMark(double xStep, double yStep)
{
    const QPointF at = mark_->position->coords(); // y counts downwards.
    const double x = std::clamp(at.x() + xStep, 0.0, 1.0);
    const double y = std::clamp(at.y() - yStep, 0.0, 1.0);
    mark_->position->setCoords(x, y);
    mark_->setVisible(true);
    replot(rpQueuedReplot);
    const std::string text = plot()->readout(x, 1 - y);
    setAccessibleDescription(toQt(text));
    if (whenRead)
        whenRead(text);
}

void PlotCanvas::wheelEvent(QWheelEvent* event)
{
    if (!plot())
        return;
    const QPointF at = ratiosAt(event->position());
    const double steps = event->angleDelta().y() / kDegreesOfAWheelStep;
    plot()->zoom(
        std::pow(kZoomOfAWheelStep, steps), std::clamp(at.x(), 0.0, 1.0), std::clamp(at.y(), 0.0, 1.0));
    event->accept();
}

void PlotCanvas::mousePressEvent(QMouseEvent* event)
{
    isDragging_ = event->button() == Qt::LeftButton;
    draggedFrom_ = event->position();
}

void PlotCanvas::mouseMoveEvent(QMouseEvent* event)
{
    if (!plot())
        return;
    const QPointF at = ratiosAt(event->position());
    if (isDragging_) {
        const QPointF from = ratiosAt(draggedFrom_);
        plot()->pan(from.x() - at.x(), from.y() - at.y());
        draggedFrom_ = event->position();
    } else if (whenRead) {
        whenRead(plot()->readout(at.x(), at.y()));
    }
}

void PlotCanvas::mouseReleaseEvent(QMouseEvent*)
{
    isDragging_ = false;
}

void PlotCanvas::mouseDoubleClickEvent(QMouseEvent*)
{
    if (plot())
        plot()->showAll();
}

void PlotCanvas::leaveEvent(QEvent*)
{
    if (whenRead)
        whenRead({});
}

void PlotCanvas::changeEvent(QEvent* event)
{
    QCustomPlot::changeEvent(event);
    if (event->type() != QEvent::PaletteChange || !title_)
        return;
    takeColors(palette());
    replot(rpQueuedReplot);
}
