#pragma once

#include "previews/icondefinition.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>
#include <optional>

namespace iconfoundry {

// One mock-up screen of a preview window, read from a screen-definition property list: its
// title, the name of its background image, and the slots of the app icon and of the optional
// watch-style icon. A plain value; thread-safe to read.
//
// The slot lists are absent (not empty) when the file has no such icon group, which the preview
// takes as "this screen shows no watch icon".
class IconScreenDefinition
{
public:
    IconScreenDefinition() = default;
    // From one screen dictionary: "Title", "BackgroundImageName", "AppIcon", "WatchIcon". Values
    // of the wrong kind read as empty or 0; a dictionary never fails.
    explicit IconScreenDefinition(const QVariantMap& dictionary);

    // The slots of one icon group, row-major: every "X" of the first "Y", then of the second, ...
    // Each slot is "Size" square when "Size" > 0, else "Width" x "Height". Numbers are read at
    // single precision, as the files are written. Absent when group is (an absent key).
    static std::optional<QList<IconDefinition>> iconLocationsFromDictionary(const QVariant& group);

    const QString& title() const { return title_; }
    void setTitle(const QString& title) { title_ = title; }
    const QString& backgroundImageName() const { return backgroundImageName_; }
    void setBackgroundImageName(const QString& name) { backgroundImageName_ = name; }
    const std::optional<QList<IconDefinition>>& appIconLocations() const { return appIconLocations_; }
    const std::optional<QList<IconDefinition>>& watchIconLocations() const { return watchIconLocations_; }

    // Archive under the keys "Title" and "BackgroundImageName" only: the slots belong to the
    // bundled file, not to whoever keeps the screen, so an unarchived screen has no slot lists.
    // unarchive() rejects foreign or damaged data with std::nullopt.
    QByteArray archive() const;
    static std::optional<IconScreenDefinition> unarchive(const QByteArray& data);

private:
    QString title_;
    QString backgroundImageName_;
    std::optional<QList<IconDefinition>> appIconLocations_;
    std::optional<QList<IconDefinition>> watchIconLocations_;
};

} // namespace iconfoundry
