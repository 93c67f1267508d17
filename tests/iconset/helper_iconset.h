#pragma once

// Shared by the iconset tests, written independently of the code under test: synthetic images
// whose pixels name their source position, a PNG header reader, builders.

#include "common/testsupport.h"
#include "iconset/imagecategory.h"
#include "iconset/imagesize.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRadialGradient>
#include <QtEndian>

using namespace iconfoundry;

namespace helper {

using namespace iconfoundry::test;

// Every entry of a folder, hidden ones included, sorted: catches left-over temporary files.
inline QStringList entriesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

// Every pixel names its own position: red = x mod 256, green = y mod 256, blue = the high bits.
inline QImage coordinatePattern(int w, int h)
{
    QImage image(w, h, QImage::Format_ARGB32);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            image.setPixel(x, y, qRgba(x & 255, y & 255, ((x >> 8) << 4) | (y >> 8), 255));
    return image;
}

// The source rectangle a cut of coordinatePattern() came from, read off its corner pixels.
inline QRect sourceRectOf(const QImage& cut)
{
    auto at = [](QRgb p) {
        return QPoint(qRed(p) | ((qBlue(p) >> 4) << 8), qGreen(p) | ((qBlue(p) & 15) << 8));
    };
    return QRect(at(cut.pixel(0, 0)), at(cut.pixel(cut.width() - 1, cut.height() - 1)));
}

// The largest and the mean difference of any byte of two images of one size, both as `format`.
inline std::pair<int, double> difference(const QImage& a, const QImage& b, QImage::Format format)
{
    const QImage x = a.convertToFormat(format), y = b.convertToFormat(format);
    int worst = 0;
    double total = 0;
    for (int row = 0; row < x.height(); ++row)
        for (int i = 0; i < x.width() * 4; ++i) {
            const int d = std::abs(x.constScanLine(row)[i] - y.constScanLine(row)[i]);
            worst = std::max(worst, d);
            total += d;
        }
    return {worst, total / (x.width() * x.height() * 4.0)};
}

// A disc of `colour` on `outside` (straight colour, usually transparent), antialiased.
inline QImage disc(int side, QColor colour, QColor outside)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(outside);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawEllipse(QRectF(side * 0.1, side * 0.1, side * 0.8, side * 0.8));
    return image;
}

// Icon-like artwork: a gradient sun inside transparent rounded corners.
inline QImage artwork(int side)
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(30, 60, 114));
    painter.drawRoundedRect(QRectF(0, 0, side, side), side * 0.18, side * 0.18);
    QRadialGradient sun(QPointF(side * 0.6, side * 0.4), side * 0.3);
    sun.setColorAt(0, QColor(255, 247, 214));
    sun.setColorAt(1, QColor(239, 71, 111, 0));
    painter.setBrush(sun);
    painter.drawEllipse(QPointF(side * 0.6, side * 0.4), side * 0.3, side * 0.3);
    return image;
}

// The IHDR fields read straight from the bytes, as "WxH depth colour-type interlace"
// ("8 6 0" is 8-bit RGBA, not interlaced); empty when the bytes do not start like a PNG.
inline QString pngHeader(const QByteArray& png)
{
    if (png.size() < 33 || !png.startsWith(QByteArray("\x89PNG\r\n\x1a\n", 8)) || png.mid(12, 4) != "IHDR" ||
        qFromBigEndian<quint32>(png.constData() + 8) != 13)
        return {};
    return QStringLiteral("%1x%2 %3 %4 %5")
        .arg(qFromBigEndian<quint32>(png.constData() + 16))
        .arg(qFromBigEndian<quint32>(png.constData() + 20))
        .arg(int(uchar(png.at(24))))
        .arg(int(uchar(png.at(25))))
        .arg(int(uchar(png.at(28))));
}

// A catalogue entry; nullptr texts and a category of 0 stay absent.
inline ImageSize makeSize(const char* idiom, double width, double height, double scale,
                          const char* fileName = nullptr, qint64 category = 0, double cropAspect = 0,
                          const char* platform = nullptr)
{
    ImageSize size;
    if (idiom)
        size.setIdiom(QString::fromUtf8(idiom));
    if (platform)
        size.setPlatform(QString::fromUtf8(platform));
    size.setWidth(width);
    size.setHeight(height);
    size.setScale(scale);
    size.setCropAspect(cropAspect);
    if (fileName)
        size.setFileName(QString::fromUtf8(fileName));
    if (category)
        size.setCategoryIds({QVariant(category)});
    return size;
}

// "101,121" -> the categories with those ids.
inline QList<ImageCategory> categories(const QString& ids)
{
    QList<ImageCategory> list;
    for (const QString& id : ids.split(QLatin1Char(','), Qt::SkipEmptyParts))
        list.append(ImageCategory(id.toLongLong(), QStringLiteral("Category ") + id, std::nullopt));
    return list;
}

} // namespace helper
