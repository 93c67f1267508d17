#pragma once

#include <QUrl>

namespace iconfoundry {

// The addresses the application talks to, from the bundle's "Environment" property list. A key
// that is missing, empty or not an http(s) address means "not configured": nothing is sent there.
// Nothing is configured in the shipped resource; a build that wants a service names it there.
class Environment
{
public:
    static constexpr char UpdateFeedURLKey[] = "UpdateFeedURL";
    static constexpr char FeedbackURLKey[] = "FeedbackURL";
    static constexpr char IssueReportURLKey[] = "IssueReportURL";
    static constexpr char LaunchReportURLKey[] = "LaunchReportURL";

    // The configured address, or an empty URL.
    static QUrl url(const char* key);
};

} // namespace iconfoundry
