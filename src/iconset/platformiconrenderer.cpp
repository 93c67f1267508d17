#include "iconset/platformiconrenderer.h"

#include "iconset/pngwriter.h"

#include <QtConcurrent/QtConcurrentMap>
#include <algorithm>
#include <map>
#include <utility>

namespace iconfoundry {

namespace {

// The centre square of an image: a backdrop is stretched over a square canvas, so a wider or
// taller picture is cut rather than distorted.
ImagePtr centreSquare(const ImagePtr& image)
{
    const QSize pixels = image ? image->pixelSize() : QSize();
    if (pixels.isEmpty() || pixels.width() == pixels.height())
        return image;
    const int side = std::min(pixels.width(), pixels.height());
    return image->imageInRect(QRectF((pixels.width() - side) / 2, (pixels.height() - side) / 2, side, side));
}

} // namespace

PlatformIconRenderer::PlatformIconRenderer(const ImagePtr& source, const PlatformIconOptions& options)
    : options_(options), artwork_(IconArtwork::fromImage(source, options.trim)),
      monochrome_(options.monochrome ? IconArtwork::fromImage(options.monochrome, options.trim) : artwork_),
      backdrop_(IconArtwork::fromImage(centreSquare(options.backgroundImage), false))
{
}

const IconArtwork& PlatformIconRenderer::contentArtwork(Content content) const
{
    return content == Content::Silhouette ? monochrome_ : artwork_;
}

QRect PlatformIconRenderer::placement(const Request& request) const
{
    if (request.content == Content::BackdropOnly)
        return {};
    const IconArtwork& art = contentArtwork(request.content);
    const IconCanvas::Frame frame{request.side, request.safeSide * request.side,
                                  request.safeDiameter * request.side,
                                  options_.paddingPercent / 100.0 * request.side};
    return IconCanvas::artworkRect(art.pixelSize(), art.reach(), frame);
}

std::vector<PlatformIconRenderer::Result>
PlatformIconRenderer::render(const std::vector<Request>& requests) const
{
    // Every distinct size of each picture, drawn in one pass per picture.
    struct Drawn
    {
        std::map<std::pair<int, int>, QImage> bySize;
        void want(QSize size) { bySize.emplace(std::pair(size.width(), size.height()), QImage()); }
        void draw(const IconArtwork& from)
        {
            std::vector<QSize> sizes;
            for (const auto& [key, image] : bySize)
                sizes.emplace_back(key.first, key.second);
            std::vector<QImage> images = from.drawn(sizes);
            size_t i = 0;
            for (auto& entry : bySize)
                entry.second = std::move(images[i++]);
        }
        QImage at(QSize size) const
        {
            const auto found = bySize.find(std::pair(size.width(), size.height()));
            return found == bySize.end() ? QImage() : found->second;
        }
    };
    Drawn art, mono, back;
    std::vector<QRect> places;
    for (const Request& request : requests) {
        const QRect place = placement(request);
        places.push_back(place);
        if (!place.isEmpty())
            (request.content == Content::Silhouette ? mono : art).want(place.size());
        if ((request.backdrop || request.content == Content::BackdropOnly) && !backdrop_.isNull())
            back.want(QSize(request.side, request.side));
    }
    art.draw(artwork_);
    mono.draw(monochrome_);
    if (!backdrop_.isNull())
        back.draw(backdrop_);

    std::vector<int> indices(requests.size());
    for (size_t i = 0; i < indices.size(); ++i)
        indices[i] = int(i);
    const std::function<Result(int)> one = [&](int i) -> Result {
        const Request& request = requests[size_t(i)];
        const bool withBackdrop = request.backdrop || request.content == Content::BackdropOnly;
        const QImage backdrop = withBackdrop ? back.at(QSize(request.side, request.side)) : QImage();
        const QColor colour = withBackdrop ? options_.background : QColor();
        QImage content;
        if (request.content == Content::Artwork)
            content = art.at(places[size_t(i)].size());
        else if (request.content == Content::Silhouette)
            content = IconCanvas::silhouette(mono.at(places[size_t(i)].size()));
        Result result;
        result.canvas = IconCanvas::compose(request.side, backdrop, colour, content,
                                            places[size_t(i)].topLeft(), request.mask);
        if (result.canvas.isNull() || request.encoding == Encoding::None)
            return result;
        result.png = request.encoding == Encoding::OpaquePng
                         ? PngWriter::encode(result.canvas.convertToFormat(QImage::Format_RGB32), 0,
                                             PngWriter::Channels::Rgb)
                         : PngWriter::encode(result.canvas);
        return result;
    };
    const QList<Result> results = QtConcurrent::blockingMapped<QList<Result>>(indices, one);
    return std::vector<Result>(results.begin(), results.end());
}

} // namespace iconfoundry
