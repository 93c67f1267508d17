#include "platform/textkeys.h"

#include "platform/texts.h"

#include <QAbstractButton>
#include <QAction>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QRegularExpression>
#include <QWidget>

namespace iconfoundry {

namespace {

QString translated(const QString& text)
{
    return TextKeys::isKey(text) ? Texts::text(text.toUtf8().constData()) : text;
}

void applyToAction(QAction* action)
{
    action->setText(translated(action->text()));
    action->setToolTip(translated(action->toolTip()));
    action->setStatusTip(translated(action->statusTip()));
    if (QMenu* menu = action->menu())
        menu->setTitle(translated(menu->title()));
}

} // namespace

bool TextKeys::isKey(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Z][A-Za-z0-9]*(\\.[A-Za-z0-9]+)+$"));
    return pattern.match(text).hasMatch();
}

void TextKeys::apply(QWidget* root)
{
    if (!root)
        return;
    QList<QWidget*> widgets = root->findChildren<QWidget*>();
    widgets.prepend(root);
    for (QWidget* widget : widgets) {
        if (widget->isWindow())
            widget->setWindowTitle(translated(widget->windowTitle()));
        widget->setToolTip(translated(widget->toolTip()));
        if (auto* label = qobject_cast<QLabel*>(widget))
            label->setText(translated(label->text()));
        else if (auto* button = qobject_cast<QAbstractButton*>(widget))
            button->setText(translated(button->text()));
        else if (auto* group = qobject_cast<QGroupBox*>(widget))
            group->setTitle(translated(group->title()));
        else if (auto* edit = qobject_cast<QLineEdit*>(widget))
            edit->setPlaceholderText(translated(edit->placeholderText()));
        else if (auto* menu = qobject_cast<QMenu*>(widget))
            menu->setTitle(translated(menu->title()));
        const QList<QAction*> actions = widget->actions();
        for (QAction* action : actions)
            applyToAction(action);
    }
    const QList<QAction*> actions = root->findChildren<QAction*>();
    for (QAction* action : actions)
        applyToAction(action);
}

} // namespace iconfoundry
