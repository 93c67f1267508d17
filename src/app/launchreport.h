#pragma once

#include <QUrl>
#include <functional>

namespace iconfoundry {

// The anonymous launch report: the version, the platform and a random installation identifier,
// nothing else. It is the user's choice: it goes only when the user has agreed in the preference
// (off until then) and a build names an endpoint ("LaunchReportURL"). Sent in the background;
// nobody waits for it.
class LaunchReport
{
public:
    // Starts the report when both hold and answers whether it did; completion (tests) runs with
    // the result once it was sent or failed.
    static bool sendTrackingReport(std::function<void(bool sent)> completion = {});
    // The endpoint; empty when none is configured. Tests set their own.
    static QUrl endpoint();
    static void setEndpoint(const QUrl& url);
};

} // namespace iconfoundry
