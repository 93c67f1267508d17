#pragma once

#include "previews/basescreenimagewindowcontroller.h"

namespace iconfoundry {

// The preview of the icon on a phone home screen: layout "PhoneScreenWindowController", screens from
// "PhoneScreenDefinitions".
class PhoneScreenWindowController : public BaseScreenImageWindowController
{
    Q_OBJECT

public:
    PhoneScreenWindowController() = default;
    QString windowNibName() const override;

protected:
    void windowDidLoad() override;
    std::unique_ptr<QWidget> loadWindow() override;
};

} // namespace iconfoundry
