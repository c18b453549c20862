// Draws the pictures of the switch in pictures/: on a light and on a dark window, at scale 1 and 2.
// From left to right: the knob's images at rest, pressed and disabled; then the empty track, off,
// on, pressed, off and on while disabled, and on with the keyboard's focus.
//
//   QT_QPA_PLATFORM=offscreen SwitchPictures FOLDER
#include "pane/QVSwitch.h"
#include "pane/QVSwitchButtonCALayer.h"

#include <cstdio>
#include <QApplication>
#include <QPainter>
#include <QPixmap>

namespace {

constexpr int gap = 12;

/// Shows one image of the knob as it is.
class KnobImage : public QWidget {
public:
    KnobImage(CGImageRef image, QWidget* parent) : QWidget(parent), image(std::move(image)) {
        resize(40, 20);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        const double scale = painter.deviceTransform().m11();
        painter.drawImage(rect(), image->rendition(size() * scale));
    }

private:
    CGImageRef image;
};

/// A window with everything on it, side by side.
class Sheet : public QWidget {
public:
    explicit Sheet(const QPalette& palette) {
        setPalette(palette);
        QVSwitchButtonCALayer knob;
        const auto& shown = *knob.sublayers().front();
        add(new KnobImage(shown.contents(), this));
        knob.mouseDown({});
        add(new KnobImage(shown.contents(), this));
        knob.setEnabled(false);
        add(new KnobImage(shown.contents(), this));

        addSwitch(false)->layer()->sublayers().front()->setHidden(true);
        addSwitch(false);
        addSwitch(true);
        addSwitch(false)->setEnabled(true); // which shows the pressed image
        addSwitch(false)->setEnabled(false);
        addSwitch(true)->setEnabled(false);
        QVSwitch* focused = addSwitch(true);
        resize(place, 27 + 2 * gap);
        show();
        activateWindow();
        QApplication::processEvents(); // it has to be active before it can show who has the focus
        focused->setFocus(Qt::TabFocusReason);
        QApplication::processEvents();
    }

private:
    void add(QWidget* widget) {
        widget->move(place, gap);
        place += widget->width() + gap;
    }

    QVSwitch* addSwitch(bool on) {
        auto* view = new QVSwitch(this);
        view->resize(94, 27);
        view->awakeFromNib();
        view->setOn(on, false);
        add(view);
        return view;
    }

    int place = gap;
};

QPalette darkPalette() {
    QPalette palette(QColor(42, 46, 50));
    palette.setColor(QPalette::Highlight, QColor(61, 174, 233));
    return palette;
}

bool savePicture(Sheet& sheet, int scale, const QString& path) {
    QPixmap picture(sheet.size() * scale);
    picture.setDevicePixelRatio(scale);
    sheet.render(&picture);
    return picture.save(path);
}

} // namespace

int main(int count, char** arguments) {
    const QApplication application(count, arguments);
    if (count != 2) {
        std::fprintf(stderr, "usage: SwitchPictures FOLDER\n");
        return 2;
    }
    bool saved = true;
    for (const bool dark : {false, true}) {
        Sheet sheet(dark ? darkPalette() : QPalette(QColor(239, 240, 241)));
        for (const int scale : {1, 2}) {
            saved = savePicture(sheet, scale,
                                QString("%1/switch-%2-%3x.png")
                                    .arg(arguments[1], dark ? "dark" : "light")
                                    .arg(scale)) &&
                    saved;
        }
    }
    return saved ? 0 : 1;
}
