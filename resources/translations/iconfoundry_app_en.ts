<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="Menu.Help">
        <source>Help</source>
        <translation>Help</translation>
    </message>
    <message id="Menu.Help.About">
        <source>About IconFoundry</source>
        <translation>About IconFoundry</translation>
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
</context>
</TS>
