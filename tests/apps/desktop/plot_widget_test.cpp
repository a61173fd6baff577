// A plot without a display: what the model says is drawn, what the user does arrives.

#include "apps/desktop/widgets/MakeWidget.h"
#include "apps/desktop/widgets/PlotValuesWidget.h"
#include "apps/desktop/widgets/PlotWidget.h"
#include "platform/files/FileManager.h"
#include "platform/loop/MainLoop.h"
#include "toolkit/Plot.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QContextMenuEvent>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QPrinter>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <gmock/gmock.h>

using namespace toolkit;

namespace {

struct Plots : testing::Test {
    Plots() : widget(dynamic_cast<PlotWidget*>(makeWidget(*plot)))
    {
        widget->resize(400, 300);
        widget->show();
        settle();
        canvas = widget->childAt(200, 100);
    }
    static void settle()
    {
        for (int turn = 0; turn < 2; ++turn) // What follows another model tells of it a turn later.
            platform::MainLoop::main().runPending();
        QApplication::processEvents();
    }
    void show(const PlotContent& content)
    {
        plot->setContent(std::make_shared<const PlotContent>(content));
        settle();
    }
    // Whether a color is seen somewhere.
    bool isSeen(QColor color) const
    {
        const QImage seen = canvas->grab().toImage();
        for (int y = 0; y < seen.height(); ++y)
            for (int x = 0; x < seen.width(); ++x)
                if (seen.pixelColor(x, y) == color)
                    return true;
        return false;
    }
    PlotRange x() const { return plot->axis(Plot::Direction::X).range(); }

    std::unique_ptr<Plot> plot = std::make_unique<Plot>();
    std::unique_ptr<PlotWidget> widget;
    QWidget* canvas = nullptr;
};

PlotContent line()
{
    PlotContent content{"v", "t", "y"};
    content.curves.push_back(PlotCurve::overIndex("a", {0, 10, 5, 3, 0, 8, 1, 2, 3, 4, 10}));
    return content;
}

TEST_F(Plots, DrawCurvesAndLetThemBeMovedByMouseAndKeys)
{
    const QColor first(0, 114, 178);
    EXPECT_FALSE(isSeen(first));
    show(line());
    EXPECT_TRUE(isSeen(first));
    QTest::keyClick(canvas, Qt::Key_Plus);
    EXPECT_NEAR(x().upper - x().lower, 10 / 1.5, 1e-9);
    const double lower = x().lower;
    QTest::keyClick(canvas, Qt::Key_Right);
    EXPECT_GT(x().lower, lower);
    QTest::mousePress(canvas, Qt::LeftButton, {}, {200, 100});
    QTest::mouseMove(canvas, {300, 100});
    QTest::mouseRelease(canvas, Qt::LeftButton, {}, {300, 100});
    EXPECT_LT(x().lower, lower) << "the curve follows the pointer to the right";
    QTest::keyClick(canvas, Qt::Key_0);
    EXPECT_EQ(x(), (PlotRange{0, 10}));
    show({});
    EXPECT_FALSE(isSeen(first));
    plot.reset();
    QTest::keyClick(canvas, Qt::Key_Plus); // The model has gone.
    EXPECT_FALSE(isSeen(first));
}

TEST_F(Plots, DrawAnImageAndReadItBelowThePointer)
{
    PlotContent content;
    content.image = PlotImage{2, 2, {0, 1}, [](auto column, auto) { return column == 0 ? 0.0 : 1.0; }};
    show(content);
    const QImage seen = canvas->grab().toImage();
    const int middle = seen.height() / 2;
    EXPECT_NE(seen.pixelColor(seen.width() / 4, middle), seen.pixelColor(seen.width() / 2, middle));
    QTest::mouseMove(canvas, {canvas->width() / 2, canvas->height() / 2});
    bool isRead = false;
    for (const QLabel* label : widget->findChildren<QLabel*>())
        isRead = isRead || label->text().endsWith(": 1");
    EXPECT_TRUE(isRead);
    show(line());
    EXPECT_TRUE(isSeen(QColor(0, 114, 178)));
}

TEST_F(Plots, DrawWhatIsKnownOfAFileUntilTheRestIsRead)
{
    PlotContent content;
    PlotImage field{1000, 1000, {0, 1}, [](auto, auto) { return 1.0; }};
    field.readRow = [](auto, auto, std::span<double> cells) { std::fill(cells.begin(), cells.end(), 1.0); };
    field.thinned =
        std::make_shared<const PlotImage>(PlotImage{1, 1, {0, 1}, [](auto, auto) { return 0.0; }});
    content.image = field;
    show(content);
    const auto middle = [this] {
        const QImage seen = canvas->grab().toImage();
        return seen.pixelColor(seen.width() / 2, seen.height() / 2);
    };
    const QColor before = middle();
    EXPECT_TRUE(platform::MainLoop::main().runUntil(
        [&] {
            QApplication::processEvents();
            return middle() != before;
        },
        10));
}

TEST_F(Plots, HaveTheirNumbersAsATableToCopyFrom)
{
    PlotValues values(*plot);
    const std::unique_ptr<PlotValuesWidget> table(dynamic_cast<PlotValuesWidget*>(makeWidget(values)));
    EXPECT_EQ(table->model()->rowCount(), 0);
    PlotContent content;
    content.image = PlotImage{2000, 3, {0, 1},
        [](auto column, auto row) { return static_cast<double>(column) + 0.1 * static_cast<double>(row); }};
    show(content);
    EXPECT_EQ(table->model()->rowCount(), 2000);
    table->setCurrentIndex(table->model()->index(1, 0));
    table->selectionModel()->select(QItemSelection(table->model()->index(1, 0), table->model()->index(2, 1)),
        QItemSelectionModel::ClearAndSelect);
    show(content); // The same numbers once more: the selection stays.
    QTest::keyClick(table.get(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "1\t1.1\n2\t2.1\n");
    show({});
    EXPECT_EQ(table->model()->rowCount() + table->model()->columnCount(), 0);
}

TEST_F(Plots, AreReadAndSetByKeys)
{
    show(line());
    QTest::keyClick(canvas, Qt::Key_Left, Qt::ShiftModifier);
    EXPECT_EQ(canvas->accessibleDescription(), "a: (5, 8)");
    EXPECT_EQ(x(), (PlotRange{0, 10})) << "the mark alone has moved";
    QTest::keyClick(canvas, Qt::Key_Y);
    EXPECT_TRUE(plot->axis(Plot::Direction::Y).isLogarithmic());
    QTest::keyClick(canvas, Qt::Key_P);
    EXPECT_FALSE(plot->keepsProportions());
    plot->setSliders({{"Time", std::make_shared<const std::vector<double>>(3)}});
    settle();
    QTest::keyClick(canvas, Qt::Key_Space);
    EXPECT_TRUE(plot->isPlaying());
    QTest::keyClick(canvas, Qt::Key_Space);
    EXPECT_FALSE(plot->isPlaying());
    QContextMenuEvent wish(QContextMenuEvent::Keyboard, {10, 10}, canvas->mapToGlobal(QPoint(10, 10)));
    QApplication::sendEvent(canvas, &wish);
    auto* menu = widget->findChild<QMenu*>();
    ASSERT_TRUE(menu && menu->isVisible());
    EXPECT_TRUE(menu->actions().front()->isEnabled());
    EXPECT_TRUE(menu->actions()[1]->isChecked());
}

TEST_F(Plots, FollowThePaletteOnTheScreenAndNotOnPaper)
{
    show(line());
    QPalette dark(QColor(40, 40, 45));
    dark.setColor(QPalette::Base, QColor(20, 20, 25));
    dark.setColor(QPalette::Text, QColor(230, 230, 231));
    widget->setPalette(dark);
    settle();
    const auto share = [](const QImage& image, QColor color) {
        int count = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                count += image.pixelColor(x, y) == color;
        return static_cast<double>(count) / (image.width() * image.height());
    };
    EXPECT_GT(share(canvas->grab().toImage(), QColor(20, 20, 25)), 0.5);
    EXPECT_TRUE(isSeen(QColor(230, 230, 231))) << "axes";

    const QTemporaryDir folder;
    const QString path = folder.filePath("p.pdf");
    QPrinter printer;
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(path);
    widget->printOn(printer);
    const std::string printed = platform::files::readFile(path.toStdString()).value_or("");
    EXPECT_THAT(printed, testing::StartsWith("%PDF"));
    EXPECT_GT(printed.size(), 2000U) << "not an empty page";
    settle();
    EXPECT_GT(share(canvas->grab().toImage(), QColor(20, 20, 25)), 0.5) << "dark again";
}

TEST_F(Plots, HaveAListForNames)
{
    plot->setSliders({{"Member", std::make_shared<const std::vector<double>>(2), 1, {"one", "two"}}});
    settle();
    auto* names = widget->findChild<QComboBox*>();
    EXPECT_TRUE(names->isVisible());
    EXPECT_EQ(names->currentText(), "two");
    EXPECT_EQ(names->accessibleName(), "Member");
    EXPECT_FALSE(widget->findChild<QSlider*>()->isVisible());
    QTest::keyClick(names, Qt::Key_Up);
    EXPECT_EQ(plot->sliders()[0].position, 0U);
}

TEST_F(Plots, HaveASliderForEachChoice)
{
    const auto values = std::make_shared<const std::vector<double>>(std::vector<double>{0, 0.5, 1});
    plot->setSliders({{"Time", values, 1}});
    settle();
    auto* slider = widget->findChild<QSlider*>();
    ASSERT_TRUE(slider);
    EXPECT_TRUE(slider->isVisible());
    EXPECT_EQ(slider->value(), 1);
    QTest::keyClick(slider, Qt::Key_Right);
    EXPECT_EQ(plot->sliders()[0].position, 2U);
    QTest::mouseClick(widget->findChild<QToolButton*>(), Qt::LeftButton);
    EXPECT_TRUE(plot->isPlaying());
    plot->setSliders({});
    settle();
    EXPECT_FALSE(slider->isVisible());
}

TEST_F(Plots, AreSavedAsTheExtensionSays)
{
    show(line());
    const QTemporaryDir folder;
    for (const auto& [name, start] : {std::pair("p.png", "\x89PNG"), {"p.PDF", "%PDF"}, {"p.svg", "<?xml"},
             {"p.csv", "curve,x,y\na,0,0\n"}}) {
        SCOPED_TRACE(name);
        const std::string path = folder.filePath(name).toStdString();
        std::optional<bool> isSaved;
        widget->exportTo(path, [&](const platform::Status& status) { isSaved = status.ok(); });
        EXPECT_TRUE(platform::MainLoop::main().runUntil([&] { return isSaved.has_value(); }, 10));
        EXPECT_EQ(isSaved, true);
        EXPECT_THAT(platform::files::readFile(path).value_or(""), testing::StartsWith(start));
    }
    for (const char* name : {"none/p.png", "none/p.pdf", "none/p.svg", "none/p.csv", "p.doc"}) {
        std::optional<bool> isSaved;
        widget->exportTo(folder.filePath(name).toStdString(),
            [&](const platform::Status& status) { isSaved = status.ok(); });
        EXPECT_TRUE(platform::MainLoop::main().runUntil([&] { return isSaved.has_value(); }, 10));
        EXPECT_EQ(isSaved, false) << name;
    }
}

} // namespace
