#pragma once

#include "iconset/imagecategory.h"
#include "iconset/imagesize.h"

#include <QDir>
#include <QList>

using namespace iconfoundry;

// A small catalogue of our own, so the window's tests do not depend on the bundled one: iPhone
// (20 pt @2x = 40 px, 60 pt @3x = 180 px), iPad (76 pt @2x = 152 px) and Mac (512 pt @2x).
inline QList<ImageCategory> iconCatalogueCategories()
{
    return {ImageCategory(101, QStringLiteral("iPhone"), QStringLiteral("iphone")),
            ImageCategory(111, QStringLiteral("iPad"), QStringLiteral("ipad")),
            ImageCategory(201, QStringLiteral("Mac"), QStringLiteral("mac"))};
}

inline QList<ImageSize> iconCatalogueSizes()
{
    const auto size = [](const char* idiom, double points, double scale, const char* file, qint64 category) {
        ImageSize s;
        s.setIdiom(QString::fromLatin1(idiom));
        s.setWidth(points);
        s.setHeight(points);
        s.setScale(scale);
        s.setFileName(QString::fromLatin1(file));
        s.setCategoryIds({category});
        return s;
    };
    return {size("iphone", 20, 2, "Icon-20@2x.png", 101), size("iphone", 60, 3, "Icon-60@3x.png", 101),
            size("ipad", 76, 2, "Icon-76@2x.png", 111), size("mac", 512, 2, "icon_512x512@2x.png", 201)};
}

// Categories by id, as the window's checkboxes know them.
inline QList<ImageCategory> categoriesWithIds(const QList<qint64>& ids)
{
    QList<ImageCategory> categories;
    for (qint64 id : ids)
        categories.append(ImageCategory(id, QString(), QString()));
    return categories;
}

// The files and folders directly in folder, by name.
inline QStringList namesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}
