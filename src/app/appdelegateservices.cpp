#include "app/appdelegateservices.h"

#include "app/crashhandler.h"
#include "app/feedbackcontroller.h"
#include "app/launchreport.h"
#include "logging/log.h"
#include "platform/bundle.h"
#include "platform/defaults.h"
#include "platform/texts.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>

namespace iconfoundry {

AppDelegateServices::AppDelegateServices(QObject* parent) : AppDelegate(parent) {}

AppDelegateServices::~AppDelegateServices()
{
    if (IssuesController::sharedController().delegate() == this)
        IssuesController::sharedController().setDelegate(nullptr);
}

void AppDelegateServices::applicationDidFinishLaunching()
{
    // The launch report, only if the user agreed to it and a build names an endpoint.
    LaunchReport::sendTrackingReport();

    // Reports of crashes of earlier runs: found now, offered once the main window is up.
    IssuesController& issues = IssuesController::sharedController();
    issues.setDelegate(this);
    issues.reportUnhandledIssuesIfExists(true);

    if (updater_)
        updater_->setDelegate(this);

    AppDelegate::applicationDidFinishLaunching();

    if (updater_)
        updater_->checkForUpdatesInBackground();

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

void AppDelegateServices::showFeedbackDialog()
{
    FeedbackController& feedback = FeedbackController::sharedController();
    feedback.setLogURLs(logURLs());
    feedback.showFeedbackWindowInMode(0, &AppDelegateServices::feedbackCompleted);
}

void AppDelegateServices::feedbackCompleted(bool success)
{
    if (success)
        LOG_INFO("Feedback successfully sent.");
    else
        LOG_ERROR("Error sending feedback.");
}

bool AppDelegateServices::isUpdaterInTestMode(Updater*)
{
    return false;
}

void AppDelegateServices::addHelpMenuItems(QMenu* menu)
{
    QAction* check = menu->addAction(Texts::text("Menu.Help.CheckForUpdates"));
    check->setObjectName(QStringLiteral("checkForUpdates:"));
    check->setEnabled(updater_ && !updater_->feedURL().isEmpty());
    connect(check, &QAction::triggered, this, [this] {
        if (updater_)
            updater_->checkForUpdates();
    });
    QAction* feedback = menu->addAction(Texts::text("Menu.Help.SendFeedback"));
    feedback->setObjectName(QStringLiteral("showFeedbackDialog:"));
    connect(feedback, &QAction::triggered, this, &AppDelegateServices::showFeedbackDialog);
    QAction* launchReport = menu->addAction(Texts::text("Menu.Help.SendLaunchReport"));
    launchReport->setObjectName(QStringLiteral("toggleLaunchReport:"));
    launchReport->setCheckable(true);
    launchReport->setChecked(Defaults::standardUserDefaults().sendsLaunchReport());
    launchReport->setVisible(!LaunchReport::endpoint().isEmpty());
    connect(launchReport, &QAction::toggled, this,
            [](bool on) { Defaults::standardUserDefaults().setSendsLaunchReport(on); });
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
