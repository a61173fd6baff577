#pragma once

#include "apps/desktop/widgets/Adapter.h"
#include "platform/Result.h"
#include "toolkit/Plot.h"

#include <QList>
#include <QWidget>
#include <functional>
#include <memory>
#include <string>

class PlotCanvas;
class QAction;
class QPrinter;

// A plot with its read-out and its sliders. The wheel and the keys + and - zoom, dragging and the arrow keys
// move what is seen, and arrow keys with Shift move a mark that reads values as the pointer does. A double
// click shows all. The context menu has the other actions, with their keys.
class PlotWidget final : public QWidget {
public:
    explicit PlotWidget(toolkit::Plot& plot);
    ~PlotWidget() override;

    // Saves what is seen as the name's extension says: png, svg, pdf; or the numbers of all of the content:
    // csv, on a worker. `saved` is called on the main thread, at once or later, also after the widget has
    // gone.
    using Saved = std::function<void(const platform::Status&)>;
    void exportTo(const std::string& path, const Saved& saved);

    void printOn(QPrinter& printer); // As large as the page allows.

private:
    void makeActions();
    void contextMenuEvent(QContextMenuEvent* event) override;

    Adapter<toolkit::Plot> adapter_;
    PlotCanvas* canvas_;
    QList<QAction*> actions_; // Of the context menu; owned by this, as children.
    QAction* isXLogarithmic_ = nullptr;
    QAction* isYLogarithmic_ = nullptr;
    QAction* keepsProportions_ = nullptr;
    QAction* play_ = nullptr;
};
