#include "Foundation/NSDistributedNotificationCenter.h"

#include "Foundation/NSException.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSString.h"
#include "Foundation/NSThread.h"
#include "Foundation/NSTimer.h"
#include "System/Machine.h"
#include "System/NotificationBus.h"
#include "System/ObserverList.h"
#include "System/UTF8.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <mutex>

namespace {

/// Work of one pass of the run loop. Reading is cheap and must keep up with the bus, which throws
/// away what a slow reader leaves lying for too long; observers take their time, and the window has
/// to answer in between.
constexpr int messagesReadInAPass = 256;
constexpr int notificationsDeliveredInAPass = 32;
constexpr int notificationsSentInAPass = 1024;
/// After which the rest of a pass waits for the next one. A window that answers within 16 ms seems
/// to do so at once.
constexpr std::chrono::milliseconds longestPass{4};
/// Below so many names nobody looks for those that no observer is left for.
constexpr std::size_t fewNames = 64;
/// With so many read and not delivered, the rest waits in the bus.
constexpr std::size_t maximumReceived = 262'144;

constexpr double shortestRetry = 0.1;
constexpr double longestRetry = 10;
/// For a bus that takes the connection and then says nothing.
constexpr double joinTimeOut = 10;
/// At the end, how long the bus may do nothing before what is left is given up: 50 ms a try.
constexpr int flushTries = 20;
constexpr std::uint64_t flushWait = 50;

/// What a pass of the run loop has for one kind of work.
class Pass {
public:
    bool isLong() const { return Clock::current().now() - start >= longestPass; }

private:
    const Clock::Time start = Clock::current().now();
};

bool isFitText(const std::string& text) {
    return text.find('\0') == std::string::npos && isValidUTF8(text);
}

/// The form in which a notification travels. None for one that cannot, with the reason as a part of
/// a sentence.
std::optional<NotificationBus::Notification> travelling(const NSNotification& notification,
                                                        const char*& problem) {
    NotificationBus::Notification form{
        .name = notification.name, .object = notification.object.value_or(""), .userInfo = {}};
    bool fit = isFitText(form.name) && isFitText(form.object);
    if (notification.userInfo) {
        for (const auto& [key, value] : *notification.userInfo) {
            const std::string* text = value.string();
            fit = fit && text && isFitText(key) && isFitText(*text);
            if (fit) {
                form.userInfo.emplace_back(key, *text);
            }
        }
    }
    if (!fit || form.isTooLarge()) {
        problem = fit ? "it is too large" : "it holds something else than text";
        return std::nullopt;
    }
    return form;
}

NSNotification arrived(NotificationBus::Notification form) {
    NSNotification notification{
        .name = std::move(form.name), .object = std::nullopt, .userInfo = std::nullopt};
    if (!form.object.empty()) {
        notification.object = std::move(form.object);
    }
    if (!form.userInfo.empty()) {
        notification.userInfo.emplace();
        for (auto& [key, value] : form.userInfo) {
            notification.userInfo->setObject(std::move(value), key);
        }
    }
    return notification;
}

} // namespace

struct NSDistributedNotificationCenter::State {
    ~State() {
        flush();
        disconnect();
    }

    void use();
    void post(const NSNotification& notification);
    void forget();

    void join();
    void serve();
    void schedule();
    void read();
    void send();
    bool sendFirst();
    void deliver();
    void deliver(const NSNotification& notification);
    void lose();
    bool setAlone(bool newState);
    void disconnect();
    void flush();
    void watch();
    void sweep();
    const NotificationBus::Notification* firstPosted();
    void removeFirstPosted();

    std::map<std::string, ObserverList<Handler>> observers; // by name
    std::size_t sweepAt = fewNames;
    std::deque<NSNotification> received; // in the order of arrival, not yet delivered

    std::mutex mutex;                                 // guards posted
    std::deque<NotificationBus::Notification> posted; // not yet given to the bus
    std::atomic<bool> scheduled = false;

    std::unique_ptr<NotificationBus> bus;
    int descriptor = -1;       // the connection's, which sd-bus closes by itself when it is lost
    std::uint32_t watched = 0; // the events that the run loop watches it for
    bool saidHello = false;
    bool alone = false; // and said so
    std::function<void()> aloneHandler;
    double retry = shortestRetry;
    std::shared_ptr<NSTimer> timer; // of the next try, or of the one under way
    std::shared_ptr<void> life = std::make_shared<char>();
};

NSDistributedNotificationCenter& NSDistributedNotificationCenter::defaultCenter() {
    static NSDistributedNotificationCenter centre;
    return centre;
}

NSDistributedNotificationCenter::NSDistributedNotificationCenter() {
    // Both are needed until the end of this object, so they have to be there before it.
    NSRunLoop::mainRunLoop();
    Machine::current();
    state = std::make_unique<State>();
}

NSDistributedNotificationCenter::~NSDistributedNotificationCenter() = default;

void NSDistributedNotificationCenter::addObserver(const std::shared_ptr<void>& observer,
                                                  const std::string& name, Handler handler) {
    state->use();
    state->sweep();
    auto& ofName = state->observers[name];
    if (ofName.isEmpty() && state->bus) {
        state->bus->watchName(name);
        state->watch();
    }
    ofName.add(observer.get(), observer, std::move(handler));
}

void NSDistributedNotificationCenter::removeObserver(const void* observer,
                                                     const std::string& name) {
    const auto found = state->observers.find(name);
    if (found == state->observers.end()) {
        return;
    }
    found->second.remove(observer, [](const Handler&) { return true; });
    if (found->second.isEmpty()) {
        state->observers.erase(found);
        if (state->bus) {
            state->bus->unwatchName(name);
            state->watch();
        }
    }
}

void NSDistributedNotificationCenter::postNotification(const NSNotification& notification) {
    state->post(notification);
}

void NSDistributedNotificationCenter::postNotificationName(
    const std::string& name, const std::optional<std::string>& object) {
    postNotification({.name = name, .object = object, .userInfo = std::nullopt});
}

bool NSDistributedNotificationCenter::isAlone() const { return state->alone; }

void NSDistributedNotificationCenter::setAloneHandler(std::function<void()> handler) {
    state->aloneHandler = std::move(handler);
}

void NSDistributedNotificationCenter::reset() { state->forget(); }

/// What every use begins with: there is a connection, or a next try is due.
void NSDistributedNotificationCenter::State::use() {
    if (!bus && !timer) {
        join();
    }
}

void NSDistributedNotificationCenter::State::post(const NSNotification& notification) {
    const char* problem = nullptr;
    auto form = travelling(notification, problem);
    if (!form) {
        NSLog("Distributed notification %@ not posted: %@", notification.name, problem);
        return;
    }
    {
        const std::lock_guard lock(mutex);
        if (posted.size() >= maximumPosted) {
            NSLog("Distributed notification %@ not posted: too many are waiting",
                  notification.name);
            return;
        }
        posted.push_back(std::move(*form));
    }
    if (NSThread::isMainThread()) {
        use();
        send();
    } else {
        schedule();
    }
}

void NSDistributedNotificationCenter::State::forget() {
    flush();
    disconnect();
    received.clear();
    const std::lock_guard lock(mutex);
    posted.clear();
    retry = shortestRetry;
    alone = false;
}

void NSDistributedNotificationCenter::State::join() {
    bus = NotificationBus::join(Machine::current().sessionBusAddress(), [this](auto notification) {
        received.push_back(arrived(std::move(notification)));
    });
    if (!bus) {
        lose();
        return;
    }
    for (const auto& [name, ofName] : observers) {
        bus->watchName(name);
    }
    saidHello = false;
    descriptor = bus->fileDescriptor();
    watched = bus->events().value_or(PollSet::readable);
    NSRunLoop::mainRunLoop().addDescriptor(descriptor, watched, [this](std::uint32_t) { serve(); });
    timer = NSTimer::scheduledTimer(
        joinTimeOut, life, [this] { lose(); }, false);
}

/// One pass: what has come is read, what waits is sent, and a part of what was read is delivered.
void NSDistributedNotificationCenter::State::serve() {
    use();
    read();
    send();
    deliver();
    watch();
}

/// Has the main thread serve in its next pass; once, however often it is asked.
void NSDistributedNotificationCenter::State::schedule() {
    if (!scheduled.exchange(true)) {
        NSRunLoop::mainRunLoop().performBlock([this, alive = std::weak_ptr(life)] {
            if (alive.lock()) {
                scheduled = false;
                serve();
            }
        });
    }
}

void NSDistributedNotificationCenter::State::read() {
    auto result = NotificationBus::Processing::something;
    const Pass pass;
    for (int count = 0; bus && result == NotificationBus::Processing::something; ++count) {
        if (count == messagesReadInAPass || received.size() >= maximumReceived || pass.isLong()) {
            schedule();
            return;
        }
        result = bus->process();
    }
    if (result == NotificationBus::Processing::lost) {
        lose();
    } else if (bus && !saidHello && bus->isReady()) {
        saidHello = true;
        retry = shortestRetry;
        timer->invalidate();
        timer = nullptr;
        if (setAlone(false)) {
            NSLog("Session bus joined: distributed notifications reach other processes again");
        }
    }
}

/// Gives the bus what was posted, as far as it takes it; without one, this process is the only one
/// to be told.
void NSDistributedNotificationCenter::State::send() {
    int count = 0;
    while (count < notificationsSentInAPass && sendFirst()) {
        ++count;
    }
    if (count == notificationsSentInAPass) {
        schedule();
    }
    watch();
}

bool NSDistributedNotificationCenter::State::sendFirst() {
    const auto* first = firstPosted();
    if (!first) {
        return false;
    }
    if (!bus) {
        schedule();
        if (received.size() >= maximumReceived) {
            return false;
        }
        received.push_back(arrived(*first));
        removeFirstPosted();
        return true;
    }
    const auto result = bus->isReady() ? bus->send(*first) : NotificationBus::Sending::full;
    if (result == NotificationBus::Sending::done) {
        removeFirstPosted();
    } else if (result == NotificationBus::Sending::lost) {
        lose();
    }
    return result != NotificationBus::Sending::full;
}

/// Stays valid while other threads post: only the main thread takes away from the queue.
const NotificationBus::Notification* NSDistributedNotificationCenter::State::firstPosted() {
    const std::lock_guard lock(mutex);
    return posted.empty() ? nullptr : &posted.front();
}

void NSDistributedNotificationCenter::State::removeFirstPosted() {
    const std::lock_guard lock(mutex);
    posted.pop_front();
}

void NSDistributedNotificationCenter::State::deliver() {
    const Pass pass;
    for (int count = 0;
         count < notificationsDeliveredInAPass && !received.empty() && !pass.isLong(); ++count) {
        // Taken out first: an observer may run the loop, and with it the next delivery.
        const NSNotification notification = std::move(received.front());
        received.pop_front();
        deliver(notification);
    }
    if (!received.empty()) {
        schedule();
    }
}

void NSDistributedNotificationCenter::State::deliver(const NSNotification& notification) {
    const auto found = observers.find(notification.name);
    if (found == observers.end()) {
        return;
    }
    found->second.tellAll(
        [&](const Handler& handler) { reportExceptions([&] { handler(notification); }); });
}

/// Forgets the names whose observers all went without being removed, whenever the names have
/// doubled.
void NSDistributedNotificationCenter::State::sweep() {
    if (observers.size() < sweepAt) {
        return;
    }
    for (auto each = observers.begin(); each != observers.end();) {
        const bool isLeft = each->second.prune();
        if (!isLeft && bus) {
            bus->unwatchName(each->first);
        }
        each = isLeft ? std::next(each) : observers.erase(each);
    }
    sweepAt = std::max(fewNames, 2 * observers.size());
}

/// Lives on without the bus, and tries again after a while.
void NSDistributedNotificationCenter::State::lose() {
    disconnect();
    if (setAlone(true)) {
        NSLog("No session bus: distributed notifications stay within this process until there is "
              "one");
    }
    timer = NSTimer::scheduledTimer(
        retry, life, [this] { timer = nullptr, serve(); }, false);
    retry = std::min(retry * 2, longestRetry);
    schedule(); // what was posted for the bus stays in this process
}

/// Whether that is a change.
bool NSDistributedNotificationCenter::State::setAlone(bool newState) {
    const bool changes = std::exchange(alone, newState) != newState;
    if (changes && aloneHandler) {
        aloneHandler();
    }
    return changes;
}

void NSDistributedNotificationCenter::State::disconnect() {
    if (timer) {
        timer->invalidate();
        timer = nullptr;
    }
    if (bus) {
        NSRunLoop::mainRunLoop().removeDescriptor(descriptor);
        bus = nullptr;
    }
}

/// Waits, though not for ever, until everything posted has left this process. What comes meanwhile
/// is not for anybody any more.
void NSDistributedNotificationCenter::State::flush() {
    int tries = 0;
    while (bus && tries < flushTries && (firstPosted() || bus->hasUnsent())) {
        received.clear();
        read();
        send();
        if (bus && !bus->waitForBus(flushWait)) {
            ++tries;
        }
    }
    if (bus && tries < flushTries) {
        bus->settle();
    }
}

/// Keeps the run loop watching for what the connection waits for.
void NSDistributedNotificationCenter::State::watch() {
    if (!bus) {
        return;
    }
    const auto wanted = bus->events();
    if (!wanted) {
        schedule(); // lost, as the next read will find
        return;
    }
    const std::uint32_t events = received.size() < maximumReceived ? *wanted : 0;
    if (events != watched) {
        watched = events;
        NSRunLoop::mainRunLoop().changeDescriptor(descriptor, events);
    }
}
