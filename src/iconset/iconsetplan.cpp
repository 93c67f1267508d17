#include "iconset/iconsetplan.h"

#include "iconset/appearanceimages.h"
#include "iconset/contentsjsonprocessor.h"
#include "iconset/iconsetslots.h"
#include "iconset/imageprocessor.h"
#include "iconset/slotindex.h"

#include <QDir>
#include <QFileInfo>

namespace iconfoundry {

namespace {

QList<ImageSize> withAppearance(const QList<ImageSize>& sizes, QLatin1StringView appearance)
{
    QList<ImageSize> found;
    for (const ImageSize& size : sizes)
        if (size.appearance().value_or(QString()) == appearance)
            found.append(size);
    return found;
}

// True when every size of sizes has its slot among those of others.
bool slotsWithin(const QList<ImageSize>& sizes, const QList<ImageSize>& others)
{
    std::vector<JsonNode> entries;
    entries.reserve(size_t(others.size()));
    for (const ImageSize& size : others)
        entries.push_back(ContentsJSONProcessor::entryForImageSize(size));
    const SlotIndex index(entries);
    for (const ImageSize& size : sizes)
        if (index.firstHolder(ContentsJSONProcessor::entryForImageSize(size)) < 0)
            return false;
    return true;
}

} // namespace

bool IconSetPlan::make(ImageProcessor& processor, const QString& folder, bool iconSet,
                       const QList<ImageCategory>& categories, const QList<ImageCategory>& fallback,
                       IconSetPlan& plan, Error* error)
{
    plan = IconSetPlan();
    std::vector<JsonNode> images;
    if (iconSet && !ContentsJSONProcessor::readImages(folder, images, error))
        return false;
    if (categories.isEmpty() && !images.empty()) {
        const IconSetSlots::Plan own = IconSetSlots::slotsOfSet(images, processor.allImageSizes());
        if (!own.sizes.isEmpty() || !own.skipped.isEmpty()) {
            plan.slotsFrom_ = SlotsFrom::IconSet;
            plan.sizes_ = own.sizes;
            plan.skipped_ = own.skipped;
        }
    }
    if (plan.slotsFrom_ == SlotsFrom::Categories) {
        plan.categories_ = categories.isEmpty() ? fallback : categories;
        for (const ImageSize& size : processor.allImageSizes())
            if (processor.imageSize(size, plan.categories_))
                plan.sizes_.append(size);
    }
    plan.finish(processor, folder, iconSet, images);
    return true;
}

void IconSetPlan::finish(ImageProcessor& processor, const QString& folder, bool iconSet,
                         const std::vector<JsonNode>& images)
{
    folder_ = folder;
    if (iconSet)
        IconSetSlots::keepFileNames(sizes_, images);
    for (const ImageSize& size : std::as_const(sizes_)) {
        const QString name = size.fileName().value_or(QString());
        if (!files_.contains(name))
            files_.append(name);
        pixels_.insert(name, size.pixelSize());
    }
    const QStringList referenced = IconSetSlots::referencedFileNames(images);
    for (const QString& name : std::as_const(files_)) {
        if (!QFileInfo::exists(QDir(folder).filePath(name)))
            continue;
        (referenced.contains(name) ? refreshedFiles_ : existingFiles_).append(name);
    }
    if (iconSet) {
        ContentsJSONProcessor contents(&processor);
        takenSlots_ = contents.imageJSONThatExistForCategories(sizes_, folder).value_or(QList<ImageSize>());
    }
}

QList<ImageSize> IconSetPlan::mainSizes() const
{
    QList<ImageSize> found;
    for (const ImageSize& size : sizes_) {
        const QString appearance = size.appearance().value_or(QString());
        if (appearance != QLatin1String("dark") && appearance != QLatin1String("tinted"))
            found.append(size);
    }
    return found;
}

QList<ImageSize> IconSetPlan::darkSizes() const
{
    return withAppearance(sizes_, QLatin1StringView("dark"));
}

QList<ImageSize> IconSetPlan::tintedSizes() const
{
    return withAppearance(sizes_, QLatin1StringView("tinted"));
}

QStringList IconSetPlan::opaqueSlots() const
{
    QStringList found;
    for (const ImageSize& size : sizes_)
        if (size.needsOpaquePixels())
            found.append(size.description().trimmed());
    return found;
}

bool IconSetPlan::fillsSameSlots(const IconSetPlan& other) const
{
    return slotsWithin(sizes_, other.sizes_) && slotsWithin(other.sizes_, sizes_);
}

bool IconSetPlan::completeSources(Sources& sources) const
{
    if (!sources.image)
        return false;
    if (!sources.tinted && !tintedSizes().isEmpty()) {
        sources.tinted = AppearanceImages::tinted(*sources.image);
        if (!sources.tinted)
            return false;
    }
    if (!sources.dark)
        sources.dark = sources.image;
    return true;
}

bool IconSetPlan::write(ImageProcessor& processor, const Sources& sources, Error* error,
                        const Progress& progress) const
{
    const int total = int(sizes_.size());
    int before = 0;
    bool written = true;
    for (const auto& [from, group] :
         {std::pair{sources.image, mainSizes()}, std::pair{sources.dark, darkSizes()},
          std::pair{sources.tinted, tintedSizes()}}) {
        if (group.isEmpty())
            continue;
        Error groupError;
        const ImageProcessor::Progress groupProgress = [&](int done, int) {
            if (progress)
                progress(before + done, total, group.value(done - 1).fileName().value_or(QString()));
        };
        if (!processor.resizeAndSaveImage(from, group, folder_, &groupError, groupProgress)) {
            written = false;
            if (error)
                *error = groupError;
        }
        before += int(group.size());
    }
    return written;
}

} // namespace iconfoundry
