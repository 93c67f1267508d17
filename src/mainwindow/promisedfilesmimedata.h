#pragma once

#include <QMimeData>
#include <functional>

namespace iconfoundry {

// Drag data whose file URLs name files that are still being written. Reading any of its data
// first waits, once, until the writing is done, so the program that takes the drop always finds
// whole files. That stands in for promised files, which Linux file managers do not take.
// Main thread only, like every QMimeData of a drag.
class PromisedFilesMimeData : public QMimeData
{
    Q_OBJECT

public:
    // urls are offered at once; waitUntilWritten blocks until their files are complete.
    PromisedFilesMimeData(const QList<QUrl>& urls, std::function<void()> waitUntilWritten);

protected:
    QVariant retrieveData(const QString& mimeType, QMetaType type) const override;

private:
    mutable std::function<void()> waitUntilWritten_;
};

} // namespace iconfoundry
