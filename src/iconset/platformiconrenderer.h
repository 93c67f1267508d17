#pragma once

#include "iconset/iconartwork.h"
#include "iconset/iconcanvas.h"
#include "iconset/platformiconoptions.h"

#include <QByteArray>
#include <QImage>
#include <vector>

namespace iconfoundry {

// Draws the canvases of one Android or web icon set: all artwork sizes of a request list come
// from one pass over the source (IconArtwork::drawn), then the canvases are composed and encoded
// on the global thread pool. Calls are synchronous; the object only reads its artworks.
class PlatformIconRenderer
{
public:
    enum class Content
    {
        Artwork,     // the source's artwork
        Silhouette,  // the monochrome artwork in white, its alpha kept
        BackdropOnly // the background alone (a background layer)
    };
    enum class Encoding
    {
        None,      // the canvas only (for containers such as ICO)
        Png,       // RGBA
        OpaquePng, // RGB, the alpha dropped: the canvas must have a backdrop
    };
    struct Request
    {
        int side = 0;
        double safeSide = 1;     // fraction of the side
        double safeDiameter = 0; // fraction of the side; 0: no circle
        Content content = Content::Artwork;
        bool backdrop = false;
        IconCanvas::Mask mask = IconCanvas::Mask::None;
        Encoding encoding = Encoding::Png;
    };
    struct Result
    {
        QImage canvas; // premultiplied ARGB32
        QByteArray png;
    };

    // The artworks are made here once: trimmed as the options say.
    PlatformIconRenderer(const ImagePtr& source, const PlatformIconOptions& options);

    bool isNull() const { return artwork_.isNull(); }
    const PlatformIconOptions& options() const { return options_; }
    const IconArtwork& artwork() const { return artwork_; }

    // Where the content of a request goes on its canvas.
    QRect placement(const Request& request) const;

    // One result per request, in order; a null canvas (and no PNG) when one could not be drawn.
    std::vector<Result> render(const std::vector<Request>& requests) const;

private:
    const IconArtwork& contentArtwork(Content content) const;

    PlatformIconOptions options_;
    IconArtwork artwork_;
    IconArtwork monochrome_;
    IconArtwork backdrop_;
};

} // namespace iconfoundry
