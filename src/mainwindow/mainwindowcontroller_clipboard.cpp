// Copy and paste of MainWindowController, and the icons it offers to drags out of the window.
//
// Copy writes the icons into the scratch folder "pasteboard" and puts two things on the
// clipboard: the largest icon as PNG data (the X11 clipboard holds one image, and an image editor
// wants the biggest) and the URLs of all icon files, for file managers.
#include "iconset/imageprocessor.h"
#include "logging/log.h"
#include "mainwindow/mainwindowcontroller.h"
#include "mainwindow/pasteboardreader.h"
#include "mainwindow/promisedfilesmimedata.h"
#include "platform/texts.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QMimeData>
#include <QPointer>
#include <QSet>

namespace iconfoundry {

QList<QUrl> MainWindowController::iconFileURLs(const QString& folder, const QList<ImageCategory>& categories)
{
    QList<QUrl> urls;
    if (!imageProcessor_)
        return urls;
    // Two sizes may share a file; it is offered once.
    QSet<QString> seen;
    const QStringList names = imageProcessor_->imageFileNamesForCategories(categories);
    for (const QString& name : names) {
        if (name.isEmpty() || seen.contains(name))
            continue;
        seen.insert(name);
        const QUrl url = QUrl::fromLocalFile(QDir(folder).filePath(name));
        if (url.isValid())
            urls.append(url);
    }
    return urls;
}

void MainWindowController::copy()
{
    if (!hasImage() || isWriting())
        return;
    const QList<ImageCategory> categories = selectedImageCategories();
    if (!checkImageSizesChosen(categories))
        return;
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    const QString scratch = createOrEraseTempDirWithName(QStringLiteral("pasteboard"));
    if (scratch.isEmpty()) {
        showStatusMessage(Texts::text("MainWindow.Status.CopyFailed"));
        return;
    }
    QPointer<MainWindowController> self(this);
    saveImageFilesToURL(QUrl::fromLocalFile(scratch), [self, scratch, categories](bool saved) {
        if (!self || !saved)
            return;
        auto* data = new QMimeData;
        const QList<QUrl> candidates = self->iconFileURLs(scratch, categories);
        QList<QUrl> urls;
        QString largest;
        qint64 largestArea = -1;
        for (const QUrl& url : candidates) {
            const QString path = url.toLocalFile();
            if (!QFileInfo(path).isFile())
                continue;
            urls.append(url);
            const QSize size = QImageReader(path).size();
            if (qint64(size.width()) * size.height() > largestArea) {
                largestArea = qint64(size.width()) * size.height();
                largest = path;
            }
        }
        QFile png(largest);
        if (!largest.isEmpty() && png.open(QIODevice::ReadOnly))
            data->setData(QStringLiteral("image/png"), png.readAll());
        data->setUrls(urls);
        QGuiApplication::clipboard()->setMimeData(data);
        self->showStatusMessage(Texts::text("MainWindow.Status.Copied").arg(urls.size()));
    });
}

void MainWindowController::paste()
{
    const QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* data = clipboard ? clipboard->mimeData() : nullptr;
    // A file first: it can be watched and remembered, data cannot.
    const QList<QUrl> urls = PasteboardReader::readableImageFileURLs(data);
    if (!urls.isEmpty()) {
        openDocumentWithContentsOfURL(urls.first());
        return;
    }
    if (!PasteboardReader::canReadImageData(data))
        return;
    Error error;
    const ImagePtr image = PasteboardReader::readImageData(data, &error);
    if (!image) {
        LOG_ERROR("Not pasting: %s", qUtf8Printable(error.localizedDescription));
        showStatusMessage(Texts::text("MainWindow.Status.PasteUnreadable").arg(error.localizedDescription));
        return;
    }
    // No file behind it: the current file URL and its watch stay as they are.
    setSourceImage(image);
}

QMimeData* MainWindowController::mimeDataForDrag()
{
    if (!hasImage() || isWriting() || !imageProcessor_)
        return nullptr;
    const QList<ImageCategory> categories = selectedImageCategories();
    if (categories.isEmpty()) {
        // No alert in the middle of a drag: the status bar says it.
        showStatusMessage(Texts::text("SaveDocument.NoImageSizes.MessageText"));
        return nullptr;
    }
    const QString scratch = createOrEraseTempDirWithName(QStringLiteral("drag"));
    if (scratch.isEmpty()) {
        showStatusMessage(Texts::text("MainWindow.Status.CopyFailed"));
        return nullptr;
    }
    saveImageCategoryCheckboxState();
    QFuture<WriteResult> written = writeIconFiles(QUrl::fromLocalFile(scratch), categories, {});
    return new PromisedFilesMimeData(iconFileURLs(scratch, categories),
                                     [written]() mutable { written.waitForFinished(); });
}

} // namespace iconfoundry
