#pragma once

#include "platform/QWFileManager.h"

#include <QUrl>

// Whether a file or a folder stands at the URL's path, whatever its scheme; NO for a URL without a path.
bool fileExistsAtURL(const QWFileManager& fileManager, const QUrl& url);
