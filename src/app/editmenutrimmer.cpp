#include "app/editmenutrimmer.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>

namespace iconfoundry {

namespace {

QString titleWithoutMnemonic(QString title)
{
    // "&&" stands for a literal ampersand; a single "&" marks the mnemonic.
    title.replace(QLatin1String("&&"), QStringLiteral("\x01"));
    title.remove(QLatin1Char('&'));
    title.replace(QStringLiteral("\x01"), QStringLiteral("&"));
    return title;
}

bool removeLastIf(QMenu* menu, bool (*matches)(const QAction*))
{
    const QList<QAction*> actions = menu->actions();
    if (actions.isEmpty() || !matches(actions.last()))
        return false;
    QAction* last = actions.last();
    menu->removeAction(last);
    if (last->parent() == menu)
        delete last;
    return true;
}

} // namespace

QMenu* EditMenuTrimmer::editMenu(const QMenuBar* mainMenu)
{
    if (!mainMenu)
        return nullptr;
    const QList<QAction*> items = mainMenu->actions();
    for (QAction* item : items) {
        if (item->menu() && titleWithoutMnemonic(item->text()) == QLatin1String("Edit"))
            return item->menu();
    }
    return nullptr;
}

int EditMenuTrimmer::trimEditMenu(QMenuBar* mainMenu)
{
    return trimMenu(editMenu(mainMenu));
}

int EditMenuTrimmer::trimMenu(QMenu* menu)
{
    if (!menu)
        return 0;
    int removed = 0;
    removed += removeLastIf(
        menu, [](const QAction* a) { return a->objectName() == QLatin1String(CharacterPaletteAction); });
    removed += removeLastIf(
        menu, [](const QAction* a) { return a->objectName() == QLatin1String(DictationAction); });
    removed += removeLastIf(menu, [](const QAction* a) { return a->isSeparator(); });
    return removed;
}

} // namespace iconfoundry
