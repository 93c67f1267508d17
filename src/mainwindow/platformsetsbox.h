#pragma once

#include <QWidget>

class QCheckBox;
class QLabel;
class QSpinBox;

namespace iconfoundry {

// The icon sets of platforms other than Apple's in the Icon Sets panel: Android and Web, each a
// checkbox like a category, and the options only those two sets use (padding and trimming the
// source's transparent border), enabled while one of them is ticked. Shows and reports the
// choice; storing it is the controller's job. Main thread only; the widgets are its children.
class PlatformSetsBox : public QWidget
{
    Q_OBJECT

public:
    struct Choice
    {
        bool android = false;
        bool web = false;
        int paddingPercent = 0;
        bool trim = false;

        bool any() const { return android || web; }
    };

    explicit PlatformSetsBox(QWidget* parent = nullptr);

    Choice choice() const;
    // Shows choice without emitting changed().
    void setChoice(const Choice& choice);

    QCheckBox* androidBox() const { return android_; }
    QCheckBox* webBox() const { return web_; }
    QSpinBox* paddingBox() const { return padding_; }
    QCheckBox* trimBox() const { return trim_; }

signals:
    // The user changed a tick or an option.
    void changed();

private:
    void enableOptions();

    QCheckBox* android_ = nullptr;
    QCheckBox* web_ = nullptr;
    QLabel* paddingLabel_ = nullptr;
    QSpinBox* padding_ = nullptr;
    QCheckBox* trim_ = nullptr;
};

} // namespace iconfoundry
