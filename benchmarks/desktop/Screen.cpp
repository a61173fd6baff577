#include "desktop/Screen.h"

#include "platform/files/Descriptor.h"
#include "platform/loop/Pace.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

constexpr double kSecondsToWait = 20;
constexpr int kSmallestWindow = 200;

template <class T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <class T>
Reply<T> held(T* reply)
{
    return Reply<T>(reply, &std::free);
}

} // namespace

Child::Child(const std::vector<std::string>& command, int inherited) : id_(::fork())
{
    if (id_ != 0)
        return;
    std::vector<char*> words;
    for (const std::string& word : command)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    if (inherited >= 0)
        ::fcntl(inherited, F_SETFD, 0);
    ::execvp(words[0], words.data());
    ::_exit(127);
}

Child::~Child()
{
    ::kill(id_, SIGTERM);
    ::waitpid(id_, nullptr, 0);
}

Screen::Screen()
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return;
    platform::Descriptor nameEnd(ends[0]);
    platform::Descriptor serverEnd(ends[1]);
    server_ = std::make_unique<Child>(
        std::vector<std::string>{"Xvfb", "-displayfd", std::to_string(serverEnd.get()), "-screen", "0",
            "1400x1100x24", "-nolisten", "tcp", "-noreset"},
        serverEnd.get());
    serverEnd.reset();
    std::string name = ":";
    for (char c = 0; ::read(nameEnd.get(), &c, 1) == 1 && c != '\n';)
        name += c;
    ::setenv("DISPLAY", name.c_str(), 1);
    connection_ = xcb_connect(name.c_str(), nullptr);
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    const std::uint32_t events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, root_, XCB_CW_EVENT_MASK, &events);
    xcb_flush(connection_);
}

Screen::~Screen()
{
    xcb_disconnect(connection_);
}

bool Screen::waitForWindow()
{
    const double end = platform::monotonicSeconds() + kSecondsToWait;
    std::uint32_t shown = 0;
    while (platform::monotonicSeconds() < end) {
        while (const auto event = held(xcb_poll_for_event(connection_)))
            if ((event->response_type & 0x7F) == XCB_MAP_NOTIFY)
                shown = reinterpret_cast<const xcb_map_notify_event_t*>(event.get())->window;
        if (shown != 0) {
            const auto place =
                held(xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, shown), nullptr));
            if (place && place->width > kSmallestWindow && isDrawn(shown, place->width, place->height))
                return true;
        }
        pollfd readable{xcb_get_file_descriptor(connection_), POLLIN, 0};
        ::poll(&readable, 1, 1);
    }
    return false;
}

// Before a window is drawn all of it has one color.
bool Screen::isDrawn(std::uint32_t window, int width, int height) const
{
    const auto image = held(xcb_get_image_reply(connection_,
        xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, static_cast<std::int16_t>(width / 2), 0,
            1, static_cast<std::uint16_t>(height), ~0U),
        nullptr));
    if (!image)
        return false;
    const auto* pixels = reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(image.get()));
    const int count = xcb_get_image_data_length(image.get()) / 4;
    return std::any_of(pixels, pixels + count, [pixels](std::uint32_t pixel) { return pixel != *pixels; });
}
