#pragma once

#include "platform/TemporaryFolder.h"

#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

struct _AtspiAccessible;

// What a program shows to a screen reader: an object with a name, a role and parts.
class Accessible {
public:
    explicit Accessible(_AtspiAccessible* owned); // Null for what isn't there.

    explicit operator bool() const { return object_ != nullptr; }
    std::string name() const;
    std::string role() const;
    bool isShowing() const;
    bool isEnabled() const;
    std::string text() const; // Of a field.
    std::vector<Accessible> children() const;
    // The first object below this one, in depth, with that role and name; cells of tables aren't searched.
    Accessible find(const std::string& role, const std::string& name) const;

    int rows() const;
    Accessible cell(int row, int column) const;
    bool press() const; // The object's first action, as an assistive tool does it.

    struct Place {
        int x = 0, y = 0, width = 0, height = 0;
    };
    Place place() const; // On the screen.

private:
    std::shared_ptr<_AtspiAccessible> object_;
};

// A desktop of the test's own: a display with a window manager, a session bus, and the accessibility bus.
// What it starts ends with it.
class DesktopSession {
public:
    DesktopSession();
    ~DesktopSession();
    DesktopSession(const DesktopSession&) = delete;
    DesktopSession& operator=(const DesktopSession&) = delete;

    void launch(const std::vector<std::string>& command);
    void endPrograms(); // Those that were launched.
    std::string log() const;
    // The running program as it tells itself to assistive tools; nothing before it does.
    Accessible program(const std::string& name) const;

    // What a user does with keyboard and mouse. Keys as in "ctrl+r".
    void key(const std::string& keys) const;
    void type(const std::string& text) const;
    void click(const Accessible& object, int button = 1) const;
    // Cuts the program with that window off from the display.
    void takeDisplayFrom(const std::string& title) const;
    // The whole screen as a PNG file; whether there is one now.
    bool screenshot(const std::string& path) const;

private:
    pid_t start(const std::vector<std::string>& command, int keptDescriptor = -1);
    static void end(std::vector<pid_t>& processes);

    TemporaryFolder folder_;
    std::vector<pid_t> services_; // In the order of their start; each leads a group of its own.
    std::vector<pid_t> programs_;
};

// Asks again and again until the condition holds or so many seconds have passed.
bool waitFor(const std::function<bool()>& condition, double seconds = 20);
