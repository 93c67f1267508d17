#include "iconset/image.h"

#include "iconset/pngdecoder.h"
#include "iconset/resampler.h"
#include "iconset/svgdocument.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QScopeGuard>
#include <QtEndian>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <mutex>
#include <new>
#include <optional>
#include <vector>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace iconfoundry {

namespace {

constexpr double kPointsPerInch = 72.0;
constexpr double kMetersPerInch = 0.0254;

QString subject(const QString& name)
{
    return name.isEmpty() ? QStringLiteral("The image")
                          : QStringLiteral("The image \u201c%1\u201d").arg(name);
}

bool fail(Error* error, int code, const QString& description)
{
    Error::set(error, Image::errorDomain(), code, description);
    return false;
}

// One arg() call per message: a file name may itself hold "%1" or "%2F".
bool checkPixelSize(QSize size, const QString& name, Error* error)
{
    if (size.width() <= 0 || size.height() <= 0)
        return fail(error, Image::ZeroSize,
                    QStringLiteral("%1 has no pixels (%2 \u00d7 %3).")
                        .arg(subject(name), QString::number(size.width()), QString::number(size.height())));
    if (size.width() > Image::kMaxSide || size.height() > Image::kMaxSide ||
        qint64(size.width()) * size.height() > Image::kMaxPixels)
        return fail(error, Image::TooLarge,
                    QStringLiteral(
                        "%1 is too large to open (%2 \u00d7 %3 pixels). Images may have at most %4 pixels a "
                        "side and %5 million pixels in all.")
                        .arg(subject(name), QString::number(size.width()), QString::number(size.height()),
                             QString::number(Image::kMaxSide), QString::number(Image::kMaxPixels / 1000000)));
    return true;
}

// What a PNG says about itself before its pixel data: the header's size and the physical
// resolution (pHYs in pixels per metre), read without decoding anything. Walking the chunks is
// cheaper than decoding, and it tells a 96-dpi file apart from one without a resolution, which
// the decoded QImage cannot (both carry the same default).
struct PngHeader
{
    QSize size;
    std::optional<QPointF> dotsPerMeter;
};

std::optional<PngHeader> readPngHeader(QIODevice* device)
{
    if (device->isSequential())
        return std::nullopt;
    const qint64 start = device->pos();
    const auto restore = qScopeGuard([&] { device->seek(start); });
    if (device->read(8) != QByteArray("\x89PNG\r\n\x1a\n", 8))
        return std::nullopt;
    PngHeader header;
    bool sawHeader = false;
    for (int chunks = 0; chunks < 10000; ++chunks) {
        const QByteArray head = device->read(8);
        if (head.size() < 8)
            break;
        const quint32 length = qFromBigEndian<quint32>(head.constData());
        const QByteArray type = head.mid(4, 4);
        const qint64 next = device->pos() + qint64(length) + 4;
        if (type == "IHDR" && length == 13) {
            const QByteArray data = device->read(13);
            if (data.size() < 13)
                break;
            // Read as unsigned, shown as int: anything above INT_MAX is refused as too large.
            const quint32 w = qFromBigEndian<quint32>(data.constData());
            const quint32 h = qFromBigEndian<quint32>(data.constData() + 4);
            header.size = QSize(int(std::min<quint32>(w, INT_MAX)), int(std::min<quint32>(h, INT_MAX)));
            sawHeader = true;
        } else if (type == "pHYs" && length == 9) {
            const QByteArray data = device->read(9);
            if (data.size() == 9 && data.at(8) == 1) // unit: metre
                header.dotsPerMeter = QPointF(qFromBigEndian<quint32>(data.constData()),
                                              qFromBigEndian<quint32>(data.constData() + 4));
        } else if (type == "IDAT" || type == "IEND") {
            break;
        }
        if (!device->seek(next))
            break;
    }
    if (!sawHeader)
        return std::nullopt;
    return header;
}

double dpiFrom(double dotsPerMeter)
{
    const double dpi = dotsPerMeter * kMetersPerInch;
    return std::isfinite(dpi) && dpi >= 1.0 ? dpi : kPointsPerInch;
}

// Nominal size in points of a bitmap: pixels x 72 / dpi. A QImage always carries a resolution;
// the one every new QImage gets means the file named none, which counts as 72 dpi.
QSizeF nominalSize(const QImage& bitmap, std::optional<QPointF> dotsPerMeter = std::nullopt)
{
    double dpiX = kPointsPerInch, dpiY = kPointsPerInch;
    if (dotsPerMeter) {
        dpiX = dpiFrom(dotsPerMeter->x());
        dpiY = dpiFrom(dotsPerMeter->y());
    } else {
        const QImage fresh(1, 1, QImage::Format_ARGB32);
        if (bitmap.dotsPerMeterX() != fresh.dotsPerMeterX() ||
            bitmap.dotsPerMeterY() != fresh.dotsPerMeterY()) {
            dpiX = dpiFrom(bitmap.dotsPerMeterX());
            dpiY = dpiFrom(bitmap.dotsPerMeterY());
        }
    }
    return QSizeF(bitmap.width() * kPointsPerInch / dpiX, bitmap.height() * kPointsPerInch / dpiY);
}

// Icon files carry no colour profile, and Xcode and the devices read such files as sRGB. A source
// drawn in another space (Display P3, as design tools export it) is therefore converted on the way
// in, so the icons, the previews and the pasteboard all show the colours the artwork has; colours
// outside sRGB are clipped to its edge. Carrying the profile into every icon instead would be lost
// on any tool that ignores profiles and would differ from what the window shows.
void convertToSrgb(QImage& bitmap)
{
    const QColorSpace space = bitmap.colorSpace();
    if (space.isValid() && space != QColorSpace(QColorSpace::SRgb))
        bitmap.convertToColorSpace(QColorSpace::SRgb);
}

bool looksLikeSvg(const QByteArray& head)
{
    return head.contains("<svg") || head.contains("<SVG");
}

// The format named by the first bytes, for the formats whose signature is unambiguous. Telling the
// reader the format spares it the probe of every image plugin (each loads its own libraries:
// WebP, TIFF, MNG, JPEG, colour management), which costs more than decoding a 1024 px PNG.
QByteArray formatFromSignature(const QByteArray& head)
{
    if (head.startsWith("\x89PNG\r\n\x1a\n"))
        return "png";
    if (head.startsWith("\xff\xd8\xff"))
        return "jpeg";
    if (head.size() >= 12 && head.startsWith("RIFF") && head.mid(8, 4) == "WEBP")
        return "webp";
    if (head.startsWith(QByteArray("II*\0", 4)) || head.startsWith(QByteArray("MM\0*", 4)))
        return "tiff";
    if (head.startsWith("GIF87a") || head.startsWith("GIF89a"))
        return "gif";
    return QByteArray();
}

// The rest of a file or buffer, for decoders that want all of it at once: a buffer's own bytes,
// or a file's read into memory (the device is put back where it was). Empty for anything larger
// than a sane compressed image or a device of another kind.
QByteArray remainingBytes(QIODevice* device)
{
    if (auto* buffer = qobject_cast<QBuffer*>(device))
        return buffer->data().sliced(buffer->pos());
    if (!qobject_cast<QFile*>(device) || device->isSequential())
        return {};
    const qint64 start = device->pos();
    const qint64 size = device->size() - start;
    if (size <= 0 || size > Image::kMaxPixels * 4)
        return {};
    QByteArray bytes = device->read(size);
    device->seek(start);
    return bytes;
}

void raiseAllocationLimit()
{
    // The decoders' limit in MiB: the largest accepted image even at 16 bits per sample.
    static std::once_flag once;
    std::call_once(once,
                   [] { QImageReader::setAllocationLimit(int(Image::kMaxPixels * 8 / (1024 * 1024))); });
}

// Opens file for reading. A pipe is opened without waiting for a writer, and one without a writer
// reads as empty: a plain open() would hold the caller until some process writes into it.
bool openForReading(QFile& file, QString* reason)
{
#ifdef Q_OS_UNIX
    const QByteArray native = QFile::encodeName(file.fileName());
    struct stat info
    {
    };
    if (::stat(native.constData(), &info) == 0 && S_ISFIFO(info.st_mode)) {
        const int fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0 && ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK) == 0 &&
            file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
            return true;
        *reason = QString::fromLocal8Bit(std::strerror(errno));
        if (fd >= 0)
            ::close(fd);
        return false;
    }
#endif
    if (file.open(QIODevice::ReadOnly))
        return true;
    *reason = file.errorString();
    return false;
}

} // namespace

QString Image::errorDomain()
{
    return QStringLiteral(ICONFOUNDRY_BUNDLE_IDENTIFIER ".Image");
}

ImagePtr Image::fromFile(const QString& path, Error* error)
{
    const QString name = QFileInfo(path).fileName();
    QFile file(path);
    if (QString reason; !openForReading(file, &reason)) {
        fail(error, FileUnreadable,
             QStringLiteral("The file \u201c%1\u201d could not be opened: %2.").arg(name, reason));
        return nullptr;
    }
    return fromDevice(&file, name, error);
}

bool Image::isBitmapFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && !formatFromSignature(file.read(16)).isEmpty();
}

ImagePtr Image::fromData(const QByteArray& data, Error* error)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    return fromDevice(&buffer, QString(), error);
}

ImagePtr Image::fromQImage(const QImage& bitmap)
{
    auto image = std::make_shared<Image>();
    if (bitmap.isNull())
        return image;
    image->size_ = nominalSize(bitmap);
    QImage pixels = bitmap.convertToFormat(QImage::Format_ARGB32);
    convertToSrgb(pixels);
    image->setBitmap(pixels.convertToFormat(QImage::Format_ARGB32_Premultiplied));
    return image;
}

ImagePtr Image::fromDevice(QIODevice* device, const QString& name, Error* error)
{
    raiseAllocationLimit();
    try {
        const QByteArray head = device->peek(4096);
        if (head.isEmpty()) {
            fail(error, ZeroSize,
                 name.isEmpty() ? QStringLiteral("The image data is empty.")
                                : QStringLiteral("The file \u201c%1\u201d is empty.").arg(name));
            return nullptr;
        }

        // A gzip stream is only ever a compressed SVG here; it never reaches an image plugin, which
        // would inflate it without a limit.
        const bool compressed = SvgDocument::isCompressed(head);
        QImageReader reader;
        if (!compressed)
            reader.setDevice(device);
        if (const QByteArray known = formatFromSignature(head); !known.isEmpty()) {
            reader.setFormat(known);
            reader.setAutoDetectImageFormat(false);
        } else {
            reader.setDecideFormatFromContent(true);
        }
        reader.setAutoTransform(true);
        const QByteArray format = compressed ? QByteArray("svgz") : reader.format().toLower();
        if (format == "svg" || format == "svgz" || (format.isEmpty() && looksLikeSvg(head))) {
            const QByteArray document = device->read(SvgDocument::kMaxBytes + 1);
            if (document.size() > SvgDocument::kMaxBytes) {
                fail(error, TooLarge, QStringLiteral("%1 is too large to open.").arg(subject(name)));
                return nullptr;
            }
            return fromSvg(document, name, error);
        }
        if (format.isEmpty()) {
            fail(error, NotAnImage,
                 QStringLiteral(
                     "%1 is not in a format this application can read (PNG, JPEG, TIFF, WebP or SVG).")
                     .arg(name.isEmpty() ? QStringLiteral("The data")
                                         : QStringLiteral("\u201c%1\u201d").arg(name)));
            return nullptr;
        }

        std::optional<PngHeader> png;
        if (format == "png")
            png = readPngHeader(device);
        const QSize announced = png ? png->size : reader.size();
        if (announced.isValid() || png) {
            if (!checkPixelSize(announced, name, error))
                return nullptr;
        }

        auto damaged = [&](const QString& reason) {
            fail(error, Corrupt,
                 QStringLiteral("%1 is damaged or incomplete and could not be decoded (%2).")
                     .arg(subject(name), reason));
            return nullptr;
        };
        QImage bitmap;
        bool decoded = false;
        if (png) {
            const QByteArray file = remainingBytes(device);
            const PngDecoder decoder(file);
            if (decoder.canDecode()) {
                if (!checkPixelSize(decoder.size(), name, error))
                    return nullptr;
                QString reason;
                const PngDecoder::Result result = decoder.decode(&bitmap, &reason);
                if (result == PngDecoder::Result::Corrupt)
                    return damaged(reason);
                decoded = result == PngDecoder::Result::Decoded;
            }
        }
        if (!decoded && (!reader.read(&bitmap) || bitmap.isNull()))
            return damaged(reader.errorString());
        if (!checkPixelSize(bitmap.size(), name, error))
            return nullptr;

        auto image = std::make_shared<Image>();
        image->size_ = nominalSize(bitmap, png ? png->dotsPerMeter : std::nullopt);
        convertToSrgb(bitmap);
        if (bitmap.format() != QImage::Format_ARGB32_Premultiplied)
            bitmap.convertTo(QImage::Format_ARGB32_Premultiplied);
        if (bitmap.isNull())
            throw std::bad_alloc();
        image->setBitmap(std::move(bitmap));
        return image;
    } catch (const std::bad_alloc&) {
        fail(error, TooLarge, QStringLiteral("%1 needs more memory than is available.").arg(subject(name)));
        return nullptr;
    }
}

ImagePtr Image::fromSvg(const QByteArray& data, const QString& name, Error* error)
{
    SvgDocument::Failure failure = SvgDocument::NoFailure;
    QString reason;
    std::shared_ptr<const SvgDocument> document = SvgDocument::load(data, &failure, &reason);
    if (!document) {
        const int code = failure == SvgDocument::Empty      ? ZeroSize
                         : failure == SvgDocument::TooLarge ? TooLarge
                                                            : Corrupt;
        fail(error, code, subject(name) + QLatin1Char(' ') + reason);
        return nullptr;
    }
    const QSize nominal = document->intrinsicSize().toSize();
    if (!checkPixelSize(nominal, name, error))
        return nullptr;
    const QRectF whole(QPointF(0, 0), document->intrinsicSize());
    QImage bitmap = document->render(whole, nominal, &reason);
    if (bitmap.isNull()) {
        fail(error, TooLarge, QStringLiteral("%1 could not be drawn (%2).").arg(subject(name), reason));
        return nullptr;
    }

    auto image = std::make_shared<Image>();
    image->size_ = QSizeF(nominal);
    image->vector_ = std::move(document);
    image->vectorCrop_ = whole;
    image->setBitmap(std::move(bitmap));
    return image;
}

void Image::setBitmap(QImage bitmap)
{
    representations_ = {std::move(bitmap)};
}

QSize Image::pixelSize() const
{
    return representations_.isEmpty() ? QSize() : representations_.front().size();
}

QImage Image::bitmap() const
{
    if (representations_.isEmpty())
        return {};
    const QImage& first = representations_.front();
    return first.format() == QImage::Format_ARGB32_Premultiplied
               ? first
               : first.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QImage Image::drawnAtPixelSize(QSize pixels) const
{
    if (pixels.isEmpty())
        return {};
    try {
        if (hasVector())
            return vector_->render(vectorCrop_, pixels);
        if (!representations_.isEmpty())
            return Resampler::scaled(bitmap(), pixels);
    } catch (const std::bad_alloc&) {
    }
    return {};
}

} // namespace iconfoundry
