// A message of the settings application's own, above the pane. It makes the window higher while it
// is there, and leaves the pane as large as it is.
#pragma once

#include "AppKit/NSTextFieldLabel.h"
#include "AppKit/NSWindow.h"

#include <functional>
#include <QPushButton>

class MessageBar : public QWidget {
public:
    /// Hidden at first. The window owns it.
    explicit MessageBar(NSWindow& window);

    /// `action` is the title of a button before "Show Log"; empty for none.
    void showMessage(const QString& message, const QString& actionTitle);
    void goAway();

    void onAction(std::function<void()> handler);
    void onShowLog(std::function<void()> handler);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    int heightWithoutBar() const;
    void giveHeight(int height);
    int fitHeight(int width);

    NSWindow& window;
    NSTextFieldLabel* text;
    QPushButton *action, *log;
};
