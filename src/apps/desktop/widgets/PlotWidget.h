#pragma once

#include "platform/Result.h"
#include "toolkit/Plot.h"

#include <QWidget>
#include <functional>
#include <memory>
#include <string>

class PlotCanvas;

// A plot with its read-out and its sliders. The wheel and the keys + and - zoom, dragging and the arrow keys
// move what is seen, 0 or a double click shows all of it. The context menu has logarithmic axes, export and
// print.
class PlotWidget final : public QWidget {
public:
    explicit PlotWidget(toolkit::Plot& plot);
    ~PlotWidget() override;

    // Saves what is seen as the name's extension says: png, svg, pdf; or the numbers of all of the content:
    // csv, on a worker. `saved` is called on the main thread, at once or later, also after the widget has
    // gone.
    using Saved = std::function<void(const platform::Status&)>;
    void exportTo(const std::string& path, const Saved& saved);

private:
    void contextMenuEvent(QContextMenuEvent* event) override;

    PlotCanvas* canvas_;
};
