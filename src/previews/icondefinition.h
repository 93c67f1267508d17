#pragma once

#include <QPointF>

namespace iconfoundry {

// One place an icon may sit on a preview screen: its size and corner radius in points of the
// window layout, and its origin, the left edge (x) and the bottom edge measured upward from the
// bottom of the screen's background (y). A plain value.
class IconDefinition
{
public:
    double width = 0;
    double height = 0;
    double cornerRadius = 0;
    QPointF origin;

    bool operator==(const IconDefinition&) const = default;
};

} // namespace iconfoundry
