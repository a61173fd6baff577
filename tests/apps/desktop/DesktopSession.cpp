#include "apps/desktop/DesktopSession.h"

#include "platform/files/Descriptor.h"

#include <array>
#include <atspi/atspi.h>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int kMostMillisecondsOfACall = 4000;
constexpr int kDeepestSearch = 30;

std::string owned(char* text)
{
    std::string copy = text ? text : "";
    g_free(text);
    return copy;
}

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

// What an object offers of one kind, such as its text; null for nothing.
template <class T>
Owned<T> facet(const std::shared_ptr<AtspiAccessible>& object, T* (*of)(AtspiAccessible*))
{
    return Owned<T>(object ? of(object.get()) : nullptr);
}

bool hasState(const std::shared_ptr<AtspiAccessible>& object, AtspiStateType state)
{
    const auto states = facet(object, atspi_accessible_get_state_set);
    return states && atspi_state_set_contains(states.get(), state);
}

void pause(double seconds)
{
    const timespec time{0, static_cast<long>(seconds * 1e9)};
    ::nanosleep(&time, nullptr);
}

double now()
{
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// The first line that a program writes into its end of a pipe.
std::string lineFrom(const platform::Descriptor& pipe)
{
    std::string line;
    char c = 0;
    while (::read(pipe.get(), &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

std::pair<platform::Descriptor, platform::Descriptor> makePipe()
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::runtime_error("no pipe");
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    return {platform::Descriptor(ends[0]), platform::Descriptor(ends[1])};
}

// Runs a tool to its end; whether it succeeded.
bool run(const std::vector<std::string>& command)
{
    std::string line;
    for (const std::string& word : command)
        line += "'" + word + "' ";
    return std::system((line + ">/dev/null 2>&1 </dev/null").c_str()) == 0;
}

void setEnvironment(const TemporaryFolder& folder)
{
    for (const char* variable :
        {"WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "QT_STYLE_OVERRIDE", "AT_SPI_BUS_ADDRESS"})
        ::unsetenv(variable);
    std::ignore = platform::files::createDirectory(folder / "home", platform::files::kOwnersFolder);
    std::ignore = platform::files::createDirectory(folder / "run", platform::files::kOwnersFolder);
    const std::pair<const char*, std::string> settings[] = {{"HOME", folder / "home"},
        {"XDG_RUNTIME_DIR", folder / "run"}, {"TRELKIND_PLACES", folder / "places"}, {"LC_ALL", "C.UTF-8"},
        {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}, {"NO_AT_BRIDGE", "0"}, {"QT_FORCE_STDERR_LOGGING", "1"}};
    for (const auto& [name, value] : settings)
        ::setenv(name, value.c_str(), 1);
}

} // namespace

bool waitFor(const std::function<bool()>& condition, double seconds)
{
    for (const double end = now() + seconds; now() < end; pause(0.05))
        if (condition())
            return true;
    return condition();
}

Accessible::Accessible(AtspiAccessible* owned)
    : object_(owned, [](AtspiAccessible* object) {
          if (object)
              g_object_unref(object);
      })
{ }

std::string Accessible::name() const
{
    return object_ ? owned(atspi_accessible_get_name(object_.get(), nullptr)) : "";
}

std::string Accessible::role() const
{
    return object_ ? owned(atspi_accessible_get_role_name(object_.get(), nullptr)) : "";
}

bool Accessible::isShowing() const
{
    return hasState(object_, ATSPI_STATE_SHOWING);
}

bool Accessible::isEnabled() const
{
    return hasState(object_, ATSPI_STATE_ENABLED);
}

std::string Accessible::text() const
{
    const auto text = facet(object_, atspi_accessible_get_text_iface);
    const int length = text ? atspi_text_get_character_count(text.get(), nullptr) : 0;
    return text ? owned(atspi_text_get_text(text.get(), 0, length, nullptr)) : "";
}

std::vector<Accessible> Accessible::children() const
{
    std::vector<Accessible> found;
    const int count = object_ ? atspi_accessible_get_child_count(object_.get(), nullptr) : 0;
    for (int i = 0; i < count; ++i)
        if (AtspiAccessible* child = atspi_accessible_get_child_at_index(object_.get(), i, nullptr))
            found.emplace_back(child);
    return found;
}

Accessible Accessible::find(const std::string& wantedRole, const std::string& wantedName) const
{
    const std::function<Accessible(const Accessible&, int)> search = [&](const Accessible& in, int depth) {
        for (const Accessible& child : in.children()) {
            const std::string kind = child.role();
            if (kind == wantedRole && child.name() == wantedName)
                return child;
            if (depth < kDeepestSearch && kind != "table" && kind != "tree" && kind != "list")
                if (const Accessible found = search(child, depth + 1))
                    return found;
        }
        return Accessible(nullptr);
    };
    return search(*this, 0);
}

int Accessible::rows() const
{
    const auto table = facet(object_, atspi_accessible_get_table_iface);
    return table ? atspi_table_get_n_rows(table.get(), nullptr) : -1;
}

Accessible Accessible::cell(int row, int column) const
{
    const auto table = facet(object_, atspi_accessible_get_table_iface);
    return Accessible(table ? atspi_table_get_accessible_at(table.get(), row, column, nullptr) : nullptr);
}

bool Accessible::press() const
{
    const auto action = facet(object_, atspi_accessible_get_action_iface);
    return action && atspi_action_do_action(action.get(), 0, nullptr);
}

Accessible::Place Accessible::place() const
{
    const auto component = facet(object_, atspi_accessible_get_component_iface);
    AtspiRect* rect =
        component ? atspi_component_get_extents(component.get(), ATSPI_COORD_TYPE_SCREEN, nullptr) : nullptr;
    const Place place = rect ? Place{rect->x, rect->y, rect->width, rect->height} : Place();
    g_free(rect);
    return place;
}

DesktopSession::DesktopSession()
{
    setEnvironment(folder_);
    auto [display, displayEnd] = makePipe();
    services_.push_back(start({"Xvfb", "-displayfd", std::to_string(displayEnd.get()), "-screen", "0",
                                  "1280x1024x24", "-nolisten", "tcp", "-noreset"},
        displayEnd.get()));
    displayEnd.reset();
    ::setenv("DISPLAY", (":" + lineFrom(display)).c_str(), 1);

    auto [bus, busEnd] = makePipe();
    services_.push_back(start({"dbus-daemon", "--session", "--nofork", "--nopidfile",
                                  "--print-address=" + std::to_string(busEnd.get())},
        busEnd.get()));
    busEnd.reset();
    ::setenv("DBUS_SESSION_BUS_ADDRESS", lineFrom(bus).c_str(), 1);
    services_.push_back(start({"openbox"}));
    atspi_init();
    atspi_set_timeout(kMostMillisecondsOfACall, kMostMillisecondsOfACall);
}

DesktopSession::~DesktopSession()
{
    end(programs_);
    atspi_exit();
    end(services_);
}

void DesktopSession::end(std::vector<pid_t>& processes)
{
    for (auto process = processes.rbegin(); process != processes.rend(); ++process) {
        ::kill(-*process, SIGTERM);
        if (!waitFor([process] { return ::waitpid(*process, nullptr, WNOHANG) != 0; }, 5)) {
            ::kill(-*process, SIGKILL);
            ::waitpid(*process, nullptr, 0);
        }
    }
    processes.clear();
}

pid_t DesktopSession::start(const std::vector<std::string>& command, int keptDescriptor)
{
    std::vector<char*> words;
    for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    const std::string log = folder_ / "log";
    const pid_t process = ::fork();
    if (process == 0) {
        ::setsid();
        const int null = ::open("/dev/null", O_RDONLY);
        const int words_ = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        ::dup2(null, STDIN_FILENO);
        ::dup2(words_, STDOUT_FILENO);
        ::dup2(words_, STDERR_FILENO);
        for (int descriptor = STDERR_FILENO + 1; descriptor < 64; ++descriptor)
            if (descriptor != keptDescriptor)
                ::close(descriptor);
        ::execvp(words[0], words.data());
        ::_exit(127);
    }
    return process;
}

void DesktopSession::launch(const std::vector<std::string>& command)
{
    std::ignore = platform::files::remove(folder_ / "log");
    programs_.push_back(start(command));
}

void DesktopSession::endPrograms()
{
    end(programs_);
}

std::string DesktopSession::log() const
{
    return platform::files::readFile(folder_ / "log").value_or("");
}

Accessible DesktopSession::program(const std::string& name) const
{
    for (const Accessible& running : Accessible(atspi_get_desktop(0)).children())
        if (running.name() == name)
            return running;
    return Accessible(nullptr);
}

void DesktopSession::key(const std::string& keys) const
{
    run({"xdotool", "key", "--clearmodifiers", keys});
}

void DesktopSession::type(const std::string& text) const
{
    run({"xdotool", "type", "--clearmodifiers", "--delay", "15", text});
}

void DesktopSession::click(const Accessible& object, int button) const
{
    // A window that has just come is still being moved to its place.
    Accessible::Place place;
    waitFor([&] {
        const auto before = std::exchange(place, object.place());
        return place.width > 0 && place.x == before.x && place.y == before.y;
    });
    run({"xdotool", "mousemove", std::to_string(place.x + place.width / 2),
        std::to_string(place.y + place.height / 2), "click", std::to_string(button)});
}

void DesktopSession::takeDisplayFrom(const std::string& title) const
{
    run({"xdotool", "search", "--onlyvisible", "--name", title, "windowkill"});
}

bool DesktopSession::screenshot(const std::string& path) const
{
    return run({"import", "-window", "root", path}) && platform::files::size(path).value_or(0) > 0;
}
