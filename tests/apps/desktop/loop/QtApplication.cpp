// Gives every test of this program an application of Qt's without a display, and the main loop on it.

#include "apps/desktop/loop/QtMainLoop.h"

#include <QApplication>
#include <gtest/gtest.h>
#include <memory>

namespace {

class QtApplication : public testing::Environment {
    void SetUp() override
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application_ = std::make_unique<QApplication>(count_, arguments_);
        QApplication::setQuitOnLastWindowClosed(false);
        QtMainLoop::install();
    }
    void TearDown() override { application_.reset(); }

    int count_ = 1;
    char name_[13] = "qt_loop_test";
    char* arguments_[2] = {name_, nullptr};
    std::unique_ptr<QApplication> application_;
};

[[maybe_unused]] const testing::Environment* const kApplication =
    testing::AddGlobalTestEnvironment(new QtApplication);

} // namespace
