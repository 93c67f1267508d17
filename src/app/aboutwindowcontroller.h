#pragma once

#include <QString>
#include <memory>

class QDialog;
class QLabel;

namespace iconfoundry {

// The About window: the application's icon, name, version text and home page. Created once and
// shown again on every request. Main thread only.
class AboutWindowController
{
public:
    explicit AboutWindowController(const QString& versionString);
    ~AboutWindowController();

    void showWindow();
    QDialog* window() const { return window_.get(); }
    // The label that shows the version text.
    QLabel* versionLabel() const { return versionLabel_; }

private:
    std::unique_ptr<QDialog> window_;
    QLabel* versionLabel_ = nullptr;
};

} // namespace iconfoundry
