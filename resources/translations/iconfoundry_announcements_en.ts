<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="HTML.Loading">
        <source>Loading…</source>
        <translation>Loading…</translation>
    </message>
    <message id="Announcements.Window.Title">
        <source>IconFoundry News</source>
        <translation>IconFoundry News</translation>
    </message>
    <message id="Announcements.History.Title">
        <source>Announcements</source>
        <translation>Announcements</translation>
    </message>
    <message id="Announcements.DontShowAgain">
        <source>Do not show this again</source>
        <translation>Do not show this again</translation>
    </message>
    <message id="Button.OK">
        <source>OK</source>
        <translation>OK</translation>
    </message>
    <message id="Button.LearnMore">
        <source>Learn More</source>
        <translation>Learn More</translation>
    </message>
    <message id="Button.Next">
        <source>Next</source>
        <translation>Next</translation>
    </message>
    <message id="Button.Previous">
        <source>Previous</source>
        <translation>Previous</translation>
    </message>
    <message id="Menu.Help">
        <source>Help</source>
        <translation>Help</translation>
    </message>
    <message id="Menu.Help.Announcements">
        <source>Announcements</source>
        <translation>Announcements</translation>
    </message>
    <message id="Alert.AnnouncementsUnavailable.Title">
        <source>Announcements cannot be shown.</source>
        <translation>Announcements cannot be shown.</translation>
    </message>
    <message id="Alert.AnnouncementsUnavailable.Root">
        <source>The web engine that shows them does not run for the root user. Start IconFoundry as yourself to read them.</source>
        <translation>The web engine that shows them does not run for the root user. Start IconFoundry as yourself to read them.</translation>
    </message>
</context>
</TS>
