<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="Menu.Help">
        <source>&amp;Help</source>
        <translation>&amp;Help</translation>
    </message>
    <message id="Menu.Help.About">
        <source>&amp;About IconFoundry</source>
        <translation>&amp;About IconFoundry</translation>
    </message>
    <message id="Menu.Help.HomePage">
        <source>IconFoundry Home Page</source>
        <translation>IconFoundry Home Page</translation>
    </message>
    <message id="Menu.Share">
        <source>Share</source>
        <translation>Share</translation>
    </message>
    <message id="Menu.Share.Email">
        <source>Email</source>
        <translation>Email</translation>
    </message>
    <message id="Menu.Share.Messages">
        <source>Messages</source>
        <translation>Messages</translation>
    </message>
    <message id="Menu.Share.Facebook">
        <source>Facebook</source>
        <translation>Facebook</translation>
    </message>
    <message id="Menu.Share.LinkedIn">
        <source>LinkedIn</source>
        <translation>LinkedIn</translation>
    </message>
    <message id="Menu.Share.SinaWeibo">
        <source>Sina Weibo</source>
        <translation>Sina Weibo</translation>
    </message>
    <message id="Menu.Share.TencentWeibo">
        <source>Tencent Weibo</source>
        <translation>Tencent Weibo</translation>
    </message>
    <message id="Menu.Share.Twitter">
        <source>Twitter</source>
        <translation>Twitter</translation>
    </message>
    <message id="Share.Text">
        <source>I make my app icons with IconFoundry: one image in, every icon size out.</source>
        <translation>I make my app icons with IconFoundry: one image in, every icon size out.</translation>
    </message>
    <message id="About.Title">
        <source>About IconFoundry</source>
        <translation>About IconFoundry</translation>
    </message>
    <message id="About.Summary">
        <source>Turns one image into every app-icon size, with the Contents.json an asset catalogue needs.</source>
        <translation>Turns one image into every app-icon size, with the Contents.json an asset catalogue needs.</translation>
    </message>
    <message id="About.Copyright">
        <source>© 2026 Velmora. All rights reserved.</source>
        <translation>© 2026 Velmora. All rights reserved.</translation>
    </message>
    <message id="IssueReport.Crash.MessageText">
        <source>IconFoundry quit unexpectedly the last time it ran.</source>
        <translation>IconFoundry quit unexpectedly the last time it ran.</translation>
    </message>
    <message id="IssueReport.Crash.InformativeText">
        <source>On %1 it stopped with %2 in %3. The report below holds what happened and the last lines of the log; sending it helps us fix the cause.</source>
        <translation>On %1 it stopped with %2 in %3. The report below holds what happened and the last lines of the log; sending it helps us fix the cause.</translation>
    </message>
    <message id="IssueReport.Save.Panel.Title">
        <source>Choose a Folder for the Crash Report</source>
        <translation>Choose a Folder for the Crash Report</translation>
    </message>
    <message id="Button.Send">
        <source>Send Report</source>
        <translation>Send Report</translation>
    </message>
    <message id="Button.SaveReport">
        <source>Save Report…</source>
        <translation>Save Report…</translation>
    </message>
    <message id="Button.Dismiss">
        <source>Dismiss</source>
        <translation>Dismiss</translation>
    </message>
    <message id="Menu.Help.CheckForUpdates">
        <source>Check for Updates…</source>
        <translation>Check for Updates…</translation>
    </message>
    <message id="Menu.Help.SendFeedback">
        <source>Send &amp;Feedback…</source>
        <translation>Send &amp;Feedback…</translation>
    </message>
    <message id="Menu.Help.SendLaunchReport">
        <source>Send Anonymous Launch Report</source>
        <translation>Send Anonymous Launch Report</translation>
    </message>
    <message id="Updater.Failed.MessageText">
        <source>Could not check for updates.</source>
        <translation>Could not check for updates.</translation>
    </message>
    <message id="Updater.NewVersion.MessageText">
        <source>IconFoundry %1 is available.</source>
        <translation>IconFoundry %1 is available.</translation>
    </message>
    <message id="Updater.NewVersion.InformativeText">
        <source>You have version %1. The new version's notes are below; Download opens its download page.</source>
        <translation>You have version %1. The new version's notes are below; Download opens its download page.</translation>
    </message>
    <message id="Updater.UpToDate.MessageText">
        <source>IconFoundry is up to date.</source>
        <translation>IconFoundry is up to date.</translation>
    </message>
    <message id="Updater.UpToDate.InformativeText">
        <source>Version %1 is the newest version.</source>
        <translation>Version %1 is the newest version.</translation>
    </message>
    <message id="Button.Download">
        <source>Download…</source>
        <translation>Download…</translation>
    </message>
    <message id="Button.Later">
        <source>Later</source>
        <translation>Later</translation>
    </message>
    <message id="Button.SaveArchive">
        <source>Save as Archive…</source>
        <translation>Save as Archive…</translation>
    </message>
    <message id="Button.EmailDraft">
        <source>Open E-mail Draft</source>
        <translation>Open E-mail Draft</translation>
    </message>
    <message id="Feedback.Title">
        <source>Send Feedback</source>
        <translation>Send Feedback</translation>
    </message>
    <message id="Feedback.Intro">
        <source>Tell us what works, what does not, and what you miss. The log files below help us find problems; take off any you would rather keep.</source>
        <translation>Tell us what works, what does not, and what you miss. The log files below help us find problems; take off any you would rather keep.</translation>
    </message>
    <message id="Feedback.Message.Placeholder">
        <source>Your message</source>
        <translation>Your message</translation>
    </message>
    <message id="Feedback.Email.Label">
        <source>Your e-mail (optional):</source>
        <translation>Your e-mail (optional):</translation>
    </message>
    <message id="Feedback.Email.Placeholder">
        <source>to get an answer</source>
        <translation>to get an answer</translation>
    </message>
    <message id="Feedback.Attachments.Label">
        <source>Attached log files:</source>
        <translation>Attached log files:</translation>
    </message>
    <message id="Feedback.Attachments.Remove">
        <source>Remove</source>
        <translation>Remove</translation>
    </message>
    <message id="Feedback.NoEndpoint">
        <source>This build sends feedback nowhere by itself: save it as one archive, or open a draft in your mail program.</source>
        <translation>This build sends feedback nowhere by itself: save it as one archive, or open a draft in your mail program.</translation>
    </message>
    <message id="Feedback.Sending">
        <source>Sending…</source>
        <translation>Sending…</translation>
    </message>
    <message id="Feedback.SendFailed">
        <source>Could not send the feedback: %1</source>
        <translation>Could not send the feedback: %1</translation>
    </message>
    <message id="Feedback.Save.Panel.Title">
        <source>Choose a Folder for the Feedback Archive</source>
        <translation>Choose a Folder for the Feedback Archive</translation>
    </message>
    <message id="Feedback.Mail.Subject">
        <source>IconFoundry feedback</source>
        <translation>IconFoundry feedback</translation>
    </message>
    <message id="Feedback.Mail.LogsAt">
        <source>The log files are in %1.</source>
        <translation>The log files are in %1.</translation>
    </message>
    <message id="Feedback.MailFailed">
        <source>No mail program accepted the draft.</source>
        <translation>No mail program accepted the draft.</translation>
    </message>
</context>
</TS>
