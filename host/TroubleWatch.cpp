#include "host/TroubleWatch.h"

#include "Foundation/NSDistributedNotificationCenter.h"
#include "host/ControlState.h"
#include "host/LogWindow.h"
#include "System/Machine.h"
#include "System/ProcessDescriptor.h"

#include <chrono>
#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>

using namespace std::chrono_literals;

namespace {

/// One event brings others, and what is wrong for a moment only is nobody's business.
constexpr auto settlingTime = 1500ms;
constexpr auto pauseBetweenLooks = 5s;
/// A process that lives so long has not failed: launchd starts one again after ten seconds.
constexpr auto longLife = 12s;

class Text {
    Q_DECLARE_TR_FUNCTIONS(TroubleWatch)

public:
    static QString end() { return tr("End %1"); }
};

} // namespace

TroubleWatch::TroubleWatch(NSWindow& window, std::string client)
    : window(window), client(std::move(client)), bar(*new MessageBar(window)),
      paneSwitch(window.findChild<QWidget*>("masterSwitch")),
      looking([this] { return prepareLook(); }, [this](const Finding& finding) { take(finding); }) {
    soon.setSingleShot(true);
    soon.setInterval(settlingTime);
    connect(&soon, &QTimer::timeout, this, [this] { look(); });
    again.setInterval(pauseBetweenLooks);
    connect(&again, &QTimer::timeout, this, [this] { look(); });
    bar.onShowLog([this] { LogWindow::open(this->window); });
    bar.onAction(
        [this] { NSThread::detachNewThread([client = this->client] { endClient(client); }); });
    NSDistributedNotificationCenter::defaultCenter().setAloneHandler([this] { lookSoon(); });
    if (folders->fileDescriptor() >= 0) {
        folderNotifier =
            std::make_unique<QSocketNotifier>(folders->fileDescriptor(), QSocketNotifier::Read);
        connect(folderNotifier.get(), &QSocketNotifier::activated, this, [this] {
            folders->drain();
            lookSoon();
        });
    }
    window.installEventFilter(this);
    if (paneSwitch) {
        paneSwitch->installEventFilter(this);
    }
    lookSoon();
}

TroubleWatch::~TroubleWatch() {
    NSDistributedNotificationCenter::defaultCenter().setAloneHandler(nullptr);
}

/// A switch that changes is drawn, and a window that was away is shown.
bool TroubleWatch::eventFilter(QObject* object, QEvent* event) {
    if (object == &window && event->type() == QEvent::Show) {
        lookSoon();
    } else if (object == paneSwitch && event->type() == QEvent::Paint) {
        const auto now = std::pair(isShownOn(), isBusy());
        if (std::exchange(lastSwitch, now) != now) {
            lookSoon();
        }
    }
    return QObject::eventFilter(object, event);
}

void TroubleWatch::lookSoon() {
    if (!soon.isActive()) {
        soon.start();
    }
}

/// Not while the pane is at work: the end of that shows on its switch.
void TroubleWatch::look() {
    if (window.isVisible() && !isBusy()) {
        looking.start();
    }
}

std::function<Finding()> TroubleWatch::prepareLook() const {
    const bool livesLong =
        process != 0 && Machine::current().clock().now() - processSince >= longLife;
    const ClientState state{
        .identifier = client,
        .isShownOn = isShownOn(),
        .wasSeen = wasSeen,
        .hasSessionBus = !NSDistributedNotificationCenter::defaultCenter().isAlone(),
        .jobFailed = trouble && trouble->kind == Trouble::Kind::jobFails && !livesLong};
    return [state, folders = folders] {
        for (const auto& folder : foldersOfClient()) {
            folders->add(folder); // first, so that no change is missed
        }
        return lookForTrouble(state);
    };
}

void TroubleWatch::take(const Finding& finding) {
    follow(finding.process);
    if (QGuiApplication::mouseButtons() != Qt::NoButton) {
        lookSoon(); // the controls must not move under the pointer
    } else if (!isBusy()) {
        show(finding.trouble);
    }
}

/// Hears of the process's end.
void TroubleWatch::follow(pid_t newProcess) {
    wasSeen = newProcess != 0 || (wasSeen && isShownOn());
    if (newProcess == process) {
        return;
    }
    processNotifier = nullptr;
    process = newProcess;
    processSince = Machine::current().clock().now();
    processHandle = process != 0 ? descriptorOfProcess(process) : FileDescriptor();
    if (processHandle) {
        processNotifier =
            std::make_unique<QSocketNotifier>(processHandle.get(), QSocketNotifier::Read);
        connect(processNotifier.get(), &QSocketNotifier::activated, this, [this] {
            processNotifier->setEnabled(false);
            lookSoon();
        });
    }
}

void TroubleWatch::show(const std::optional<Trouble>& newTrouble) {
    const auto textOf = [](const auto& any) { return any ? any->text : QString(); };
    const auto before = textOf(std::exchange(trouble, newTrouble));
    if (!trouble) {
        again.stop();
        bar.goAway();
        return;
    }
    again.start();
    if (before != trouble->text) {
        const bool canEnd = trouble->kind == Trouble::Kind::clientStays;
        bar.showMessage(trouble->text,
                        canEnd ? Text::end().arg(QString::fromStdString(nameOfClient(client)))
                               : QString());
    }
}

bool TroubleWatch::isBusy() const { return paneSwitch && !stateOfControl(*paneSwitch).enabled; }

bool TroubleWatch::isShownOn() const {
    return paneSwitch && stateOfControl(*paneSwitch).value == "1";
}
