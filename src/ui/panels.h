#pragma once

#include <QColor>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <memory>

class QWidget;

namespace iconfoundry {

// The open-panel seam. Panels are begun, not run: beginOpenPanel() returns at once and the
// completion is called later, on the main thread, with the response and the chosen URLs.
// Every file or folder question of the program goes through the process-wide PanelPresenter,
// so that a test can install a scripted one.

// What an open panel offers.
struct OpenPanelOptions
{
    // Responses handed to the completion.
    static constexpr int CancelResponse = 0;
    static constexpr int OKResponse = 1;

    bool canChooseFiles = true;
    bool canChooseDirectories = false;
    bool allowsMultipleSelection = false;
    bool canCreateDirectories = false;
    // Lets the user enter bundle-like folders (asset catalogues) as ordinary folders.
    bool treatsFilePackagesAsDirectories = false;
    // File name extensions without the dot; empty allows every file.
    QStringList allowedFileTypes;
    // What the filter is called in the panel, for example "Images".
    QString allowedFileTypesDescription;
    QString title;
    QString prompt;
    QUrl directoryURL;
    // The window the panel belongs to; may be null.
    QWidget* parent = nullptr;
};

class PanelPresenter
{
public:
    using Completion = std::function<void(int response, const QList<QUrl>& urls)>;

    virtual ~PanelPresenter() = default;
    virtual void beginOpenPanel(const OpenPanelOptions& options, Completion completion) = 0;

    static PanelPresenter& shared();
    // Installs a presenter and returns the previous one; nullptr goes back to file dialogs.
    static std::unique_ptr<PanelPresenter> install(std::unique_ptr<PanelPresenter> presenter);

    // The extensions of the image files the program reads.
    static QStringList readableImageFileTypes();
};

// The presenter of the running application: a QFileDialog opened window-modal with open().
class FileDialogPanelPresenter : public PanelPresenter
{
public:
    void beginOpenPanel(const OpenPanelOptions& options, Completion completion) override;
};

// The colour-panel seam, begun like the open panel: the completion gets whether the user chose
// a colour and which.
struct ColourPanelOptions
{
    QColor initialColour = Qt::white;
    QString title;
    QWidget* parent = nullptr;
};

class ColourPanelPresenter
{
public:
    using Completion = std::function<void(bool chosen, const QColor& colour)>;

    virtual ~ColourPanelPresenter() = default;
    virtual void beginColourPanel(const ColourPanelOptions& options, Completion completion) = 0;

    static ColourPanelPresenter& shared();
    // Installs a presenter and returns the previous one; nullptr goes back to colour dialogs.
    static std::unique_ptr<ColourPanelPresenter> install(std::unique_ptr<ColourPanelPresenter> presenter);
};

// The presenter of the running application: a QColorDialog opened window-modal with open().
class ColourDialogPanelPresenter : public ColourPanelPresenter
{
public:
    void beginColourPanel(const ColourPanelOptions& options, Completion completion) override;
};

} // namespace iconfoundry
