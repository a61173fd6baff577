#pragma once

#include "toolkit/Menu.h"
#include "toolkit/Window.h"

#include <QMainWindow>
#include <memory>
#include <vector>

// A toolkit window with its content and the program's menus. Closing it asks the model. Files and folders
// that are dropped on it are opened. The widget deletes itself when the model closes or ends.
class WindowWidget final : public QMainWindow {
public:
    WindowWidget(toolkit::Window& window, const std::vector<std::shared_ptr<toolkit::Menu>>& menus);

    const toolkit::Window* model() const { return window_; } // Null once it has ended.
    void bringToFront();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void show(const toolkit::Window& window);
    void focusFirst();

    toolkit::Window* window_;
    toolkit::Model::Observation observation_;
};
