#include "ui/panels.h"

#include "platform/seam.h"

#include <QColorDialog>
#include <QFileDialog>

namespace iconfoundry {

namespace {

QString nameFilter(const QString& description, const QStringList& types)
{
    QStringList patterns;
    for (const QString& type : types)
        patterns.append(QStringLiteral("*.") + type);
    return QStringLiteral("%1 (%2)").arg(description, patterns.join(QLatin1Char(' '))).trimmed();
}

} // namespace

PanelPresenter& PanelPresenter::shared()
{
    static FileDialogPanelPresenter fileDialogs;
    return Seam<PanelPresenter>::shared(fileDialogs);
}

std::unique_ptr<PanelPresenter> PanelPresenter::install(std::unique_ptr<PanelPresenter> presenter)
{
    return Seam<PanelPresenter>::install(std::move(presenter));
}

QStringList PanelPresenter::readableImageFileTypes()
{
    return {QStringLiteral("png"),  QStringLiteral("jpg"),  QStringLiteral("jpeg"), QStringLiteral("tif"),
            QStringLiteral("tiff"), QStringLiteral("webp"), QStringLiteral("svg")};
}

void FileDialogPanelPresenter::beginOpenPanel(const OpenPanelOptions& options, Completion completion)
{
    auto* dialog = new QFileDialog(options.parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    if (!options.title.isEmpty())
        dialog->setWindowTitle(options.title);
    if (!options.prompt.isEmpty())
        dialog->setLabelText(QFileDialog::Accept, options.prompt);
    if (options.directoryURL.isValid())
        dialog->setDirectoryUrl(options.directoryURL);

    if (options.canChooseDirectories && !options.canChooseFiles) {
        dialog->setFileMode(QFileDialog::Directory);
        dialog->setOption(QFileDialog::ShowDirsOnly);
    } else {
        dialog->setFileMode(options.allowsMultipleSelection ? QFileDialog::ExistingFiles
                                                            : QFileDialog::ExistingFile);
    }
    if (!options.allowedFileTypes.isEmpty() && options.canChooseFiles) {
        // Upper-case spellings too: the filter is case-sensitive on some platforms.
        QStringList types = options.allowedFileTypes;
        for (const QString& type : options.allowedFileTypes)
            types.append(type.toUpper());
        dialog->setNameFilter(nameFilter(options.allowedFileTypesDescription, types));
    }

    QObject::connect(dialog, &QFileDialog::finished, dialog, [dialog, completion](int result) {
        const bool accepted = result == QDialog::Accepted;
        const QList<QUrl> urls = accepted ? dialog->selectedUrls() : QList<QUrl>{};
        if (completion)
            completion(accepted ? OpenPanelOptions::OKResponse : OpenPanelOptions::CancelResponse, urls);
    });
    dialog->open();
}

ColourPanelPresenter& ColourPanelPresenter::shared()
{
    static ColourDialogPanelPresenter colourDialogs;
    return Seam<ColourPanelPresenter>::shared(colourDialogs);
}

std::unique_ptr<ColourPanelPresenter>
ColourPanelPresenter::install(std::unique_ptr<ColourPanelPresenter> presenter)
{
    return Seam<ColourPanelPresenter>::install(std::move(presenter));
}

void ColourDialogPanelPresenter::beginColourPanel(const ColourPanelOptions& options, Completion completion)
{
    auto* dialog = new QColorDialog(options.initialColour, options.parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    if (!options.title.isEmpty())
        dialog->setWindowTitle(options.title);
    QObject::connect(dialog, &QColorDialog::finished, dialog, [dialog, completion](int result) {
        if (completion)
            completion(result == QDialog::Accepted, dialog->selectedColor());
    });
    dialog->open();
}

} // namespace iconfoundry
