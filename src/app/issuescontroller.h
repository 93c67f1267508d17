#pragma once

#include "app/crashreport.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <optional>

namespace iconfoundry {

class IssuesController;

// Supplies what a report of an earlier crash carries besides the crash itself.
class IssuesControllerDelegate
{
public:
    virtual ~IssuesControllerDelegate() = default;
    // Called while a report is prepared: the delegate may attach files with setLogURLs() and
    // answers one line about the state of the application.
    virtual QString additionalIssueInfoForController(IssuesController* controller) = 0;
};

// Finds the crash reports that earlier runs left behind (CrashHandler) and offers each, once, to
// the user: send it (with the delegate's line and the log files), save it as a text file, or
// dismiss it.
//
// A report is offered at most once: before it is shown its file is renamed from ".crash" to
// ".offered", so a run that crashes again while the question is open does not ask again. Offered
// reports are kept (the newest kOfferedReportsKept) for a person looking into the folder.
// Main thread only.
class IssuesController
{
public:
    // The one controller of the process.
    static IssuesController& sharedController();

    IssuesControllerDelegate* delegate() const { return delegate_; }
    void setDelegate(IssuesControllerDelegate* delegate) { delegate_ = delegate; }

    // The files attached to the next report; nullopt attaches none.
    const std::optional<QList<QUrl>>& logURLs() const { return logURLs_; }
    void setLogURLs(const std::optional<QList<QUrl>>& urls) { logURLs_ = urls; }

    // Where the crash handler writes (CrashHandler::defaultReportsDirectory() unless set).
    QString reportsDirectory() const;
    void setReportsDirectory(const QString& directory) { reportsDirectory_ = directory; }
    // Where the crashed run's log files are, for the lines written just before the crash.
    QString logsDirectory() const;
    void setLogsDirectory(const QString& directory) { logsDirectory_ = directory; }
    // The address reports are sent to: the environment's "IssueReportURL" unless set. Without one
    // the user can save or dismiss a report, not send it.
    QUrl endpoint() const;
    void setEndpoint(const QUrl& url) { endpoint_ = url; }

    // Offers every report not offered before, one alert after the other, and returns how many
    // there were. With ask false nothing is shown: the reports are sent when there is an
    // endpoint, else kept for a later launch that asks.
    int reportUnhandledIssuesIfExists(bool ask);

    // The lines of the crashed run's log that end the report: the last kLogTailLines lines of
    // the log file that was being written when the crash happened.
    QStringList logLinesBeforeCrash(const CrashReport& report) const;
    // Everything sent or saved: the crash, the delegate's line, the last log lines.
    QString reportText(const CrashReport& report, const QString& additionalInfo) const;

    static constexpr int kLogTailLines = 20;
    static constexpr int kOfferedReportsKept = 10;

private:
    struct Pending
    {
        CrashReport report;
        QString text;
    };
    void offerNext(QList<Pending> pending);
    void send(const Pending& pending);
    void save(const Pending& pending);
    void deleteOldOfferedReports() const;
    QString additionalInfo();

    IssuesControllerDelegate* delegate_ = nullptr;
    std::optional<QList<QUrl>> logURLs_;
    QString reportsDirectory_;
    QString logsDirectory_;
    std::optional<QUrl> endpoint_;
};

} // namespace iconfoundry
