#include "iconset/iconsetslots.h"

#include "iconset/contentsjsonprocessor.h"
#include "iconset/slotindex.h"

#include <QHash>
#include <QSet>
#include <cmath>
#include <optional>

namespace iconfoundry {

namespace {

std::optional<QString> textOf(const JsonNode& entry, QStringView key)
{
    const JsonNode* value = entry.member(key);
    if (!value || !value->isString())
        return std::nullopt;
    return value->toString();
}

// "83.5" -> 83.5; anything that is not a plain positive number gives 0.
double pointsOf(const QString& text)
{
    bool ok = false;
    const double value = text.toDouble(&ok);
    return ok && std::isfinite(value) && value > 0 ? value : 0;
}

// The one luminosity appearance the entry asks for: "" for the default look, absent for one we
// do not draw.
std::optional<QString> appearanceOf(const JsonNode& entry)
{
    const JsonNode* appearances = entry.member(u"appearances");
    if (!appearances)
        return QString();
    if (!appearances->isArray() || appearances->elements().size() != 1)
        return std::nullopt;
    const JsonNode& only = appearances->elements().front();
    const std::optional<QString> kind = textOf(only, u"appearance");
    const std::optional<QString> value = textOf(only, u"value");
    if (kind != QLatin1String("luminosity") ||
        (value != QLatin1String("dark") && value != QLatin1String("tinted")))
        return std::nullopt;
    return value;
}

QString describe(const JsonNode& entry)
{
    QStringList parts;
    for (QStringView key : {u"idiom", u"platform", u"size", u"scale"})
        if (const std::optional<QString> text = textOf(entry, key))
            parts.append(*text);
    return parts.join(QLatin1Char(' '));
}

// A size drawn straight from an entry the catalogue does not know, or the reason it cannot be.
std::optional<ImageSize> sizeFromEntry(const JsonNode& entry, QString* reason)
{
    const std::optional<QString> appearance = appearanceOf(entry);
    if (!appearance) {
        *reason = QStringLiteral("an appearance other than dark or tinted");
        return std::nullopt;
    }
    const QStringList sides = textOf(entry, u"size").value_or(QString()).split(QLatin1Char('x'));
    const double width = sides.size() == 2 ? pointsOf(sides[0]) : 0;
    const double height = sides.size() == 2 ? pointsOf(sides[1]) : 0;
    double scale = 0;
    if (const std::optional<QString> text = textOf(entry, u"scale")) {
        scale = text->endsWith(QLatin1Char('x')) ? pointsOf(text->chopped(1)) : 0;
        if (scale == 0) {
            *reason = QStringLiteral("a scale that is not a number");
            return std::nullopt;
        }
    }
    const double factor = scale == 0 ? 1 : scale;
    if (width == 0 || height == 0 || width * factor > IconSetSlots::maxDerivedPixels ||
        height * factor > IconSetSlots::maxDerivedPixels) {
        *reason = QStringLiteral("no size between 1 and %1 pixels").arg(IconSetSlots::maxDerivedPixels);
        return std::nullopt;
    }
    ImageSize size;
    size.setIdiom(textOf(entry, u"idiom"));
    size.setPlatform(textOf(entry, u"platform"));
    size.setRole(textOf(entry, u"role"));
    size.setSubtype(textOf(entry, u"subtype"));
    size.setWidth(width);
    size.setHeight(height);
    size.setScale(scale);
    if (width != height)
        size.setCropAspect(height / width);
    if (!appearance->isEmpty())
        size.setAppearance(*appearance);
    // Unique per slot and never one of the catalogue's names, which carry no idiom.
    QString name = QStringLiteral("AppIcon-%1-%2")
                       .arg(size.idiom().value_or(QString()), textOf(entry, u"size").value_or(QString()));
    if (scale != 0)
        name += QLatin1Char('@') + textOf(entry, u"scale").value_or(QString());
    if (!appearance->isEmpty())
        name += QLatin1Char('-') + *appearance;
    size.setFileName(name + QStringLiteral(".png"));
    return size;
}

// What a file holds: sizes that agree on this may share it.
QString contentKey(const ImageSize& size)
{
    const QSize pixels = size.pixelSize();
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(pixels.width())
        .arg(pixels.height())
        .arg(size.cropAspect())
        .arg(size.needsOpaquePixels())
        .arg(size.appearance().value_or(QString()));
}

} // namespace

IconSetSlots::Plan IconSetSlots::slotsOfSet(const std::vector<JsonNode>& images,
                                            const QList<ImageSize>& catalogue)
{
    const SlotIndex index(images);
    // The catalogue's size for each entry that holds a slot, the first in catalogue order.
    QHash<qsizetype, ImageSize> known;
    for (const ImageSize& size : catalogue) {
        const qsizetype holder = index.firstHolder(ContentsJSONProcessor::entryForImageSize(size));
        if (holder >= 0 && !known.contains(holder))
            known.insert(holder, size);
    }
    Plan plan;
    for (size_t i = 0; i < images.size(); ++i) {
        const JsonNode& entry = images[i];
        if (index.firstHolder(entry) != qsizetype(i))
            continue; // holds no slot, or a slot an earlier entry holds
        if (const auto found = known.constFind(qsizetype(i)); found != known.constEnd()) {
            plan.sizes.append(*found);
            continue;
        }
        QString reason;
        if (const std::optional<ImageSize> size = sizeFromEntry(entry, &reason))
            plan.sizes.append(*size);
        else
            plan.skipped.append(QStringLiteral("%1: %2").arg(describe(entry), reason));
    }
    return plan;
}

void IconSetSlots::keepFileNames(QList<ImageSize>& sizes, const std::vector<JsonNode>& images)
{
    const SlotIndex index(images);
    QHash<QString, QString> contentOfName;
    for (ImageSize& size : sizes) {
        const qsizetype holder = index.firstHolder(ContentsJSONProcessor::entryForImageSize(size));
        if (holder < 0)
            continue;
        const std::optional<QString> name = textOf(images[size_t(holder)], u"filename");
        if (!name || !isPlainPngName(*name))
            continue;
        const QString content = contentKey(size);
        if (contentOfName.value(*name, content) != content)
            continue; // the set gives one file to slots of different pixels: this one gets ours
        contentOfName.insert(*name, content);
        size.setFileName(*name);
    }
}

QStringList IconSetSlots::referencedFileNames(const std::vector<JsonNode>& images)
{
    QStringList names;
    QSet<QString> seen;
    for (const JsonNode& entry : images) {
        const std::optional<QString> name = textOf(entry, u"filename");
        if (name && !seen.contains(*name)) {
            seen.insert(*name);
            names.append(*name);
        }
    }
    return names;
}

bool IconSetSlots::isPlainPngName(const QString& name)
{
    if (name.size() <= 4 || name.startsWith(QLatin1Char('.')) ||
        !name.endsWith(QLatin1String(".png"), Qt::CaseInsensitive))
        return false;
    for (const QChar c : name)
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c == QChar(0x7f))
            return false;
    return true;
}

} // namespace iconfoundry
