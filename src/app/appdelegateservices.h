#pragma once

#include "app/appdelegate.h"
#include "app/issuescontroller.h"

namespace iconfoundry {

// The delegate the application installs: AppDelegate plus the services around it, our own
// modules: reports of crashes of earlier runs, the updater, feedback and the launch report.
//
// Start-up first sets up the services (launch report, crash reports of earlier runs, updater),
// then runs AppDelegate's start-up, then installs the crash handler on top of the logging core's
// flush. Main thread only.
class AppDelegateServices : public AppDelegate, public IssuesControllerDelegate
{
    Q_OBJECT

public:
    explicit AppDelegateServices(QObject* parent = nullptr);
    ~AppDelegateServices() override;

    void applicationDidFinishLaunching() override;

    // Attaches the log files to the report being prepared and describes the current image:
    // "Image size: {1024, 1024}" (points) or "No image loaded.".
    QString additionalIssueInfoForController(IssuesController* controller) override;

    // The home page: the share menu carries text, image and this link.
    std::optional<QUrl> appURL() const override;

    // The size of an image as text: "{1024, 1024}", "{512.5, 80}".
    static QString sizeText(QSizeF size);
};

} // namespace iconfoundry
