#include "previews/padscreenwindowcontroller.h"

#include "ui_padscreenwindowcontroller.h"

#include <QWidget>

namespace iconfoundry {

QString PadScreenWindowController::windowNibName() const
{
    return QStringLiteral("PadScreenWindowController");
}

void PadScreenWindowController::windowDidLoad()
{
    loadDefinitionsFromFileName(QStringLiteral("PadScreenDefinitions"));
    BaseScreenImageWindowController::windowDidLoad();
}

std::unique_ptr<QWidget> PadScreenWindowController::loadWindow()
{
    auto window = std::make_unique<QWidget>();
    Ui::PadScreenWindowController().setupUi(window.get());
    return window;
}

} // namespace iconfoundry
