<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="MainWindow.Title">
        <source>IconFoundry</source>
        <translation>IconFoundry</translation>
    </message>
    <message id="MainWindow.Instructions1">
        <source>Drop an image here</source>
        <translation>Drop an image here</translation>
    </message>
    <message id="MainWindow.Instructions2">
        <source>or paste one, or open a file. A square image of at least 1024 × 1024 pixels gives the sharpest icons.</source>
        <translation>or paste one, or open a file. A square image of at least 1024 × 1024 pixels gives the sharpest icons.</translation>
    </message>
    <message id="MainWindow.LoadImageButton">
        <source>Open Image…</source>
        <translation>Open Image…</translation>
    </message>
    <message id="MainWindow.ImageUpdated">
        <source>The image was updated from its file.</source>
        <translation>The image was updated from its file.</translation>
    </message>
    <message id="MainWindow.Categories.Title">
        <source>Icon Sets</source>
        <translation>Icon Sets</translation>
    </message>
    <message id="MainWindow.Categories.Hint">
        <source>Saving writes every icon size of the ticked sets.</source>
        <translation>Saving writes every icon size of the ticked sets.</translation>
    </message>
    <message id="MainWindow.Status.NotAvailable">
        <source>Saving, copying and pasting icons are not available in this version yet.</source>
        <translation>Saving, copying and pasting icons are not available in this version yet.</translation>
    </message>
    <message id="Menu.File">
        <source>&amp;File</source>
        <translation>&amp;File</translation>
    </message>
    <message id="Menu.File.New">
        <source>&amp;New</source>
        <translation>&amp;New</translation>
    </message>
    <message id="Menu.File.Open">
        <source>&amp;Open…</source>
        <translation>&amp;Open…</translation>
    </message>
    <message id="Menu.File.OpenRecent">
        <source>Open &amp;Recent</source>
        <translation>Open &amp;Recent</translation>
    </message>
    <message id="Menu.File.OpenRecent.Clear">
        <source>Clear Menu</source>
        <translation>Clear Menu</translation>
    </message>
    <message id="Menu.File.Save">
        <source>&amp;Save</source>
        <translation>&amp;Save</translation>
    </message>
    <message id="Menu.File.SaveAs">
        <source>Save &amp;As…</source>
        <translation>Save &amp;As…</translation>
    </message>
    <message id="Menu.File.SaveToXcode">
        <source>Save to &amp;Xcode…</source>
        <translation>Save to &amp;Xcode…</translation>
    </message>
    <message id="Menu.File.Close">
        <source>&amp;Close Window</source>
        <translation>&amp;Close Window</translation>
    </message>
    <message id="Menu.File.Quit">
        <source>&amp;Quit</source>
        <translation>&amp;Quit</translation>
    </message>
    <message id="Menu.Edit">
        <source>&amp;Edit</source>
        <translation>&amp;Edit</translation>
    </message>
    <message id="Menu.Edit.Copy">
        <source>&amp;Copy</source>
        <translation>&amp;Copy</translation>
    </message>
    <message id="Menu.Edit.Paste">
        <source>&amp;Paste</source>
        <translation>&amp;Paste</translation>
    </message>
    <message id="OpenImage.Panel.Title">
        <source>Open Image</source>
        <translation>Open Image</translation>
    </message>
    <message id="OpenImage.Panel.FileTypes">
        <source>Images</source>
        <translation>Images</translation>
    </message>
    <message id="OpenImage.ImageNotSquare.MessageText">
        <source>The image is not square.</source>
        <translation>The image is not square.</translation>
    </message>
    <message id="OpenImage.ImageNotSquare.InformativeText">
        <source>App icons are square, so parts of this image will be cut off or the icons will look stretched. Use it anyway?</source>
        <translation>App icons are square, so parts of this image will be cut off or the icons will look stretched. Use it anyway?</translation>
    </message>
    <message id="OpenImage.ImageTooSmall.MessageText">
        <source>The image is too small.</source>
        <translation>The image is too small.</translation>
    </message>
    <message id="OpenImage.ImageTooSmall.InformativeText">
        <source>The image is %1 × %2 pixels. The largest icons need at least 1024 × 768 pixels, so they will look blurry. Use it anyway?</source>
        <translation>The image is %1 × %2 pixels. The largest icons need at least 1024 × 768 pixels, so they will look blurry. Use it anyway?</translation>
    </message>
    <message id="Button.UseAnyway">
        <source>Use Anyway</source>
        <translation>Use Anyway</translation>
    </message>
    <message id="Button.Cancel">
        <source>Cancel</source>
        <translation>Cancel</translation>
    </message>
</context>
</TS>
