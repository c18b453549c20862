#include "AppKit/NSNib.h"

#include "AppKit/NSViewRegistry.h"
#include "AppKit/Translation.h"
#include "Foundation/NSException.h"
#include "Foundation/NSObject.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QLayout>
#include <QUiLoader>
#include <QWidget>

namespace {

/// Makes this layer's and the plug-ins' views besides Qt's own widgets.
class Loader : public QUiLoader {
public:
    std::string unknownClass;

    QWidget* createWidget(const QString& className, QWidget* parent, const QString& name) override {
        if (QWidget* view = makeView(className.toStdString(), parent)) {
            view->setObjectName(name);
            return view;
        }
        if (!availableWidgets().contains(className)) {
            // Remembered, since the loader would go on with the base class instead.
            unknownClass = className.toStdString();
            return new QWidget(parent);
        }
        return QUiLoader::createWidget(className, parent, name);
    }
};

/// While one lives, Qt knows no plug-in folders: a loader made meanwhile does not load Designer's
/// plug-ins, which no layout file of ours needs and which cost more than the rest of the loading.
class WithoutPlugins {
public:
    WithoutPlugins() : before(QCoreApplication::libraryPaths()) {
        QCoreApplication::setLibraryPaths({});
    }
    ~WithoutPlugins() { QCoreApplication::setLibraryPaths(before); }
    WithoutPlugins(const WithoutPlugins&) = delete;
    WithoutPlugins& operator=(const WithoutPlugins&) = delete;

private:
    QStringList before;
};

std::unique_ptr<Loader> makeLoader() {
    const WithoutPlugins without;
    return std::make_unique<Loader>();
}

/// The loader tells of a broken file by its result and on the console; once is enough.
std::unique_ptr<QWidget> loadQuietly(Loader& loader, QFile& file) {
    const auto before = qInstallMessageHandler([](auto, const auto&, const auto&) {});
    std::unique_ptr<QWidget> view(loader.load(&file));
    qInstallMessageHandler(before);
    return view;
}

QList<QWidget*> allWidgets(QWidget& view) {
    return QList<QWidget*>{&view} + view.findChildren<QWidget*>();
}

} // namespace

std::unique_ptr<QWidget> NSNib::instantiateWithOwner(NSNibOwner& owner) const {
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly)) {
        raise("cannot be read: " + file.errorString().toStdString());
    }
    const QFileInfo layout(file);
    QTranslator translator; // in use while it lives
    if (loadTranslation(translator, layout.completeBaseName(), layout.path())) {
        QCoreApplication::installTranslator(&translator);
    }
    const auto loader = makeLoader();
    auto view = loadQuietly(*loader, file);
    if (!loader->unknownClass.empty()) {
        raise("unknown class " + loader->unknownClass);
    }
    if (!view) {
        raise("no layout file: " + loader->errorString().simplified().toStdString());
    }
    try {
        connectOutlets(*view, owner);
        connectActions(*view, owner);
        view->adjustSize();
        if (view->layout()) {
            view->layout()->activate(); // views have their size when they are woken
        }
        awakeViews(*view);
    } catch (...) {
        owner.disconnectOutlets(); // the view goes
        throw;
    }
    return view;
}

void NSNib::connectOutlets(QWidget& view, NSNibOwner& owner) const {
    for (QWidget* widget : allWidgets(view)) {
        const std::string name = widget->objectName().toStdString();
        if (owner.hasOutlet(name)) {
            if (!owner.connectOutlet(name, dynamic_cast<NSObject*>(widget))) {
                raise("outlet " + name + " is of another class");
            }
        } else if (widget->property("outlet").toBool()) {
            raise("unknown outlet " + name);
        }
    }
    const std::string missing = owner.unconnectedOutlet();
    if (!missing.empty()) {
        raise("outlet " + missing + " is missing");
    }
}

void NSNib::connectActions(QWidget& view, const NSNibOwner& owner) const {
    for (QWidget* widget : allWidgets(view)) {
        const std::string selector = widget->property("action").toString().toStdString();
        if (selector.empty()) {
            continue;
        }
        auto* control = dynamic_cast<NSControl*>(widget);
        const NSControl::Action* action = owner.actionNamed(selector);
        if (!control) {
            raise(widget->objectName().toStdString() + " is no control and sends no action");
        }
        if (!action) {
            raise("unknown action " + selector);
        }
        control->setAction(*action);
    }
}

void NSNib::raise(const std::string& reason) const {
    throw NSException(NSNibLoadException, path + ": " + reason);
}
