#pragma once

#include "iconset/imagecategory.h"

#include <QList>
#include <QPointer>

class QAbstractButton;
class QButtonGroup;
class QWidget;

namespace iconfoundry {

class Defaults;

// The category checkboxes of the main window and the stored choice.
//
// The checkboxes sit in one non-exclusive button group, each under its category's categoryId as
// the group id. Ids 100..599 are reserved for category checkboxes, because setting a selection
// switches off every box in that range. Lists of categories are always returned in catalogue
// order, never in the order boxes were ticked. Main thread only; the boxes and the group are
// owned by the container widget.
class CategorySelection
{
public:
    static constexpr int FirstTag = 100;
    static constexpr int LastTag = 599;

    // container must have a box layout; the boxes are inserted at its top.
    explicit CategorySelection(QWidget* container);

    // Replaces the checkboxes with one per category, in catalogue order, labelled with the
    // category's name. The boxes whose categoryId is in ticked start ticked: the choice a first
    // launch shows. Categories whose id lies outside 100..599 get no box.
    void buildCheckboxes(const QList<ImageCategory>& categories, const QList<qint64>& ticked);

    // The checkbox of the category with id tag, or nullptr.
    QAbstractButton* buttonWithTag(qint64 tag) const;

    // The categories of catalogue whose box is ticked.
    QList<ImageCategory> selectedImageCategories(const QList<ImageCategory>& catalogue) const;
    // Unticks every box tagged 100..599, then ticks the boxes of categories. Categories without a
    // box are skipped.
    void setSelectedImageCategories(const QList<ImageCategory>& categories);

    // Ticks the stored choice. Leaves the boxes alone and returns false when nothing is stored
    // or the stored data cannot be read.
    bool restore(const Defaults& defaults);
    // Stores the ticked categories of catalogue and writes them to disk at once.
    bool save(const QList<ImageCategory>& catalogue, Defaults& defaults) const;

private:
    QPointer<QWidget> container_;
    QPointer<QButtonGroup> group_;
};

} // namespace iconfoundry
