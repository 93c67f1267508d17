#pragma once

#include "iconset/imagecategory.h"

#include <QList>

class QAbstractButton;
class QWidget;

namespace iconfoundry {

class Defaults;

// The category checkboxes of the main window and the stored choice.
//
// A checkbox belongs to a category through its tag: the integer property "tag" equal to the
// category's categoryId. Tags 100..599 are reserved for category checkboxes anywhere under the
// window's root widget, because setting a selection switches off every button in that range.
// Lists of categories are always returned in catalogue order, never in the order boxes were
// ticked. Main thread only; buttons are owned by their Qt parents.
class CategorySelection
{
public:
    static constexpr qint64 FirstTag = 100;
    static constexpr qint64 LastTag = 599;
    static constexpr char TagProperty[] = "tag";

    // Replaces the checkboxes in container (which must have a box layout) with one per category,
    // in catalogue order, labelled with the category's name. The boxes whose categoryId is in
    // ticked start ticked: the choice a first launch shows.
    static void buildCheckboxes(QWidget* container, const QList<ImageCategory>& categories,
                                const QList<qint64>& ticked);

    // The button tagged tag under root, or nullptr.
    static QAbstractButton* buttonWithTag(const QWidget* root, qint64 tag);

    // The categories of catalogue whose button under root is ticked.
    static QList<ImageCategory> selectedImageCategories(const QWidget* root,
                                                        const QList<ImageCategory>& catalogue);
    // Unticks every button tagged 100..599 under root, then ticks the buttons of categories.
    // Categories without a button are skipped.
    static void setSelectedImageCategories(const QWidget* root, const QList<ImageCategory>& categories);

    // Ticks the stored choice. Leaves the boxes alone and returns false when nothing is stored
    // or the stored data cannot be read.
    static bool restore(const QWidget* root, const Defaults& defaults);
    // Stores the ticked categories of catalogue and writes them to disk at once.
    static bool save(const QWidget* root, const QList<ImageCategory>& catalogue, Defaults& defaults);
};

} // namespace iconfoundry
