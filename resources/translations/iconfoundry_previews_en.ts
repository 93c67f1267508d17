<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="Menu.Window">
        <source>Window</source>
        <translation>Window</translation>
    </message>
    <message id="Menu.Window.PhonePreview">
        <source>Phone Preview</source>
        <translation>Phone Preview</translation>
    </message>
    <message id="Menu.Window.PadPreview">
        <source>Pad Preview</source>
        <translation>Pad Preview</translation>
    </message>
    <message id="Menu.Window.MessagesPreview">
        <source>Messages Preview</source>
        <translation>Messages Preview</translation>
    </message>
    <message id="Previews.Phone.Title">
        <source>Phone Preview</source>
        <translation>Phone Preview</translation>
    </message>
    <message id="Previews.Pad.Title">
        <source>Pad Preview</source>
        <translation>Pad Preview</translation>
    </message>
    <message id="Previews.Messages.Title">
        <source>Messages Preview</source>
        <translation>Messages Preview</translation>
    </message>
    <message id="Previews.Screen.Light">
        <source>Light</source>
        <translation>Light</translation>
    </message>
    <message id="Previews.Screen.Dark">
        <source>Dark</source>
        <translation>Dark</translation>
    </message>
    <message id="Previews.NextButton">
        <source>Next Slot</source>
        <translation>Next Slot</translation>
    </message>
</context>
</TS>
