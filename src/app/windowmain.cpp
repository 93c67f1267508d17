#include "app/windowmain.h"

#include "app/appdelegateservices.h"
#include "app/updater.h"
#include "logging/log.h"
#include "platform/bundle.h"

#include <QApplication>
#include <QIcon>

using namespace iconfoundry;

namespace {

QIcon applicationIcon()
{
    // The installed theme icon when there is one, else the artwork shipped in the bundle.
    QIcon bundled;
    for (const auto& [name, type] :
         {std::pair{"images/iconfoundry", "svg"}, std::pair{"images/iconfoundry-256", "png"},
          std::pair{"images/iconfoundry-64", "png"}}) {
        const QString path = Bundle::pathForResource(QString::fromLatin1(name), QString::fromLatin1(type));
        if (!path.isEmpty())
            bundled.addFile(path);
    }
    return QIcon::fromTheme(Bundle::bundleIdentifier(), bundled);
}

} // namespace

extern "C" Q_DECL_EXPORT int iconfoundry_runWindowApplication(int argc, char** argv)
{
    // Qt WebEngine (the announcement windows) shares its GL contexts with the application's, which
    // must be asked for before the application exists. It costs nothing until a web view is made.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("iconfoundry"));
    QApplication::setApplicationDisplayName(QStringLiteral("IconFoundry"));
    QApplication::setApplicationVersion(Bundle::shortVersion());
    // Ties the windows to the desktop entry, so the desktop shows the app's name and icon.
    QGuiApplication::setDesktopFileName(Bundle::bundleIdentifier());
    QApplication::setWindowIcon(applicationIcon());

    Updater updater;
    AppDelegateServices delegate;
    delegate.setUpdater(&updater);
    // Connected after the delegate's own handler, so what it logs on the way out is written too.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [] { Log::flushLog(); });
    delegate.applicationDidFinishLaunching();
    // Once the window is on screen: a file named on the command line, or the sample icon.
    QMetaObject::invokeMethod(
        &delegate, [&delegate] { delegate.openInitialDocument(QCoreApplication::arguments()); },
        Qt::QueuedConnection);
    return app.exec();
}
