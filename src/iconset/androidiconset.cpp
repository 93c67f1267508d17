#include "iconset/androidiconset.h"

#include "iconset/appearanceimages.h"

#include <QDir>
#include <QFile>
#include <QXmlStreamReader>

namespace iconfoundry {

namespace {

using Request = PlatformIconRenderer::Request;
using Content = PlatformIconRenderer::Content;
using Encoding = PlatformIconRenderer::Encoding;

int pixels(int dp, int percent)
{
    return dp * percent / 100;
}

// Other files of values/ that define the colour ic_launcher_background too: the resource
// compiler refuses a name defined twice, so the user has to know before the build fails.
QStringList otherBackgroundColourFiles(const QString& resFolder)
{
    QStringList found;
    const QDir values(QDir(resFolder).filePath(QStringLiteral("values")));
    for (const QString& name : values.entryList({QStringLiteral("*.xml")}, QDir::Files, QDir::Name)) {
        if (name == QLatin1String("ic_launcher_background.xml"))
            continue;
        QFile file(values.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        QXmlStreamReader xml(&file);
        while (!xml.atEnd()) {
            if (xml.readNext() == QXmlStreamReader::StartElement && xml.name() == QLatin1String("color") &&
                xml.attributes().value(QLatin1String("name")) == QLatin1String("ic_launcher_background")) {
                found.append(QStringLiteral("values/") + name);
                break;
            }
        }
    }
    return found;
}

} // namespace

const std::array<AndroidIconSet::Density, 5>& AndroidIconSet::densities()
{
    static const std::array<Density, 5> list{
        {{"mdpi", 100}, {"hdpi", 150}, {"xhdpi", 200}, {"xxhdpi", 300}, {"xxxhdpi", 400}}};
    return list;
}

QByteArray AndroidIconSet::adaptiveIconXml(bool backgroundImage)
{
    return QByteArray("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                      "<adaptive-icon xmlns:android=\"http://schemas.android.com/apk/res/android\">\n"
                      "    <background android:drawable=\"") +
           (backgroundImage ? "@mipmap/ic_launcher_background" : "@color/ic_launcher_background") +
           "\"/>\n"
           "    <foreground android:drawable=\"@mipmap/ic_launcher_foreground\"/>\n"
           "    <monochrome android:drawable=\"@mipmap/ic_launcher_monochrome\"/>\n"
           "</adaptive-icon>\n";
}

QByteArray AndroidIconSet::backgroundColourXml(const QColor& colour)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<resources>\n"
           "    <color name=\"ic_launcher_background\">" +
           colour.toRgb().name(QColor::HexRgb).toUpper().toLatin1() +
           "</color>\n"
           "</resources>\n";
}

bool AndroidIconSet::isBackgroundColourXml(const QByteArray& text)
{
    QXmlStreamReader xml(text);
    int depth = 0, colours = 0;
    while (!xml.atEnd()) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            ++depth;
            if (depth == 1 && xml.name() != QLatin1String("resources"))
                return false;
            if (depth == 2 &&
                (xml.name() != QLatin1String("color") ||
                 xml.attributes().value(QLatin1String("name")) != QLatin1String("ic_launcher_background") ||
                 ++colours > 1))
                return false;
            if (depth > 2)
                return false;
        } else if (token == QXmlStreamReader::EndElement) {
            --depth;
        }
    }
    return !xml.hasError() && colours == 1;
}

int AndroidIconSet::fileCount(bool backgroundImage)
{
    // Per density: legacy, round, foreground, monochrome and the background image when there is
    // one; then the Play Store icon, the two XML files and the colour when there is no image.
    const int perDensity = backgroundImage ? 5 : 4;
    return int(densities().size()) * perDensity + 3 + (backgroundImage ? 0 : 1);
}

QString AndroidIconSet::playStoreName(const QString& resFolder)
{
    return QDir(resFolder).absolutePath().section(QLatin1Char('/'), -1) == QLatin1String("res")
               ? QStringLiteral("../ic_launcher-playstore.png")
               : QStringLiteral("ic_launcher-playstore.png");
}

bool AndroidIconSet::plan(const PlatformIconRenderer& renderer, const QString& resFolder, IconFilePlan& out,
                          Error* error)
{
    const bool backgroundImage = renderer.options().backgroundImage != nullptr;
    const double safe = double(kSafeSide) / kLayerSide;
    const double visible = double(kVisibleDiameter) / kLayerSide;
    std::vector<Request> requests;
    QStringList names;
    for (const Density& density : densities()) {
        const QString folder = QStringLiteral("mipmap-%1/").arg(QLatin1String(density.name));
        const int legacy = pixels(kLegacySide, density.percent);
        const int layer = pixels(kLayerSide, density.percent);
        requests.push_back(
            {legacy, 1, 0, Content::Artwork, true, IconCanvas::Mask::None, Encoding::OpaquePng});
        names.append(folder + QStringLiteral("ic_launcher.png"));
        requests.push_back({legacy, 1, 1, Content::Artwork, true, IconCanvas::Mask::Circle, Encoding::Png});
        names.append(folder + QStringLiteral("ic_launcher_round.png"));
        requests.push_back(
            {layer, safe, visible, Content::Artwork, false, IconCanvas::Mask::None, Encoding::Png});
        names.append(folder + QStringLiteral("ic_launcher_foreground.png"));
        if (backgroundImage) {
            requests.push_back(
                {layer, 1, 0, Content::BackdropOnly, true, IconCanvas::Mask::None, Encoding::OpaquePng});
            names.append(folder + QStringLiteral("ic_launcher_background.png"));
        }
        requests.push_back(
            {layer, safe, visible, Content::Silhouette, false, IconCanvas::Mask::None, Encoding::Png});
        names.append(folder + QStringLiteral("ic_launcher_monochrome.png"));
    }
    requests.push_back(
        {kPlayStoreSide, 1, 0, Content::Artwork, true, IconCanvas::Mask::None, Encoding::OpaquePng});
    names.append(playStoreName(resFolder));

    const std::vector<PlatformIconRenderer::Result> results = renderer.render(requests);
    IconFilePlan plan(resFolder);
    for (size_t i = 0; i < results.size(); ++i) {
        if (results[i].png.isEmpty()) {
            Error::set(error, Image::errorDomain(), Image::TooLarge,
                       QStringLiteral("The icon %1 could not be drawn.").arg(names[qsizetype(i)]));
            return false;
        }
        plan.add({names[qsizetype(i)], results[i].png, results[i].canvas.size(), {}});
    }
    if (results.back().png.size() > kPlayStoreMaxBytes) {
        Error::set(error, Image::errorDomain(), Image::TooLarge,
                   QStringLiteral("The Play Store icon would be larger than 1024 KB."));
        return false;
    }
    const auto isOurAdaptiveIcon = [](const QByteArray& text) {
        return text == adaptiveIconXml(false) || text == adaptiveIconXml(true);
    };
    for (const char* name : {"ic_launcher.xml", "ic_launcher_round.xml"})
        plan.add({QStringLiteral("mipmap-anydpi-v26/") + QLatin1String(name),
                  adaptiveIconXml(backgroundImage),
                  {},
                  isOurAdaptiveIcon});
    if (!backgroundImage)
        plan.add({QStringLiteral("values/ic_launcher_background.xml"),
                  backgroundColourXml(renderer.options().background),
                  {},
                  isBackgroundColourXml});

    if (!backgroundImage)
        for (const QString& name : otherBackgroundColourFiles(resFolder))
            plan.warnings.append(QStringLiteral("%1 defines the colour ic_launcher_background as well, which "
                                                "values/ic_launcher_background.xml now holds; remove it from "
                                                "one of them, or the build refuses the duplicate.")
                                     .arg(name));
    const ImagePtr& mono = renderer.options().monochrome;
    if (!mono && renderer.artwork().image() &&
        !AppearanceImages::hasTransparency(*renderer.artwork().image()))
        plan.warnings.append(QStringLiteral(
            "the source image has no transparent pixels, so the themed (monochrome) Android icon is a "
            "plain square; give an image whose transparency draws the shape."));
    out = std::move(plan);
    return true;
}

} // namespace iconfoundry
