#pragma once

#include "iconset/image.h"

#include <QObject>
#include <QString>
#include <functional>

namespace iconfoundry {

// The process-wide NewSourceImageNotification, typed: the main window posts every image it
// accepts, and observers receive that image as an ImagePtr, never as an untyped object.
//
// 1. post() calls every observer synchronously, on the posting thread, in the order in which
//    they registered.
// 2. Each registration names a context object. When the context is destroyed, its registrations
//    end by themselves, so an observer that went away is never called.
// 3. Registering and posting are thread-safe (Qt's connection lists); an observer must itself be
//    safe to call on whatever thread posts.
class SourceImageNotificationCenter : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(const ImagePtr& image)>;

    static SourceImageNotificationCenter& defaultCenter();
    // "NewSourceImageNotification", the name under which the notification is known and logged.
    static QString name();

    QMetaObject::Connection addObserver(const QObject* context, Handler handler);
    // Ends every registration of context.
    void removeObserver(const QObject* context);

    void post(const ImagePtr& image);

signals:
    void newSourceImage(const iconfoundry::ImagePtr& image);
};

} // namespace iconfoundry
