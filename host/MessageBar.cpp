#include "host/MessageBar.h"

#include <QAccessible>
#include <QBoxLayout>
#include <QCoreApplication>
#include <QPainter>
#include <QStyle>
#include <utility>

namespace {

class Text {
    Q_DECLARE_TR_FUNCTIONS(MessageBar)

public:
    static QString showLog() { return tr("Show Log"); }
};

QPushButton* addButton(const QString& name, QBoxLayout& row) {
    auto* button = new QPushButton;
    button->setObjectName(name);
    row.addWidget(button);
    return button;
}

} // namespace

MessageBar::MessageBar(NSWindow& window) : window(window), text(new NSTextFieldLabel) {
    auto* row = new QHBoxLayout(this);
    auto* icon = new QLabel;
    const int size = style()->pixelMetric(QStyle::PM_LargeIconSize);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(size));
    row->addWidget(icon);
    text->setObjectName("messageText");
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    row->addWidget(text, 1);
    action = addButton("messageAction", *row);
    log = addButton("messageShowLog", *row);
    log->setText(Text::showLog());
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    hide();
    if (auto* column = qobject_cast<QBoxLayout*>(window.layout())) {
        column->setSpacing(0); // the bar's height is all that it adds
        column->insertWidget(0, this);
    }
}

void MessageBar::showMessage(const QString& message, const QString& actionTitle) {
    const int paneHeight = heightWithoutBar();
    text->setStringValue(message.toStdString());
    action->setText(actionTitle);
    action->setVisible(!actionTitle.isEmpty());
    giveHeight(paneHeight + fitHeight(window.width()));
    show(); // when there is room, or the pane would scroll
    QAccessibleEvent alert(text, QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void MessageBar::goAway() {
    if (!isHidden()) {
        const int paneHeight = heightWithoutBar();
        text->setStringValue("");
        hide();
        giveHeight(paneHeight);
    }
}

int MessageBar::heightWithoutBar() const { return window.height() - (isHidden() ? 0 : height()); }

/// The window changes its height, so that the pane need not.
void MessageBar::giveHeight(int height) {
    if (!window.isMaximized() && !window.isFullScreen()) {
        window.resize(window.width(), height);
    }
}

/// Fixed, or the window would have to be as high as its narrowest width asks for.
int MessageBar::fitHeight(int width) {
    layout()->invalidate(); // it knows the buttons as they were
    const int own = layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width)
                                                  : layout()->totalSizeHint().height();
    setFixedHeight(own);
    return own;
}

void MessageBar::resizeEvent(QResizeEvent*) { fitHeight(width()); }

void MessageBar::onAction(std::function<void()> handler) {
    connect(action, &QPushButton::clicked, this, std::move(handler));
}

void MessageBar::onShowLog(std::function<void()> handler) {
    connect(log, &QPushButton::clicked, this, std::move(handler));
}

/// A touch of a warning's colour, on a light desktop and on a dark one.
void MessageBar::paintEvent(QPaintEvent*) {
    constexpr QColor warning(246, 158, 0, 56);
    QPainter(this).fillRect(rect(), warning);
}
