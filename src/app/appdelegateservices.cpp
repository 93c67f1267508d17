#include "app/appdelegateservices.h"

#include "app/crashhandler.h"
#include "logging/log.h"
#include "platform/bundle.h"

#include <QCoreApplication>

namespace iconfoundry {

AppDelegateServices::AppDelegateServices(QObject* parent) : AppDelegate(parent) {}

AppDelegateServices::~AppDelegateServices()
{
    if (IssuesController::sharedController().delegate() == this)
        IssuesController::sharedController().setDelegate(nullptr);
}

void AppDelegateServices::applicationDidFinishLaunching()
{
    // Reports of crashes of earlier runs: found now, offered once the main window is up.
    IssuesController& issues = IssuesController::sharedController();
    issues.setDelegate(this);
    issues.reportUnhandledIssuesIfExists(true);

    AppDelegate::applicationDidFinishLaunching();

    // After the logging core's own fatal-signal flush, which the report then passes the signal
    // on to: the report is written first, the log flushed second.
    CrashHandler::install(
        issues.reportsDirectory().toStdString(),
        (Bundle::shortVersion() + QStringLiteral(" (") + Bundle::buildNumber() + QLatin1Char(')'))
            .toStdString());

    // Hidden switch for the test that crashes the real application and looks for the report at
    // the next launch.
    const QByteArray crashKind = qgetenv("ICONFOUNDRY_TEST_CRASH");
    if (!crashKind.isEmpty()) {
        QMetaObject::invokeMethod(
            this,
            [crashKind] {
                LOG_ERROR("Crashing on purpose (%s) to test crash reports", crashKind.constData());
                CrashHandler::crashDeliberately(crashKind.toStdString());
            },
            Qt::QueuedConnection);
    }
}

QString AppDelegateServices::additionalIssueInfoForController(IssuesController* controller)
{
    if (controller)
        controller->setLogURLs(logURLs());
    if (const ImagePtr image = sourceImage())
        return QStringLiteral("Image size: %1").arg(sizeText(image->size()));
    return QStringLiteral("No image loaded.");
}

std::optional<QUrl> AppDelegateServices::appURL() const
{
    const QUrl url(homePageAddress(), QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    return url;
}

QString AppDelegateServices::sizeText(QSizeF size)
{
    return QStringLiteral("{%1, %2}")
        .arg(QString::number(size.width(), 'g', 17), QString::number(size.height(), 'g', 17));
}

} // namespace iconfoundry
