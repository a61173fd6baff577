#pragma once

#include "apps/desktop/widgets/Adapter.h"
#include "toolkit/Plot.h"

#include <functional>
#include <memory>
#include <qcustomplot.h>
#include <string>
#include <vector>

// The drawing of a plot. Numbers are handed to the plotting library when the content changes; of an image
// only a raster as fine as the screen, each time it is drawn.
class PlotCanvas final : public QCustomPlot {
public:
    explicit PlotCanvas(toolkit::Plot& plot);

    toolkit::Plot* plot() const { return adapter_.model(); } // Null once it has ended.

    QSize sizeHint() const override { return {480, 320}; } // Room for an axis with some labels.

    std::function<void(const std::string&)> whenRead; // What the pointer reads; empty when it has left.

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void takeContent(const toolkit::Plot& plot);
    void addCurve(const toolkit::PlotCurve& curve, const QColor& color);
    void addColorMap(const toolkit::PlotImage& image);
    void dropColorMap();
    void showModel(const toolkit::Plot& plot);
    void showLegendIfItFits();
    static void takeAxis(QCPAxis& axis, const toolkit::PlotAxis& wanted, const std::string& title);
    void takeColors();
    void drawRaster();
    QPointF ratiosAt(const QPointF& place) const; // On the model's axes.

    Adapter<toolkit::Plot> adapter_;
    std::shared_ptr<const toolkit::PlotContent> shown_; // What the plottables were made of.
    QCPTextElement* title_;
    QCPItemText* note_;
    QCPColorMap* colorMap_ = nullptr; // With an image only, as is its scale.
    QCPColorScale* colorScale_ = nullptr;
    QPointF draggedFrom_;
    bool isDragging_ = false;
};
