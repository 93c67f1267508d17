#pragma once

#include <QObject>
#include <QUrl>
#include <functional>

class QMenu;

namespace iconfoundry {

class Defaults;

// Fills the Open Recent menu from the recent documents stored in the defaults, newest first,
// each entry named after its file with the full path as tool tip, and a last entry that clears
// the list. The menu is rebuilt every time it is about to show, so it always matches what is
// stored. Choosing an entry calls the open function with its URL.
//
// Neither the menu nor the defaults are owned. Main thread only.
class RecentDocumentsMenu : public QObject
{
    Q_OBJECT

public:
    using OpenFunction = std::function<void(const QUrl&)>;

    RecentDocumentsMenu(QMenu* menu, Defaults& defaults, OpenFunction open, QObject* parent = nullptr);

    // Rebuilds the menu now.
    void rebuild();

private:
    QMenu* menu_;
    Defaults& defaults_;
    OpenFunction open_;
};

} // namespace iconfoundry
