#pragma once

namespace iconfoundry {

// Names of the process-wide notifications. The holder class has no members; it only gives the
// constants a home that the rest of the program can name.
class NotificationCenterConstants
{
};

// Posted by the main window each time it accepts a source image; the notification's object is
// the accepted image (an ImagePtr).
inline constexpr char NewSourceImageNotification[] = "NewSourceImageNotification";

} // namespace iconfoundry
