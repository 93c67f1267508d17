#include "mainwindow/categoryselection.h"

#include "platform/defaults.h"

#include <QAbstractButton>
#include <QBoxLayout>
#include <QCheckBox>
#include <QWidget>

namespace iconfoundry {

namespace {

std::optional<qint64> tagOf(const QObject* object)
{
    const QVariant tag = object->property(CategorySelection::TagProperty);
    bool ok = false;
    const qint64 value = tag.toLongLong(&ok);
    return tag.isValid() && ok ? std::optional(value) : std::nullopt;
}

} // namespace

void CategorySelection::buildCheckboxes(QWidget* container, const QList<ImageCategory>& categories,
                                        const QList<qint64>& ticked)
{
    auto* layout = qobject_cast<QBoxLayout*>(container->layout());
    if (!layout)
        return;
    const QList<QCheckBox*> old = container->findChildren<QCheckBox*>(Qt::FindDirectChildrenOnly);
    for (QCheckBox* box : old) {
        if (tagOf(box))
            delete box;
    }
    int position = 0;
    for (const ImageCategory& category : categories) {
        if (category.categoryId() < FirstTag || category.categoryId() > LastTag)
            continue; // not a catalogue id; it could never be found again by its tag
        auto* box =
            new QCheckBox(category.name().value_or(QString::number(category.categoryId())), container);
        box->setObjectName(QStringLiteral("categoryCheckbox%1").arg(category.categoryId()));
        box->setProperty(TagProperty, category.categoryId());
        box->setChecked(ticked.contains(category.categoryId()));
        layout->insertWidget(position++, box);
    }
}

QAbstractButton* CategorySelection::buttonWithTag(const QWidget* root, qint64 tag)
{
    if (!root)
        return nullptr;
    const QList<QAbstractButton*> buttons = root->findChildren<QAbstractButton*>();
    for (QAbstractButton* button : buttons) {
        if (tagOf(button) == tag)
            return button;
    }
    return nullptr;
}

QList<ImageCategory> CategorySelection::selectedImageCategories(const QWidget* root,
                                                                const QList<ImageCategory>& catalogue)
{
    QList<ImageCategory> selected;
    for (const ImageCategory& category : catalogue) {
        const QAbstractButton* button = buttonWithTag(root, category.categoryId());
        if (button && button->isChecked())
            selected.append(category);
    }
    return selected;
}

void CategorySelection::setSelectedImageCategories(const QWidget* root,
                                                   const QList<ImageCategory>& categories)
{
    if (!root)
        return;
    const QList<QAbstractButton*> buttons = root->findChildren<QAbstractButton*>();
    for (QAbstractButton* button : buttons) {
        const std::optional<qint64> tag = tagOf(button);
        if (tag && *tag >= FirstTag && *tag <= LastTag)
            button->setChecked(false);
    }
    for (const ImageCategory& category : categories) {
        if (QAbstractButton* button = buttonWithTag(root, category.categoryId()))
            button->setChecked(true);
    }
}

bool CategorySelection::restore(const QWidget* root, const Defaults& defaults)
{
    const std::optional<QByteArray> stored = defaults.selectedImageCategories();
    if (!stored)
        return false;
    const std::optional<QList<ImageCategory>> categories = ImageCategory::unarchive(*stored);
    if (!categories)
        return false;
    setSelectedImageCategories(root, *categories);
    return true;
}

bool CategorySelection::save(const QWidget* root, const QList<ImageCategory>& catalogue, Defaults& defaults)
{
    const QByteArray archive = ImageCategory::archive(selectedImageCategories(root, catalogue));
    if (archive.isEmpty())
        return false;
    defaults.setSelectedImageCategories(archive);
    return defaults.synchronize();
}

} // namespace iconfoundry
