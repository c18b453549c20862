// One window a user: the program that shows a pane has the pane's name on the session bus, and who
// starts a second one gets to see the first. In the desktops' own words,
// org.freedesktop.Application.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

struct sd_bus;
struct sd_bus_message;

/// Main thread only. Without a bus, or with one that does not answer, every program is the only
/// one.
class SingleWindow {
public:
    /// Starts to join the bus at the address.
    SingleWindow(const std::string& address, std::string name);
    ~SingleWindow() { leave(); }
    SingleWindow(const SingleWindow&) = delete;
    SingleWindow& operator=(const SingleWindow&) = delete;

    /// Takes the name; where another program has it, asks that one to show its window, and says
    /// whether it did. Serves the run loop meanwhile, for some seconds at most. Before there is a
    /// window; others who ask wait until serve.
    bool isShownByAnother();
    /// From now on others who start the program have `show` called.
    void serve(std::function<void()> show);
    /// Gives the name away. Others who wait for an answer try again.
    void leave();

private:
    struct Wire; // the callbacks of sd-bus
    using Answer = std::unique_ptr<sd_bus_message, void (*)(sd_bus_message*)>;

    bool takesName();
    Answer askOther();
    Answer answerWithin(double seconds);
    void watch();
    void unwatch();
    void process();

    const std::string name, path;
    sd_bus* bus = nullptr;
    Answer answer;       // to the last call
    int descriptor = -1; // while the run loop watches it
    std::function<void()> show;
};
