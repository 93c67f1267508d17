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
    <message id="Menu.File.SaveAndroidIcons">
        <source>Save An&amp;droid Icons…</source>
        <translation>Save An&amp;droid Icons…</translation>
    </message>
    <message id="Menu.File.SaveWebIcons">
        <source>Save &amp;Web Icons…</source>
        <translation>Save &amp;Web Icons…</translation>
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
    <message id="SaveDocument.NoImageSizes.MessageText">
        <source>No icon sizes are chosen.</source>
        <translation>No icon sizes are chosen.</translation>
    </message>
    <message id="SaveDocument.NoImageSizes.InformativeText">
        <source>Tick at least one icon set, then try again.</source>
        <translation>Tick at least one icon set, then try again.</translation>
    </message>
    <message id="SaveDocument.Panel.Title">
        <source>Choose a Folder for the Icons</source>
        <translation>Choose a Folder for the Icons</translation>
    </message>
    <message id="SaveDocumentXcode.Panel.Title">
        <source>Choose the App Icon Set in Your Xcode Project</source>
        <translation>Choose the App Icon Set in Your Xcode Project</translation>
    </message>
    <message id="SaveAndroidIcons.Panel.Title">
        <source>Choose the res Folder of Your Android App</source>
        <translation>Choose the res Folder of Your Android App</translation>
    </message>
    <message id="SaveWebIcons.Panel.Title">
        <source>Choose the Folder of Your Web App's Manifest</source>
        <translation>Choose the Folder of Your Web App's Manifest</translation>
    </message>
    <message id="SaveToXcode.Instructions.MessageText">
        <source>Choose the app icon set in your Xcode project.</source>
        <translation>Choose the app icon set in your Xcode project.</translation>
    </message>
    <message id="SaveToXcode.Instructions.InformativeText">
        <source>In the next window, open your project's asset catalogue (usually Assets.xcassets) and choose its app icon set folder (usually AppIcon.appiconset). The icons are written there and Contents.json is updated to list them.</source>
        <translation>In the next window, open your project's asset catalogue (usually Assets.xcassets) and choose its app icon set folder (usually AppIcon.appiconset). The icons are written there and Contents.json is updated to list them.</translation>
    </message>
    <message id="Alert.Suppression">
        <source>Do not show this message again</source>
        <translation>Do not show this message again</translation>
    </message>
    <message id="SaveImageFiles.FilesExist.MessageText">
        <source>Some icon files already exist.</source>
        <translation>Some icon files already exist.</translation>
    </message>
    <message id="SaveImageFiles.FilesExist.InformativeText">
        <source>The folder “%1” already holds these files:
%2
Do you want to replace them?</source>
        <translation>The folder “%1” already holds these files:
%2
Do you want to replace them?</translation>
    </message>
    <message id="SaveImageFiles.Error">
        <source>The icons could not be saved.</source>
        <translation>The icons could not be saved.</translation>
    </message>
    <message id="SaveContentsJSON.ImagesExist.MessageText">
        <source>Contents.json already lists other images for these icons.</source>
        <translation>Contents.json already lists other images for these icons.</translation>
    </message>
    <message id="SaveContentsJSON.ImagesExist.InformativeText">
        <source>In “%1”, Contents.json names other files for:
%2
Do you want to replace these entries?</source>
        <translation>In “%1”, Contents.json names other files for:
%2
Do you want to replace these entries?</translation>
    </message>
    <message id="SaveContentsJSON.Error">
        <source>Contents.json could not be saved.</source>
        <translation>Contents.json could not be saved.</translation>
    </message>
    <message id="Button.Save">
        <source>Save</source>
        <translation>Save</translation>
    </message>
    <message id="Button.Replace">
        <source>Replace</source>
        <translation>Replace</translation>
    </message>
    <message id="Button.Retry">
        <source>Retry</source>
        <translation>Retry</translation>
    </message>
    <message id="Progress.Title">
        <source>Saving Icons</source>
        <translation>Saving Icons</translation>
    </message>
    <message id="Progress.Writing">
        <source>Writing icons…</source>
        <translation>Writing icons…</translation>
    </message>
    <message id="Progress.Count">
        <source>%1 of %2 icons written</source>
        <translation>%1 of %2 icons written</translation>
    </message>
    <message id="MainWindow.Status.Unreadable">
        <source>“%1” could not be opened: %2</source>
        <translation>“%1” could not be opened: %2</translation>
    </message>
    <message id="MainWindow.Status.NotLocal">
        <source>Only files on this computer can be opened: %1</source>
        <translation>Only files on this computer can be opened: %1</translation>
    </message>
    <message id="MainWindow.Status.PasteUnreadable">
        <source>The image on the clipboard could not be read: %1</source>
        <translation>The image on the clipboard could not be read: %1</translation>
    </message>
    <message id="MainWindow.Status.CopyFailed">
        <source>The icons could not be copied: no scratch folder could be made.</source>
        <translation>The icons could not be copied: no scratch folder could be made.</translation>
    </message>
    <message id="MainWindow.Status.Copied">
        <source>Copied %1 icons.</source>
        <translation>Copied %1 icons.</translation>
    </message>
    <message id="MainWindow.Status.Saved">
        <source>Saved %1 icon files to %2.</source>
        <translation>Saved %1 icon files to %2.</translation>
    </message>
    <message id="MainWindow.Status.DropUnreadable">
        <source>The dropped item is not an image that can be read: %1</source>
        <translation>The dropped item is not an image that can be read: %1</translation>
    </message>
    <message id="MainWindow.SaveToXcodeButton">
        <source>Save to Xcode…</source>
        <translation>Save to Xcode…</translation>
    </message>
    <message id="MainWindow.SaveAsButton">
        <source>Save As…</source>
        <translation>Save As…</translation>
    </message>
    <message id="MainWindow.ImageInfo">
        <source>%1
%2 × %3 pixels</source>
        <translation>%1
%2 × %3 pixels</translation>
    </message>
    <message id="MainWindow.ImageInfo.NoFile">
        <source>Pasted or dropped image</source>
        <translation>Pasted or dropped image</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Title">
        <source>Other Platforms</source>
        <translation>Other Platforms</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Android">
        <source>Android</source>
        <translation>Android</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Android.ToolTip">
        <source>Launcher icons (legacy, round, adaptive and themed) and the Play Store icon, saved in android/res</source>
        <translation>Launcher icons (legacy, round, adaptive and themed) and the Play Store icon, saved in android/res</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Web">
        <source>Web</source>
        <translation>Web</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Web.ToolTip">
        <source>favicon.ico, apple-touch-icon.png and the web app manifest's icons, saved in web</source>
        <translation>favicon.ico, apple-touch-icon.png and the web app manifest's icons, saved in web</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Padding">
        <source>Padding</source>
        <translation>Padding</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Padding.ToolTip">
        <source>Room left around the artwork of the Android and web icons on every side, in percent of the icon</source>
        <translation>Room left around the artwork of the Android and web icons on every side, in percent of the icon</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Trim">
        <source>Trim transparent border</source>
        <translation>Trim transparent border</translation>
    </message>
    <message id="MainWindow.OtherPlatforms.Trim.ToolTip">
        <source>Cut the image's fully transparent border away before it is placed on the Android and web icons</source>
        <translation>Cut the image's fully transparent border away before it is placed on the Android and web icons</translation>
    </message>
    <message id="MainWindow.FileCount">
        <source>The ticked sets write %1 files.</source>
        <translation>The ticked sets write %1 files.</translation>
    </message>
    <message id="MainWindow.FileCount.One">
        <source>The ticked sets write 1 file.</source>
        <translation>The ticked sets write 1 file.</translation>
    </message>
    <message id="MainWindow.FileCount.None">
        <source>Tick at least one set to save icons.</source>
        <translation>Tick at least one set to save icons.</translation>
    </message>
    <message id="Menu.File.ChooseDarkImage">
        <source>Choose Dark Image…</source>
        <translation>Choose Dark Image…</translation>
    </message>
    <message id="Menu.File.ClearDarkImage">
        <source>Clear Dark Image</source>
        <translation>Clear Dark Image</translation>
    </message>
    <message id="Menu.File.ChooseTintedImage">
        <source>Choose Tinted Image…</source>
        <translation>Choose Tinted Image…</translation>
    </message>
    <message id="Menu.File.TintedFromSource">
        <source>Tinted from Source</source>
        <translation>Tinted from Source</translation>
    </message>
    <message id="Menu.File.BackgroundColour">
        <source>Background Colour…</source>
        <translation>Background Colour…</translation>
    </message>
    <message id="MainWindow.Wells.Dark">
        <source>Dark</source>
        <translation>Dark</translation>
    </message>
    <message id="MainWindow.Wells.Dark.Empty">
        <source>Source</source>
        <translation>Source</translation>
    </message>
    <message id="MainWindow.Wells.Dark.ToolTip">
        <source>The image of the dark icon slots, on a transparent background. Empty: they get the source image.</source>
        <translation>The image of the dark icon slots, on a transparent background. Empty: they get the source image.</translation>
    </message>
    <message id="MainWindow.Wells.Tinted">
        <source>Tinted</source>
        <translation>Tinted</translation>
    </message>
    <message id="MainWindow.Wells.Tinted.Empty">
        <source>From source</source>
        <translation>From source</translation>
    </message>
    <message id="MainWindow.Wells.Tinted.ToolTip">
        <source>The image of the tinted icon slots, in greys. Empty: a grey image made from the source.</source>
        <translation>The image of the tinted icon slots, in greys. Empty: a grey image made from the source.</translation>
    </message>
    <message id="MainWindow.Wells.Background">
        <source>Background</source>
        <translation>Background</translation>
    </message>
    <message id="MainWindow.Wells.Background.ToolTip">
        <source>%1 shows through the transparent parts of the icons that must be opaque (App Store, single-size iOS).</source>
        <translation>%1 shows through the transparent parts of the icons that must be opaque (App Store, single-size iOS).</translation>
    </message>
    <message id="MainWindow.Wells.Clear">
        <source>Clear</source>
        <translation>Clear</translation>
    </message>
    <message id="OpenImage.Panel.DarkTitle">
        <source>Choose the Image for the Dark Icons</source>
        <translation>Choose the Image for the Dark Icons</translation>
    </message>
    <message id="OpenImage.Panel.TintedTitle">
        <source>Choose the Image for the Tinted Icons</source>
        <translation>Choose the Image for the Tinted Icons</translation>
    </message>
    <message id="ColourPanel.Background.Title">
        <source>Background of the Opaque Icons</source>
        <translation>Background of the Opaque Icons</translation>
    </message>
    <message id="SaveToXcode.SetHasSlots.MessageText">
        <source>This icon set already has %1 slots.</source>
        <translation>This icon set already has %1 slots.</translation>
    </message>
    <message id="SaveToXcode.SetHasSlots.InformativeText">
        <source>Fill Its Slots draws an icon for each of them and keeps the file names the set uses. Use Ticked Categories writes the %1 icons of the ticked sets instead and adds their slots to the set.</source>
        <translation>Fill Its Slots draws an icon for each of them and keeps the file names the set uses. Use Ticked Categories writes the %1 icons of the ticked sets instead and adds their slots to the set.</translation>
    </message>
    <message id="Button.FillItsSlots">
        <source>Fill Its Slots</source>
        <translation>Fill Its Slots</translation>
    </message>
    <message id="Button.UseTickedCategories">
        <source>Use Ticked Categories</source>
        <translation>Use Ticked Categories</translation>
    </message>
    <message id="MainWindow.Status.FilledSetSlots">
        <source>Filled the %1 slots of the icon set in %2: %3 files, %4 of them refreshed.</source>
        <translation>Filled the %1 slots of the icon set in %2: %3 files, %4 of them refreshed.</translation>
    </message>
    <message id="MainWindow.Status.SavedWithContentsJSON">
        <source>Saved %1 icon files and Contents.json to %2.</source>
        <translation>Saved %1 icon files and Contents.json to %2.</translation>
    </message>
    <message id="MainWindow.Status.OpaqueOverBackground">
        <source>Transparent parts lie over %1 in: %2.</source>
        <translation>Transparent parts lie over %1 in: %2.</translation>
    </message>
    <message id="SaveImageFiles.NoTintedImage">
        <source>No grey image for the tinted icons could be made from the source image.</source>
        <translation>No grey image for the tinted icons could be made from the source image.</translation>
    </message>
</context>
</TS>
