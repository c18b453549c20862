// What a control of the pane shows at the moment, as scripts print it.
#pragma once

#include <QWidget>
#include <string>

struct ControlState {
    /// 0 or 1, a text, or the selected title.
    std::string value;
    bool enabled = true;
};

/// Raises NSInvalidArgumentException for a widget that shows no value.
ControlState stateOfControl(const QWidget& widget);
