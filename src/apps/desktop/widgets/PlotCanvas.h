#pragma once

#include "apps/desktop/widgets/Adapter.h"
#include "toolkit/Plot.h"

#include <functional>
#include <memory>
#include <qcustomplot.h>
#include <string>
#include <vector>

// The drawing of a plot. Numbers are handed to the plotting library when the content changes; of an image
// only a raster as fine as the screen, each time it is drawn. Where that has to be read from a file, what is
// known already is drawn until then.
class PlotCanvas final : public QCustomPlot {
public:
    explicit PlotCanvas(toolkit::Plot& plot);

    toolkit::Plot* plot() const { return adapter_.model(); } // Null once it has ended.

    QSize sizeHint() const override { return {480, 320}; } // Room for an axis with some labels.

    // Whether all that is to be drawn is there: a raster of a large image is read on a worker.
    bool isComplete() const { return asked_ == Raster(); }

    // What the pointer or the keys read; empty when the pointer has left.
    std::function<void(const std::string&)> whenRead;
    // As it is on the screen but for its colors, which are those of paper.
    void paintOnPaper(QCPPainter& painter);

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
    // A part of an image and how fine it is drawn.
    struct Raster {
        toolkit::PlotRange x;
        toolkit::PlotRange y;
        int columns = 0;
        int rows = 0;
        bool operator==(const Raster&) const = default;
    };
    class ReadingOfRaster;

    void takeContent(const toolkit::Plot& plot);
    void addCurve(const toolkit::PlotCurve& curve, const QColor& color);
    void addColorMap(const toolkit::PlotImage& image);
    void dropColorMap();
    void showModel(const toolkit::Plot& plot);
    void showLegendIfItFits();
    static void takeAxis(QCPAxis& axis, const toolkit::PlotAxis& wanted, const std::string& title);
    void takeColors(const QPalette& colors);
    void moveMark(double xStep, double yStep);
    void drawRaster();
    void askForRaster(const Raster& wanted);
    void showCells(const Raster& part, const std::vector<double>& values);
    QPointF ratiosAt(const QPointF& place) const; // On the model's axes.

    Adapter<toolkit::Plot> adapter_;
    std::shared_ptr<const toolkit::PlotContent> shown_; // What the plottables were made of.
    QCPTextElement* title_;
    QCPItemText* note_;
    QCPColorMap* colorMap_ = nullptr; // With an image only, as is its scale.
    QCPColorScale* colorScale_ = nullptr;
    // Of an image that stays in its file: the raster that was read last, and the one that is being read.
    Raster read_;
    std::vector<double> readValues_;
    Raster asked_;
    QCPItemTracer* mark_; // Where the keys read, by ratios; seen after the first of them.
    QPointF draggedFrom_;
    bool isDragging_ = false;
};
