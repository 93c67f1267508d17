#pragma once

#include "app/appdelegate.h"
#include "app/issuescontroller.h"
#include "app/updater.h"

#include <QPointer>

namespace iconfoundry {

// The delegate the application installs: AppDelegate plus the services around it, our own
// modules: reports of crashes of earlier runs, the updater, feedback and the launch report.
//
// Start-up first sets up the services (launch report, crash reports of earlier runs, updater),
// then runs AppDelegate's start-up, then installs the crash handler on top of the logging core's
// flush. Main thread only.
class AppDelegateServices : public AppDelegate, public IssuesControllerDelegate, public UpdaterDelegate
{
    Q_OBJECT

public:
    explicit AppDelegateServices(QObject* parent = nullptr);
    ~AppDelegateServices() override;

    void applicationDidFinishLaunching() override;

    // Opens the feedback window with the log files attached; its outcome is logged, "Feedback
    // successfully sent." or "Error sending feedback.".
    void showFeedbackDialog();
    // The result handler of the feedback window.
    static void feedbackCompleted(bool success);

    // The live feed, always.
    bool isUpdaterInTestMode(Updater* updater) override;
    // The updater, not owned: whoever creates it keeps it; null disables only the update checks.
    Updater* updater() const { return updater_; }
    void setUpdater(Updater* updater) { updater_ = updater; }

    // Attaches the log files to the report being prepared and describes the current image:
    // "Image size: {1024, 1024}" (points) or "No image loaded.".
    QString additionalIssueInfoForController(IssuesController* controller) override;

    // The home page: the share menu carries text, image and this link.
    std::optional<QUrl> appURL() const override;

    // The size of an image as text: "{1024, 1024}", "{512.5, 80}".
    static QString sizeText(QSizeF size);

protected:
    // Check for Updates…, Send Feedback… and the launch report preference.
    void addHelpMenuItems(QMenu* menu) override;

private:
    QPointer<Updater> updater_;
};

} // namespace iconfoundry
