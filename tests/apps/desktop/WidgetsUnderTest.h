#pragma once

#include "apps/desktop/widgets/MakeWidget.h"
#include "platform/loop/MainLoop.h"
#include "toolkit/View.h"

#include <QApplication>
#include <QString>
#include <QWidget>
#include <gtest/gtest.h>
#include <memory>
#include <string>

inline void settle() // Until what was announced has been shown.
{
    for (int i = 0; i < 3; ++i) {
        platform::MainLoop::main().runPending();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

inline std::string textOf(const QString& text)
{
    return text.toStdString();
}

template <class Kind>
std::unique_ptr<Kind> widgetOf(toolkit::View& view)
{
    auto* const made = dynamic_cast<Kind*>(makeWidget(view));
    EXPECT_TRUE(made);
    return std::unique_ptr<Kind>(made);
}

inline void focus(QWidget& widget)
{
    widget.show();
    widget.activateWindow();
    widget.setFocus();
    settle();
}
