#include "apps/desktop/widgets/PlotWidget.h"

#include "apps/desktop/widgets/Adapter.h"
#include "apps/desktop/widgets/PlotCanvas.h"
#include "apps/desktop/widgets/Text.h"
#include "platform/loop/OperationQueue.h"

#include <QAction>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QPrintDialog>
#include <QPrinter>
#include <QSaveFile>
#include <QSlider>
#include <QSvgGenerator>
#include <QToolButton>
#include <algorithm>

using toolkit::Plot;

namespace {

constexpr double kPixelsForPng = 2; // For each pixel of the screen, so that print is sharp.
constexpr std::size_t kMostPositions = 1'000'000'000; // Qt's sliders count in ints.

// The name and place of a slider's position, and the slider.
class PlotSlider final : public QWidget {
public:
    PlotSlider(Plot& plot, std::size_t index) : adapter_(plot), index_(index)
    {
        auto* row = new QHBoxLayout(this);
        row->setContentsMargins(0, 0, 0, 0);
        row->addWidget(play_);
        row->addWidget(slider_, 1);
        row->addWidget(names_, 1);
        row->addWidget(label_);
        play_->setAutoRaise(true);
        connect(play_, &QToolButton::clicked, this, [this] {
            if (Plot* model = adapter_.model())
                model->isPlaying() ? model->pause() : model->play();
        });
        connect(slider_, &QSlider::valueChanged, this, [this](int value) {
            if (adapter_.model())
                adapter_.model()->choosePosition(index_, static_cast<std::size_t>(value));
        });
        connect(names_, &QComboBox::activated, this, [this](int place) {
            if (adapter_.model())
                adapter_.model()->choosePosition(index_, static_cast<std::size_t>(place));
        });
        adapter_.follow([this](const Plot& shown) { show(shown); });
    }

private:
    void show(const Plot& plot)
    {
        const bool isThere = index_ < plot.sliders().size() && plot.sliders()[index_].count() > 1;
        setVisible(isThere);
        if (!isThere)
            return;
        const Plot::Slider& shown = plot.sliders()[index_];
        const QSignalBlocker blocker(slider_);
        slider_->setRange(0, static_cast<int>(std::min(shown.count(), kMostPositions)) - 1);
        slider_->setValue(static_cast<int>(shown.position));
        slider_->setAccessibleName(toQt(shown.title));
        label_->setText(toQt(shown.names.empty() ? shown.text() : shown.title));
        slider_->setVisible(shown.names.empty());
        names_->setVisible(!shown.names.empty());
        showNames(shown);
        play_->setVisible(plot.movingSlider() == &shown);
        play_->setText(plot.isPlaying() ? tr("Pause") : tr("Play"));
        play_->setAccessibleName(play_->text());
    }

    void showNames(const Plot::Slider& shown)
    {
        QStringList texts;
        for (const std::string& name : shown.names)
            texts.append(toQt(name));
        if (texts != shownNames_) { // An open list would close.
            names_->clear();
            names_->addItems(texts);
            shownNames_ = texts;
        }
        names_->setCurrentIndex(static_cast<int>(shown.position));
        names_->setAccessibleName(toQt(shown.title));
    }

    Adapter<Plot> adapter_;
    std::size_t index_;
    QToolButton* play_ = new QToolButton;
    QSlider* slider_ = new QSlider(Qt::Horizontal);
    QComboBox* names_ = new QComboBox; // In the slider's place.
    QStringList shownNames_;
    QLabel* label_ = new QLabel;
};

constexpr std::size_t kMostSliders = 4; // A member, a time step, a slice and a task.

platform::Status written(bool isWritten, const std::string& path)
{
    if (isWritten)
        return {};
    return platform::Error{path + " can't be written."};
}

bool saveAsSvg(PlotCanvas& canvas, const QString& path)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QSvgGenerator generator;
    generator.setOutputDevice(&file);
    generator.setSize(canvas.size());
    generator.setViewBox(canvas.rect());
    {
        QCPPainter painter(&generator);
        painter.setMode(QCPPainter::pmVectorized);
        canvas.toPainter(&painter, canvas.width(), canvas.height());
    }
    return file.commit();
}

class SavingOfNumbers final : public platform::Operation {
public:
    SavingOfNumbers(
        std::shared_ptr<const toolkit::PlotContent> content, std::string path, PlotWidget::Saved saved)
        : content_(std::move(content)), path_(std::move(path)), saved_(std::move(saved))
    { }
    void main() override
    {
        postWhenEnded([status = content_->saveAsCsv(path_), saved = saved_] { saved(status); });
    }

private:
    const std::shared_ptr<const toolkit::PlotContent> content_;
    const std::string path_;
    const PlotWidget::Saved saved_;
};

// Ends after the savings that have begun.
platform::OperationQueue& savings()
{
    static platform::OperationQueue queue(1);
    return queue;
}

void choosePrinter(PlotWidget& widget)
{
    auto* dialog = new QPrintDialog(&widget);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->printer()->setPageOrientation(QPageLayout::Landscape);
    QObject::connect(
        dialog, &QDialog::accepted, &widget, [dialog, &widget] { widget.printOn(*dialog->printer()); });
    dialog->open();
}

void chooseExport(PlotWidget& widget)
{
    auto* dialog = new QFileDialog(&widget, QObject::tr("Export Plot"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setNameFilters({QObject::tr("Image (*.png)"), QObject::tr("Drawing (*.svg)"),
        QObject::tr("Document (*.pdf)"), QObject::tr("Numbers (*.csv)")});
    dialog->setDefaultSuffix(QStringLiteral("png"));
    QObject::connect(dialog, &QFileDialog::filterSelected, dialog, [dialog](const QString& filter) {
        dialog->setDefaultSuffix(filter.section(QLatin1Char('.'), -1).chopped(1));
    });
    QObject::connect(dialog, &QFileDialog::fileSelected, &widget, [&widget](const QString& path) {
        const QPointer<PlotWidget> parent(&widget);
        widget.exportTo(path.toStdString(), [parent](const platform::Status& status) {
            if (status.ok())
                return;
            auto* box = new QMessageBox(
                QMessageBox::Warning, {}, toQt(status.error().text), QMessageBox::Ok, parent.data());
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->open();
        });
    });
    dialog->open();
}

} // namespace

PlotWidget::PlotWidget(Plot& plot) : adapter_(plot), canvas_(new PlotCanvas(plot))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(canvas_, 1);
    for (std::size_t i = 0; i < kMostSliders; ++i)
        layout->addWidget(new PlotSlider(plot, i));
    auto* readout = new QLabel(QStringLiteral(" "));
    readout->setAccessibleDescription(tr("Position"));
    layout->addWidget(readout);
    canvas_->whenRead = [readout](const std::string& text) {
        readout->setText(text.empty() ? QStringLiteral(" ") : toQt(text));
    };
    canvas_->setAccessibleName(toQt(plot.accessibleName()));
    makeActions();
}

void PlotWidget::printOn(QPrinter& printer)
{
    QCPPainter painter(&printer);
    const QRect page = printer.pageLayout().paintRectPixels(printer.resolution());
    const double scale = std::min(static_cast<double>(page.width()) / std::max(1, canvas_->width()),
        static_cast<double>(page.height()) / std::max(1, canvas_->height()));
    painter.setMode(QCPPainter::pmVectorized);
    painter.setMode(QCPPainter::pmNoCaching);
    painter.scale(scale, scale);
    canvas_->paintOnPaper(painter);
}

// Keys without a modifier are the canvas's, since a slider or a list has a use of its own for them.
void PlotWidget::makeActions()
{
    const auto add = [this](const QString& title, const QKeySequence& key, auto act) {
        auto* action = new QAction(title, this);
        const bool isPlainKey = key[0].keyboardModifiers() == Qt::NoModifier;
        action->setShortcut(key);
        action->setShortcutContext(isPlainKey ? Qt::WidgetShortcut : Qt::WidgetWithChildrenShortcut);
        connect(action, &QAction::triggered, this, [this, act](bool isChecked) {
            if (Plot* plot = canvas_->plot())
                act(*plot, isChecked);
        });
        isPlainKey ? canvas_->addAction(action) : addAction(action);
        actions_.append(action);
        return action;
    };
    using Direction = Plot::Direction;
    isXLogarithmic_ = add(tr("Logarithmic X Axis"), Qt::Key_X,
        [](Plot& plot, bool isChecked) { plot.setLogarithmic(Direction::X, isChecked); });
    isYLogarithmic_ = add(tr("Logarithmic Y Axis"), Qt::Key_Y,
        [](Plot& plot, bool isChecked) { plot.setLogarithmic(Direction::Y, isChecked); });
    keepsProportions_ = add(tr("Keep Proportions"), Qt::Key_P,
        [](Plot& plot, bool isChecked) { plot.setKeepsProportions(isChecked); });
    for (QAction* action : {isXLogarithmic_, isYLogarithmic_, keepsProportions_})
        action->setCheckable(true);
    add(tr("Show All"), Qt::Key_0, [](Plot& plot, bool) { plot.showAll(); });
    play_ = add(
        tr("Play"), Qt::Key_Space, [](Plot& plot, bool) { plot.isPlaying() ? plot.pause() : plot.play(); });
    add(tr("Export\u2026"), Qt::CTRL | Qt::Key_E, [this](Plot&, bool) { chooseExport(*this); });
    add(tr("Print\u2026"), Qt::CTRL | Qt::Key_P, [this](Plot&, bool) { choosePrinter(*this); });
    adapter_.follow([this](const Plot& plot) {
        isXLogarithmic_->setChecked(plot.axis(Direction::X).isLogarithmic());
        isYLogarithmic_->setChecked(plot.axis(Direction::Y).isLogarithmic());
        isXLogarithmic_->setEnabled(!plot.content()->image);
        isYLogarithmic_->setEnabled(!plot.content()->image);
        keepsProportions_->setChecked(plot.keepsProportions());
        play_->setText(plot.isPlaying() ? tr("Pause") : tr("Play"));
        play_->setEnabled(plot.movingSlider());
    });
}

PlotWidget::~PlotWidget() = default;

void PlotWidget::exportTo(const std::string& path, const Saved& saved)
{
    const QString name = toQt(path);
    const QString kind = QFileInfo(name).suffix().toLower();
    if (kind == QLatin1String("csv") && canvas_->plot())
        savings().addOperation(std::make_shared<SavingOfNumbers>(canvas_->plot()->content(), path, saved));
    else if (kind == QLatin1String("png"))
        saved(written(canvas_->savePng(name, 0, 0, kPixelsForPng), path));
    else if (kind == QLatin1String("pdf"))
        saved(written(canvas_->savePdf(name), path));
    else if (kind == QLatin1String("svg"))
        saved(written(saveAsSvg(*canvas_, name), path));
    else
        saved(platform::Error{path + ": plots are saved as .png, .svg, .pdf or .csv."});
}

void PlotWidget::contextMenuEvent(QContextMenuEvent* event)
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addActions(actions_);
    menu->popup(event->globalPos());
}
