// Shows a view whatever room there is: in a column in the middle where there is more than is good
// to read in, and with scroll bars where there is less. Main thread only.
#pragma once

#include <QScrollArea>

class NSScrollView : public QScrollArea {
public:
    /// The view stays its owner's, who takes it back before this is gone.
    explicit NSScrollView(QWidget* documentView);

    /// As large as the view wants to be.
    QSize sizeHint() const override;

    /// Scrolls so far that the widget, which may lie anywhere in a scroll view or in none, is seen.
    static void scrollToVisible(QWidget& widget);
};
