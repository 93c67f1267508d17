#include "app/aboutwindowcontroller.h"

#include "app/appdelegate.h"
#include "platform/bundle.h"
#include "platform/texts.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

namespace iconfoundry {

AboutWindowController::AboutWindowController(const QString& versionString)
    : window_(std::make_unique<QDialog>())
{
    window_->setObjectName(QStringLiteral("aboutWindow"));
    window_->setWindowTitle(Texts::text("About.Title"));
    auto* layout = new QVBoxLayout(window_.get());
    layout->setContentsMargins(32, 24, 32, 16);
    layout->setSpacing(8);

    auto* icon = new QLabel(window_.get());
    const QPixmap pixmap(
        Bundle::pathForResource(QStringLiteral("images/iconfoundry-256"), QStringLiteral("png")));
    if (!pixmap.isNull())
        icon->setPixmap(pixmap.scaled(128, 128, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    icon->setAlignment(Qt::AlignCenter);
    layout->addWidget(icon);

    auto* name = new QLabel(QStringLiteral("IconFoundry"), window_.get());
    QFont nameFont = name->font();
    nameFont.setPointSizeF(nameFont.pointSizeF() * 1.6);
    nameFont.setBold(true);
    name->setFont(nameFont);
    name->setAlignment(Qt::AlignCenter);
    layout->addWidget(name);

    versionLabel_ = new QLabel(versionString, window_.get());
    versionLabel_->setObjectName(QStringLiteral("versionLabel"));
    versionLabel_->setAlignment(Qt::AlignCenter);
    versionLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(versionLabel_);

    auto* summary = new QLabel(Texts::text("About.Summary"), window_.get());
    summary->setAlignment(Qt::AlignCenter);
    summary->setWordWrap(true);
    layout->addWidget(summary);

    const QString address = AppDelegate::homePageAddress();
    auto* link =
        new QLabel(QStringLiteral("<a href=\"%1\">%1</a>").arg(address.toHtmlEscaped()), window_.get());
    link->setAlignment(Qt::AlignCenter);
    link->setOpenExternalLinks(true);
    layout->addWidget(link);

    auto* copyright = new QLabel(Texts::text("About.Copyright"), window_.get());
    copyright->setAlignment(Qt::AlignCenter);
    QFont small = copyright->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    copyright->setFont(small);
    layout->addWidget(copyright);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, window_.get());
    QObject::connect(buttons, &QDialogButtonBox::rejected, window_.get(), &QDialog::close);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

AboutWindowController::~AboutWindowController() = default;

void AboutWindowController::showWindow()
{
    window_->show();
    window_->raise();
    window_->activateWindow();
}

} // namespace iconfoundry
