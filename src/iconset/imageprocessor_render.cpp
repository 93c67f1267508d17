// Rendering and file output of ImageProcessor.
//
// resizeAndSaveImage() works in two halves:
// - on the calling thread it walks the catalogue, decides each size's crop and target, and lists
//   one render job per distinct (crop, pixel size): sizes that need the same pixels (a 40-point
//   2x icon of one idiom and of another) share one job, while every size still gets its own
//   log line and its own write;
// - jobs run on the global thread pool (largest first) and on the calling thread itself (in
//   catalogue order), and the calling thread writes the files strictly in catalogue order as
//   their bytes become ready.
// Writing in order on one thread keeps the observable behaviour of a plain loop: for a shared
// file name the later catalogue entry is what ends on disk, the last failure is the one reported,
// log lines and progress calls come in catalogue order, and the caller never waits on a pool it
// may itself be running on (it takes jobs instead of waiting for free threads).
#include "iconset/imageprocessor.h"
#include "iconset/pngwriter.h"
#include "logging/log.h"
#include "platform/atomicfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentMap>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <new>
#include <optional>
#include <vector>

namespace iconfoundry {

namespace {

// The folder joined with a file name as one path component ("a/" + "b" and "a" + "b" both give
// "a/b"; a leading "/" of the name does not make it absolute).
QString joinPath(const QString& folder, const QString& name)
{
    if (folder.isEmpty())
        return name;
    QString n = name;
    while (n.startsWith(QLatin1Char('/')))
        n.remove(0, 1);
    return folder.endsWith(QLatin1Char('/')) ? folder + n : folder + QLatin1Char('/') + n;
}

// The rectangle croppedImage() cuts (pixels of the first representation), or none when the
// image already has the size's aspect.
std::optional<QRectF> cropRectangle(const Image& image, const ImageSize& size)
{
    if (image.representations().isEmpty())
        return std::nullopt;
    const double a = size.cropAspect();
    const double w = image.representations().front().width();
    const double h = image.representations().front().height();
    if (h / w == a)
        return std::nullopt;
    if (a < 1)
        return QRectF(0, (h - a * h) * 0.5, w, a * h);
    // Multiplied, not divided: for aspects above 1 the rectangle is wider than the image and the
    // clipping in imageInRect() leaves the whole image. Kept as it is on purpose: only aspects
    // below 1 (icons wider than tall) cut anything.
    return QRectF((w - a * w) * 0.5, 0, a * w, h);
}

// Points x scale, unrounded. A size without a scale (0) is a single-size slot, drawn at 1x like
// ImageSize::pixelSize() says.
QSizeF targetSize(const ImageSize& size)
{
    const double scale = size.scale() == 0 ? 1.0 : size.scale();
    return QSizeF(size.width() * scale, size.height() * scale);
}

QSize truncated(QSizeF size)
{
    const auto part = [](double v) { return std::isfinite(v) && v > 0 && v < 1e9 ? int(std::trunc(v)) : 0; };
    return QSize(part(size.width()), part(size.height()));
}

struct WriteFailure
{
    int code = 0;
    QString description;
};

// One distinct picture to make: `from` (the source or a crop of it) drawn at `target`, unless
// `drawn` already holds it.
struct RenderJob
{
    ImagePtr from;
    QSizeF target;
    qint64 pixels = 0;
    std::optional<QRectF> crop;
    QImage drawn;
    // Set for icons that must have no alpha channel: laid over this colour, written as RGB.
    std::optional<QColor> background;
};

struct RenderOutcome
{
    QByteArray png;
    WriteFailure failure;
};

RenderOutcome render(const RenderJob& job)
{
    try {
        const QImage bitmap =
            job.drawn.isNull() ? job.from->renderedAtSize(job.target)->unscaledBitmapImageRep() : job.drawn;
        const QSize pixels = truncated(job.target);
        if (bitmap.isNull())
            return {{},
                    {pixels.isEmpty() ? int(Image::ZeroSize) : int(Image::TooLarge),
                     QStringLiteral("The icon could not be drawn at %1 \u00d7 %2 pixels.")
                         .arg(pixels.width())
                         .arg(pixels.height())}};
        QByteArray png =
            job.background ? PngWriter::encodeOver(bitmap, *job.background) : PngWriter::encode(bitmap);
        if (png.isEmpty())
            return {{}, {int(Image::TooLarge), QStringLiteral("The icon could not be encoded as PNG.")}};
        return {std::move(png), {}};
    } catch (...) {
        return {{}, {int(Image::TooLarge), QStringLiteral("There is not enough memory to draw the icon.")}};
    }
}

// Jobs shared between the calling thread and the pool helpers (held by shared_ptr, so a helper
// that starts late finds every job taken and an intact queue). Jobs are numbered in catalogue
// order. Helpers take the largest jobs first, so the long ones start at once; the calling thread
// takes jobs in catalogue order, so it can write each file as soon as its bytes exist, and it
// never waits idle while a job is left to take.
class RenderQueue
{
public:
    explicit RenderQueue(std::vector<RenderJob> jobs)
        : jobs_(std::move(jobs)), taken_(jobs_.size()), outcomes_(jobs_.size())
    {
        largestFirst_.resize(jobs_.size());
        for (size_t i = 0; i < largestFirst_.size(); ++i)
            largestFirst_[i] = int(i);
        std::stable_sort(largestFirst_.begin(), largestFirst_.end(),
                         [this](int a, int b) { return jobs_[a].pixels > jobs_[b].pixels; });
    }

    // For the pool helpers.
    void runLargestFirst()
    {
        for (int index : largestFirst_)
            if (tryTake(index))
                run(index);
    }

    // For the calling thread: the outcome of job `index`. Runs it when nobody has taken it yet;
    // while a helper works on it, runs the next untaken job in catalogue order instead of idling.
    // `last` hands the bytes over (the job has no later file); otherwise they are copied.
    RenderOutcome take(int index, bool last)
    {
        for (;;) {
            {
                std::lock_guard lock(mutex_);
                if (outcomes_[index]) {
                    RenderOutcome outcome = last ? std::move(*outcomes_[index]) : *outcomes_[index];
                    if (last)
                        outcomes_[index].reset();
                    return outcome;
                }
            }
            if (tryTake(index)) {
                run(index);
                continue;
            }
            while (scan_ < int(jobs_.size()) && taken_[size_t(scan_)].load())
                ++scan_;
            if (scan_ < int(jobs_.size()) && tryTake(scan_)) {
                run(scan_);
                continue;
            }
            std::unique_lock lock(mutex_);
            done_.wait(lock, [&] { return outcomes_[index].has_value(); });
        }
    }

    size_t size() const { return jobs_.size(); }

private:
    bool tryTake(int index) { return !taken_[size_t(index)].exchange(true); }

    void run(int index)
    {
        RenderOutcome outcome = render(jobs_[size_t(index)]);
        {
            std::lock_guard lock(mutex_);
            outcomes_[size_t(index)] = std::move(outcome);
        }
        done_.notify_all();
    }

    std::vector<RenderJob> jobs_;
    std::vector<int> largestFirst_;
    std::vector<std::atomic<bool>> taken_;
    int scan_ = 0; // calling thread only: every job before it is taken
    std::mutex mutex_;
    std::condition_variable done_;
    std::vector<std::optional<RenderOutcome>> outcomes_;
};

} // namespace

QStringList ImageProcessor::imageFileNamesForCategories(const QList<ImageCategory>& categories)
{
    QStringList names;
    for (const ImageSize& size : allImageSizes())
        if (imageSize(size, categories))
            names.append(size.fileName().value_or(QString()));
    return names;
}

std::optional<QStringList>
ImageProcessor::fileNamesThatExistForCategories(const QList<ImageCategory>& categories, const QString& path)
{
    QStringList existing;
    for (const QString& name : imageFileNamesForCategories(categories))
        if (QFileInfo::exists(joinPath(path, name)))
            existing.append(name);
    if (existing.isEmpty())
        return std::nullopt;
    return existing;
}

ImagePtr ImageProcessor::croppedImage(const ImagePtr& image, const ImageSize& size)
{
    if (!image)
        return image;
    const std::optional<QRectF> rect = cropRectangle(*image, size);
    return rect ? image->imageInRect(*rect) : image;
}

QList<ImagePtr> ImageProcessor::resizeImage(const ImagePtr& image, const QList<ImageCategory>& categories)
{
    struct Item
    {
        ImagePtr from;
        QSizeF target;
    };
    QList<Item> items;
    for (const ImageSize& size : allImageSizes()) {
        if (!imageSize(size, categories))
            continue;
        // Drawn with renderedAtSize(), never imageWithSize(): the caller's image may be shown and
        // read elsewhere while this runs, so its nominal size is left alone.
        ImagePtr from = size.cropAspect() != 0 ? croppedImage(image, size) : image;
        items.append({std::move(from), targetSize(size)});
    }
    if (items.isEmpty())
        return {};
    return QtConcurrent::blockingMapped<QList<ImagePtr>>(items, [](const Item& item) -> ImagePtr {
        if (!item.from)
            return nullptr;
        try {
            return item.from->renderedAtSize(item.target);
        } catch (...) {
            auto empty = std::make_shared<Image>();
            empty->setSize(item.target);
            return empty;
        }
    });
}

bool ImageProcessor::resizeAndSaveImage(const ImagePtr& image, const QList<ImageCategory>& categories,
                                        const QString& path, Error* error, const Progress& progress)
{
    QList<ImageSize> sizes;
    for (const ImageSize& size : allImageSizes())
        if (imageSize(size, categories))
            sizes.append(size);
    return resizeAndSaveImage(image, sizes, path, error, progress);
}

bool ImageProcessor::resizeAndSaveImage(const ImagePtr& image, const QList<ImageSize>& sizes,
                                        const QString& path, Error* error, const Progress& progress)
{
    struct Entry
    {
        QString path;
        int job = 0;
        bool lastUse = false;
    };
    std::vector<RenderJob> jobs;
    std::vector<Entry> entries;
    QHash<QString, int> jobByKey;

    for (const ImageSize& size : sizes) {
        ImagePtr from = image;
        std::optional<QRectF> crop;
        if (size.cropAspect() != 0 && image) {
            crop = cropRectangle(*image, size);
            if (crop)
                from = image->imageInRect(*crop);
        }
        const QSizeF target = targetSize(size);

        const QSize pixels = truncated(target);
        const bool opaque = size.needsOpaquePixels();
        QString key = crop ? QString::asprintf("%a %a %a %a %d %d", crop->x(), crop->y(), crop->width(),
                                               crop->height(), pixels.width(), pixels.height())
                           : QString::asprintf("- %d %d", pixels.width(), pixels.height());
        if (opaque)
            key += QStringLiteral(" opaque");
        auto found = jobByKey.constFind(key);
        int job;
        if (found != jobByKey.constEnd()) {
            job = *found;
        } else {
            job = int(jobs.size());
            jobByKey.insert(key, job);
            jobs.push_back({from,
                            target,
                            qint64(pixels.width()) * pixels.height(),
                            crop,
                            {},
                            opaque ? std::optional<QColor>(backgroundColour_) : std::nullopt});
        }
        entries.push_back({joinPath(path, size.fileName().value_or(QString())), job, false});
    }
    if (entries.empty())
        return true;
    if (!image) {
        Error::set(error, Image::errorDomain(), Image::ZeroSize,
                   QStringLiteral("There is no image to save."));
        return false;
    }
    // Every size the bitmap shrinks to comes from one pass over its rows; the rest (vector
    // sources, sizes larger than their cut) are drawn by the jobs themselves.
    std::vector<Image::Cut> cuts;
    for (const RenderJob& job : jobs)
        cuts.push_back({job.crop.value_or(QRectF()), job.target});
    std::vector<QImage> drawn = image->shrunkenCuts(cuts, QThread::idealThreadCount());
    for (size_t i = 0; i < jobs.size(); ++i)
        jobs[i].drawn = std::move(drawn[i]);

    std::vector<bool> seen(jobs.size(), false);
    for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
        it->lastUse = !seen[it->job];
        seen[it->job] = true;
    }

    auto queue = std::make_shared<RenderQueue>(std::move(jobs));
    QThreadPool* pool = QThreadPool::globalInstance();
    const int helpers = std::min<int>(int(queue->size()) - 1, std::max(1, pool->maxThreadCount() - 1));
    for (int i = 0; i < helpers; ++i)
        pool->start([queue] { queue->runLargestFirst(); });

    bool result = true;
    const int total = int(entries.size());
    for (int i = 0; i < total; ++i) {
        const Entry& entry = entries[size_t(i)];
        const RenderOutcome outcome = queue->take(entry.job, entry.lastUse);
        LOG_INFO("Saving image to path: %s", qUtf8Printable(entry.path));
        Error failure;
        bool failed = outcome.png.isEmpty();
        if (failed)
            failure = Error{Image::errorDomain(), outcome.failure.code, outcome.failure.description};
        else
            failed = !AtomicFile::write(entry.path, outcome.png, &failure);
        if (failed) {
            LOG_ERROR("Error saving image to path '%s' : %s", qUtf8Printable(entry.path),
                      qUtf8Printable(failure.localizedDescription));
            if (error)
                *error = failure; // a later failure replaces an earlier one
            result = false;
        }
        if (progress)
            progress(i + 1, total);
    }
    return result;
}

} // namespace iconfoundry
