#include "diagnostics/MessageWindow.h"

MessageWindow::MessageWindow()
{
    window.setTitle("Messages");
    window.setContent(&content);
    window.shouldClose = [this] {
        center_->windowWillClose();
        return true;
    };
    content.addSubview(messages);
    content.addSubview(foot);
    messages.addSubview(table);
    messages.addSubview(detail);
    foot.addSubview(count);
    foot.addSubview(copy);
    foot.addSubview(clear);

    table.setAccessibleName("Messages");
    table.setColumns({{.identifier = "Date", .title = "Time"}, {.identifier = "Text", .title = "Message"}});
    detail.setAccessibleName("Message detail");
    detail.setEditable(false);
    count.setAccessibleName("Message count");
    copy.setTitle("Copy");
    copy.whenPressed = [this] { center_->copyMessages(); };
    clear.setTitle("Clear");
    clear.whenPressed = [this] { center_->clearMessages(); };

    center_->setDescriptionField(&detail);
    center_->setHowManyErrorsField(&count);
    center_->setScrollView(&table);
}

MessageWindow::~MessageWindow()
{
    center_->setScrollView(nullptr);
}
