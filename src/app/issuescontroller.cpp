#include "app/issuescontroller.h"

#include "app/crashhandler.h"
#include "app/environment.h"
#include "app/multipartupload.h"
#include "logging/log.h"
#include "logging/logfilemanagerdefault.h"
#include "platform/atomicfile.h"
#include "platform/texts.h"
#include "ui/alerts.h"
#include "ui/panels.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace iconfoundry {

namespace {

const QString kNewSuffix = QStringLiteral(".crash");
const QString kOfferedSuffix = QStringLiteral(".offered");

QStringList lastLines(const QString& path, int count)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    // A log file is at most a few MiB; its end is enough.
    constexpr qint64 kTail = 64 * 1024;
    if (file.size() > kTail)
        file.seek(file.size() - kTail);
    QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (lines.size() > count)
        lines = lines.mid(lines.size() - count);
    return lines;
}

} // namespace

IssuesController& IssuesController::sharedController()
{
    static IssuesController controller;
    return controller;
}

QString IssuesController::reportsDirectory() const
{
    return reportsDirectory_.isEmpty() ? QString::fromStdString(CrashHandler::defaultReportsDirectory())
                                       : reportsDirectory_;
}

QString IssuesController::logsDirectory() const
{
    return logsDirectory_.isEmpty() ? QString::fromStdString(LogFileManagerDefault::defaultLogsDirectory())
                                    : logsDirectory_;
}

QUrl IssuesController::endpoint() const
{
    return endpoint_ ? *endpoint_ : Environment::url(Environment::IssueReportURLKey);
}

int IssuesController::reportUnhandledIssuesIfExists(bool ask)
{
    const QDir folder(reportsDirectory());
    const QStringList names = folder.entryList({QStringLiteral("*") + kNewSuffix}, QDir::Files, QDir::Name);
    if (names.isEmpty())
        return 0;
    if (!ask && endpoint().isEmpty())
        return 0; // kept until a launch that may ask

    QList<Pending> pending;
    for (const QString& name : names) {
        const QString path = folder.filePath(name);
        const std::optional<CrashReport> report = CrashReport::read(path);
        // Renamed first: whatever happens next, this report is not offered again.
        const QString offered = path.chopped(kNewSuffix.size()) + kOfferedSuffix;
        if (!QFile::rename(path, offered)) {
            LOG_ERROR("Could not mark crash report '%s' as offered; not offering it", qUtf8Printable(path));
            continue;
        }
        if (!report) {
            LOG_WARN("Ignoring unreadable crash report '%s'", qUtf8Printable(path));
            continue;
        }
        LOG_INFO("Found crash report '%s' (%s)", qUtf8Printable(name),
                 qUtf8Printable(CrashReport::signalName(report->signal)));
        pending.append(Pending{*report, reportText(*report, additionalInfo())});
    }
    deleteOldOfferedReports();
    const int count = int(pending.size());
    if (!ask) {
        for (const Pending& p : pending)
            send(p);
        return count;
    }
    // The questions wait for the event loop, so they come after the main window is on screen.
    if (QCoreApplication::instance())
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [this, pending] { offerNext(pending); }, Qt::QueuedConnection);
    else
        offerNext(pending);
    return count;
}

QString IssuesController::additionalInfo()
{
    return delegate_ ? delegate_->additionalIssueInfoForController(this) : QString();
}

QStringList IssuesController::logLinesBeforeCrash(const CrashReport& report) const
{
    // The file that was being written when the process died: the one changed last at or before
    // the crash's second (a later file belongs to a later run).
    const QFileInfoList files =
        QDir(logsDirectory()).entryInfoList({QStringLiteral("*.log")}, QDir::Files, QDir::Time);
    for (const QFileInfo& file : files) {
        if (file.lastModified().toSecsSinceEpoch() <= report.time + 1)
            return lastLines(file.absoluteFilePath(), kLogTailLines);
    }
    return {};
}

QString IssuesController::reportText(const CrashReport& report, const QString& additionalInfo) const
{
    QString text = report.text();
    if (!additionalInfo.isEmpty())
        text += QStringLiteral("\n\nApplication state: ") + additionalInfo;
    const QStringList logLines = logLinesBeforeCrash(report);
    if (!logLines.isEmpty())
        text += QStringLiteral("\n\nLast log lines:\n") + logLines.join(QLatin1Char('\n'));
    return text;
}

void IssuesController::offerNext(QList<Pending> pending)
{
    if (pending.isEmpty())
        return;
    const Pending current = pending.takeFirst();
    const bool canSend = !endpoint().isEmpty();
    // The whole report goes into the log too, so it travels with the log files of later feedback.
    LOG_INFO("Offering crash report '%s':\n%s", qUtf8Printable(QFileInfo(current.report.path).fileName()),
             qUtf8Printable(current.text));

    Alert alert;
    alert.style = Alert::Style::Critical;
    alert.messageText = Texts::text("IssueReport.Crash.MessageText");
    const QString where = current.report.frames.isEmpty() || current.report.frames.first().function.isEmpty()
                              ? QStringLiteral("?")
                              : current.report.frames.first().function;
    alert.informativeText = Texts::text("IssueReport.Crash.InformativeText")
                                .arg(QDateTime::fromSecsSinceEpoch(current.report.time)
                                         .toString(QStringLiteral("yyyy-MM-dd HH:mm")),
                                     CrashReport::signalName(current.report.signal), where);
    alert.detailedText = current.text;
    if (canSend)
        alert.buttonTitles << Texts::text("Button.Send");
    alert.buttonTitles << Texts::text("Button.SaveReport") << Texts::text("Button.Dismiss");

    beginAlert(alert, [this, current, canSend, pending](int response, const Alert&) {
        const int choice = response - Alert::FirstButtonReturn - (canSend ? 0 : 1);
        if (choice == 0)
            send(current);
        else if (choice == 1)
            save(current);
        else
            LOG_INFO("Crash report '%s' dismissed",
                     qUtf8Printable(QFileInfo(current.report.path).fileName()));
        offerNext(pending);
    });
}

void IssuesController::send(const Pending& pending)
{
    const QUrl url = endpoint();
    if (url.isEmpty())
        return;
    // Asked again now: at launch, when the report was found, the log files did not exist yet.
    const QString info = additionalInfo();
    QList<MultipartUpload::Part> parts{
        MultipartUpload::textPart(QStringLiteral("report"), pending.text),
        MultipartUpload::textPart(QStringLiteral("info"), info),
        MultipartUpload::textPart(QStringLiteral("version"), pending.report.version)};
    if (logURLs_)
        parts += MultipartUpload::fileParts(QStringLiteral("logs"), *logURLs_);
    const QString name = QFileInfo(pending.report.path).fileName();
    MultipartUpload::post(url, parts, [name](bool sent, const QString& error) {
        if (sent)
            LOG_INFO("Crash report '%s' sent", qUtf8Printable(name));
        else
            LOG_ERROR("Error sending crash report '%s': %s", qUtf8Printable(name), qUtf8Printable(error));
    });
}

void IssuesController::save(const Pending& pending)
{
    OpenPanelOptions options;
    options.canChooseFiles = false;
    options.canChooseDirectories = true;
    options.canCreateDirectories = true;
    options.title = Texts::text("IssueReport.Save.Panel.Title");
    const QString fileName = QFileInfo(pending.report.path).completeBaseName() + QStringLiteral(".txt");
    PanelPresenter::shared().beginOpenPanel(
        options, [pending, fileName](int response, const QList<QUrl>& urls) {
            if (response != OpenPanelOptions::OKResponse || urls.size() != 1)
                return;
            const QString path = QDir(urls.first().toLocalFile()).filePath(fileName);
            Error error;
            if (AtomicFile::write(path, pending.text.toUtf8(), &error))
                LOG_INFO("Crash report saved to '%s'", qUtf8Printable(path));
            else
                LOG_ERROR("Could not save crash report: %s", qUtf8Printable(error.localizedDescription));
        });
}

void IssuesController::deleteOldOfferedReports() const
{
    const QDir folder(reportsDirectory());
    const QStringList offered =
        folder.entryList({QStringLiteral("*") + kOfferedSuffix}, QDir::Files, QDir::Name | QDir::Reversed);
    for (qsizetype i = kOfferedReportsKept; i < offered.size(); ++i)
        QFile::remove(folder.filePath(offered.at(i)));
}

} // namespace iconfoundry
