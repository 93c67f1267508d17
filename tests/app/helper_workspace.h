#pragma once

#include "ui/workspace.h"

#include <QList>
#include <QUrl>

// A workspace that records the URLs it is asked to open instead of starting programs.
class RecordingWorkspace : public iconfoundry::Workspace
{
public:
    bool openURL(const QUrl& url) override
    {
        opened.append(url);
        return true;
    }
    QList<QUrl> opened;
};
