#pragma once

#include "platform/error.h"
#include "ui/alerts.h"
#include "ui/panels.h"

#include <QString>
#include <QStringList>

class QWidget;

namespace iconfoundry::savequestions {

// The questions and panels every save flow of the main window shows alike.

// Replace and Cancel, listing items one per line after a bullet (each once); informativeFormat
// takes the folder's path, then the list.
Alert replaceQuestion(const QString& messageText, const QString& informativeFormat, const QString& path,
                      const QStringList& items);
// Retry and Cancel, with the error's description.
Alert retryAlert(const QString& messageText, const Error& error);
// A panel that picks one folder (new ones allowed), with Save as its prompt.
OpenPanelOptions folderPanelOptions(const QString& title, QWidget* parent);

} // namespace iconfoundry::savequestions
