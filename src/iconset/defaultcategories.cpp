#include "iconset/defaultcategories.h"

namespace iconfoundry {

QList<qint64> DefaultCategories::ids()
{
    return {101, 111, 121};
}

QList<ImageCategory> DefaultCategories::fromCatalogue(const QList<ImageCategory>& catalogue)
{
    const QList<qint64> wanted = ids();
    QList<ImageCategory> chosen;
    for (const ImageCategory& category : catalogue) {
        if (wanted.contains(category.categoryId()))
            chosen.append(category);
    }
    return chosen;
}

} // namespace iconfoundry
