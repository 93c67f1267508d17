#pragma once

#include <QByteArray>
#include <QImage>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <memory>
#include <mutex>

namespace iconfoundry {

namespace detail {
class SvgRendererProcess;
}

// An SVG document drawn by librsvg, built to survive hostile files:
//
// 1. Before librsvg sees a byte, load() inflates a compressed (.svgz) document itself, stopping at
//    kMaxBytes, and scans the text for what would make parsing or drawing unbounded: more than
//    kMaxElements elements, external or parameter XML entities, huge style sheets, and embedded
//    (data: URL) images whose headers announce more pixels than a source image may have. Nested
//    SVG documents in data: URLs are scanned the same way.
// 2. librsvg only ever gets the bytes, never a file name, so it has no base to resolve relative
//    references against and refuses every reference to a local file or a network resource; only
//    data: URLs inside the document are read.
// 3. Parsing and drawing run in a child process (this executable again, started before main()
//    by the static initialiser in svgdocument.cpp) with a memory limit and no core dumps, and the
//    parent gives each step kSecondsPerStep. A child that crashes, runs out of memory or takes
//    too long is killed; the document then refuses to draw again instead of trying each size.
//
// Coordinates: the document's own pixels at its intrinsic size (width and height at 96 dpi, or
// the view box when it has no absolute size), the frame rsvg-convert scales from.
// Thread-safe: render() may be called on several threads at once; calls take turns on the one
// child process of the document.
class SvgDocument
{
public:
    enum Failure
    {
        NoFailure = 0,
        Malformed = 1, // not SVG, or XML or SVG errors librsvg cannot get past
        Empty = 2,     // no size
        TooLarge = 3,  // beyond a limit, or too slow or too big to draw
    };
    static constexpr qint64 kMaxBytes = 32 * 1024 * 1024;
    static constexpr qint64 kMaxElements = 50000;
    static constexpr qint64 kMaxStyleSheetBytes = 1024 * 1024;
    static constexpr int kSecondsPerStep = 5;

    // True for data that starts like a gzip stream, the container of .svgz files.
    static bool isCompressed(const QByteArray& head);

    // Parses the document; on failure returns nullptr and says why in `reason`, a phrase that
    // follows the image's name ("is not a valid SVG document (...).").
    static std::shared_ptr<const SvgDocument> load(const QByteArray& data, Failure* failure, QString* reason);

    ~SvgDocument();

    QSizeF intrinsicSize() const { return size_; }

    // `part` (document pixels) stretched to fill `pixels`, as premultiplied ARGB32; a null image
    // with `reason` filled when it cannot be drawn.
    QImage render(const QRectF& part, QSize pixels, QString* reason = nullptr) const;

private:
    SvgDocument() = default;

    QByteArray bytes_; // inflated and scanned
    QSizeF size_;
    mutable std::mutex mutex_;
    mutable std::unique_ptr<detail::SvgRendererProcess> process_;
    mutable QString broken_; // why drawing failed for good; empty while it works
};

} // namespace iconfoundry
