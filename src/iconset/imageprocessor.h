#pragma once

#include "iconset/image.h"
#include "iconset/imagecategory.h"
#include "iconset/imagesize.h"
#include "platform/error.h"

#include <QColor>
#include <QList>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <optional>

namespace iconfoundry {

// The icon catalogue (categories and sizes, read lazily from the bundle's property lists) and the
// renderer that turns one source image into the icon files of chosen categories.
//
// The lazy lists are not locked: read them once on the calling thread before handing the
// processor to other threads. Rendering calls are synchronous for the caller and use the global
// thread pool inside.
class ImageProcessor
{
public:
    using Progress = std::function<void(int done, int total)>;

    ImageProcessor() = default;

    // Catalogue. Never absent after the first call; empty when the resource is missing or
    // broken (logged once, not retried).
    const QList<ImageCategory>& allImageCategories();
    const QList<ImageSize>& allImageSizes();
    void setAllImageCategories(QList<ImageCategory> categories);
    void setAllImageSizes(QList<ImageSize> sizes);

    // The parsed root of the bundle's property list NAME.plist, or absent (logged).
    std::optional<QVariant> loadData(const QString& name);

    // True when size belongs to any of the categories.
    bool imageSize(const ImageSize& size, const QList<ImageCategory>& categories) const;

    // Rendering.
    QStringList imageFileNamesForCategories(const QList<ImageCategory>& categories);
    std::optional<QStringList> fileNamesThatExistForCategories(const QList<ImageCategory>& categories,
                                                               const QString& path);
    QList<ImagePtr> resizeImage(const ImagePtr& image, const QList<ImageCategory>& categories);
    ImagePtr croppedImage(const ImagePtr& image, const ImageSize& size);
    bool resizeAndSaveImage(const ImagePtr& image, const QList<ImageCategory>& categories,
                            const QString& path, Error* error = nullptr, const Progress& progress = {});
    // The same for the given sizes, in their order, under their file names: for callers that
    // decide the sizes themselves (the slots an icon set already has, the names it already uses).
    // One name for both, so that the log lines name the same operation.
    bool resizeAndSaveImage(const ImagePtr& image, const QList<ImageSize>& sizes, const QString& path,
                            Error* error = nullptr, const Progress& progress = {});

    // What shows through the transparent parts of icons that must be opaque
    // (ImageSize::needsOpaquePixels); white unless set. Only its opaque RGB is used.
    QColor backgroundColour() const { return backgroundColour_; }
    void setBackgroundColour(const QColor& colour) { backgroundColour_ = colour.toRgb(); }

private:
    template <typename Record> QList<Record> loadRecords(const QString& name);

    std::optional<QList<ImageCategory>> allImageCategories_;
    std::optional<QList<ImageSize>> allImageSizes_;
    QColor backgroundColour_ = QColor(255, 255, 255);
};

} // namespace iconfoundry
