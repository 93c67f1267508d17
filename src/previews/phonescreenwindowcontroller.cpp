#include "previews/phonescreenwindowcontroller.h"

#include "ui_phonescreenwindowcontroller.h"

#include <QWidget>

namespace iconfoundry {

QString PhoneScreenWindowController::windowNibName() const
{
    return QStringLiteral("PhoneScreenWindowController");
}

void PhoneScreenWindowController::windowDidLoad()
{
    loadDefinitionsFromFileName(QStringLiteral("PhoneScreenDefinitions"));
    BaseScreenImageWindowController::windowDidLoad();
}

std::unique_ptr<QWidget> PhoneScreenWindowController::loadWindow()
{
    auto window = std::make_unique<QWidget>();
    Ui::PhoneScreenWindowController().setupUi(window.get());
    return window;
}

} // namespace iconfoundry
