#pragma once

class QWidget;

namespace toolkit {
class Button;
class CheckBox;
class PopUp;
class ProgressBar;
class Label;
class TextField;
class TextView;
} // namespace toolkit

// Widgets for the controls of the toolkit. A widget and its model may go in either order; the caller owns the
// widget.
QWidget* makeButton(toolkit::Button& button);
QWidget* makeCheckBox(toolkit::CheckBox& box);
QWidget* makePopUp(toolkit::PopUp& popUp);
QWidget* makeProgressBar(toolkit::ProgressBar& bar);
QWidget* makeTextField(toolkit::TextField& field);
QWidget* makeLabel(toolkit::Label& label);
QWidget* makeTextView(toolkit::TextView& view);
