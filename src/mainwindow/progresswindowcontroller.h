#pragma once

#include <QObject>
#include <memory>

class QDialog;
class QLabel;
class QProgressBar;
class QWidget;
namespace Ui {
class ProgressWindowController;
}

namespace iconfoundry {

// A small window that says icons are being written and how far that got. The main window shows
// it when writing takes long enough for the user to wonder; it is window-modal over its parent so
// no second save can start meanwhile.
//
// The window is built from progresswindowcontroller.ui on first access and owned by the
// controller. The indicator runs (busy, without a count) from the moment the window loads until
// setProgress() gives it one. Main thread only.
class ProgressWindowController : public QObject
{
    Q_OBJECT

public:
    explicit ProgressWindowController(QWidget* parent = nullptr);
    ~ProgressWindowController() override;

    QDialog* window();
    QProgressBar* progressIndicator();
    QLabel* textField();

    // Shows the window over its parent, back at the busy look.
    void showWindow();
    void close();
    bool isVisible() const;
    // done of total icons written.
    void setProgress(int done, int total);

private:
    void windowDidLoad();

    QWidget* parent_;
    std::unique_ptr<Ui::ProgressWindowController> ui_;
    std::unique_ptr<QDialog> window_;
};

} // namespace iconfoundry
