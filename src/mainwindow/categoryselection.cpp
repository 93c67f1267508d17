#include "mainwindow/categoryselection.h"

#include "platform/defaults.h"

#include <QAbstractButton>
#include <QBoxLayout>
#include <QButtonGroup>
#include <QCheckBox>
#include <QWidget>

namespace iconfoundry {

CategorySelection::CategorySelection(QWidget* container)
    : container_(container), group_(new QButtonGroup(container))
{
    group_->setExclusive(false);
}

void CategorySelection::buildCheckboxes(const QList<ImageCategory>& categories, const QList<qint64>& ticked)
{
    if (!container_ || !group_)
        return;
    auto* layout = qobject_cast<QBoxLayout*>(container_->layout());
    if (!layout)
        return;
    const QList<QAbstractButton*> old = group_->buttons();
    for (QAbstractButton* box : old)
        delete box; // leaves the group as it goes
    int position = 0;
    for (const ImageCategory& category : categories) {
        if (category.categoryId() < FirstTag || category.categoryId() > LastTag)
            continue; // not a catalogue id; it could never be found again by its id
        auto* box =
            new QCheckBox(category.name().value_or(QString::number(category.categoryId())), container_);
        box->setObjectName(QStringLiteral("categoryCheckbox%1").arg(category.categoryId()));
        box->setChecked(ticked.contains(category.categoryId()));
        group_->addButton(box, int(category.categoryId()));
        layout->insertWidget(position++, box);
    }
}

QAbstractButton* CategorySelection::buttonWithTag(qint64 tag) const
{
    if (!group_ || tag < FirstTag || tag > LastTag)
        return nullptr;
    return group_->button(int(tag));
}

QList<ImageCategory> CategorySelection::selectedImageCategories(const QList<ImageCategory>& catalogue) const
{
    QList<ImageCategory> selected;
    for (const ImageCategory& category : catalogue) {
        const QAbstractButton* button = buttonWithTag(category.categoryId());
        if (button && button->isChecked())
            selected.append(category);
    }
    return selected;
}

void CategorySelection::setSelectedImageCategories(const QList<ImageCategory>& categories)
{
    if (!group_)
        return;
    const QList<QAbstractButton*> buttons = group_->buttons();
    for (QAbstractButton* button : buttons)
        button->setChecked(false);
    for (const ImageCategory& category : categories) {
        if (QAbstractButton* button = buttonWithTag(category.categoryId()))
            button->setChecked(true);
    }
}

bool CategorySelection::restore(const Defaults& defaults)
{
    const std::optional<QByteArray> stored = defaults.selectedImageCategories();
    if (!stored)
        return false;
    const std::optional<QList<ImageCategory>> categories = ImageCategory::unarchive(*stored);
    if (!categories)
        return false;
    setSelectedImageCategories(*categories);
    return true;
}

bool CategorySelection::save(const QList<ImageCategory>& catalogue, Defaults& defaults) const
{
    const QByteArray archive = ImageCategory::archive(selectedImageCategories(catalogue));
    if (archive.isEmpty())
        return false;
    defaults.setSelectedImageCategories(archive);
    return defaults.synchronize();
}

} // namespace iconfoundry
