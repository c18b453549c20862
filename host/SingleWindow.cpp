#include "host/SingleWindow.h"

#include "Foundation/NSRunLoop.h"

#include <algorithm>
#include <systemd/sd-bus.h>
#include <utility>

namespace {

constexpr const char* applicationInterface = "org.freedesktop.Application";
constexpr double secondsForTheBus = 2;
constexpr double secondsForTheOther = 5; // which may just be starting
constexpr int mostAttempts = 3;          // others may end while they are asked

/// As the interface has it.
std::string pathOfName(std::string name) {
    std::replace(name.begin(), name.end(), '.', '/');
    std::replace(name.begin(), name.end(), '-', '_');
    return "/" + name;
}

void unreference(sd_bus_message* message) { sd_bus_message_unref(message); }

} // namespace

struct SingleWindow::Wire {
    static int answered(sd_bus_message* message, void* self, sd_bus_error*) {
        static_cast<SingleWindow*>(self)->answer.reset(sd_bus_message_ref(message));
        return 1;
    }

    static int called(sd_bus_message* message, void* self, sd_bus_error*) {
        if (sd_bus_message_is_method_call(message, applicationInterface, "Activate") == 0) {
            return 0;
        }
        static_cast<SingleWindow*>(self)->show();
        return sd_bus_reply_method_return(message, nullptr);
    }
};

SingleWindow::SingleWindow(const std::string& address, std::string busName)
    : name(std::move(busName)), path(pathOfName(name)), answer(nullptr, unreference) {
    const bool started = !address.empty() && sd_bus_new(&bus) >= 0 &&
                         sd_bus_set_address(bus, address.c_str()) >= 0 &&
                         sd_bus_set_bus_client(bus, 1) >= 0 &&
                         sd_bus_add_object(bus, nullptr, path.c_str(), Wire::called, this) >= 0 &&
                         sd_bus_start(bus) >= 0;
    if (!started) {
        leave();
    }
}

bool SingleWindow::isShownByAnother() {
    watch();
    bool shown = false, again = bus != nullptr;
    for (int attempt = 0; attempt < mostAttempts && again && !takesName(); ++attempt) {
        const Answer reply = askOther();
        again = reply && sd_bus_message_is_method_error(reply.get(), nullptr) != 0;
        shown = reply && !again;
    }
    unwatch(); // nobody is answered before there is a window
    return shown;
}

/// Says also yes when there is nothing to be learnt about others.
bool SingleWindow::takesName() {
    sd_bus_request_name_async(bus, nullptr, name.c_str(), 0, Wire::answered, this);
    const Answer reply = answerWithin(secondsForTheBus);
    std::uint32_t result = 0;
    constexpr std::uint32_t another = 3; // has the name
    return !reply || sd_bus_message_read(reply.get(), "u", &result) < 0 || result != another;
}

SingleWindow::Answer SingleWindow::askOther() {
    sd_bus_call_method_async(bus, nullptr, name.c_str(), path.c_str(), applicationInterface,
                             "Activate", Wire::answered, this, "a{sv}", 0);
    return answerWithin(secondsForTheOther);
}

/// None where it does not come in time, or the bus is gone.
SingleWindow::Answer SingleWindow::answerWithin(double seconds) {
    answer.reset();
    process();
    NSRunLoop::mainRunLoop().runUntil([this] { return answer || descriptor < 0; },
                                      Clock::current().now() + durationOfSeconds(seconds));
    return std::exchange(answer, Answer(nullptr, unreference));
}

void SingleWindow::serve(std::function<void()> newShow) {
    show = std::move(newShow);
    watch();
    process(); // what has come already does not make the descriptor readable
}

void SingleWindow::leave() {
    unwatch();
    bus = sd_bus_close_unref(bus);
}

void SingleWindow::watch() {
    if (bus != nullptr) {
        descriptor = sd_bus_get_fd(bus);
        NSRunLoop::mainRunLoop().addDescriptor(descriptor,
                                               static_cast<std::uint32_t>(sd_bus_get_events(bus)),
                                               [this](std::uint32_t) { process(); });
    }
}

void SingleWindow::unwatch() {
    NSRunLoop::mainRunLoop().removeDescriptor(std::exchange(descriptor, -1));
}

/// Before there is a window, up to the answer that is waited for and no further.
void SingleWindow::process() {
    int result = 1;
    while (descriptor >= 0 && result > 0 && (show || !answer)) {
        result = sd_bus_process(bus, nullptr);
    }
    const int events = descriptor >= 0 && result >= 0 ? sd_bus_get_events(bus) : -1;
    if (events < 0) {
        leave();
    } else {
        NSRunLoop::mainRunLoop().changeDescriptor(descriptor, static_cast<std::uint32_t>(events));
    }
}
