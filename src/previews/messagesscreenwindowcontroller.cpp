#include "previews/messagesscreenwindowcontroller.h"

#include "ui_messagesscreenwindowcontroller.h"

#include <QWidget>

namespace iconfoundry {

QString MessagesScreenWindowController::windowNibName() const
{
    return QStringLiteral("MessagesScreenWindowController");
}

void MessagesScreenWindowController::windowDidLoad()
{
    loadDefinitionsFromFileName(QStringLiteral("MessagesScreenDefinitions"));
    BaseScreenImageWindowController::windowDidLoad();
}

std::unique_ptr<QWidget> MessagesScreenWindowController::loadWindow()
{
    auto window = std::make_unique<QWidget>();
    Ui::MessagesScreenWindowController().setupUi(window.get());
    return window;
}

} // namespace iconfoundry
