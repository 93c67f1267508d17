#pragma once

#include "previews/basescreenimagewindowcontroller.h"

namespace iconfoundry {

// The preview of the icon on the app drawer of a messages app: layout "MessagesScreenWindowController",
// screens from "MessagesScreenDefinitions".
class MessagesScreenWindowController : public BaseScreenImageWindowController
{
    Q_OBJECT

public:
    MessagesScreenWindowController() = default;
    QString windowNibName() const override;

protected:
    void windowDidLoad() override;
    std::unique_ptr<QWidget> loadWindow() override;
};

} // namespace iconfoundry
