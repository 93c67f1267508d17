#include "mainwindow/platformsetsbox.h"

#include "platform/defaults.h"
#include "platform/texts.h"

#include <QCheckBox>
#include <QFrame>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>

namespace iconfoundry {

PlatformSetsBox::PlatformSetsBox(QWidget* parent) : QWidget(parent)
{
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(7);

    // A rule and a heading part these sets from the Apple categories above them in the same panel.
    auto* rule = new QFrame(this);
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Plain);
    QPalette rulePalette = rule->palette();
    rulePalette.setColor(QPalette::WindowText, rulePalette.color(QPalette::Mid));
    rule->setPalette(rulePalette);
    grid->addWidget(rule, 0, 0, 1, 3);

    auto* heading = new QLabel(Texts::text("MainWindow.OtherPlatforms.Title"), this);
    QFont bold = heading->font();
    bold.setWeight(QFont::DemiBold);
    heading->setFont(bold);
    android_ = new QCheckBox(Texts::text("MainWindow.OtherPlatforms.Android"), this);
    android_->setObjectName(QStringLiteral("platformCheckboxAndroid"));
    android_->setToolTip(Texts::text("MainWindow.OtherPlatforms.Android.ToolTip"));
    web_ = new QCheckBox(Texts::text("MainWindow.OtherPlatforms.Web"), this);
    web_->setObjectName(QStringLiteral("platformCheckboxWeb"));
    web_->setToolTip(Texts::text("MainWindow.OtherPlatforms.Web.ToolTip"));
    grid->addWidget(heading, 1, 0);
    grid->addWidget(android_, 1, 1);
    grid->addWidget(web_, 1, 2);

    // The options sit under the two sets they belong to.
    auto* options = new QHBoxLayout;
    options->setSpacing(6);
    paddingLabel_ = new QLabel(Texts::text("MainWindow.OtherPlatforms.Padding"), this);
    padding_ = new QSpinBox(this);
    padding_->setRange(0, Defaults::MaximumPlatformIconPadding);
    padding_->setSuffix(QStringLiteral(" %"));
    padding_->setToolTip(Texts::text("MainWindow.OtherPlatforms.Padding.ToolTip"));
    paddingLabel_->setBuddy(padding_);
    trim_ = new QCheckBox(Texts::text("MainWindow.OtherPlatforms.Trim"), this);
    trim_->setToolTip(Texts::text("MainWindow.OtherPlatforms.Trim.ToolTip"));
    options->addWidget(paddingLabel_);
    options->addWidget(padding_);
    options->addSpacing(8);
    options->addWidget(trim_);
    options->addStretch(1);
    grid->addLayout(options, 2, 0, 1, 3);
    grid->setColumnStretch(2, 1);

    for (QCheckBox* box : {android_, web_}) {
        connect(box, &QCheckBox::toggled, this, &PlatformSetsBox::enableOptions);
        connect(box, &QCheckBox::toggled, this, &PlatformSetsBox::changed);
    }
    connect(trim_, &QCheckBox::toggled, this, &PlatformSetsBox::changed);
    connect(padding_, &QSpinBox::valueChanged, this, &PlatformSetsBox::changed);
    enableOptions();
}

PlatformSetsBox::Choice PlatformSetsBox::choice() const
{
    return {android_->isChecked(), web_->isChecked(), padding_->value(), trim_->isChecked()};
}

void PlatformSetsBox::setChoice(const Choice& choice)
{
    const QSignalBlocker blockers[] = {QSignalBlocker(android_), QSignalBlocker(web_),
                                       QSignalBlocker(padding_), QSignalBlocker(trim_)};
    android_->setChecked(choice.android);
    web_->setChecked(choice.web);
    padding_->setValue(choice.paddingPercent);
    trim_->setChecked(choice.trim);
    enableOptions();
}

void PlatformSetsBox::enableOptions()
{
    const bool any = android_->isChecked() || web_->isChecked();
    for (QWidget* option : {static_cast<QWidget*>(paddingLabel_), static_cast<QWidget*>(padding_),
                            static_cast<QWidget*>(trim_)})
        option->setEnabled(any);
}

} // namespace iconfoundry
