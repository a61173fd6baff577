#pragma once

#include <string>

// Shows a note outside of the windows, by the notification service of the desktop. Nothing happens while the
// user works in one of our windows, and where there is no such service. Main thread.
void showNotification(const std::string& title, const std::string& text);
