#pragma once

#include "previews/basescreenimagewindowcontroller.h"

namespace iconfoundry {

// The preview of the icon on a pad home screen: layout "PadScreenWindowController", screens from
// "PadScreenDefinitions".
class PadScreenWindowController : public BaseScreenImageWindowController
{
    Q_OBJECT

public:
    PadScreenWindowController() = default;
    QString windowNibName() const override;

protected:
    void windowDidLoad() override;
    std::unique_ptr<QWidget> loadWindow() override;
};

} // namespace iconfoundry
