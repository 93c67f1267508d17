<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="Fixture.Translated">
        <source>Translated</source>
        <translation>Translated</translation>
    </message>
    <message id="Fixture.Unfinished">
        <source>Unfinished</source>
        <translation type="unfinished">Unfinished</translation>
    </message>
    <message id="Fixture.EmptyTranslation">
        <source>Empty</source>
        <translation></translation>
    </message>
    <message id="Fixture.Menu.First">
        <source>First</source>
        <translation>First</translation>
    </message>
    <message id="Fixture.Idiom.iphone">
        <source>iPhone</source>
        <translation>iPhone</translation>
    </message>
</context>
</TS>
