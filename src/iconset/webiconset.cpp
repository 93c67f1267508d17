#include "iconset/webiconset.h"

#include "iconset/icowriter.h"
#include "iconset/webmanifest.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace iconfoundry {

namespace {

using Request = PlatformIconRenderer::Request;
using Content = PlatformIconRenderer::Content;
using Encoding = PlatformIconRenderer::Encoding;

constexpr int kFaviconSides[] = {16, 32, 48};

} // namespace

QString WebIconSet::manifestName(const QString& folder)
{
    for (const QString& name : {QStringLiteral("manifest.webmanifest"), QStringLiteral("manifest.json")})
        if (QFileInfo::exists(QDir(folder).filePath(name)))
            return name;
    return QStringLiteral("manifest.webmanifest");
}

bool WebIconSet::plan(const PlatformIconRenderer& renderer, const QString& folder, IconFilePlan& out,
                      Error* error)
{
    // The manifest first: it decides the names of its icons.
    const QString manifest = manifestName(folder);
    QByteArray text;
    if (QFile file(QDir(folder).filePath(manifest)); file.exists()) {
        if (!QFileInfo(file).isFile() || !file.open(QIODevice::ReadOnly)) {
            Error::set(error, WebManifest::errorDomain, WebManifest::NotJson,
                       QStringLiteral("The manifest \u201c%1\u201d cannot be read.").arg(file.fileName()));
            return false;
        }
        text = file.readAll();
    }
    QList<WebManifest::Icon> icons{
        {QStringLiteral("icon-192.png"), 192, QStringLiteral("any")},
        {QStringLiteral("icon-512.png"), 512, QStringLiteral("any")},
        {QStringLiteral("icon-192-maskable.png"), 192, QStringLiteral("maskable")},
        {QStringLiteral("icon-512-maskable.png"), 512, QStringLiteral("maskable")}};
    QByteArray merged;
    if (!WebManifest::merge(text, icons, merged, error)) {
        if (error)
            error->localizedDescription =
                QStringLiteral("%1: %2").arg(QDir(folder).filePath(manifest), error->localizedDescription);
        return false;
    }

    std::vector<Request> requests;
    QStringList names;
    for (int side : kFaviconSides)
        requests.push_back({side, 1, 0, Content::Artwork, false, IconCanvas::Mask::None, Encoding::None});
    requests.push_back(
        {kAppleTouchSide, 1, 0, Content::Artwork, true, IconCanvas::Mask::None, Encoding::OpaquePng});
    names.append(QStringLiteral("apple-touch-icon.png"));
    for (const WebManifest::Icon& icon : icons) {
        const bool maskable = icon.purpose == QLatin1String("maskable");
        requests.push_back({icon.side, 1, maskable ? kMaskableSafeDiameter : 0, Content::Artwork, maskable,
                            IconCanvas::Mask::None, maskable ? Encoding::OpaquePng : Encoding::Png});
        names.append(icon.src);
    }
    const std::vector<PlatformIconRenderer::Result> results = renderer.render(requests);

    IconFilePlan plan(folder);
    QList<QImage> favicons;
    for (size_t i = 0; i < std::size(kFaviconSides); ++i)
        favicons.append(results[i].canvas);
    const QByteArray ico = IcoWriter::encode(favicons);
    if (ico.isEmpty()) {
        Error::set(error, Image::errorDomain(), Image::TooLarge,
                   QStringLiteral("The favicon could not be drawn."));
        return false;
    }
    plan.add({QStringLiteral("favicon.ico"), ico, QSize(48, 48), {}});
    for (qsizetype i = 0; i < names.size(); ++i) {
        const PlatformIconRenderer::Result& result = results[std::size(kFaviconSides) + size_t(i)];
        if (result.png.isEmpty()) {
            Error::set(error, Image::errorDomain(), Image::TooLarge,
                       QStringLiteral("The icon %1 could not be drawn.").arg(names[i]));
            return false;
        }
        plan.add({names[i], result.png, result.canvas.size(), {}});
    }
    plan.add({manifest, merged, {}, {}, true});
    out = std::move(plan);
    return true;
}

} // namespace iconfoundry
