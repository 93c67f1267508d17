#include "mainwindow/savequestions.h"

#include "platform/texts.h"

namespace iconfoundry::savequestions {

namespace {

// One line per item, each after a bullet: what the replace questions list. A file that several
// sets share (the iPhone's and the iPad's AppIcon-20@2x.png) is one file on disk, listed once.
QString bulletList(QStringList items)
{
    items.removeDuplicates();
    QString list;
    for (const QString& item : items)
        list += QStringLiteral("\u2022%1\n").arg(item);
    return list;
}

} // namespace

Alert replaceQuestion(const QString& messageText, const QString& informativeFormat, const QString& path,
                      const QStringList& items)
{
    Alert alert;
    alert.style = Alert::Style::Warning;
    alert.messageText = messageText;
    // Both arguments in one pass: a folder named "100%2" stays as it is.
    alert.informativeText = informativeFormat.arg(path, bulletList(items));
    alert.buttonTitles = {Texts::text("Button.Replace"), Texts::text("Button.Cancel")};
    return alert;
}

Alert retryAlert(const QString& messageText, const Error& error)
{
    Alert alert;
    alert.style = Alert::Style::Critical;
    alert.messageText = messageText;
    alert.informativeText = error.localizedDescription;
    alert.buttonTitles = {Texts::text("Button.Retry"), Texts::text("Button.Cancel")};
    return alert;
}

OpenPanelOptions folderPanelOptions(const QString& title, QWidget* parent)
{
    OpenPanelOptions options;
    options.canChooseFiles = false;
    options.canChooseDirectories = true;
    options.allowsMultipleSelection = false;
    options.canCreateDirectories = true;
    options.title = title;
    options.prompt = Texts::text("Button.Save");
    options.parent = parent;
    return options;
}

} // namespace iconfoundry::savequestions
