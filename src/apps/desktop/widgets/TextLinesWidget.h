#pragma once

class QWidget;

namespace toolkit {
class TextLines;
} // namespace toolkit

// A text by lines with what belongs to it: the check boxes "Follow" and "Line numbers", the number of lines,
// and the bars that search and go to a line. While it is on display and followed, it looks for new lines each
// second. The caller owns the widget, which may outlive the text.
QWidget* makeTextLines(toolkit::TextLines& lines);
