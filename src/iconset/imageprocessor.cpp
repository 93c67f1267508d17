// The catalogue half of ImageProcessor: the lazy lists and resource loading. Rendering lives in
// imageprocessor_render.cpp.
#include "iconset/imageprocessor.h"

#include "iconset/cataloguecoding.h"
#include "logging/log.h"
#include "platform/bundle.h"
#include "platform/propertylist.h"

#include <QFile>

namespace iconfoundry {

namespace {

// Checks that a catalogue resource's root is a list of dictionaries. A list with one bad element
// is refused whole: half a catalogue would quietly drop icons from every icon set written.
std::optional<QString> catalogueShapeProblem(const QVariant& root, const QString& name)
{
    if (root.metaType().id() != QMetaType::QVariantList)
        return QStringLiteral("ERROR: %1.plist does not hold a list but a %2; the catalogue stays empty")
            .arg(name, CatalogueCoding::kindName(root));
    const QVariantList elements = root.toList();
    for (qsizetype i = 0; i < elements.size(); ++i) {
        if (elements[i].metaType().id() != QMetaType::QVariantMap)
            return QStringLiteral(
                       "ERROR: Element %1 of %2.plist is a %3, not a dictionary; the catalogue stays empty")
                .arg(i)
                .arg(name, CatalogueCoding::kindName(elements[i]));
    }
    return std::nullopt;
}

template <typename Record> QList<Record> recordsFromRoot(const QVariant& root)
{
    QList<Record> records;
    const QVariantList elements = root.toList();
    records.reserve(elements.size());
    for (const QVariant& element : elements)
        records.append(Record(element.toMap()));
    return records;
}

} // namespace

// A failed load leaves an empty list behind on purpose: the error was logged once and the
// resource will not appear later in this run.
template <typename Record> QList<Record> ImageProcessor::loadRecords(const QString& name)
{
    const auto root = loadData(name);
    if (!root)
        return {};
    if (const auto problem = catalogueShapeProblem(*root, name)) {
        LOG_ERROR("%s", qUtf8Printable(*problem));
        return {};
    }
    return recordsFromRoot<Record>(*root);
}

const QList<ImageCategory>& ImageProcessor::allImageCategories()
{
    if (!allImageCategories_)
        allImageCategories_ = loadRecords<ImageCategory>(QStringLiteral("ImageCategories"));
    return *allImageCategories_;
}

const QList<ImageSize>& ImageProcessor::allImageSizes()
{
    if (!allImageSizes_)
        allImageSizes_ = loadRecords<ImageSize>(QStringLiteral("ImageSizes"));
    return *allImageSizes_;
}

void ImageProcessor::setAllImageCategories(QList<ImageCategory> categories)
{
    allImageCategories_ = std::move(categories);
}

void ImageProcessor::setAllImageSizes(QList<ImageSize> sizes)
{
    allImageSizes_ = std::move(sizes);
}

std::optional<QVariant> ImageProcessor::loadData(const QString& name)
{
    QString failure;
    auto root = PropertyList::readResource(name, &failure);
    if (!root)
        LOG_ERROR("%s", qUtf8Printable(failure));
    return root;
}

bool ImageProcessor::imageSize(const ImageSize& size, const QList<ImageCategory>& categories) const
{
    for (const ImageCategory& category : categories) {
        if (size.hasCategoryId(category.categoryId()))
            return true;
    }
    return false;
}

} // namespace iconfoundry
