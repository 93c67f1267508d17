#include "mainwindow/recentdocumentsmenu.h"

#include "platform/defaults.h"
#include "platform/texts.h"

#include <QFileInfo>
#include <QMenu>

namespace iconfoundry {

RecentDocumentsMenu::RecentDocumentsMenu(QMenu* menu, Defaults& defaults, OpenFunction open, QObject* parent)
    : QObject(parent), menu_(menu), defaults_(defaults), open_(std::move(open))
{
    connect(menu_, &QMenu::aboutToShow, this, &RecentDocumentsMenu::rebuild);
    rebuild();
}

void RecentDocumentsMenu::rebuild()
{
    menu_->clear();
    const QList<QUrl> urls = defaults_.recentDocuments();
    for (const QUrl& url : urls) {
        const QString path = url.isLocalFile() ? url.toLocalFile() : url.toString();
        // "&&" shows a file name's "&" instead of making it a mnemonic.
        QAction* action =
            menu_->addAction(QFileInfo(path).fileName().replace(QLatin1Char('&'), QLatin1String("&&")));
        action->setToolTip(path);
        action->setStatusTip(path);
        // A file that has gone stays listed, like any recent item, but cannot be chosen.
        action->setEnabled(!url.isLocalFile() || QFileInfo::exists(path));
        connect(action, &QAction::triggered, this, [this, url] {
            if (open_)
                open_(url);
        });
    }
    if (!urls.isEmpty())
        menu_->addSeparator();
    QAction* clear = menu_->addAction(Texts::text("Menu.File.OpenRecent.Clear"));
    clear->setEnabled(!urls.isEmpty());
    connect(clear, &QAction::triggered, this, [this] {
        defaults_.clearRecentDocuments();
        rebuild();
    });
}

} // namespace iconfoundry
