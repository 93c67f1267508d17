#include "iconset/sourceimagenotificationcenter.h"

#include "platform/notificationcenterconstants.h"

namespace iconfoundry {

SourceImageNotificationCenter& SourceImageNotificationCenter::defaultCenter()
{
    // Never destroyed: observers may still be disconnecting while static objects go away at exit.
    static auto* center = new SourceImageNotificationCenter;
    return *center;
}

QString SourceImageNotificationCenter::name()
{
    return QString::fromLatin1(NewSourceImageNotification);
}

QMetaObject::Connection SourceImageNotificationCenter::addObserver(const QObject* context, Handler handler)
{
    if (!context || !handler)
        return {};
    // Direct: observers run on the posting thread, before post() returns.
    return connect(this, &SourceImageNotificationCenter::newSourceImage, context, std::move(handler),
                   Qt::DirectConnection);
}

void SourceImageNotificationCenter::removeObserver(const QObject* context)
{
    if (context)
        disconnect(this, nullptr, context, nullptr);
}

void SourceImageNotificationCenter::post(const ImagePtr& image)
{
    emit newSourceImage(image);
}

} // namespace iconfoundry
