#include "mainwindow/progresswindowcontroller.h"

#include "platform/texts.h"
#include "ui_progresswindowcontroller.h"

#include <QDialog>
#include <QLabel>
#include <QProgressBar>

namespace iconfoundry {

ProgressWindowController::ProgressWindowController(QWidget* parent) : parent_(parent) {}

ProgressWindowController::~ProgressWindowController() = default;

QDialog* ProgressWindowController::window()
{
    if (!window_) {
        Texts::installTranslations();
        window_ = std::make_unique<QDialog>(parent_);
        ui_ = std::make_unique<Ui::ProgressWindowController>();
        ui_->setupUi(window_.get());
        windowDidLoad();
    }
    return window_.get();
}

void ProgressWindowController::windowDidLoad()
{
    // Writing cannot be interrupted halfway without leaving a mixed icon set, so the window
    // offers no way to close it.
    window_->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);
    window_->setWindowModality(Qt::WindowModal);
    window_->setFixedSize(window_->sizeHint().expandedTo({360, 96}));
    // A range of 0..0 is Qt's running, count-less indicator.
    ui_->progressIndicator->setRange(0, 0);
}

QProgressBar* ProgressWindowController::progressIndicator()
{
    window();
    return ui_->progressIndicator;
}

QLabel* ProgressWindowController::textField()
{
    window();
    return ui_->textField;
}

void ProgressWindowController::showWindow()
{
    window();
    ui_->progressIndicator->setRange(0, 0);
    ui_->textField->setText(Texts::text("Progress.Writing"));
    window_->show();
    window_->raise();
}

void ProgressWindowController::close()
{
    if (window_)
        window_->hide();
}

bool ProgressWindowController::isVisible() const
{
    return window_ && window_->isVisible();
}

void ProgressWindowController::setProgress(int done, int total)
{
    if (!window_ || total <= 0)
        return;
    ui_->progressIndicator->setRange(0, total);
    ui_->progressIndicator->setValue(done);
    ui_->textField->setText(Texts::text("Progress.Count").arg(done).arg(total));
}

} // namespace iconfoundry
