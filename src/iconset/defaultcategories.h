#pragma once

#include "iconset/imagecategory.h"

#include <QList>

namespace iconfoundry {

// The categories ticked when nothing else is known: the first launch of the window and
// `iconfoundry generate` without a category option. One place, so both agree.
class DefaultCategories
{
public:
    // iPhone (101), iPad (111) and App Store (121), in that order.
    static QList<qint64> ids();
    // The categories of catalogue whose ids are among ids(), in catalogue order; ids missing
    // from the catalogue are skipped.
    static QList<ImageCategory> fromCatalogue(const QList<ImageCategory>& catalogue);
};

} // namespace iconfoundry
