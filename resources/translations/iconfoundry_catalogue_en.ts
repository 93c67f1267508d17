<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="ImageSize.Idiom.Description.iphone">
        <source>iPhone</source>
        <translation>iPhone</translation>
    </message>
    <message id="ImageSize.Idiom.Description.ipad">
        <source>iPad</source>
        <translation>iPad</translation>
    </message>
    <message id="ImageSize.Idiom.Description.mac">
        <source>Mac</source>
        <translation>Mac</translation>
    </message>
    <message id="ImageSize.Idiom.Description.watch">
        <source>Apple Watch</source>
        <translation>Apple Watch</translation>
    </message>
    <message id="ImageSize.Idiom.Description.car">
        <source>CarPlay</source>
        <translation>CarPlay</translation>
    </message>
    <message id="ImageSize.Idiom.Description.ios-marketing">
        <source>App Store</source>
        <translation>App Store</translation>
    </message>
    <message id="ImageSize.Idiom.Description.watch-marketing">
        <source>Watch App Store</source>
        <translation>Watch App Store</translation>
    </message>
    <message id="ImageSize.Idiom.Description.universal">
        <source>Universal</source>
        <translation>Universal</translation>
    </message>
</context>
</TS>
