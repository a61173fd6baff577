#pragma once

#include "toolkit/TextLines.h"

#include <QWidget>
#include <memory>
#include <optional>

class LineView;
class QCheckBox;
class QLabel;
class QLineEdit;
class QToolButton;

// The bar that searches the text of a line view: from the caret on, or back from it. The hit is selected.
class FindBar final : public QWidget {
public:
    explicit FindBar(LineView& view); // Beside this one in the same parent.

    void open(); // What is selected in one line becomes what is looked for.
    void find(bool isBackward); // Opens the bar when there is nothing to look for yet.
    void close(); // Ends the search.
    void textChanged(); // The view may show another text.

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    toolkit::TextPlace placeToStart(bool isBackward) const;
    std::optional<toolkit::TextQuery> query(bool isBackward);
    void found(const platform::Result<std::optional<toolkit::TextHit>>& result);
    void show(const toolkit::TextHit& hit);
    void say(const QString& words);

    LineView& view_;
    QLineEdit* text_;
    QCheckBox* isCaseSensitive_;
    QCheckBox* isExpression_;
    QLabel* answer_;
    QToolButton* stop_;
    std::unique_ptr<toolkit::TextSearching> search_; // Null while none is under way.
    std::optional<toolkit::TextHit> lastHit_;
    QString lastText_; // That was looked for.
    const toolkit::TableDataSource* source_ = nullptr; // Of the text that was searched; only compared.
};
