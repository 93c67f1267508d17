#pragma once

#include "iconset/image.h"

#include <QColor>
#include <QWidget>

class QLabel;
class QToolButton;

namespace iconfoundry {

// The small wells beside the categories for what the icons need besides the main image: the
// image of the dark slots, that of the tinted slots, and the colour under the transparent parts
// of the icons that must be opaque. Clicking a well asks for a new one (the controller decides
// how); a well's context menu offers to clear it. Shows what it is given, keeps no other state.
class AppearanceWells : public QWidget
{
    Q_OBJECT

public:
    explicit AppearanceWells(QWidget* parent = nullptr);

    // Null shows the well empty: the dark slots then get the main image, the tinted ones a grey
    // image made from it.
    void setDarkImage(const ImagePtr& image);
    void setTintedImage(const ImagePtr& image);
    void setBackgroundColour(const QColor& colour);

    QToolButton* darkWell() const { return dark_; }
    QToolButton* tintedWell() const { return tinted_; }
    QToolButton* backgroundWell() const { return background_; }

signals:
    void chooseDarkImage();
    void clearDarkImage();
    void chooseTintedImage();
    void clearTintedImage();
    void chooseBackgroundColour();

private:
    QToolButton* addWell(int column, const QString& caption, const QString& toolTip);
    void showImage(QToolButton* well, const ImagePtr& image, const QString& emptyText);

    QToolButton* dark_ = nullptr;
    QToolButton* tinted_ = nullptr;
    QToolButton* background_ = nullptr;
};

} // namespace iconfoundry
